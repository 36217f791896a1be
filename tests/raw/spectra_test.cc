// Spectra, read point by point.

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

using ::testing::ElementsAre;

// Bit for bit, but for the bit that a 32-bit machine sets in a not-a-number that a function, here
// one of the model's, returns.
bool Same(float a, float b) {
  constexpr uint32_t kSetOnReturn = sizeof(void*) == 4 ? 0x00400000 : 0;
  const auto bits = [](float value) {
    return std::bit_cast<uint32_t>(value) | (std::isnan(value) ? kSetOnReturn : 0u);
  };
  return bits(a) == bits(b);
}

class SpectraTest : public RawTest {
 protected:
  // Function 1 with one scan of the bytes given, open for reading.
  void OpenBytes(const RawFunctionRecord& record, uint32_t points, const Bytes& data,
                 uint32_t flags = 0) {
    MakeRun(record, IndexBytes({{0, points | flags}}), data);
    OpenFunction();
  }
};

TEST_F(SpectraTest, HandMadePoints) {
  const struct {
    int32_t type;
    uint32_t points;
    Bytes bytes;
    std::vector<float> intensities;
    std::vector<float> masses;
  } kCases[] = {
      {0, 2, {0x00, 0x40, 0, 0, 0xFF, 0x07, 0, 0x80}, {0, 4177920}, {0.0625f, 8192}},
      {1, 2, {0x0A, 0, 0xFF, 0xFF, 1, 0, 0, 0, 0, 0x80}, {16, 134201344}, {1 / 1024.f, 8192}},
      {1, 1, {0x08, 0, 0, 0, 0, 4, 0, 0, 0, 0}, {1}, {1}},
      {3, 2, {0x09, 0, 0xF8, 0xFF}, {4, 8191}, {100, 1100}},
      {4,
       4,
       {1, 0, 0xFF, 0xFF, 0, 0x80, 2, 0, 0x10, 0xF2},
       {1, -4, -524288, 2147483648.f},
       {100, 433.333344f, 766.666687f, 1100}},
      {6, 1, {0xFE, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}, {-2}, {100}},
      {8, 1, {0xFF, 0xFF, 0x01, 0x08, 0, 0}, {-4}, {1}},
      {9, 1, {3, 0, 0xA2, 0x00, 0, 0x80}, {48}, {512}},
      {10, 1, {0, 0, 0x80, 0x3F, 0, 0, 0x00, 0xC0}, {1}, {-2}},
      {11, 2, {0, 0, 0x30, 0x50, 0, 0, 0x70, 0x00}, {-0.5f, -1}, {150.5f, 90.25f}},
      {12, 1, {0, 0, 0x50, 0x20, 0, 0, 0, 0x54}, {1}, {512}},
  };
  for (const auto& expected : kCases) {
    SCOPED_TRACE(expected.type);
    OpenBytes(RecordFor(expected.type), expected.points, expected.bytes);
    const Spectrum spectrum = Read(handle_, 1, 0, 1);
    EXPECT_EQ(spectrum.error, RAW_OK);
    EXPECT_EQ(spectrum.intensities, expected.intensities);
    EXPECT_EQ(spectrum.masses, expected.masses);
  }
  OpenBytes(RecordFor(11), 1, {0, 0, 0, 0xF0});
  EXPECT_THAT(Read(handle_, 1, 0, 1).flags, ElementsAre(15));
  OpenBytes(RecordFor(3), 1, {8, 0});
  EXPECT_THAT(Read(handle_, 1, 0, 1).masses, ElementsAre(100)) << "a scan of one point";
}

