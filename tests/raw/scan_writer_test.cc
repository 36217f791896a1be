// Scans written: packing, the index that goes with them, and faults meanwhile.

#include <gmock/gmock.h>

#include <bit>
#include <cmath>

#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"
#include "tests/support/special_values.h"

namespace tervalon::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

using ScanWriterTest = RawTest;

TEST_F(ScanWriterTest, StoredValuesAreTheNearest) {
  std::vector<float> intensities = {
      0,          0.5f,          0.49f,     255,       255.5f,    256,    8191.4f,
      8191.5f,    32767.5f,      131063.9f, 134201344, 1.4e8f,    4e18f,  3e38f,
      -0.5f,      -0.51f,        -1,        -32768,    -32768.6f, -3e38f, kInfinity,
      -kInfinity, std::nanf(""), 2097151,   4177920,   4186112,   1e-6f};
  for (int i = 0; i < 3000; ++i) {
    const float magnitude = std::ldexp(static_cast<float>(random_() % 100000), i % 40 - 20);
    intensities.push_back(i % 3 == 0 ? -magnitude : magnitude);
  }
  std::vector<float> masses = {0, 0.001f, 0.0039f, 1, 50, 1024.0005f, 16383.9f};
  while (masses.size() < intensities.size()) {
    masses.push_back(static_cast<float>(random_() % 16000000) / 1000);
  }
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    const Spectrum read = Stored(type, {{}, masses, intensities, {}});
    ASSERT_EQ(read.intensities.size(), intensities.size());
    for (size_t i = 0; i < intensities.size(); ++i) {
      ASSERT_EQ(read.intensities[i], ModelStoredIntensity(type, intensities[i])) << intensities[i];
      if (!ModelTypeOf(type).stores_masses) continue;
      ASSERT_NEAR(read.masses[i], masses[i], ModelMassTolerance(type, masses[i]));
    }
  }
}

TEST_F(ScanWriterTest, MassesThatDoNotFit) {
  const std::vector<float> masses = {-1, -kInfinity, std::nanf(""), 3e38f, kInfinity};
  for (const int32_t type : {0, 1, 8, 9, 12}) {
    const auto largest = static_cast<float>(ModelLargestMass(type));
    EXPECT_THAT(Stored(type, {{}, masses, {1, 1, 1, 1, 1}, {}}).masses,
                ElementsAre(0, 0, 0, largest, largest))
        << type;
  }
  EXPECT_THAT(Stored(10, {{}, masses, {1, 1, 1, 1, 1}, {}}).masses,
              ElementsAre(-1, -kInfinity, 0, 3e38f, kInfinity));
}

// Negative values where the mantissa has no sign, and not-a-numbers.
TEST_F(ScanWriterTest, WhatIsStoredAsZeroIsAllZeroBits) {
  const float odd = std::nanf("");
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    Scan scan = {{}, {odd, odd, odd, odd}, {odd, odd, odd, odd}, {}};
    if (type != RAW_DATA_FLOAT) scan.masses = {-1, -1e-9f, -kInfinity, odd};
    if (type < 4) scan.intensities = {-1, -0.6f, -kInfinity, odd};
    Stored(type, scan);
    EXPECT_THAT(ReadFile(Path("_FUNC001.DAT")), Each(0));
    const Bytes index = ReadFile(Path("_FUNC001.IDX"));
    EXPECT_THAT(Bytes(index.begin() + 16, index.end()), Each(0));
  }
}

