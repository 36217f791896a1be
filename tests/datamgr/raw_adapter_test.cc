// Raw data through data handles.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tervalon/raw_analog.h"
#include "tests/datamgr/raw_data_fixture.h"

namespace tervalon::datamgr {
namespace {

using testing::ChannelRecord;
using ::testing::ElementsAre;
using testing::FaultyFileSystem;
using testing::FileCall;
using testing::NumberedScan;
using testing::Put;
using testing::Scan;
using testing::ScanningRecord;
using ::testing::SizeIs;
using testing::WriteScan;

constexpr uint32_t kScans = 6;

// A scan at a time, of points (mass, intensity).
Scan MakeScan(float time, const std::vector<std::pair<float, float>>& points) {
  Scan scan;
  scan.description.retention_time = time;
  for (const auto& [mass, intensity] : points) {
    scan.masses.push_back(mass);
    scan.intensities.push_back(intensity);
  }
  return scan;
}

// Function 1: centroids. Function 2: an MRM function of three channels, parent > daughter: 300 >
// 282, 400 > 382.25 and 250 > 290.
class RawAdapterTest : public RawDataTest {
 protected:
  void SetUp() override {
    const std::vector<Scan> centroids = {
        MakeScan(0.5f, {{184.1f, 100}, {200, 20}, {250, 7}, {300, 1000}}),
        MakeScan(1.0f, {{183.7f, 10}, {184.6f, 5}, {184.61f, 1}}),
        MakeScan(1.5f, {{150, 8}, {200.25f, 16}}),
        MakeScan(2.0f, {}),
    };
    RawFunctionRecord mrm = ChannelRecord(RAW_DATA_SIR, {300, 400, 250});
    Put<uint16_t>(&mrm, 0, RAW_TYPE_MRM | RAW_DATA_SIR << 10);
    Put(&mrm, 288, 282.0f);
    Put(&mrm, 292, 382.25f);
    Put(&mrm, 296, 290.0f);
    const std::vector<Scan> channels = {MakeScan(0.25f, {{0, 1}, {0, 10}, {0, 100}}),
                                        MakeScan(0.75f, {{0, 2}, {0, 20}, {0, 200}})};
    ASSERT_NO_FATAL_FAILURE(MakeData({ScanningRecord(RAW_DATA_STANDARD_CENTROID, 100, 400), mrm},
                                     {centroids, channels}));
  }
};

TEST_F(RawAdapterTest, SpectraAreMassesAndIntensities) {
  DmRawDescriptor descriptor = Spectrum(1);
  const int32_t handle = Grant(&descriptor);
  ASSERT_GT(handle, 0);
  EXPECT_EQ(descriptor.element_count, 4U);
  EXPECT_EQ(descriptor.total_intensity, 0);
  ASSERT_EQ(DmGetData(handle, 2, 2, 0), 0);
  EXPECT_THAT(Values(handle, 0, 2, 2), ElementsAre(200, 250));
  EXPECT_THAT(Values(handle, 1, 2, 2), ElementsAre(20, 7));
  const DmRawDescriptor middle = Stored(handle);
  EXPECT_EQ(middle.low, 200);
  EXPECT_EQ(middle.high, 250);
  EXPECT_EQ(middle.lowest_intensity, 7);
  EXPECT_EQ(middle.highest_intensity, 20);
  EXPECT_EQ(middle.total_intensity, 27);
  // The statistics are those of the elements read last.
  ASSERT_EQ(DmGetData(handle, 4, 1, 0), 0);
  EXPECT_EQ(Stored(handle).total_intensity, 1000);
  EXPECT_EQ(Stored(handle).element_count, 4U);
  // Element 0 and elements behind the last are nowhere.
  EXPECT_NE(DmGetData(handle, 0, 1, 0), 0);
  EXPECT_NE(DmGetData(handle, 4, 2, 0), 0);
  EXPECT_EQ(DmReleaseHandle(handle, 0), 0);

  DmRawDescriptor empty = Spectrum(4);
  EXPECT_THAT(ReadAll(&empty).first, ElementsAre());
  EXPECT_EQ(empty.element_count, 0U);
}

TEST_F(RawAdapterTest, ChromatogramsAreIntensitiesAndTimes) {
  struct Case {
    const char* name;
    uint32_t type;
    Floats masses;
    std::vector<float> values;
  };
  const Case cases[] = {
      {"total ion current", DM_TRACE_TIC, {}, {1127, 16, 24, 0}},
      {"base peak", DM_TRACE_BPI, {}, {1000, 10, 16, 0}},
      {"a mass takes 0.5 to both sides", DM_TRACE_MASS, {184.1f}, {100, 15, 0, 0}},
      {"a range", DM_TRACE_MASSES, {32150, 200}, {120, 16, 8, 0}},
      {"a difference", DM_TRACE_MASSES, {64000, 184.1f, -200, 64000}, {80, 15, -16, 0}},
      {"members without markers add up", DM_TRACE_MASSES, {200, 300}, {1020, 0, 16, 0}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    const Items items = ReadAll(Chromatogram(test.type, test.masses));
    EXPECT_EQ(items.first, test.values);
    EXPECT_THAT(items.second, ElementsAre(0.5f, 1.0f, 1.5f, 2.0f));
  }
  DmRawDescriptor statistics = Chromatogram(DM_TRACE_MASSES, {64000, 184.1f, -200, 64000});
  ReadAll(&statistics);
  EXPECT_EQ(statistics.element_count, 4U);
  EXPECT_EQ(statistics.low, 0.5f);
  EXPECT_EQ(statistics.high, 2);
  EXPECT_EQ(statistics.lowest_intensity, -16);
  EXPECT_EQ(statistics.highest_intensity, 80);
  EXPECT_EQ(statistics.total_intensity, 79);
}

TEST_F(RawAdapterTest, TheTraceRecordCarriesATolerance) {
  DmRawDescriptor narrow = Chromatogram(DM_TRACE_MASS, {184.6f});
  narrow.trace.tolerance = 0.005f;
  EXPECT_THAT(ReadAll(narrow).first, ElementsAre(0, 5, 0, 0));
  narrow.trace.tolerance = 60;  // 0.011
  narrow.trace.tolerance_in_ppm = 1;
  EXPECT_THAT(ReadAll(narrow).first, ElementsAre(0, 6, 0, 0));
  // Another tolerance is another trace.
  DmRawDescriptor other = narrow;
  other.trace.tolerance = 61;
  EXPECT_TRUE(DmRawCompare(&narrow, &narrow, 0));
  EXPECT_FALSE(DmRawCompare(&narrow, &other, 0));
}

TEST_F(RawAdapterTest, NeutralLossesAndGainsTakeMrmChannels) {
  EXPECT_THAT(ReadAll(Chromatogram(DM_TRACE_NEUTRAL_LOSS, {18}, 2)).first, ElementsAre(11, 22));
  EXPECT_THAT(ReadAll(Chromatogram(DM_TRACE_NEUTRAL_LOSS, {32010, 17.75f}, 2)).first,
              ElementsAre(10, 20));
  EXPECT_THAT(ReadAll(Chromatogram(DM_TRACE_NEUTRAL_GAIN, {40}, 2)).first, ElementsAre(100, 200));
  EXPECT_THAT(ReadAll(Chromatogram(DM_TRACE_MASS, {400.5f}, 2)).first, ElementsAre(10, 20));
  for (const int16_t function : {int16_t{1}, int16_t{2}}) {
    DmRawDescriptor absent = Chromatogram(DM_TRACE_NEUTRAL_LOSS, {50}, function);
    EXPECT_EQ(Grant(&absent), 0) << function;
  }
}

TEST_F(RawAdapterTest, AnalogChannelsHaveTheirOwnTimes) {
  int32_t handle = -1;
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
  const RawAnalogDescriptor channels[2] = {};
  ASSERT_EQ(RawCreateAnalogInf(handle, 2, channels), RAW_OK);
  ASSERT_EQ(RawCreateAnalogFile(handle), RAW_OK);
  for (int i = 1; i <= 5; ++i) {
    const float values[] = {static_cast<float>(i), static_cast<float>(10 * i)};
    ASSERT_EQ(RawCreateAnalogScan(handle, 0.125f * static_cast<float>(i), 2, values), RAW_OK);
  }
  ASSERT_EQ(RawCreateAnalogEnd(handle), RAW_OK);
  ASSERT_EQ(RawReadClose(handle), RAW_OK);

  DmRawDescriptor descriptor = Chromatogram(DM_TRACE_ANALOG);
  descriptor.trace.analog_channel = 1;
  const Items items = ReadAll(descriptor);
  EXPECT_THAT(items.first, ElementsAre(10, 20, 30, 40, 50));
  EXPECT_THAT(items.second, ElementsAre(0.125f, 0.25f, 0.375f, 0.5f, 0.625f));
  // It belongs to no function.
  SystemRawFile file = {};
  Path().copy(file.directory, sizeof(file.directory));
  EXPECT_EQ(DmRawValidateChrom(&file, &descriptor.trace, &descriptor.trace, 0), 1);
  for (const int16_t channel : {int16_t{-1}, int16_t{2}}) {
    descriptor.trace.analog_channel = channel;
    EXPECT_EQ(Grant(&descriptor), 0) << channel;
  }
}

TEST_F(RawAdapterTest, WhatIsNotThereIsNotGrantedAndLeavesNothingOpen) {
  const int32_t free = FreeRawHandles();
  std::vector<DmRawDescriptor> wrong;
  for (const int32_t scan : {5, 0, -1}) wrong.push_back(Spectrum(scan));
  for (const auto function : std::vector<int16_t>{3, 0, -1, 33})
    wrong.push_back(Spectrum(1, function));
  for (const auto process : std::vector<int16_t>{7, 256, -1})
    wrong.push_back(Spectrum(1, 1, process));
  for (const auto type :
       std::vector<uint32_t>{5, DM_TRACE_TAS, DM_TRACE_MASS, DM_TRACE_ANALOG, 99}) {
    wrong.push_back(Chromatogram(type));
  }
  wrong.push_back(Spectrum(1));
  wrong.back().kind = 1;
  wrong.push_back(Spectrum(1));
  std::strcat(wrong.back().directory, ".gone");
  wrong.push_back(Spectrum(1));
  std::fill(std::begin(wrong.back().directory), std::end(wrong.back().directory), 'x');
  for (size_t i = 0; i < wrong.size(); ++i) {
    EXPECT_EQ(Grant(&wrong[i]), 0) << i;
    EXPECT_EQ(FreeRawHandles(), free) << i;
  }
  // A failure closes nothing that others read.
  DmRawDescriptor good = Spectrum(1);
  const int32_t handle = Grant(&good);
  EXPECT_EQ(FreeRawHandles(), free - 1);
  EXPECT_EQ(Grant(wrong.data()), 0);
  EXPECT_EQ(FreeRawHandles(), free - 1);
  EXPECT_EQ(DmGetData(handle, 1, 4, 0), 0);
  DmReleaseHandle(handle, 0);
  EXPECT_EQ(FreeRawHandles(), free);
}

// Sizes of elements count when they are read or written, and for sharing.
TEST_F(RawAdapterTest, DescriptorsAndElementsOfTheWrongSizeAreRefused) {
  DmRawDescriptor descriptor = Spectrum(1);
  EXPECT_EQ(DmGetHandle(DM_TYPE_RAW, 455, &descriptor, 2, 4, 0), 0);
  EXPECT_EQ(DmGetHandle(DM_TYPE_RAW, 456, nullptr, 2, 4, 0), 0);
  for (const uint16_t flags : {uint16_t{0}, uint16_t{DM_FLAG_NO_SOURCE}}) {
    const int32_t handle = DmGetHandle(DM_TYPE_RAW, 456, &descriptor, 2, 2, flags);
    ASSERT_GT(handle, 0);
    EXPECT_EQ(descriptor.element_count, 4U);
    EXPECT_EQ(DmGetHandle(DM_TYPE_RAW, 456, &descriptor, 1, 4, 0), 0);
    EXPECT_EQ(DmGetHandle(DM_TYPE_RAW, 456, &descriptor, 1, 2, 0), handle);
    EXPECT_EQ(DmGetData(handle, 1, 4, 0), flags != 0 ? 0 : -1);
    EXPECT_EQ(DmWriteHandle(handle, 0), -1);
    EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
    EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
  }
  // One array only, and none.
  EXPECT_EQ(DmGetHandle(DM_TYPE_RAW, 456, &descriptor, 1, 4, 0), 1);
  EXPECT_EQ(DmGetData(1, 1, 4, 0), 0);
  EXPECT_THAT(Values(1, 0, 2, 1), ElementsAre(200));
  EXPECT_EQ(DmDataRead(DM_TYPE_RAW, &descriptor, 0, 1, 4, nullptr), 0);
  EXPECT_EQ(descriptor.highest_intensity, 1000);
}

// No room is made for elements that are not there.
TEST_F(RawAdapterTest, HugeRangesTakeNoMemory) {
  testing::FaultyMemory memory;
  const platform::ScopedReplacement<platform::MovableMemory> use(&memory);
  DmRawDescriptor descriptor = Chromatogram(DM_TRACE_TIC);
  const int32_t handle = Grant(&descriptor);
  memory.allocate.FailNth(1, true);
  memory.reallocate.FailNth(1, true);
  const int64_t calls = memory.allocate.calls() + memory.reallocate.calls();
  for (const auto& [first, count] : {std::pair(1U, 1 << 29), {5U, 1}, {4U, INT32_MAX}}) {
    EXPECT_EQ(DmGetData(handle, first, count, 0), -1) << first;
  }
  EXPECT_EQ(memory.allocate.calls() + memory.reallocate.calls(), calls);
  memory.allocate.Heal();
  memory.reallocate.Heal();
  // Nor for the gap to an empty range, which fails as a read of the gap would.
  EXPECT_EQ(DmGetData(handle, 1, 4, 0), 0);
  memory.reallocate.FailNth(1, true);
  EXPECT_EQ(DmGetData(handle, 1U << 29, 0, 0), -1);
  EXPECT_EQ(Values(handle, 0, 1, 1), Floats{});
  memory.reallocate.Heal();
  EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
}

// What a caller selects decides about sharing; what the adapter writes back does not.
TEST_F(RawAdapterTest, EqualSelectionsAreShared) {
  DmRawDescriptor first = Spectrum(1);
  DmRawDescriptor second = Spectrum(1);
  second.trace.type = DM_TRACE_BPI;
  second.element_count = 99;
  const int32_t handle = Grant(&first);
  EXPECT_EQ(Grant(&second), handle);
  EXPECT_EQ(second.element_count, 4U);
  EXPECT_EQ(second.trace.type, 0U);

  DmRawDescriptor tic = Chromatogram(DM_TRACE_TIC, {184});
  DmRawDescriptor same_tic = Chromatogram(DM_TRACE_TIC);
  same_tic.scan = 3;
  EXPECT_EQ(Grant(&tic), 2);
  EXPECT_EQ(Grant(&same_tic), 2);
  std::vector<DmRawDescriptor> others = {
      Spectrum(2), Chromatogram(DM_TRACE_BPI), Chromatogram(DM_TRACE_TIC, {}, 2),
      Chromatogram(DM_TRACE_MASS, {184}), Chromatogram(DM_TRACE_MASS, {185})};
  for (size_t i = 0; i < others.size(); ++i) {
    EXPECT_EQ(Grant(&others[i]), static_cast<int32_t>(i + 3));
  }
}

TEST_F(RawAdapterTest, FiftyNineDirectoriesShareTheRawHandles) {
  const int32_t free = FreeRawHandles();
  std::vector<int32_t> handles;
  std::vector<std::string> directories;
  for (int i = 0; i < DM_MAX_HANDLES; ++i) {
    DmRawDescriptor descriptor = Spectrum(1);
    std::strcpy(descriptor.directory, CopyData("COPY" + std::to_string(i) + ".RAW").c_str());
    handles.push_back(Grant(&descriptor));
    ASSERT_GT(handles.back(), 0) << i;
    EXPECT_GE(FreeRawHandles(), 8);
  }
  std::shuffle(handles.begin(), handles.end(), random_);
  for (int round = 1; round <= 2; ++round) {
    for (const int32_t handle : handles) {
      ASSERT_EQ(DmGetData(handle, 1, 2 * round, 0), 0);
      EXPECT_THAT(Values(handle, 1, 1, 2), ElementsAre(100, 20));
    }
  }
  // Nor does it take more when the application leaves it only one.
  std::vector<int32_t> taken;
  int32_t raw_handle = -1;
  while (RawReadOpen(Path().c_str(), &raw_handle) == RAW_OK) taken.push_back(raw_handle);
  for (const int32_t handle : handles) {
    ASSERT_EQ(DmGetData(handle, 1, 2, DM_DATA_DISCARD), 0);
  }
  for (const int32_t open : taken) RawReadClose(open);
  for (const int32_t handle : handles) EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
  EXPECT_EQ(FreeRawHandles(), free);
}

TEST_F(RawAdapterTest, OneDirectoryIsOpenedOnce) {
  FaultyFileSystem& files = UseFaultyFiles();
  DmRawDescriptor kept = Chromatogram(DM_TRACE_TIC);
  const int32_t keeper = Grant(&kept);
  ReadAll(Chromatogram(DM_TRACE_MASS, {184}));
  const int64_t opens = files.Calls(FileCall::kOpen);
  for (float mass = 184; mass < 200; ++mass) ReadAll(Chromatogram(DM_TRACE_MASS, {mass}));
  for (const int32_t scan : {1, 3, 2}) ReadAll(Spectrum(scan));
  EXPECT_EQ(files.Calls(FileCall::kOpen), opens);
  // A frozen handle opens it again when the last other one is gone, and closes it in the end.
  DmRawDescriptor frozen = Spectrum(1);
  const int32_t last = Grant(&frozen);
  DmFreezeHandle(last, 1);
  EXPECT_EQ(DmReleaseHandle(keeper, 0), 0);
  EXPECT_EQ(files.open_files(), 0);
  EXPECT_EQ(DmGetData(last, 1, 4, 0), 0);
  EXPECT_EQ(files.open_files(), 2);
  EXPECT_EQ(DmReleaseHandle(last, 0), 0);
  EXPECT_EQ(files.open_files(), 0);
}

// An application may drop all raw handles and use their numbers for other directories.
TEST_F(RawAdapterTest, SurvivesAResetOfTheRawHandles) {
  DmRawDescriptor descriptor = Spectrum(1);
  const int32_t handle = Grant(&descriptor);
  RawHandlesInit();
  const std::string other = CopyData("OTHER.RAW");
  ASSERT_EQ(RawReadOpen(other.c_str(), &handle_), RAW_OK);
  EXPECT_EQ(DmGetData(handle, 1, 4, 0), 0);
  EXPECT_THAT(Values(handle, 1, 1, 2), ElementsAre(100, 20));
  EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
  char name[TV_PATH_SIZE];
  EXPECT_EQ(RawHandleGetClusterName(handle_, name), RAW_OK);
}

TEST_F(RawAdapterTest, CutOffDataGiveFewerElements) {
  testing::Bytes data = testing::ReadFile(Path("_FUNC001.DAT"));
  data.resize(10);  // the first pair of points
  testing::WriteFile(Path("_FUNC001.DAT"), data);
  DmRawDescriptor spectrum = Spectrum(1);
  EXPECT_THAT(ReadAll(&spectrum).second, ElementsAre(100, 20));
  EXPECT_EQ(spectrum.element_count, 2U);
  DmRawDescriptor trace = Chromatogram(DM_TRACE_TIC);
  ReadAll(&trace);
  EXPECT_EQ(trace.element_count, 1U);
}

TEST_F(RawAdapterTest, ReadersSeeScansThatAWriterAdds) {
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
  ASSERT_EQ(RawCreateScanFile(handle_, 1, 0, 0), RAW_OK);
  const auto write = [this](uint32_t number) {
    ASSERT_EQ(WriteScan(handle_, 1, 0, RAW_DATA_STANDARD_CENTROID, NumberedScan(number, 3)), 0);
    ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
  };
  write(1);
  DmRawDescriptor descriptor = Chromatogram(DM_TRACE_TIC);
  const int32_t handle = Grant(&descriptor);
  EXPECT_EQ(descriptor.element_count, 1U);
  EXPECT_EQ(DmGetData(handle, 1, 1, 0), 0);
  for (uint32_t number = 2; number <= kScans; ++number) {
    write(number);
    EXPECT_EQ(DmGetData(handle, 1, static_cast<int32_t>(number), 0), 0);
    EXPECT_EQ(Stored(handle).element_count, number);
  }
}

// Recorded acquisitions: what the data handles deliver is what the raw exports do.
TEST_F(RawAdapterTest, RecordedData) {
  const char* folder = std::getenv("TERVALON_TEST_DATA");
  if (folder == nullptr || *folder == '\0') GTEST_SKIP() << "TERVALON_TEST_DATA is not set";
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".RAW") continue;
    const std::string directory = entry.path().string();
    RawCalibration calibration;
    int16_t functions = 0;
    int32_t raw = -1;
    ASSERT_EQ(RawReadOpen(directory.c_str(), &raw), RAW_OK);
    ASSERT_EQ(RawReadHeader(raw, nullptr, &calibration, &functions, nullptr), RAW_OK);
    for (int16_t function = 1; function <= functions; ++function) {
      RawFunctionRecord record;
      ASSERT_EQ(RawReadFuncInfo(raw, function, &record, nullptr), RAW_OK);
      ASSERT_EQ(RawReadFuncInit(raw, function, 0, &record, &calibration), RAW_OK);
      const auto scans = testing::Get<int32_t>(record, 18);
      DmRawDescriptor trace = Chromatogram(DM_TRACE_TIC, {}, function);
      std::strcpy(trace.directory, directory.c_str());
      EXPECT_THAT(ReadAll(trace).first, SizeIs(scans));
      for (int32_t scan = 1; scan <= scans; scan += 1 + scans / 10) {
        SCOPED_TRACE(directory + ", " + std::to_string(function) + ", " + std::to_string(scan));
        DmRawDescriptor descriptor = Spectrum(scan, function);
        std::strcpy(descriptor.directory, directory.c_str());
        const Items items = ReadAll(descriptor);
        const testing::Spectrum expected = testing::Read(raw, function, 0, scan);
        EXPECT_EQ(items.first, expected.masses);
        EXPECT_EQ(items.second, expected.intensities);
      }
    }
    RawReadClose(raw);
  }
}

TEST_F(RawAdapterTest, Identifiers) {
  SystemRawFile file = {};
  char identifier[TV_PATH_SIZE] = "";
  std::strcpy(file.directory, "C:\\DATA\\");
  std::strcpy(file.name, "RUN1");
  EXPECT_EQ(DmRawFileToID(&file, identifier), 0);
  EXPECT_STREQ(identifier, "C:\\DATA\\RUN1");
  std::strcpy(file.extension, "RAW");
  EXPECT_EQ(DmRawFileToID(&file, identifier), 0);
  EXPECT_STREQ(identifier, "C:\\DATA\\RUN1.RAW");
  std::fill(std::begin(file.name), std::end(file.name), 'n');
  EXPECT_EQ(DmRawFileToID(&file, identifier), -1);
  EXPECT_STREQ(identifier, "C:\\DATA\\RUN1.RAW");

  EXPECT_EQ(DmRawOpen(Path().c_str()), 0);
  EXPECT_EQ(DmRawOpen(identifier), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(DmRawOpen(nullptr), -1);
}

}  // namespace
}  // namespace tervalon::datamgr
