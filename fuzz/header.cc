#include <cstring>
#include <memory>

#include "fuzz/targets.h"
#include "tervalon/raw_calibration.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_header.h"

namespace tervalon::fuzz {
namespace {

constexpr const char* kPaths[] = {"R.RAW\\_HEADER.TXT", "R.RAW\\_HEADER.INF", "R.RAW\\_FUNCTNS.INF",
                                  "R.RAW\\_ANALOGS.INF", "TERVALON.INI"};

struct Header {
  RawHeader texts;
  RawCalibration calibration;
  int16_t functions;
  int16_t analogs;

  int32_t Read() {
    std::memset(this, 0, sizeof(*this));
    int32_t handle = -1;
    if (RawReadOpen("\\w\\R.RAW", &handle) != RAW_OK) return RAW_DIRECTORY_ABSENT;
    const int32_t error = RawReadHeader(handle, &texts, &calibration, &functions, &analogs);
    RawReadClose(handle);
    return error;
  }

  void Check() const {
    FUZZ_CHECK(functions >= 0 && functions <= RAW_MAX_FUNCTIONS);
    FUZZ_CHECK(analogs >= 0 && analogs <= 32);
    for (const auto& [text, size] :
         {std::pair{texts.acquired_name, sizeof(texts.acquired_name)},
          std::pair{texts.sample_description, sizeof(texts.sample_description)},
          std::pair{texts.plate_description, sizeof(texts.plate_description)},
          std::pair{texts.processed, sizeof(texts.processed)}}) {
      FUZZ_CHECK(std::memchr(text, 0, size) != nullptr);
    }
    FUZZ_CHECK(calibration.function_count >= 0 &&
               calibration.function_count <= RAW_MAX_CALIBRATED_FUNCTIONS);
    for (const RawFunctionCalibration& function : calibration.functions) {
      FUZZ_CHECK(function.segment_count >= 0 &&
                 function.segment_count <= RAW_MAX_CALIBRATION_SEGMENTS);
      for (const RawCaliCoeffs& set : function.segments) {
        FUZZ_CHECK(set.order >= -1 && set.order <= 5);
      }
    }
  }
};

void RunHeader(Options*, MemoryFiles* files) {
  const auto first = std::make_unique<Header>();
  if (first->Read() != RAW_OK) return;
  first->Check();
  // Numbers lose decimals when they are written, once.
  const auto again = std::make_unique<Header>();
  int32_t handle = -1;
  FUZZ_CHECK(RawReadOpen("\\w\\R.RAW", &handle) == RAW_OK);
  files->Remove("R.RAW\\_HEADER.INF");
  FUZZ_CHECK(RawCreateHeader(handle, &first->texts, &first->calibration) == RAW_OK);
  RawReadClose(handle);
  FUZZ_CHECK(again->Read() == RAW_OK);
  const Bytes written = files->Get("R.RAW\\_HEADER.TXT");
  FUZZ_CHECK(RawReadOpen("\\w\\R.RAW", &handle) == RAW_OK);
  FUZZ_CHECK(RawCreateHeader(handle, &again->texts, &again->calibration) == RAW_OK);
  RawReadClose(handle);
  FUZZ_CHECK(files->Get("R.RAW\\_HEADER.TXT") == written);
}

}  // namespace

const Target kHeader = {"header", kPaths, RunHeader};

}  // namespace tervalon::fuzz