// Scans of sizes around the units and the writer's buffer, with all that the index says of them.
TEST_F(ScanWriterTest, WrittenScansAndTheirIndex) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    const ModelType model = ModelTypeOf(type);
    OpenWriter(type);
    const size_t buffer = 9600 / model.unit_bytes * model.unit_points;
    std::vector<Scan> scans;
    for (const size_t points : {size_t{0}, size_t{1}, size_t{2}, size_t{3}, size_t{5}, buffer - 1,
                                buffer, buffer + 1, 3 * buffer + 7, size_t{4}}) {
      scans.push_back(NumberedScan(static_cast<uint32_t>(scans.size()), points));
      ASSERT_EQ(WriteScan(handle_, 1, 0, type, scans.back()), RAW_OK);
    }
    CloseWriter();
    const Bytes data = ReadFile(Path("_FUNC001.DAT"));
    const Bytes index = ReadFile(Path("_FUNC001.IDX"));
    ASSERT_EQ(index.size(), 22 * scans.size());
    OpenFunction();
    size_t offset = 0;
    for (size_t s = 0; s < scans.size(); ++s) {
      const size_t points = scans[s].intensities.size();
      const uint8_t* record = index.data() + 22 * s;
      uint32_t words[4];
      std::memcpy(words, record, sizeof(words));
      EXPECT_EQ(words[0], offset);
      EXPECT_EQ(words[1], points | 1u << 27);
      EXPECT_EQ(std::bit_cast<float>(words[3]), scans[s].description.retention_time);

      const Spectrum read = Read(handle_, 1, 0, static_cast<int32_t>(s + 1));
      ASSERT_EQ(read.intensities.size(), points);
      double total = 0;
      float highest = 0;
      float highest_mass = 0;
      for (size_t i = 0; i < points; ++i) {
        const ModelPoint stored = ModelDecode(type, data.data() + offset, i);
        ASSERT_EQ(stored.intensity, scans[s].intensities[i]);  // all types can hold these exactly
        ASSERT_EQ(stored.mass, model.stores_masses ? scans[s].masses[i] : 0);
        ASSERT_EQ(stored.flags, model.stores_flags ? scans[s].flags[i] : 0);
        ASSERT_EQ(read.intensities[i], stored.intensity);
        ASSERT_EQ(read.flags[i], stored.flags);
        total += stored.intensity;
        if (stored.intensity <= highest) continue;
        highest = stored.intensity;
        highest_mass = read.masses[i];
      }
      EXPECT_EQ(read.header.total_ion_current, static_cast<float>(total));
      EXPECT_EQ(read.header.base_peak_intensity, highest);
      if (type == 11) {
        EXPECT_EQ(read.header.base_peak_mass, 0) << "the point itself has none";
      } else {
        EXPECT_NEAR(read.header.base_peak_mass, highest_mass,
                    ModelTypeOf(type).unit_bytes == 8 ? highest_mass / 128 : 0);
      }
      // Points that fill up the last unit are zero.
      for (size_t i = points; i < model.BytesOf(points) / model.unit_bytes * model.unit_points;
           ++i) {
        EXPECT_EQ(ModelDecode(type, data.data() + offset, i).intensity, 0);
        EXPECT_EQ(ModelDecode(type, data.data() + offset, i).mass, 0);
      }
      offset += model.BytesOf(points);
    }
    EXPECT_EQ(data.size(), offset);
  }
}

TEST_F(ScanWriterTest, BasePeakFieldOfEveryType) {
  // The second of three points is the largest.
  for (const auto& [type, field] : std::vector<std::pair<int16_t, Bytes>>{
           {0, {0x20, 0x03, 0x20, 0x03, 0, 0}},     // 100 << 3 | (200 * 128) << 11
           {1, {0x20, 0x03, 0x00, 0x20, 0x03, 0}},  // 100 << 3, 200 * 1024
           {2, {0x20, 0x03, 1, 0, 0, 0}},
           {3, {0x20, 0x03, 1, 0, 0, 0}},
           {4, {100, 0, 0x10, 0, 0, 0}},
           {6, {100, 0, 0x10, 0, 0, 0}},
           {8, {100, 0, 0x00, 0x40, 0x06, 0}},       // (200 * 128) << 4
           {9, {100, 0, 0x80, 0, 0, 0xC8}},          // 200 / 256 and exponent 8
           {10, {0, 0, 0xC8, 0x42, 0x48, 0x43}},     // 100.0f, upper half of 200.0f
           {11, {0, 0, 0xD9, 0xA1, 0, 0}},           // flag nibble 10, exponent 7, 100 / 128
           {12, {0, 0, 0xD9, 0xA1, 0x40, 0x46}}}) {  // upper half of 200 / 256 and exponent 8
    SCOPED_TRACE(type);
    const Spectrum read = Stored(type, {{}, {150, 200, 250}, {3, 100, 99}, {0, 10, 0}});
    EXPECT_EQ(read.header.base_peak_intensity, 100);
    const Bytes index = ReadFile(Path("_FUNC001.IDX"));
    ASSERT_EQ(index.size(), 22u);
    EXPECT_EQ(Bytes(index.begin() + 16, index.end()), field);
  }
}

