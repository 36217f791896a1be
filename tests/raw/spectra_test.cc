// Spectra read back point by point, and scans written.

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

#include "tests/support/fault_services.h"
#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::raw {
namespace {

using testing::Bytes;
using ::testing::ElementsAre;
using testing::FaultyFileSystem;
using testing::FileCall;
using testing::IndexEntry;
using testing::kStoredTypes;
using testing::ModelDecode;
using testing::ModelPoint;
using testing::ModelType;
using testing::ModelTypeOf;
using testing::NumberedScan;
using testing::Scan;
using testing::ScanningRecord;
using testing::Spectrum;
using testing::WriteScan;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

bool Same(float a, float b) { return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b); }

class SpectraTest : public testing::RawTest {
 protected:
  // Function 1 with one scan of the bytes given, open for reading.
  void OpenBytes(const RawFunctionRecord& record, uint32_t points, const Bytes& data,
                 uint32_t flags = 0) {
    MakeRun(record, testing::IndexBytes({{0, points | flags}}), data);
    OpenFunction();
  }

  // Creates the directory and function 1's files for writing.
  void OpenWriter(int32_t type) {
    const RawFunctionRecord record = testing::RecordFor(type);
    ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
    ASSERT_EQ(RawCreateFunctions(handle_, 1, &record), RAW_OK);
    ASSERT_EQ(RawCreateScanFile(handle_, 1, 0, 0), RAW_OK);
  }

  void CloseWriter() {
    ASSERT_EQ(RawCreateScansEnd(handle_, 1, 0), RAW_OK);
    ASSERT_EQ(RawCreateClose(handle_), RAW_OK);
    handle_ = -1;
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
    OpenBytes(testing::RecordFor(expected.type), expected.points, expected.bytes);
    const Spectrum spectrum = testing::Read(handle_, 1, 0, 1);
    EXPECT_EQ(spectrum.error, RAW_OK);
    EXPECT_EQ(spectrum.intensities, expected.intensities);
    EXPECT_EQ(spectrum.masses, expected.masses);
  }
  OpenBytes(testing::RecordFor(11), 1, {0, 0, 0, 0xF0});
  EXPECT_THAT(testing::Read(handle_, 1, 0, 1).flags, ElementsAre(15));
  OpenBytes(testing::RecordFor(3), 1, {8, 0});
  EXPECT_THAT(testing::Read(handle_, 1, 0, 1).masses, ElementsAre(100)) << "a scan of one point";
}

// Every type's random bytes, in every order of reading, against the bit-by-bit model.
TEST_F(SpectraTest, RandomBytesRunsAndOrders) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    const ModelType model = ModelTypeOf(type);
    const RawFunctionRecord record = testing::RecordFor(type);
    std::vector<IndexEntry> entries;
    Bytes data(6);  // scans need not start at 0, or follow each other
    for (const uint32_t points : {3u, 0u, 10007u, 1u, 2u, 40001u, 5u, 8u}) {
      entries.push_back({static_cast<uint32_t>(data.size()), points});
      data.resize(data.size() + model.BytesOf(points) + points % 3);
    }
    for (uint8_t& byte : data) byte = static_cast<uint8_t>(random_());
    MakeRun(record, testing::IndexBytes(entries), data);
    OpenFunction();

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
          point.mass = i < 32 ? testing::Get<float>(record, 160 + 4 * i) : 0;
        } else if (!model.stores_masses) {
          const double step = points < 2 ? 1.0 : 1000.0 / (points - 1);
          point.mass = static_cast<float>(100 + i * step);
        }
        expected.push_back(point);
      }
      const Spectrum read = testing::Read(handle_, 1, 0, static_cast<int32_t>(s + 1),
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

TEST_F(SpectraTest, StoredValuesAreTheNearest) {
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
    OpenWriter(type);
    Scan scan;
    scan.intensities = intensities;
    scan.masses = masses;
    ASSERT_EQ(WriteScan(handle_, 1, 0, type, scan), RAW_OK);
    CloseWriter();
    OpenFunction();
    const Spectrum read = testing::Read(handle_, 1, 0, 1);
    ASSERT_EQ(read.intensities.size(), intensities.size());
    for (size_t i = 0; i < intensities.size(); ++i) {
      ASSERT_EQ(read.intensities[i], testing::ModelStoredIntensity(type, intensities[i]))
          << intensities[i];
      if (!ModelTypeOf(type).stores_masses) continue;
      ASSERT_NEAR(read.masses[i], masses[i], testing::ModelMassTolerance(type, masses[i]));
    }
  }
}

