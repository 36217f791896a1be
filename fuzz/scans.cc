#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/raw_reading.h"
#include "fuzz/targets.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"

namespace tervalon::fuzz {
namespace {

constexpr const char* kPaths[] = {
    "R.RAW\\_FUNCTNS.INF", "R.RAW\\_FUNC001.IDX", "R.RAW\\_FUNC001.DAT", "R.RAW\\_FUNC002.IDX",
    "R.RAW\\_FUNC002.DAT", "R.RAW\\_FUNC032.IDX", "R.RAW\\_FUNC032.DAT", "R.RAW\\_PROC001.IDX",
    "R.RAW\\_PROC001.DAT", "R.RAW\\_HISTORY.INF", "R.RAW\\_HEADER.TXT",
};

// The function table is written as it was read, and has one function more where there is room.
void WriteTable(int32_t handle, std::vector<RawFunctionRecord> records) {
  const auto count = static_cast<int16_t>(records.size());
  FUZZ_CHECK(RawCreateFunctions(handle, count, records.data()) == RAW_OK);
  int16_t added = -1;
  const RawFunctionRecord last = {};
  const int32_t error = RawAppendFunction(handle, &last, &added);
  FUZZ_CHECK(error == (count < RAW_MAX_FUNCTIONS ? RAW_OK : RAW_SLOT_OUT_OF_RANGE));
  if (error == RAW_OK) records.push_back(last);
  std::vector<RawFunctionRecord> again(RAW_MAX_FUNCTIONS);
  FUZZ_CHECK(RawReadFuncInfo(handle, 0, again.data(), nullptr) == RAW_OK);
  FUZZ_CHECK(error != RAW_OK || added == count + 1);
  for (size_t i = 0; i < records.size(); ++i) {
    std::copy_n(again[i].bytes + 18, 4, records[i].bytes + 18);  // the scans that are there now
    FUZZ_CHECK(std::memcmp(&again[i], &records[i], sizeof(last)) == 0);
  }
}

void RunScans(Options* options, MemoryFileSystem*) {
  int32_t handle = -1;
  if (RawReadOpen("\\w\\R.RAW", &handle) != RAW_OK) return;
  const auto calibration = std::make_unique<RawCalibration>();
  const bool calibrated =
      RawReadHeader(handle, nullptr, calibration.get(), nullptr, nullptr) == RAW_OK &&
      options->Pick(2) == 0;
  const RawCalibration* const used = calibrated ? calibration.get() : nullptr;

  std::vector<RawFunctionRecord> records(RAW_MAX_FUNCTIONS);
  std::vector<int16_t> flags(RAW_MAX_FUNCTIONS, 1);
  std::vector<RawFunctionRecord> found;
  if (RawReadFuncInfo(handle, 0, records.data(), flags.data()) == RAW_OK) {
    const auto count =
        static_cast<int16_t>(std::find(flags.begin(), flags.end(), 1) - flags.begin());
    for (const int16_t function : {int16_t{1}, int16_t{2}, int16_t{32}}) {
      if (function > count) continue;
      const RawFunctionRecord& record = records[static_cast<size_t>(function - 1)];
      DescribeFunction(record, options);
      ReadFunction(handle, function, 0, record, used, options);
    }
    found.assign(records.begin(), records.begin() + count);
  }
  RawFunctionRecord record = {};
  auto function = static_cast<int16_t>(options->Pick(4));
  if (RawReadProcFunction(handle, 1, &function, &record) == RAW_OK) {
    FUZZ_CHECK(function >= 1 && function <= RAW_MAX_FUNCTIONS);
    ReadFunction(handle, function, 1, record, used, options);
  }
  if (!found.empty()) WriteTable(handle, found);
  FUZZ_CHECK(RawReadClose(handle) == RAW_OK);
}

}  // namespace

const Target kScans = {"scans", kPaths, RunScans};

}  // namespace tervalon::fuzz