TEST_F(ScanWriterTest, BasePeakAmongNegativeIntensities) {
  Scan scan;
  scan.intensities = std::vector<float>(5000, -70);
  scan.intensities[4321] = -2;
  const RawScanHeader header = Stored(4, scan).header;
  EXPECT_EQ(header.base_peak_intensity, -2);
  EXPECT_EQ(header.base_peak_mass, static_cast<float>(100 + 4321 * (1000.0 / 4999)));
  EXPECT_EQ(header.total_ion_current, -70.0f * 4999 - 2);
}

TEST_F(ScanWriterTest, ArgumentsOfWriting) {
  OpenWriter(1);
  const float points[2] = {1, 2};
  const RawScanDescription description = {};
  const auto write = [&](int16_t type, const float* masses, const float* intensities,
                         int32_t count) {
    return RawCreateScansEx(handle_, 1, 0, type, &description, masses, intensities, nullptr, count);
  };
  for (const auto type : std::vector<int16_t>{-1, 5, 7, 13, 15, 16, 12345}) {
    EXPECT_EQ(write(type, points, points, 2), RAW_BAD_ARGUMENT) << type;
  }
  EXPECT_EQ(write(1, points, points, -1), RAW_BAD_ARGUMENT);
  EXPECT_EQ(write(1, points, points, RAW_MAX_POINTS + 1), RAW_BAD_ARGUMENT);
  EXPECT_EQ(write(1, nullptr, points, 2), RAW_BAD_ARGUMENT);
  EXPECT_EQ(write(1, points, nullptr, 2), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawCreateScansEx(handle_, 1, 0, 1, nullptr, points, points, nullptr, 2),
            RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawCreateScans(handle_, 2, 0, 1, 0, 0, 0, 0, points, points, nullptr, 2),
            RAW_SCAN_BUFFER_ABSENT);
  EXPECT_EQ(RawCreateScansFlush(handle_, 1, 1), RAW_SCAN_BUFFER_ABSENT);
  EXPECT_EQ(RawCreateScansEnd(handle_, 33, 0), RAW_SLOT_OUT_OF_RANGE);

  // The selector decides how a scan is packed; a file of several types is the caller's to read.
  EXPECT_EQ(write(1, points, points, 2), RAW_OK);
  EXPECT_EQ(write(3, nullptr, points, 2), RAW_OK);
  EXPECT_EQ(write(10, points, points, 1), RAW_OK);
  CloseWriter();
  EXPECT_EQ(ReadFile(Path("_FUNC001.DAT")).size(), 10u + 4u + 8u);
  OpenRun();
  const RawFunctionRecord floats = ScanningRecord(10);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &floats, nullptr), RAW_OK);
  EXPECT_THAT(Read(handle_, 1, 0, 3).masses, ElementsAre(1));
}

TEST_F(ScanWriterTest, LargestScan) {
  Stored(3, {{}, {}, std::vector<float>(RAW_MAX_POINTS, 1), {}});
  const Spectrum read = Read(handle_, 1, 0, 1, RAW_MAX_POINTS - 1);
  EXPECT_THAT(read.intensities, ElementsAre(1, 1));
  EXPECT_EQ(read.masses[1], 1100);
  EXPECT_EQ(read.header.total_ion_current, static_cast<float>(RAW_MAX_POINTS));
}