// Every type's random bytes, in every order of reading, against the bit-by-bit model.
TEST_F(SpectraTest, RandomBytesRunsAndOrders) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    const ModelType model = ModelTypeOf(type);
    const RawFunctionRecord record = RecordFor(type);
    std::vector<IndexEntry> entries;
    Bytes data(6);  // scans need not start at 0, or follow each other
    for (const uint32_t points : {3u, 0u, 10007u, 1u, 2u, 40001u, 5u, 8u}) {
      entries.push_back({static_cast<uint32_t>(data.size()), points});
      data.resize(data.size() + model.BytesOf(points) + points % 3);
    }
    for (uint8_t& byte : data) byte = static_cast<uint8_t>(random_());
    MakeRun(record, IndexBytes(entries), data);
    OpenFunction();
    uint32_t offsets[8] = {};
    EXPECT_EQ(RawReadScanOffsets(handle_, 1, 0, 2, 8, offsets), RAW_SCAN_ABSENT);
    for (size_t s = 1; s < 8; ++s) EXPECT_EQ(offsets[s - 1], entries[s].offset);

    for (int round = 0; round < 120; ++round) {
      const size_t s = round < 8 ? static_cast<size_t>(round) : random_() % entries.size();
      const uint32_t points = entries[s].word;
      const auto first = static_cast<uint32_t>(round < 8 ? 0 : random_() % (points + 3));
      const auto wanted = static_cast<int32_t>(round < 8 ? points : random_() % (points + 3));
      const bool skip = round % 4 == 3;
      std::vector<ModelPoint> expected;
      const uint8_t* bytes = data.data() + entries[s].offset;
      for (uint32_t i = first; i < points && static_cast<int32_t>(expected.size()) < wanted; ++i) {
        ModelPoint point = ModelDecode(type, bytes, i);
        if (skip && (point.flags & 1) != 0) continue;
        if (!model.stores_masses && (type == 2 || type == 11)) {
          point.mass = i < 32 ? Get<float>(record, 160 + 4 * i) : 0;
        } else if (!model.stores_masses) {
          const double step = points < 2 ? 1.0 : 1000.0 / (points - 1);
          point.mass = static_cast<float>(100 + i * step);
        }
        expected.push_back(point);
      }
      const Spectrum read = Read(handle_, 1, 0, static_cast<int32_t>(s + 1),
                                 static_cast<int32_t>(first + 1), wanted, skip);
      ASSERT_EQ(read.error, RAW_OK);
      ASSERT_EQ(read.intensities.size(), expected.size()) << "scan " << s << " from " << first;
      for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(Same(read.intensities[i], expected[i].intensity) &&
                    Same(read.masses[i], expected[i].mass) && read.flags[i] == expected[i].flags)
            << "scan " << s << " from " << first << " point " << i << ": " << read.intensities[i]
            << " at " << read.masses[i] << " for " << expected[i].intensity << " at "
            << expected[i].mass;
      }
    }
  }
}

TEST_F(SpectraTest, HeaderWordsAndFlags) {
  const struct {
    RawScanDescription description;
    uint32_t index_flags;
    uint32_t points_flag;
    uint32_t flags;
    uint32_t flag_c;
    uint32_t segment;
  } kCases[] = {
      {{0, 0, 0, 0, 0, 0}, 1u << 27, 0, 0, 0, 0},
      {{1, 0, 0, 0, 0, 0}, 1u << 29 | 1u << 27, RAW_SCAN_FLAG_D, 0, 0, 0},
      {{0, 1, 0, 0, 0, 0}, 1u << 30 | 1u << 27, 0, RAW_SCAN_FLAG_B, 0, 0},
      {{0, 0, 1, 0, 0, 0}, 1u << 28 | 1u << 27, 0, 0, 1, 0},
      {{0, 0, 0, 0, 9, 0}, 9u << 22 | 1u << 27, 0, 0, 0, 9},
      {{0, 0, 0, 0, 0, 1}, 1u << 26 | 1u << 27, 0, RAW_SCAN_FLAG_A, 0, 0},
      // Only bit 0 of flags, and four bits of the segment, are taken.
      {{~1u, ~1u, ~1u, 0, ~0u, ~1u}, 15u << 22 | 1u << 27, 0, 0, 0, 15},
      {{~0u, ~0u, ~0u, 0, 16, ~0u},
       0x7C000000,
       RAW_SCAN_FLAG_D,
       RAW_SCAN_FLAG_B | RAW_SCAN_FLAG_A,
       1,
       0},
  };
  OpenWriter(3);
  Scan scan = NumberedScan(5, 3);
  for (const auto& given : kCases) {
    scan.description = given.description;
    ASSERT_EQ(WriteScan(handle_, 1, 0, 3, scan), RAW_OK);
  }
  ASSERT_EQ(RawCreateScans(handle_, 1, 0, 3, 1, 1, 0, 7.5f, nullptr, nullptr, nullptr, 0), RAW_OK);
  CloseWriter();
  Bytes index = ReadFile(Path("_FUNC001.IDX"));
  OpenFunction();
  for (size_t i = 0; i < std::size(kCases); ++i) {
    SCOPED_TRACE(i);
    uint32_t word = 0;
    std::memcpy(&word, index.data() + 22 * i + 4, 4);
    EXPECT_EQ(word, kCases[i].index_flags | 3);
    const RawScanHeader header = Read(handle_, 1, 0, static_cast<int32_t>(i + 1)).header;
    EXPECT_EQ(header.points, kCases[i].points_flag | 3);
    EXPECT_EQ(header.flags, kCases[i].flags);
    EXPECT_EQ(header.flag_c, kCases[i].flag_c);
    EXPECT_EQ(header.segment, kCases[i].segment);
    EXPECT_EQ(header.low_mass, 100);
    EXPECT_EQ(header.high_mass, 1100);
  }
  const RawScanHeader header = Read(handle_, 1, 0, 9).header;
  EXPECT_EQ(header.points, RAW_SCAN_FLAG_D);
  EXPECT_EQ(header.flags, RAW_SCAN_FLAG_B);
  EXPECT_EQ(header.retention_time, 7.5f);
  EXPECT_EQ(header.base_peak_intensity, 0);
  EXPECT_EQ(header.base_peak_mass, 0);

  // Flag E only a reader knows; flag C does not count where it was not stored.
  OpenBytes(ScanningRecord(3), 1, {8, 0}, 1u << 31 | 1u << 28);
  const RawScanHeader foreign = Read(handle_, 1, 0, 1).header;
  EXPECT_EQ(foreign.flags, RAW_SCAN_FLAG_E);
  EXPECT_EQ(foreign.flag_c, 0u);
}

