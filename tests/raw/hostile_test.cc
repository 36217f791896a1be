// Damaged and hostile member files through every reading export: an error or fewer data, never a
// crash, a hang or an allocation far beyond the files' size.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

class HostileTest : public RawTest {
 protected:
  uint32_t Random(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

  Bytes RandomBytes(size_t size) {
    Bytes bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
    return bytes;
  }

  void Mutate(Bytes* bytes) {
    if (bytes->empty()) return;
    switch (Random(5)) {
      case 0:
        bytes->resize(Random(static_cast<uint32_t>(bytes->size())));
        break;
      case 1:
        for (int i = 0; i < 8; ++i) {
          (*bytes)[random_() % bytes->size()] = static_cast<uint8_t>(Random(3) * 127);
        }
        break;
      case 2:
        *bytes = RandomBytes(bytes->size());
        break;
      default:
        for (int i = 0; i < 3; ++i) {
          (*bytes)[random_() % bytes->size()] ^= static_cast<uint8_t>(1u << Random(8));
        }
    }
  }

  // A float that is often none that makes sense.
  float OddFloat() {
    const float kOdd[] = {0, -1, std::nanf(""), INFINITY, -INFINITY, 3e38f, 1e-40f, 500};
    return kOdd[Random(8)];
  }

  void ReadEverything() {
    int32_t handle = -1;
    ASSERT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
    std::vector<RawFunctionRecord> records(RAW_MAX_FUNCTIONS);
    RawReadFuncInfo(handle, 0, records.data(), nullptr);
    auto calibration = std::make_unique<RawCalibration>();
    for (size_t i = 0; i < sizeof(RawCalibration); ++i) {
      reinterpret_cast<uint8_t*>(calibration.get())[i] =
          static_cast<uint8_t>(Random(3) * random_());
    }
    calibration->function_count = static_cast<int32_t>(Random(3));
    calibration->functions[0].segment_count = static_cast<int32_t>(Random(16)) - 1;
    for (RawCaliCoeffs& set : calibration->functions[0].segments) {
      set.order = static_cast<int32_t>(Random(9)) - 1;
    }
    if (RawReadFuncInit(handle, 1, 0, &records[0], calibration.get()) == RAW_OK) {
      for (int i = 0; i < 12; ++i) ReadScan(handle, static_cast<int32_t>(Random(9)));
      ReadScan(handle, static_cast<int32_t>(random_() >> 1));
      ReadChromatograms(handle);
      int32_t scan = 0;
      RawReadTimeScan(handle, 1, 0, &records[0], OddFloat(), &scan);
      float low = 0;
      RawReadGetFuncMassRange(&records[0], static_cast<int32_t>(Random(40)) - 2, &low, nullptr,
                              nullptr);
    }
    ASSERT_EQ(RawReadClose(handle), RAW_OK);
  }

  // The arrays have exactly the room that the call is told of.
  void ReadScan(int32_t handle, int32_t scan) {
    auto count = static_cast<int32_t>(Random(3000));
    const auto room = static_cast<size_t>(count);
    std::vector<float> masses(room);
    std::vector<float> intensities(room);
    std::vector<uint8_t> flags(room);
    RawScanHeader header;
    const int32_t error =
        RawReadSpectrum(handle, 1, 0, scan, static_cast<int32_t>(Random(5000)), &count, &header,
                        masses.data(), intensities.data(), flags.data(), Random(2) != 0 ? 1 : 0);
    ASSERT_LE(static_cast<size_t>(count), room);
    if (error != RAW_OK) {
      ASSERT_EQ(count, 0);
    }
    const int32_t scans[] = {scan, 1, scan};
    int64_t offsets[4];
    RawReadSpectra(handle, 1, 0, 3, scans, static_cast<int64_t>(room), offsets, masses.data(),
                   intensities.data(), flags.data());
    ASSERT_TRUE(room == 0 || offsets[3] <= static_cast<int64_t>(room));  // without arrays it counts
  }

  void ReadChromatograms(int32_t handle) {
    const auto count = static_cast<int32_t>(Random(12));
    std::vector<float> values(static_cast<size_t>(count));
    std::vector<float> times(static_cast<size_t>(count));
    RawReadChrom(handle, 1, 0, static_cast<int32_t>(Random(4)), count, values.data(), times.data(),
                 static_cast<int16_t>(Random(4)));
    RawTraceWindow windows[2] = {{OddFloat(), OddFloat(), 0, 0, 0},
                                 {OddFloat(), OddFloat(), 1, 0, 0}};
    RawTrace trace = {static_cast<int32_t>(Random(2)), 2, windows};
    float* arrays[1] = {values.data()};
    RawReadChromTraces(handle, 1, 0, 1 + static_cast<int32_t>(Random(3)), count, 1, &trace, arrays,
                       nullptr);
  }
};

TEST_F(HostileTest, MutatedFiles) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  int32_t rounds = 0;
  while (std::chrono::steady_clock::now() < end && !HasFailure()) {
    const int16_t type = kStoredTypes[static_cast<size_t>(rounds) % 11];
    MakeRun({RecordFor(type)}, {{NumberedScan(1, 300), NumberedScan(2, 0), NumberedScan(3, 4000),
                                 NumberedScan(4, 7)}});
    Bytes table = ReadFile(Path("_FUNCTNS.INF"));
    Bytes index = ReadFile(Path("_FUNC001.IDX"));
    Bytes data = ReadFile(Path("_FUNC001.DAT"));
    for (int i = 0; i < 4; ++i) {
      if (Random(2) == 0) Mutate(&table);
      if (Random(2) == 0) Mutate(&index);
      if (Random(3) == 0) Mutate(&data);
      WriteFile(Path("_FUNCTNS.INF"), table);
      WriteFile(Path("_FUNC001.IDX"), index);
      WriteFile(Path("_FUNC001.DAT"), data);
      ReadEverything();
    }
    ++rounds;
  }
  EXPECT_GT(rounds, 10);
}

