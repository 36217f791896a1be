#include <algorithm>
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

void RunScans(Options* options, MemoryFiles*) {
  int32_t handle = -1;
  if (RawReadOpen("\\w\\R.RAW", &handle) != RAW_OK) return;
  const auto calibration = std::make_unique<RawCalibration>();
  const bool calibrated =
      RawReadHeader(handle, nullptr, calibration.get(), nullptr, nullptr) == RAW_OK &&
      options->Pick(2) == 0;
  const RawCalibration* const used = calibrated ? calibration.get() : nullptr;

  std::vector<RawFunctionRecord> records(RAW_MAX_FUNCTIONS);
  std::vector<int16_t> flags(RAW_MAX_FUNCTIONS, 1);
  if (RawReadFuncInfo(handle, 0, records.data(), flags.data()) == RAW_OK) {
    const auto count =
        static_cast<int16_t>(std::find(flags.begin(), flags.end(), 1) - flags.begin());
    for (const int16_t function : {int16_t{1}, int16_t{2}, int16_t{32}}) {
      if (function > count) continue;
      const RawFunctionRecord& record = records[static_cast<size_t>(function - 1)];
      DescribeFunction(record, options);
      ReadFunction(handle, function, 0, record, used, options);
    }
  }
  RawFunctionRecord record = {};
  auto function = static_cast<int16_t>(options->Pick(4));
  if (RawReadProcFunction(handle, 1, &function, &record) == RAW_OK) {
    FUZZ_CHECK(function >= 1 && function <= RAW_MAX_FUNCTIONS);
    ReadFunction(handle, function, 1, record, used, options);
  }
  FUZZ_CHECK(RawReadClose(handle) == RAW_OK);
}

}  // namespace

const Target kScans = {"scans", kPaths, RunScans};

}  // namespace tervalon::fuzz