TEST_F(SpectraTest, CalibrationBySegmentFlagAndType) {
  auto calibration = std::make_unique<RawCalibration>();
  calibration->function_count = 1;
  RawFunctionCalibration& function = calibration->functions[0];
  function.segment_count = 2;
  function.segments[0] = {1, {1, 1}, 0, 0};
  function.segments[1] = {1, {0, 2}, 0, 0};
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    const bool channels = type == 2 || type == 11;
    std::vector<Scan> scans(5, {{}, {100}, {1}, {}});
    for (uint32_t s = 0; s < 4; ++s) scans[s].description.segment = s;
    scans[4].description = {0, 1, 0, 0, 1, 0};  // flag B
    MakeRun({RecordFor(type)}, {scans});
    OpenFunction(calibration.get());
    std::vector<float> masses;
    for (int32_t s = 1; s <= 5; ++s) {
      const Spectrum read = Read(handle_, 1, 0, s);
      EXPECT_EQ(read.header.flags, RAW_SCAN_FLAG_B) << "the function has a calibration";
      masses.push_back(read.masses[0]);
      if (type != 11) {
        EXPECT_NEAR(read.header.base_peak_mass, channels ? 150.5f : 100, 1) << "not calibrated";
      }
    }
    if (channels) {
      EXPECT_THAT(masses, ::testing::Each(150.5f));
    } else {
      EXPECT_THAT(masses, ElementsAre(101, 101, 200, 100, 100));
    }
  }
  calibration->function_count = 0;
  OpenFunction(calibration.get());
  EXPECT_EQ(Read(handle_, 1, 0, 1).masses[0], 100);
  EXPECT_EQ(Read(handle_, 1, 0, 1).header.flags, 0u);
}

TEST_F(SpectraTest, ProcessedDataSets) {
  MakeRun({ScanningRecord(3)}, {{NumberedScan(1, 8)}});
  OpenRun();
  ASSERT_EQ(RawCreateScanFile(handle_, 1, 255, 0), RAW_OK);
  ASSERT_EQ(WriteScan(handle_, 1, 255, 12, NumberedScan(2, 5)), RAW_OK);
  ASSERT_EQ(RawCreateScansEnd(handle_, 1, 255), RAW_OK);
  EXPECT_TRUE(Exists(Path("_PROC255.DAT")));
  EXPECT_TRUE(Exists(Path("_PROC255.IDX")));
  const RawFunctionRecord set = ScanningRecord(12);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_OK);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 255, &set, nullptr), RAW_OK);
  EXPECT_EQ(Read(handle_, 1, 0, 1).intensities, NumberedScan(1, 8).intensities);
  EXPECT_EQ(Read(handle_, 1, 255, 1).masses, NumberedScan(2, 5).masses);
  EXPECT_EQ(Read(handle_, 1, 255, 1).flags, NumberedScan(2, 5).flags);
  int32_t scan = 0;
  EXPECT_EQ(RawReadTimeScan(handle_, 1, 255, &set, 9, &scan), RAW_OK);
  EXPECT_EQ(scan, 1);
  EXPECT_EQ(RawReadFuncEnd(handle_, 1, 255), RAW_OK);
  EXPECT_EQ(Read(handle_, 1, 255, 1).error, RAW_SCAN_BUFFER_ABSENT);
  EXPECT_EQ(Read(handle_, 1, 0, 1).error, RAW_OK);
}