TEST_F(ScanWriterTest, FiftyScansWaitAndReadersSeeThemOnceFlushed) {
  OpenWriter(3);
  const auto records = [&] { return ReadFile(Path("_FUNC001.IDX")).size() / 22; };
  for (uint32_t i = 1; i <= 49; ++i) {
    ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(i, 10)), RAW_OK);
  }
  EXPECT_EQ(records(), 0u);
  ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(50, 10)), RAW_OK);
  EXPECT_EQ(records(), 50u);

  const RawFunctionRecord record = ScanningRecord(3);
  const int32_t reader = OpenReader(record);
  EXPECT_EQ(Read(reader, 1, 0, 50).intensities, NumberedScan(50, 10).intensities);
  EXPECT_EQ(Read(reader, 1, 0, 51).error, RAW_SCAN_ABSENT);
  for (uint32_t i = 51; i <= 53; ++i) {
    ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(i, 10)), RAW_OK);
    EXPECT_EQ(Read(reader, 1, 0, static_cast<int32_t>(i)).error, RAW_SCAN_ABSENT);
    ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
    EXPECT_EQ(Read(reader, 1, 0, static_cast<int32_t>(i)).intensities,
              NumberedScan(i, 10).intensities);
    int32_t scan = 0;
    EXPECT_EQ(RawReadTimeScan(reader, 1, 0, &record, 1e9f, &scan), RAW_OK);
    EXPECT_EQ(scan, static_cast<int32_t>(i));
  }
  EXPECT_EQ(RawReadClose(reader), RAW_OK);
}

// One writer of a function or set at a time, whatever handle or program it is of.
TEST_F(ScanWriterTest, AnotherWriterIsRefused) {
  MakeRun({ScanningRecord(3)}, {{NumberedScan(1, 10)}});
  OpenRun();
  int32_t other = -1;
  ASSERT_EQ(RawReadOpen(Path().c_str(), &other), RAW_OK);
  for (const int16_t process : std::vector<int16_t>{0, 5}) {
    ASSERT_EQ(RawCreateScanFile(handle_, 1, process, 0), RAW_OK);
    ASSERT_EQ(WriteScan(handle_, 1, process, 3, NumberedScan(2, 10)), RAW_OK);
    ASSERT_EQ(RawCreateScansFlush(handle_, 1, process), RAW_OK);
    EXPECT_EQ(RawCreateScanFile(other, 1, process, 0), RAW_LOCK_FAILED);
    EXPECT_EQ(RawCreateScansEnd(other, 1, process), RAW_SCAN_BUFFER_ABSENT);
    EXPECT_EQ(RawCreateScanFile(other, 2, 0, 0), RAW_OK) << "another function";
    EXPECT_EQ(RawCreateScansEnd(other, 2, 0), RAW_OK);
    ASSERT_EQ(WriteScan(handle_, 1, process, 3, NumberedScan(3, 10)), RAW_OK);
    ASSERT_EQ(RawCreateScansEnd(handle_, 1, process), RAW_OK);
    ASSERT_EQ(RawReadFuncInit(handle_, 1, process, &record_, nullptr), RAW_OK);
    EXPECT_EQ(Read(handle_, 1, process, 1).intensities, NumberedScan(2, 10).intensities);
    EXPECT_EQ(Read(handle_, 1, process, 2).intensities, NumberedScan(3, 10).intensities);
    // Reading keeps no writer away but the one that would use the same handle's places.
    EXPECT_EQ(RawCreateScanFile(handle_, 2, process == 0 ? 0 : process, 0),
              process == 0 ? RAW_OK : RAW_MEMBER_ALREADY_OPEN);
    EXPECT_EQ(RawCreateScanFile(other, 1, process, 0), RAW_OK);
    RawCreateScansEnd(handle_, 2, process);
    EXPECT_EQ(RawReadFuncEnd(handle_, 1, process), RAW_OK);
    EXPECT_EQ(RawCreateScansEnd(other, 1, process), RAW_OK);
  }
  EXPECT_EQ(RawReadClose(other), RAW_OK);
}

// --- faults while writing

class WriteFaultTest : public RawTest {
 protected:
  static constexpr int16_t kType = 1;

  // Sizes vary, so that blocks end within scans.
  static Scan FaultScan(uint32_t number) {
    return NumberedScan(number, number % 10 == 0 ? 2600 : number * 37 % 600);
  }

