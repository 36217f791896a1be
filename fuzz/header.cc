#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

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

// What one part of a calibration is set to, it gives back.
void SetParts(const RawCalibration& read, Options* options) {
  const auto calibration = std::make_unique<RawCalibration>(read);
  for (int32_t function = 0; function <= RAW_MAX_CALIBRATED_FUNCTIONS + 1; ++function) {
    RawFunctionCalibration part;
    const bool there = RawGetFuncCalib(calibration.get(), function, &part) != 0;
    FUZZ_CHECK(there == (function >= 1 && function <= read.function_count));
    if (there) FUZZ_CHECK(RawSetFuncCalib(calibration.get(), function, &part) == 1);
  }
  RawFunctionCalibration* const part = &calibration->functions[0];
  const int32_t segment = options->Pick(RAW_MAX_CALIBRATION_SEGMENTS + 1);
  RawCaliCoeffs set;
  RawGetFuncSegCoeffs(part, segment, &set);
  if (RawSetFuncSegCoeffs(part, segment, &set) == 0) return;
  std::array<char, 256> given;
  std::array<char, 256> found;
  RawFormatCaliCoeffs(&set, given.data());
  FUZZ_CHECK(RawGetFuncSegCoeffs(part, segment, &set) == 1);
  FUZZ_CHECK(std::strcmp(RawFormatCaliCoeffs(&set, found.data()), given.data()) == 0);
}

// Line by line; the mantissa that a coefficient is printed with is correct to its last digit or
// two.
bool IsSameHeader(const Bytes& left, const Bytes& right) {
  std::istringstream left_lines({left.begin(), left.end()});
  std::istringstream right_lines({right.begin(), right.end()});
  std::string a;
  std::string b;
  while (std::getline(left_lines, a)) {
    if (!std::getline(right_lines, b)) return false;
    if (a == b) continue;
    const size_t value = a.find(": ") + 2;
    if (!a.starts_with("$$ Cal ") || !b.starts_with(a.substr(0, value))) return false;
    RawCaliCoeffs left_set;
    RawCaliCoeffs right_set;
    RawParseCaliCoeffs(&left_set, a.c_str() + value);
    RawParseCaliCoeffs(&right_set, b.c_str() + value);
    if (left_set.order != right_set.order || left_set.type != right_set.type) return false;
    for (int32_t i = 0; i <= left_set.order; ++i) {
      const double was = right_set.coefficients[i];
      if (!(std::fabs(left_set.coefficients[i] - was) <= std::fabs(was) * 1e-14)) return false;
    }
  }
  return !std::getline(right_lines, b);
}

void RunHeader(Options* options, MemoryFileSystem* files) {
  const auto first = std::make_unique<Header>();
  if (first->Read() != RAW_OK) return;
  first->Check();
  SetParts(first->calibration, options);
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
  FUZZ_CHECK(IsSameHeader(files->Get("R.RAW\\_HEADER.TXT"), written));
}

}  // namespace

const Target kHeader = {"header", kPaths, RunHeader};

}  // namespace tervalon::fuzz