TEST_F(SpectraTest, ArgumentsOfReading) {
  MakeRun({ScanningRecord(12)}, {{NumberedScan(1, 10), NumberedScan(2, 10)}});
  OpenFunction();
  int32_t count = 5;
  float masses[5] = {-7, -7, -7, -7, -7};
  RawScanHeader header = {};
  const auto read = [&](int32_t scan, int32_t first, int32_t wanted) {
    count = wanted;
    return RawReadSpectrum(handle_, 1, 0, scan, first, &count, &header, masses, nullptr, nullptr,
                           0);
  };
  EXPECT_EQ(read(1, 0, 5), RAW_BAD_ARGUMENT);
  EXPECT_EQ(read(1, -1, 5), RAW_BAD_ARGUMENT);
  EXPECT_EQ(read(1, 1, -1), RAW_BAD_ARGUMENT);
  EXPECT_EQ(read(0, 1, 5), RAW_SCAN_ABSENT);
  EXPECT_EQ(read(-1, 1, 5), RAW_SCAN_ABSENT);
  EXPECT_EQ(read(3, 1, 5), RAW_SCAN_ABSENT);
  EXPECT_EQ(count, 0) << "points that were not delivered are counted";
  EXPECT_EQ(read(INT32_MAX, 1, 5), RAW_SCAN_ABSENT);
  EXPECT_EQ(read(1, 11, 5), RAW_OK);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(read(1, INT32_MAX, INT32_MAX), RAW_OK);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(masses[0], -7);
  EXPECT_EQ(header.points, 10u) << "the header is the scan's all the same";
  EXPECT_EQ(read(1, 9, 5), RAW_OK);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(masses[2], -7);
}

TEST_F(SpectraTest, CutOffDataGiveFewerPoints) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    const ModelType model = ModelTypeOf(type);
    MakeRun({RecordFor(type)}, {{NumberedScan(1, 12), NumberedScan(2, 12)}});
    Bytes data = ReadFile(Path("_FUNC001.DAT"));
    data.resize(data.size() - model.unit_bytes - 1);  // one unit and a byte of the next
    WriteFile(Path("_FUNC001.DAT"), data);
    OpenFunction();
    const Spectrum second = Read(handle_, 1, 0, 2);
    EXPECT_EQ(second.error, RAW_OK);
    ASSERT_EQ(second.intensities.size(), 12 - 2 * model.unit_points);
    EXPECT_TRUE(std::equal(second.intensities.begin(), second.intensities.end(),
                           NumberedScan(2, 12).intensities.begin()));
    EXPECT_EQ(Read(handle_, 1, 0, 2, 12).intensities.size(), 0u);
    EXPECT_EQ(Read(handle_, 1, 0, 1).intensities.size(), 12u);
  }
}

// The index is read in runs that are kept, but for its end, which a writer may still change.
TEST_F(SpectraTest, ManyScansOutOfOrder) {
  FaultyFileSystem& files = UseFaultyFiles();
  files.OnlyPathsWith("_FUNC001.IDX");
  constexpr uint32_t kScans = 10000;
  std::vector<IndexEntry> entries;
  Bytes data;
  const auto add_scan = [&](uint32_t word) {
    entries.push_back({static_cast<uint32_t>(data.size()), 1});
    data.insert(data.end(), {static_cast<uint8_t>(word << 3), static_cast<uint8_t>(word >> 5)});
  };
  for (uint32_t s = 0; s < kScans; ++s) add_scan(s % 8192);
  MakeRun(RecordFor(3), IndexBytes(entries), data);
  OpenFunction();
  std::vector<int32_t> order(kScans);
  std::iota(order.begin(), order.end(), 1);
  const auto intensity_of = [&](int32_t scan) {
    const Spectrum spectrum = Read(handle_, 1, 0, scan);
    return spectrum.intensities.size() == 1 ? spectrum.intensities[0] : -1;
  };
  for (const int64_t most_reads : {400, 100}) {
    std::shuffle(order.begin(), order.end(), random_);
    const int64_t before = files.Calls(FileCall::kRead);
    for (const int32_t scan : order) {
      ASSERT_EQ(intensity_of(scan), static_cast<float>((scan - 1) % 8192)) << scan;
    }
    EXPECT_LE(files.Calls(FileCall::kRead) - before, most_reads);
  }
  entries.back().offset = 2 * 77;  // as after a writer that failed
  for (uint32_t s = 0; s < 5000; ++s) add_scan(1000 + s);
  WriteFile(Path("_FUNC001.DAT"), data);
  WriteFile(Path("_FUNC001.IDX"), IndexBytes(entries));
  EXPECT_EQ(intensity_of(1), 0);
  EXPECT_EQ(intensity_of(kScans), 77);
  for (int32_t s = 4999; s >= 0; s -= 7) {
    ASSERT_EQ(intensity_of(kScans + 1 + s), static_cast<float>(1000 + s));
  }
}

