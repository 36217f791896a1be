// Spectra stored in processed data sets.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "tervalon/raw_history.h"
#include "tests/datamgr/raw_data_fixture.h"

namespace tervalon::datamgr {
namespace {

using ::testing::ElementsAre;
using testing::FaultyFileSystem;
using testing::FileCall;
using testing::NumberedScan;
using testing::Scan;
using testing::ScanningRecord;

constexpr int16_t kProcess = 3;

class RawAdapterWriteTest : public RawDataTest {
 protected:
  void SetUp() override {
    std::vector<Scan> scans;
    for (uint32_t i = 1; i <= 4; ++i) scans.push_back(NumberedScan(i, 5));
    ASSERT_NO_FATAL_FAILURE(
        MakeData({ScanningRecord(RAW_DATA_STANDARD_CENTROID), ScanningRecord(RAW_DATA_CONTINUUM)},
                 {scans, scans}));
  }

  // Stores points from `first` on, through a handle that reads nothing. Returns what the write
  // returned; the descriptor is the handle's after that.
  static int32_t Store(DmRawDescriptor* descriptor, const Floats& masses, const Floats& intensities,
                       uint32_t first = 1, uint16_t flags = 0) {
    const int32_t handle = Grant(descriptor, DM_FLAG_NO_SOURCE);
    const auto count = static_cast<int32_t>(intensities.size());
    EXPECT_EQ(DmGetData(handle, first, count, 0), 0);
    int32_t item = 0;
    for (const Floats* values : {&masses, &intensities}) {
      auto* array = static_cast<float*>(DmLockData(handle, item, first, count));
      if (array != nullptr) std::copy(values->begin(), values->end(), array);
      DmUnlockData(handle, item++);
    }
    const int32_t result = DmWriteHandle(handle, flags);
    *descriptor = Stored(handle);
    EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
    return result;
  }

