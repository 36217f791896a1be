// Which function a processed data set belongs to, and how its points are packed.

#include <gtest/gtest.h>

#include <vector>

#include "tervalon/raw_history.h"
#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

class ProcessSetsTest : public RawTest {
 protected:
  void WriteSet(int16_t process, int16_t type, const std::vector<Scan>& scans) {
    ASSERT_EQ(RawCreateScanFile(handle_, 1, process, 0), RAW_OK);
    for (const Scan& scan : scans) ASSERT_EQ(WriteScan(handle_, 1, process, type, scan), RAW_OK);
    ASSERT_EQ(RawCreateScansEnd(handle_, 1, process), RAW_OK);
  }

  // What is told of a set whose function is given, or 0.
  int32_t DataTypeOf(int16_t process, int16_t function, int32_t error = RAW_OK) {
    record_ = {};
    function_ = function;
    EXPECT_EQ(RawReadProcFunction(handle_, process, &function_, &record_), error);
    return Get<uint16_t>(record_, 0) >> 10 & 15;
  }

  // Enters sets into the history: function, process, time of creation.
  void WriteHistory(const std::vector<std::array<int, 3>>& sets) {
    RawHistoryHeader header = {};
    std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
    RawReadProcInfo(handle_, &header, nullptr);
    for (const auto& [function, process, created] : sets) {
      RawHistoryEntry entry = {};
      std::snprintf(entry.process.name, sizeof(entry.process.name), "_PROC%03d", process);
      entry.process.created = static_cast<uint32_t>(created);
      ASSERT_EQ(
          RawHistAddProcess(&header, entries.data(), static_cast<int16_t>(function), 0, &entry),
          RAW_OK);
    }
    ASSERT_EQ(RawHistUpdateInfo(handle_, &header, entries.data()), RAW_OK);
  }

  int16_t function_ = 0;
};

TEST_F(ProcessSetsTest, EveryDataTypeOfASetIsTold) {
  const std::vector<Scan> scans = {NumberedScan(1, 301), NumberedScan(2, 0), NumberedScan(3, 77),
                                   NumberedScan(9, 5000)};
  for (const int16_t own : kStoredTypes) {
    MakeRun({RecordFor(own)}, {});
    OpenRun();
    const bool channels = own == RAW_DATA_SIR || own == RAW_DATA_ENHANCED_SIR;
    int16_t process = 0;
    for (const int16_t type : kStoredTypes) {
      SCOPED_TRACE(type + own * 100);
      WriteSet(++process, type, scans);
      int32_t expected = type;
      // Types that store no masses differ in where they come from, if in nothing else.
      const bool words = type == RAW_DATA_SIR || type == RAW_DATA_CONTINUUM;
      const bool words_of_own = own == RAW_DATA_SIR || own == RAW_DATA_CONTINUUM;
      if (words) expected = channels ? RAW_DATA_SIR : RAW_DATA_CONTINUUM;
      if (words && words_of_own) expected = own;
      if (type == RAW_DATA_MCA || type == RAW_DATA_MCB) {
        expected = own == RAW_DATA_MCB ? RAW_DATA_MCB : RAW_DATA_MCA;
        if (channels) continue;
      }
      if (type == RAW_DATA_ENHANCED_SIR && !channels) continue;
      ASSERT_EQ(DataTypeOf(process, 0), expected);
      ASSERT_EQ(function_, 1);
      ASSERT_EQ(Get<uint32_t>(record_, 18), scans.size());
      ASSERT_EQ(RawReadFuncInit(handle_, 1, process, &record_, nullptr), RAW_OK);
      ASSERT_EQ(Read(handle_, 1, process, 4).intensities, scans[3].intensities);
      ASSERT_EQ(RawReadFuncEnd(handle_, 1, process), RAW_OK);
    }
  }
}

TEST_F(ProcessSetsTest, MassesFarFromTheFunctionsRange) {
  MakeRun({ScanningRecord(RAW_DATA_CONTINUUM)}, {});
  OpenRun();
  Scan weights = NumberedScan(1, 800);
  for (float& mass : weights.masses) mass = mass * 30 + 9000;
  WriteSet(1, RAW_DATA_MOLECULAR_WEIGHT, {weights});
  EXPECT_EQ(DataTypeOf(1, 0), RAW_DATA_MOLECULAR_WEIGHT);
}

TEST_F(ProcessSetsTest, HistoryNamesTheFunction) {
  MakeRun({ScanningRecord(RAW_DATA_CONTINUUM), ScanningRecord(RAW_DATA_STANDARD_CENTROID),
           ScanningRecord(RAW_DATA_FLOAT)},
          {});
  OpenRun();
  for (const int16_t process : std::vector<int16_t>{1, 20, 255, 4}) {
    WriteSet(process, RAW_DATA_STANDARD_CENTROID, {NumberedScan(4, 50)});
  }
  DataTypeOf(1, 0, RAW_BAD_ARGUMENT);  // no history, and three functions
  EXPECT_EQ(DataTypeOf(1, 3), RAW_DATA_STANDARD_CENTROID);
  WriteHistory({{3, 1, 5}, {2, 20, 70}, {1, 20, 71}, {3, 20, 69}, {2, 255, 1}, {7, 9, 1}});
  const std::pair<int16_t, int16_t> kFunctions[] = {{1, 3}, {20, 1}, {255, 2}};
  for (const auto& [process, function] : kFunctions) {
    EXPECT_EQ(DataTypeOf(process, 0), RAW_DATA_STANDARD_CENTROID);
    EXPECT_EQ(function_, function) << process;
  }
  DataTypeOf(4, 0, RAW_BAD_ARGUMENT);       // not in the history
  DataTypeOf(9, 0, RAW_MEMBER_NOT_OPENED);  // not in the directory
  DataTypeOf(0, 1, RAW_SLOT_OUT_OF_RANGE);
  DataTypeOf(256, 1, RAW_SLOT_OUT_OF_RANGE);
  DataTypeOf(1, 33, RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(RawReadProcFunction(handle_, 1, nullptr, &record_), RAW_BAD_ARGUMENT);
}

TEST_F(ProcessSetsTest, WhatCannotBeToldIsRefused) {
  MakeRun({ScanningRecord(RAW_DATA_CONTINUUM)}, {});
  OpenRun();
  // Nothing packed tells otherwise: the function's own.
  WriteSet(1, RAW_DATA_STANDARD_CENTROID, {NumberedScan(1, 0)});
  EXPECT_EQ(DataTypeOf(1, 0), RAW_DATA_CONTINUUM);
  WriteFile(Path("_PROC001.DAT"), Bytes(4000, 0x5A));
  WriteFile(Path("_PROC001.IDX"), IndexBytes({{0, 100, -3}, {1000, 100, -3}}));
  DataTypeOf(1, 0, RAW_BAD_ARGUMENT);
}

}  // namespace
}  // namespace tervalon::testing