TEST_F(SpectraTest, MassesThatDoNotFit) {
  for (const auto type : std::vector<int16_t>{0, 1, 8, 9, 10, 12}) {
    SCOPED_TRACE(type);
    OpenWriter(type);
    Scan scan;
    scan.masses = {-1, -kInfinity, std::nanf(""), 3e38f, kInfinity};
    scan.intensities = {1, 1, 1, 1, 1};
    ASSERT_EQ(WriteScan(handle_, 1, 0, type, scan), RAW_OK);
    CloseWriter();
    OpenFunction();
    const auto largest = static_cast<float>(testing::ModelLargestMass(type));
    if (type == 10) {
      EXPECT_THAT(testing::Read(handle_, 1, 0, 1).masses,
                  ElementsAre(-1, -kInfinity, 0, 3e38f, kInfinity));
    } else {
      EXPECT_THAT(testing::Read(handle_, 1, 0, 1).masses, ElementsAre(0, 0, 0, largest, largest));
    }
  }
}

// Scans of sizes around the units and the writer's buffer, with all that the index says of them.
TEST_F(SpectraTest, WrittenScansAndTheirIndex) {
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
    const Bytes data = testing::ReadFile(Path("_FUNC001.DAT"));
    const Bytes index = testing::ReadFile(Path("_FUNC001.IDX"));
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

      const Spectrum read = testing::Read(handle_, 1, 0, static_cast<int32_t>(s + 1));
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

TEST_F(SpectraTest, BasePeakFieldOfEveryType) {
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
    OpenWriter(type);
    Scan scan;
    scan.masses = {150, 200, 250};
    scan.intensities = {3, 100, 99};
    scan.flags = {0, 10, 0};
    ASSERT_EQ(WriteScan(handle_, 1, 0, type, scan), RAW_OK);
    CloseWriter();
    const Bytes index = testing::ReadFile(Path("_FUNC001.IDX"));
    ASSERT_EQ(index.size(), 22u);
    EXPECT_EQ(Bytes(index.begin() + 16, index.end()), field);
    OpenFunction();
    EXPECT_EQ(testing::Read(handle_, 1, 0, 1).header.base_peak_intensity, 100);
  }
}