  static int32_t Store(DmRawDescriptor descriptor, const Floats& masses, const Floats& intensities,
                       uint32_t first = 1) {
    return Store(&descriptor, masses, intensities, first);
  }
};

TEST_F(RawAdapterWriteTest, StoresInANewSetAndBehindItsScans) {
  DmRawDescriptor third = Spectrum(3, 1, kProcess);
  ASSERT_EQ(Store(&third, {110, 120, 130.5f}, {8, 16, 24}), 0);
  EXPECT_EQ(third.scan, 1) << "the first of its set";
  EXPECT_EQ(third.element_count, 3U);
  ASSERT_EQ(Store(Spectrum(2, 1, kProcess), {140}, {32}), 0);

  const Items first = ReadAll(Spectrum(1, 1, kProcess));
  EXPECT_THAT(first.first, ElementsAre(110, 120, 130.5f));
  EXPECT_THAT(first.second, ElementsAre(8, 16, 24));
  EXPECT_THAT(ReadAll(Spectrum(2, 1, kProcess)).second, ElementsAre(32));

  // A chromatogram of the set has the times of the acquired scans.
  DmRawDescriptor trace = Chromatogram(DM_TRACE_TIC);
  trace.process = kProcess;
  const Items chromatogram = ReadAll(trace);
  EXPECT_THAT(chromatogram.first, ElementsAre(48, 32));
  EXPECT_THAT(chromatogram.second, ElementsAre(3 * 0.0625f, 2 * 0.0625f));
  trace.trace.type = DM_TRACE_BPI;
  EXPECT_THAT(ReadAll(trace).first, ElementsAre(24, 32));
}

TEST_F(RawAdapterWriteTest, ReplacesAScan) {
  for (const float number : {1.0f, 2.0f, 3.0f}) {
    ASSERT_EQ(Store(Spectrum(0, 1, kProcess), {100, 200, 300}, {number, number, number}), 0);
  }
  // A handle that was reading meanwhile gets the new points once its cache is gone.
  DmRawDescriptor shared = Spectrum(2, 1, kProcess);
  const int32_t reader = Grant(&shared);
  ASSERT_EQ(DmGetData(reader, 1, 3, 0), 0);
  ASSERT_EQ(Store(Spectrum(2, 1, kProcess), {150}, {40}), 0);
  EXPECT_EQ(DmGetData(reader, 1, 3, DM_DATA_DISCARD), -1);
  EXPECT_EQ(DmGetData(reader, 1, 1, 0), 0);
  EXPECT_THAT(Values(reader, 1, 1, 1), ElementsAre(40));

  // Through the handle that read the scan, the points that are not resident stay.
  DmRawDescriptor third = Spectrum(3, 1, kProcess);
  const int32_t handle = Grant(&third);
  ASSERT_EQ(DmGetData(handle, 2, 1, 0), 0);
  static_cast<float*>(DmLockData(handle, 1, 2, 1))[0] = 48;
  ASSERT_EQ(DmWriteHandle(handle, 0), 0);
  DmReleaseHandle(handle, 0);
  DmReleaseHandle(reader, 0);
  EXPECT_THAT(ReadAll(Spectrum(3, 1, kProcess)).second, ElementsAre(3, 48, 3));
  EXPECT_THAT(ReadAll(Spectrum(1, 1, kProcess)).second, ElementsAre(1, 1, 1));

  EXPECT_EQ(Store(Spectrum(2, 1, kProcess), {1}, {1}, 3), -1) << "a gap";
  EXPECT_EQ(Store(Spectrum(2, 1, kProcess), {}, {}), -1) << "nothing";
  EXPECT_THAT(ReadAll(Spectrum(2, 1, kProcess)).second, ElementsAre(40));
}

TEST_F(RawAdapterWriteTest, OnlyProcessedSpectraAreWritten) {
  const testing::Bytes data = testing::ReadFile(Path("_FUNC001.DAT"));
  EXPECT_EQ(Store(Spectrum(1), {100}, {1}), -1);
  DmRawDescriptor trace = Chromatogram(DM_TRACE_TIC);
  trace.process = kProcess;
  EXPECT_EQ(Store(trace, {100}, {1}), -1);
  EXPECT_NE(Store(Spectrum(1, 3, kProcess), {100}, {1}), 0) << "no such function";
  EXPECT_NE(Store(Spectrum(1, 1, 256), {100}, {1}), 0);
  EXPECT_EQ(testing::ReadFile(Path("_FUNC001.DAT")), data);
  EXPECT_FALSE(testing::Exists(Path("_PROC003.DAT")));
}

TEST_F(RawAdapterWriteTest, TheSelectionNamesTheDataTypeOfASet) {
  // Function 2 stores no masses: its points are spaced over 100..1100.
  ASSERT_EQ(Store(Spectrum(1, 2, 1), {0, 0, 0}, {8, 16, 24}), 0);
  EXPECT_THAT(ReadAll(Spectrum(1, 2, 1)).first, ElementsAre(100, 600, 1100));

  DmRawDescriptor centroids = Spectrum(1, 2, 2);
  centroids.selection = DM_SELECT_SCAN | DM_SELECT_DATA_TYPE(RAW_DATA_FLOAT);
  DmRawDescriptor wrong = Spectrum(1, 2, 2);
  ASSERT_EQ(Store(&centroids, {150, 250}, {8, 16}), 0);
  const int32_t reader = Grant(&wrong);
  EXPECT_THAT(ReadAll(&centroids).first, ElementsAre(150, 250));
  EXPECT_EQ(DmGetData(reader, 1, 2, 0), 0) << "the set is read in two ways in turn";
  EXPECT_NE(Values(reader, 0, 1, 2), (Floats{150, 250}));
  EXPECT_THAT(ReadAll(&centroids).first, ElementsAre(150, 250));
  DmReleaseHandle(reader, 0);
  for (const int type : {5, 13, 200}) {
    centroids.selection = static_cast<uint16_t>(DM_SELECT_DATA_TYPE(type));
    EXPECT_EQ(Store(&centroids, {1}, {1}), RAW_BAD_ARGUMENT) << type;
  }
}

TEST_F(RawAdapterWriteTest, MassesAreNotCalibratedTwice) {
  int32_t handle = -1;
  RawHeader header = {};
  RawCalibration calibration = {};
  calibration.function_count = 1;
  calibration.functions[0].segment_count = 1;
  calibration.functions[0].segments[0] = {1, {0, 2}, 0, 0};  // doubles every mass
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
  ASSERT_EQ(RawCreateHeader(handle, &header, &calibration), RAW_OK);
  RawReadClose(handle);

  const Items acquired = ReadAll(Spectrum(2));
  ASSERT_GT(acquired.first[0], 200);
  ASSERT_EQ(Store(Spectrum(1, 1, kProcess), acquired.first, acquired.second), 0);
  EXPECT_EQ(ReadAll(Spectrum(1, 1, kProcess)).first, acquired.first);
}

TEST_F(RawAdapterWriteTest, SavingRecordsTheSetInTheHistory) {
  const auto history = [this](RawHistoryHeader* header) {
    std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
    int32_t handle = -1;
    EXPECT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
    RawReadProcInfo(handle, header, entries.data());
    RawReadClose(handle);
    return entries;
  };
  RawHistoryHeader header = {};
  const auto store = [](DmRawDescriptor descriptor, uint16_t flags) {
    return Store(&descriptor, {100}, {1}, 1, flags);
  };
  ASSERT_EQ(store(Spectrum(1, 1, kProcess), 0), 0);
  history(&header);
  EXPECT_EQ(header.highest_index, 0);
  for (const int16_t process : {kProcess, kProcess, int16_t{12}}) {
    ASSERT_EQ(store(Spectrum(1, 2, process), DM_WRITE_SAVE_PROCESS), 0);
  }
  const std::vector<RawHistoryEntry> entries = history(&header);
  EXPECT_EQ(header.highest_index, 2);
  EXPECT_EQ(header.counts[1], 2);
  EXPECT_STREQ(entries[header.roots[1]].process.name, "_PROC003");
  EXPECT_STREQ(entries[entries[header.roots[1]].next].process.name, "_PROC012");
  EXPECT_EQ(uint16_t{entries[1].process.type}, RAW_STEP_MODIFY);
  const uint32_t created = entries[1].process.created;  // the entry is packed
  EXPECT_GT(created, 1700000000U);
  // What is not written is not recorded.
  EXPECT_NE(store(Spectrum(1), DM_WRITE_SAVE_PROCESS), 0);
  EXPECT_NE(store(Spectrum(1, 3, kProcess), DM_WRITE_SAVE_PROCESS), 0);
  history(&header);
  EXPECT_EQ(header.highest_index, 2);
}

// What a writer that died has left: records of data that never came, the beginning of a record,
// data without one.
TEST_F(RawAdapterWriteTest, GoesOnBehindWhatIsComplete) {
  const Floats masses = {100, 200, 300, 400};
  ASSERT_EQ(Store(Spectrum(0, 1, kProcess), masses, {1, 2, 3, 4}), 0);
  testing::Bytes index = testing::ReadFile(Path("_PROC003.IDX"));
  testing::Bytes data = testing::ReadFile(Path("_PROC003.DAT"));
  for (uint32_t claimed = 0; claimed < 3; ++claimed) {
    testing::Bytes record(index.begin(), index.begin() + 22);
    const auto offset = static_cast<uint32_t>(data.size() + claimed * 20);
    std::memcpy(record.data(), &offset, sizeof(offset));
    index.insert(index.end(), record.begin(), record.end());
  }
  index.insert(index.end(), 9, 0x77);
  data.insert(data.end(), 7, 0x55);
  testing::WriteFile(Path("_PROC003.IDX"), index);
  testing::WriteFile(Path("_PROC003.DAT"), data);
  DmRawDescriptor next = Spectrum(0, 1, kProcess);
  ASSERT_EQ(Store(&next, masses, {7, 7, 7, 7}), 0);
  EXPECT_EQ(next.scan, 2);
  EXPECT_EQ(testing::ReadFile(Path("_PROC003.IDX")).size(), 44U);
  EXPECT_THAT(ReadAll(Spectrum(1, 1, kProcess)).second, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(ReadAll(Spectrum(2, 1, kProcess)).second, ElementsAre(7, 7, 7, 7));
}

// No scan goes because a descriptor says another data type, nor where the first is cut off.
TEST_F(RawAdapterWriteTest, SetsThatAreNotWhatTheySeemAreLeftAlone) {
  const Floats masses = {100, 200, 300, 400};
  for (const size_t cut : {size_t{0}, size_t{7}}) {
    for (int scan = 0; scan < (cut == 0 ? 3 : 1); ++scan) {
      ASSERT_EQ(Store(Spectrum(0, 1, kProcess), masses, {1, 2, 3, 4}), 0);
    }
    const testing::Bytes index = testing::ReadFile(Path("_PROC003.IDX"));
    testing::Bytes data = testing::ReadFile(Path("_PROC003.DAT"));
    data.resize(data.size() - cut);
    testing::WriteFile(Path("_PROC003.DAT"), data);
    DmRawDescriptor next = Spectrum(0, 1, kProcess);
    if (cut == 0) next.selection = DM_SELECT_SCAN | DM_SELECT_DATA_TYPE(RAW_DATA_FLOAT);
    EXPECT_EQ(Store(next, masses, {7, 7, 7, 7}), RAW_BAD_ARGUMENT);
    EXPECT_EQ(testing::ReadFile(Path("_PROC003.IDX")), index);
    EXPECT_EQ(testing::ReadFile(Path("_PROC003.DAT")), data);
    testing::WriteFile(Path("_PROC003.IDX"), {});
    testing::WriteFile(Path("_PROC003.DAT"), {});
  }
}

TEST_F(RawAdapterWriteTest, ASetIsForcedToTheDiskWhenItIsSaved) {
  FaultyFileSystem& files = UseFaultyFiles();
  files.OnlyPathsWith("_PROC");
  for (int scan = 0; scan < 5; ++scan) {
    ASSERT_EQ(Store(Spectrum(scan % 3, 1, kProcess), {100, 200}, {1, 2}), 0);
  }
  EXPECT_EQ(files.Calls(FileCall::kSync), 0);
  const DmRawDescriptor set = Spectrum(1, 1, kProcess);
  EXPECT_EQ(DmRawSaveProcess(&set, 1), 0);
  EXPECT_EQ(files.Calls(FileCall::kSync), 2);
  files.On(FileCall::kSync).FailNth(2);
  EXPECT_NE(DmRawSaveProcess(&set, 1), 0);
  const DmRawDescriptor absent = Spectrum(1, 1, 99);
  EXPECT_EQ(DmRawSaveProcess(&absent, 1), 0);
}

}  // namespace
}  // namespace tervalon::datamgr