// Blocks of scans in any order, one of them cut off, against scan by scan.
TEST_F(SpectraTest, ManyScansInOneCall) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    MakeRun({RecordFor(type)},
            {{NumberedScan(1, 8), NumberedScan(2, 0), NumberedScan(3, 12), NumberedScan(4, 12)}});
    Bytes data = ReadFile(Path("_FUNC001.DAT"));
    data.resize(data.size() - ModelTypeOf(type).unit_bytes);
    WriteFile(Path("_FUNC001.DAT"), data);
    OpenFunction();
    RawScanHeader headers[5] = {};
    EXPECT_EQ(RawReadScanHeaders(handle_, 1, 0, 1, 5, headers), RAW_SCAN_ABSENT);
    const int32_t scans[] = {3, 4, 1, 2, 3};
    int64_t offsets[6] = {-1, -1, -1, -1, -1, -1};
    ASSERT_EQ(RawReadSpectra(handle_, 1, 0, 5, scans, 0, offsets, nullptr, nullptr, nullptr),
              RAW_OK);
    EXPECT_THAT(offsets, ElementsAre(0, 12, 24, 32, 32, 44));
    float masses[44];
    float intensities[44];
    uint8_t flags[44];
    ASSERT_EQ(RawReadSpectra(handle_, 1, 0, 5, scans, 44, offsets, masses, intensities, flags),
              RAW_OK);
    for (int i = 0; i < 5; ++i) {
      const Spectrum one = Read(handle_, 1, 0, scans[i]);
      const RawScanHeader& header = headers[scans[i] - 1];
      EXPECT_EQ(std::memcmp(&header, &one.header, sizeof(header)), 0);
      const auto size = static_cast<size_t>(offsets[i + 1] - offsets[i]);
      ASSERT_EQ(size, one.masses.size());
      EXPECT_TRUE(std::equal(one.masses.begin(), one.masses.end(), masses + offsets[i]));
      EXPECT_TRUE(
          std::equal(one.intensities.begin(), one.intensities.end(), intensities + offsets[i]));
      EXPECT_TRUE(std::equal(one.flags.begin(), one.flags.end(), flags + offsets[i]));
    }
    EXPECT_LT(offsets[5], 44) << "the cut off scan claims more than it has";

    // Room for the first scan only, then a scan that is not there: what comes before is delivered.
    EXPECT_EQ(RawReadSpectra(handle_, 1, 0, 2, scans, 19, offsets, masses, nullptr, nullptr),
              RAW_BAD_ARGUMENT);
    EXPECT_THAT(offsets, ElementsAre(0, 12, 12, ::testing::_, ::testing::_, ::testing::_));
    for (const int32_t absent : {0, -1, 5, INT32_MAX, INT32_MIN}) {
      const int32_t wanted[] = {1, absent, 3};
      EXPECT_EQ(RawReadSpectra(handle_, 1, 0, 3, wanted, 44, offsets, masses, nullptr, nullptr),
                RAW_SCAN_ABSENT);
      EXPECT_EQ(offsets[1], 8);
      EXPECT_EQ(offsets[3], 8);
      EXPECT_EQ(RawReadScanHeaders(handle_, 1, 0, absent, 2, headers), RAW_SCAN_ABSENT);
    }
    EXPECT_EQ(RawReadSpectra(handle_, 1, 0, -1, scans, 44, offsets, masses, nullptr, nullptr),
              RAW_BAD_ARGUMENT);
    EXPECT_EQ(RawReadSpectra(handle_, 1, 0, 1, scans, -1, offsets, masses, nullptr, nullptr),
              RAW_BAD_ARGUMENT);
    EXPECT_EQ(RawReadScanHeaders(handle_, 1, 0, 1, -1, headers), RAW_BAD_ARGUMENT);
    EXPECT_EQ(RawReadScanHeaders(handle_, 1, 0, 1, 1, nullptr), RAW_BAD_ARGUMENT);
    EXPECT_EQ(RawReadSpectra(handle_, 2, 0, 1, scans, 44, offsets, masses, nullptr, nullptr),
              RAW_SCAN_BUFFER_ABSENT);
    CloseRun();
  }
}

}  // namespace
}  // namespace tervalon::testing