TEST_F(SpectraTest, BasePeakAmongNegativeIntensities) {
  OpenWriter(4);
  Scan scan;
  scan.intensities = std::vector<float>(5000, -70);
  scan.intensities[4321] = -2;
  ASSERT_EQ(WriteScan(handle_, 1, 0, 4, scan), RAW_OK);
  CloseWriter();
  OpenFunction();
  const RawScanHeader header = testing::Read(handle_, 1, 0, 1).header;
  EXPECT_EQ(header.base_peak_intensity, -2);
  EXPECT_EQ(header.base_peak_mass, static_cast<float>(100 + 4321 * (1000.0 / 4999)));
  EXPECT_EQ(header.total_ion_current, -70.0f * 4999 - 2);
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
  for (const auto& given : kCases) {
    Scan scan = NumberedScan(5, 3);
    scan.description = given.description;
    ASSERT_EQ(WriteScan(handle_, 1, 0, 3, scan), RAW_OK);
  }
  ASSERT_EQ(RawCreateScans(handle_, 1, 0, 3, 1, 1, 0, 7.5f, nullptr, nullptr, nullptr, 0), RAW_OK);
  CloseWriter();
  Bytes index = testing::ReadFile(Path("_FUNC001.IDX"));
  OpenFunction();
  for (size_t i = 0; i < std::size(kCases); ++i) {
    SCOPED_TRACE(i);
    uint32_t word = 0;
    std::memcpy(&word, index.data() + 22 * i + 4, 4);
    EXPECT_EQ(word, kCases[i].index_flags | 3);
    const RawScanHeader header = testing::Read(handle_, 1, 0, static_cast<int32_t>(i + 1)).header;
    EXPECT_EQ(header.points, kCases[i].points_flag | 3);
    EXPECT_EQ(header.flags, kCases[i].flags);
    EXPECT_EQ(header.flag_c, kCases[i].flag_c);
    EXPECT_EQ(header.segment, kCases[i].segment);
    EXPECT_EQ(header.low_mass, 100);
    EXPECT_EQ(header.high_mass, 1100);
  }
  const RawScanHeader header = testing::Read(handle_, 1, 0, 9).header;
  EXPECT_EQ(header.points, RAW_SCAN_FLAG_D);
  EXPECT_EQ(header.flags, RAW_SCAN_FLAG_B);
  EXPECT_EQ(header.retention_time, 7.5f);
  EXPECT_EQ(header.base_peak_intensity, 0);
  EXPECT_EQ(header.base_peak_mass, 0);

  // Flag E only a reader knows; flag C does not count where it was not stored.
  OpenBytes(ScanningRecord(3), 1, {8, 0}, 1u << 31 | 1u << 28);
  const RawScanHeader foreign = testing::Read(handle_, 1, 0, 1).header;
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
    OpenWriter(type);
    Scan scan;
    scan.masses = {100};
    scan.intensities = {1};
    for (const uint32_t segment : {0u, 1u, 2u, 3u}) {
      scan.description.segment = segment;
      ASSERT_EQ(WriteScan(handle_, 1, 0, type, scan), RAW_OK);
    }
    scan.description = {0, 1, 0, 0, 1, 0};  // flag B
    ASSERT_EQ(WriteScan(handle_, 1, 0, type, scan), RAW_OK);
    CloseWriter();
    OpenFunction(calibration.get());
    std::vector<float> masses;
    for (int32_t s = 1; s <= 5; ++s) {
      const Spectrum read = testing::Read(handle_, 1, 0, s);
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
  EXPECT_EQ(testing::Read(handle_, 1, 0, 1).masses[0], 100);
  EXPECT_EQ(testing::Read(handle_, 1, 0, 1).header.flags, 0u);
}

TEST_F(SpectraTest, ProcessedDataSets) {
  MakeRun({ScanningRecord(3)}, {{NumberedScan(1, 8)}});
  OpenRun();
  ASSERT_EQ(RawCreateScanFile(handle_, 1, 255, 0), RAW_OK);
  ASSERT_EQ(WriteScan(handle_, 1, 255, 12, NumberedScan(2, 5)), RAW_OK);
  ASSERT_EQ(RawCreateScansEnd(handle_, 1, 255), RAW_OK);
  EXPECT_TRUE(testing::Exists(Path("_PROC255.DAT")));
  EXPECT_TRUE(testing::Exists(Path("_PROC255.IDX")));
  const RawFunctionRecord set = ScanningRecord(12);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_OK);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 255, &set, nullptr), RAW_OK);
  EXPECT_EQ(testing::Read(handle_, 1, 0, 1).intensities, NumberedScan(1, 8).intensities);
  EXPECT_EQ(testing::Read(handle_, 1, 255, 1).masses, NumberedScan(2, 5).masses);
  EXPECT_EQ(testing::Read(handle_, 1, 255, 1).flags, NumberedScan(2, 5).flags);
  int32_t scan = 0;
  EXPECT_EQ(RawReadTimeScan(handle_, 1, 255, &set, 9, &scan), RAW_OK);
  EXPECT_EQ(scan, 1);
  EXPECT_EQ(RawReadFuncEnd(handle_, 1, 255), RAW_OK);
  EXPECT_EQ(testing::Read(handle_, 1, 255, 1).error, RAW_SCAN_BUFFER_ABSENT);
  EXPECT_EQ(testing::Read(handle_, 1, 0, 1).error, RAW_OK);
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
    MakeRun({testing::RecordFor(type)}, {{NumberedScan(1, 12), NumberedScan(2, 12)}});
    Bytes data = testing::ReadFile(Path("_FUNC001.DAT"));
    data.resize(data.size() - model.unit_bytes - 1);  // one unit and a byte of the next
    testing::WriteFile(Path("_FUNC001.DAT"), data);
    OpenFunction();
    const Spectrum second = testing::Read(handle_, 1, 0, 2);
    EXPECT_EQ(second.error, RAW_OK);
    ASSERT_EQ(second.intensities.size(), 12 - 2 * model.unit_points);
    EXPECT_TRUE(std::equal(second.intensities.begin(), second.intensities.end(),
                           NumberedScan(2, 12).intensities.begin()));
    EXPECT_EQ(testing::Read(handle_, 1, 0, 2, 12).intensities.size(), 0u);
    EXPECT_EQ(testing::Read(handle_, 1, 0, 1).intensities.size(), 12u);
  }
}