  // What a second handle sees is whole, and the front of what was accepted: the numbers of scans.
  void ExpectFrontOf(const std::vector<uint32_t>& accepted, size_t least) {
    const int32_t reader = OpenReader(ScanningRecord(kType));
    RawFunctionRecord record;
    ASSERT_EQ(RawReadFuncInfo(reader, 1, &record, nullptr), RAW_OK);
    const auto scans = Get<uint32_t>(record, 18);
    ASSERT_LE(scans, accepted.size());
    ASSERT_GE(scans, least);
    for (uint32_t s = 0; s < scans; ++s) {
      const Spectrum read = Read(reader, 1, 0, static_cast<int32_t>(s + 1));
      const Scan expected = FaultScan(accepted[s]);
      ASSERT_EQ(read.header.retention_time, expected.description.retention_time) << s;
      ASSERT_EQ(read.intensities, expected.intensities) << s;
      ASSERT_EQ(read.masses, expected.masses) << s;
    }
    ASSERT_EQ(RawReadClose(reader), RAW_OK);
  }

  // Writes 120 scans with the fault set up by `arm` and undone by `heal` after the first failure.
  template <typename Arm, typename Heal>
  bool WriteWithFault(FaultyFileSystem* files, Arm arm, Heal heal) {
    OpenWriter(kType);
    files->OnlyPathsWith("_FUNC001");
    arm();
    std::vector<uint32_t> accepted;
    bool failed = false;
    for (uint32_t number = 1; number <= 120; ++number) {
      if (WriteScan(handle_, 1, 0, kType, FaultScan(number)) == RAW_OK) {
        accepted.push_back(number);
      } else {
        failed = true;
        ExpectFrontOf(accepted, 0);
        heal();
      }
    }
    heal();
    const int32_t error = RawCreateScansEnd(handle_, 1, 0);
    failed = failed || error != RAW_OK;
    ExpectFrontOf(accepted, error == RAW_OK ? accepted.size() : 0);
    EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
    EXPECT_EQ(files->open_files(), 0);
    return failed;
  }
};

TEST_F(WriteFaultTest, FullDiskThatIsClearedAgain) {
  for (uint64_t space = 0; space < 300000; space += 9973) {
    SCOPED_TRACE(space);
    FaultyFileSystem& files = UseFaultyFiles();
    int32_t refused = 0;
    WriteWithFault(
        &files, [&] { files.SetDiskSpace(space); },
        [&] {
          if (++refused == 3) files.SetDiskSpace(UINT64_MAX);
        });
    if (HasFailure()) return;
  }
}

// A reader that read ahead must not show what a failed write left behind the last scan.
TEST_F(WriteFaultTest, ReadersDoNotKeepWhatAFailedWriteLeft) {
  FaultyFileSystem& files = UseFaultyFiles();
  OpenWriter(kType);
  ASSERT_EQ(WriteScan(handle_, 1, 0, kType, NumberedScan(1, 500)), RAW_OK);
  ASSERT_EQ(WriteScan(handle_, 1, 0, kType, NumberedScan(2, 500)), RAW_OK);
  ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
  files.SetDiskSpace(12000);
  EXPECT_EQ(WriteScan(handle_, 1, 0, kType, NumberedScan(3, 80000)), RAW_SHORT_WRITE);
  files.SetDiskSpace(UINT64_MAX);

  const int32_t reader = OpenReader(ScanningRecord(kType));
  EXPECT_EQ(Read(reader, 1, 0, 1).intensities, NumberedScan(1, 500).intensities);
  EXPECT_EQ(Read(reader, 1, 0, 2).intensities, NumberedScan(2, 500).intensities);
  ASSERT_EQ(WriteScan(handle_, 1, 0, kType, NumberedScan(4, 500)), RAW_OK);
  ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
  EXPECT_EQ(Read(reader, 1, 0, 3).intensities, NumberedScan(4, 500).intensities);
  EXPECT_EQ(RawReadClose(reader), RAW_OK);
}

}  // namespace
}  // namespace tervalon::testing