// Every record claims millions of points, no two as many, all over the file, and masses fall: one
// scan costs no more than the file has.
TEST_F(HostileTest, AnIndexThatClaimsEverything) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    std::vector<IndexEntry> entries;
    for (uint32_t i = 0; i < 2000; ++i)
      entries.push_back({i % 3 == 0 ? 0xFFFFFFFF : i, 0xFFFFFFFF - i});
    RawFunctionRecord record = RecordFor(type);
    if (type != 2 && type != 11) record = ScanningRecord(type, 1100, 100);
    MakeRun(record, IndexBytes(entries), RandomBytes(3000));
    const auto start = std::chrono::steady_clock::now();
    OpenFunction();
    EXPECT_EQ(Get<uint32_t>(record_, 18), 1u);
    RawTraceWindow window = {0, 1e6f, 0, 0, 0};
    RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
    std::vector<float> values(2000);
    float* arrays[1] = {values.data()};
    EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 2000, 1, &trace, arrays, nullptr), RAW_OK);
    EXPECT_LE(Read(handle_, 1, 0, 2).intensities.size(), 6000u);
    EXPECT_EQ(Read(handle_, 1, 0, 1).intensities.size(), 0u) << "data behind the file";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  }
}

// Small files can ask for much work: thousands of scans that share their points. Whoever is told of
// the progress can end it.
TEST_F(HostileTest, SharedPointsAreReadUntilTheCallbackEndsIt) {
  constexpr uint32_t kPoints = 1000000;
  constexpr int32_t kRecords = 3000;
  MakeRun(ScanningRecord(RAW_DATA_CONTINUUM),
          IndexBytes(std::vector<IndexEntry>(kRecords, {0, kPoints})), Bytes(2 * kPoints, 1));
  OpenFunction();
  EXPECT_EQ(Get<uint32_t>(record_, 18), static_cast<uint32_t>(kRecords));
  RawTraceWindow window = {0, 1e6f, 0, 0, 0};
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  std::vector<float> values(kRecords, -1);
  float* arrays[1] = {values.data()};
  RawUpdateInit(
      [](int32_t percent, void* handle) TERVALON_CALL -> int32_t {
        if (percent >= 1) RawReadFuncEnd(*static_cast<int32_t*>(handle), 1, 0);
        return 0;
      },
      &handle_);
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, kRecords, 1, &trace, arrays, nullptr),
            RAW_SCAN_BUFFER_ABSENT);
  EXPECT_GE(values[0], 0);
  EXPECT_EQ(values[kRecords / 50], -1) << "at one percent it has to end";
}

}  // namespace
}  // namespace tervalon::testing