TEST_F(SpectraTest, ArgumentsOfWriting) {
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
  EXPECT_EQ(testing::ReadFile(Path("_FUNC001.DAT")).size(), 10u + 4u + 8u);
  OpenRun();
  const RawFunctionRecord floats = ScanningRecord(10);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &floats, nullptr), RAW_OK);
  EXPECT_THAT(testing::Read(handle_, 1, 0, 3).masses, ElementsAre(1));
}

TEST_F(SpectraTest, LargestScan) {
  OpenWriter(3);
  Scan scan;
  scan.intensities.assign(RAW_MAX_POINTS, 1);
  ASSERT_EQ(WriteScan(handle_, 1, 0, 3, scan), RAW_OK);
  CloseWriter();
  OpenFunction();
  const Spectrum read = testing::Read(handle_, 1, 0, 1, RAW_MAX_POINTS - 1);
  EXPECT_THAT(read.intensities, ElementsAre(1, 1));
  EXPECT_EQ(read.masses[1], 1100);
  EXPECT_EQ(read.header.total_ion_current, static_cast<float>(RAW_MAX_POINTS));
}

TEST_F(SpectraTest, FiftyScansWaitAndReadersSeeThemOnceFlushed) {
  OpenWriter(3);
  const auto records = [&] { return testing::ReadFile(Path("_FUNC001.IDX")).size() / 22; };
  for (uint32_t i = 1; i <= 49; ++i) {
    ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(i, 10)), RAW_OK);
  }
  EXPECT_EQ(records(), 0u);
  ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(50, 10)), RAW_OK);
  EXPECT_EQ(records(), 50u);

  int32_t reader = -1;
  ASSERT_EQ(RawReadOpen(Path().c_str(), &reader), RAW_OK);
  const RawFunctionRecord record = ScanningRecord(3);
  ASSERT_EQ(RawReadFuncInit(reader, 1, 0, &record, nullptr), RAW_OK);
  EXPECT_EQ(testing::Read(reader, 1, 0, 50).intensities, NumberedScan(50, 10).intensities);
  EXPECT_EQ(testing::Read(reader, 1, 0, 51).error, RAW_SCAN_ABSENT);
  for (uint32_t i = 51; i <= 53; ++i) {
    ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(i, 10)), RAW_OK);
    EXPECT_EQ(testing::Read(reader, 1, 0, static_cast<int32_t>(i)).error, RAW_SCAN_ABSENT);
    ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
    EXPECT_EQ(testing::Read(reader, 1, 0, static_cast<int32_t>(i)).intensities,
              NumberedScan(i, 10).intensities);
    int32_t scan = 0;
    EXPECT_EQ(RawReadTimeScan(reader, 1, 0, &record, 1e9f, &scan), RAW_OK);
    EXPECT_EQ(scan, static_cast<int32_t>(i));
  }
  EXPECT_EQ(RawReadClose(reader), RAW_OK);
}

// --- faults while writing

class WriteFaultTest : public SpectraTest {
 protected:
  static constexpr int16_t kType = 1;

  // Sizes vary, so that blocks end within scans.
  static Scan FaultScan(uint32_t number) {
    return NumberedScan(number, number % 10 == 0 ? 2600 : number * 37 % 600);
  }

  // What a second handle sees is whole, and the front of what was accepted: the numbers of scans.
  void ExpectFrontOf(const std::vector<uint32_t>& accepted, size_t least) {
    int32_t reader = -1;
    RawFunctionRecord record;
    ASSERT_EQ(RawReadOpen(Path().c_str(), &reader), RAW_OK);
    ASSERT_EQ(RawReadFuncInfo(reader, 1, &record, nullptr), RAW_OK);
    const auto scans = testing::Get<uint32_t>(record, 18);
    ASSERT_LE(scans, accepted.size());
    ASSERT_GE(scans, least);
    ASSERT_EQ(RawReadFuncInit(reader, 1, 0, &record, nullptr), RAW_OK);
    for (uint32_t s = 0; s < scans; ++s) {
      const Spectrum read = testing::Read(reader, 1, 0, static_cast<int32_t>(s + 1));
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

TEST_F(WriteFaultTest, EveryWriteCanFail) {
  for (const FileCall call : {FileCall::kWrite, FileCall::kPosition}) {
    for (int64_t nth = 1;; ++nth) {
      SCOPED_TRACE(nth);
      FaultyFileSystem& files = UseFaultyFiles();
      files.SetShortWriteBytes(random_() % 1300);
      const bool failed = WriteWithFault(
          &files, [&] { files.On(call).FailNth(nth); }, [&] { files.On(call).Heal(); });
      if (HasFailure()) return;
      if (!failed) {
        EXPECT_GT(nth, 30) << "the faults were not reached";
        break;
      }
    }
  }
}

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

TEST_F(WriteFaultTest, EndReportsAFailedFlushAndClosesAllTheSame) {
  FaultyFileSystem& files = UseFaultyFiles();
  for (const FileCall call : {FileCall::kWrite, FileCall::kClose}) {
    OpenWriter(kType);
    ASSERT_EQ(WriteScan(handle_, 1, 0, kType, FaultScan(3)), RAW_OK);
    files.On(call).FailNth(1);
    EXPECT_EQ(RawCreateScansEnd(handle_, 1, 0),
              call == FileCall::kWrite ? RAW_SHORT_WRITE : RAW_MEMBER_NOT_CLOSED);
    EXPECT_EQ(files.open_files(), 0);
    EXPECT_EQ(RawCreateScansEnd(handle_, 1, 0), RAW_SCAN_BUFFER_ABSENT);
    EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
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
  EXPECT_EQ(WriteScan(handle_, 1, 0, kType, NumberedScan(3, 5000)), RAW_SHORT_WRITE);
  files.SetDiskSpace(UINT64_MAX);

  int32_t reader = -1;
  const RawFunctionRecord record = ScanningRecord(kType);
  ASSERT_EQ(RawReadOpen(Path().c_str(), &reader), RAW_OK);
  ASSERT_EQ(RawReadFuncInit(reader, 1, 0, &record, nullptr), RAW_OK);
  EXPECT_EQ(testing::Read(reader, 1, 0, 1).intensities, NumberedScan(1, 500).intensities);
  EXPECT_EQ(testing::Read(reader, 1, 0, 2).intensities, NumberedScan(2, 500).intensities);
  ASSERT_EQ(WriteScan(handle_, 1, 0, kType, NumberedScan(4, 500)), RAW_OK);
  ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
  EXPECT_EQ(testing::Read(reader, 1, 0, 3).intensities, NumberedScan(4, 500).intensities);
  EXPECT_EQ(RawReadClose(reader), RAW_OK);
}

}  // namespace
}  // namespace tervalon::raw
