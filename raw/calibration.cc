#include "raw/calibration.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <iterator>

#include "appsvc/text_number.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "raw/point_kernels.h"
#include "tervalon/number_format.h"
#include "tervalon/raw_functions.h"

static_assert(sizeof(RawCaliCoeffs) == 72);
static_assert(sizeof(RawFunctionCalibration) == 952);
static_assert(sizeof(RawCalibration) == 17112);

namespace tervalon::raw {
namespace {

constexpr int32_t kRootMass = 1;
constexpr int32_t kMaxOrder = PointKernels::kOrders - 1;
constexpr int32_t kCoefficientDecimals = 15;

// What RawUseRootMassCali set.
std::atomic<int32_t> prefer_root_mass = 0;

// Replaces values by what the set makes of them. One value or many: the same operations.
void Evaluate(const RawCaliCoeffs& set, double* values, size_t count) {
  if (set.order < 0) return;
  const auto& polynomials = set.type == kRootMass ? Kernels().evaluate_root : Kernels().evaluate;
  polynomials[std::min(set.order, kMaxOrder)](set.coefficients, values, count);
}

// In root mass too: the square of a float's square root, in double precision, rounds to the float.
bool IsIdentity(const RawCaliCoeffs& set) {
  return set.order < 0 ||
         (set.order == 1 && set.coefficients[0] == 0.0 && set.coefficients[1] == 1.0);
}

}  // namespace

RawCaliCoeffs DefaultCoefficients() {
  RawCaliCoeffs set = {};
  set.order = 1;
  set.coefficients[1] = 1.0;
  return set;
}

RawFunctionCalibration DefaultFunctionCalibration() {
  RawFunctionCalibration calibration = {};
  std::fill(std::begin(calibration.segments), std::end(calibration.segments),
            DefaultCoefficients());
  calibration.modification = DefaultCoefficients();
  return calibration;
}

void ResetCalibration(RawCalibration* calibration) {
  std::memset(calibration, 0, sizeof(*calibration));
  calibration->ms1_static = DefaultCoefficients();
  calibration->ms1_dynamic = DefaultCoefficients();
  calibration->ms2_static = DefaultCoefficients();
  calibration->ms2_dynamic = DefaultCoefficients();
  std::fill(std::begin(calibration->functions), std::end(calibration->functions),
            DefaultFunctionCalibration());
}

double ApplyCoefficients(const RawCaliCoeffs& set, double x) {
  Evaluate(set, &x, 1);
  return x;
}

MassCalibration::MassCalibration(const RawFunctionCalibration& calibration, int32_t segment) {
  if (RawGetFuncSegCoeffs(&calibration, segment > 0 ? segment - 1 : 0, &sets_[0]) == 0) return;
  set_count_ = 1;
  if (calibration.has_modification != 0) sets_[set_count_++] = calibration.modification;
  if (std::all_of(sets_, sets_ + set_count_, IsIdentity)) set_count_ = 0;
}

void MassCalibration::Apply(float* masses, size_t count) const {
  if (identity()) return;
  constexpr size_t kBlock = 256;
  double values[kBlock];
  for (; count > 0; masses += std::min(count, kBlock), count -= std::min(count, kBlock)) {
    const size_t block = std::min(count, kBlock);
    Kernels().widen(masses, block, values);
    for (int i = 0; i < set_count_; ++i) Evaluate(sets_[i], values, block);
    Kernels().narrow(values, block, masses);
  }
}

}  // namespace tervalon::raw

using tervalon::appsvc::ParseDouble;
using tervalon::appsvc::ParseInt;
using tervalon::raw::DefaultCoefficients;
using tervalon::raw::DefaultFunctionCalibration;

extern "C" RawCaliCoeffs* TERVALON_CALL RawParseCaliCoeffs(RawCaliCoeffs* set, const char* text) {
  if (set == nullptr) return nullptr;
  *set = RawCaliCoeffs{};
  int32_t count = 0;
  for (const char* field = text != nullptr ? text : "";;) {
    field += std::strspn(field, " ");
    if (*field == '\0') break;
    if (*field == 'T') {
      set->type = ParseInt(field + 1);
    } else if (count < static_cast<int32_t>(std::size(set->coefficients))) {
      set->coefficients[count++] = ParseDouble(field);
    }
    field += std::strcspn(field, ",");
    if (*field == ',') ++field;
  }
  set->order = count - 1;
  return set;
}

extern "C" char* TERVALON_CALL RawFormatCaliCoeffs(const RawCaliCoeffs* set, char* text) {
  if (text == nullptr) return nullptr;
  char* out = text;
  *out = '\0';
  if (set == nullptr) return text;
  for (int32_t i = 0; i <= std::min(set->order, tervalon::raw::kMaxOrder); ++i) {
    etoa(set->coefficients[i], out, tervalon::raw::kCoefficientDecimals);
    out += std::strlen(out);
    *out++ = ',';
  }
  *out++ = 'T';
  *std::to_chars(out, out + 11, set->type).ptr = '\0';
  return text;
}

extern "C" RawCaliCoeffs* TERVALON_CALL RawParseCaliStdDevs(RawCaliCoeffs* set, const char* text) {
  if (set != nullptr) set->standard_deviation = ParseDouble(text);
  return set;
}

extern "C" char* TERVALON_CALL RawFormatCaliStdDevs(const RawCaliCoeffs* set, char* text) {
  if (text == nullptr) return nullptr;
  *text = '\0';
  if (set == nullptr) return text;
  return etoa(set->standard_deviation, text, tervalon::raw::kCoefficientDecimals);
}

extern "C" int32_t TERVALON_CALL RawGetFuncCalib(const RawCalibration* calibration,
                                                 int32_t function,
                                                 RawFunctionCalibration* function_calibration) {
  if (function_calibration == nullptr) return 0;
  const bool there = calibration != nullptr && function >= 1 &&
                     function <= calibration->function_count &&
                     function <= RAW_MAX_CALIBRATED_FUNCTIONS;
  *function_calibration =
      there ? calibration->functions[function - 1] : DefaultFunctionCalibration();
  return there ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL
RawSetFuncCalib(RawCalibration* calibration, int32_t function,
                const RawFunctionCalibration* function_calibration) {
  if (calibration == nullptr || function_calibration == nullptr || function < 1 ||
      function > RAW_MAX_CALIBRATED_FUNCTIONS) {
    return 0;
  }
  calibration->functions[function - 1] = *function_calibration;
  return 1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncSegCoeffs(
    const RawFunctionCalibration* function_calibration, int32_t segment, RawCaliCoeffs* set) {
  if (set == nullptr) return 0;
  segment = std::max(segment, 0);
  const bool there = function_calibration != nullptr &&
                     segment < function_calibration->segment_count &&
                     segment < RAW_MAX_CALIBRATION_SEGMENTS;
  *set = there ? function_calibration->segments[segment] : DefaultCoefficients();
  return there ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL RawSetFuncSegCoeffs(RawFunctionCalibration* function_calibration,
                                                     int32_t segment, const RawCaliCoeffs* set) {
  segment = std::max(segment, 0);
  if (function_calibration == nullptr || set == nullptr ||
      segment >= RAW_MAX_CALIBRATION_SEGMENTS) {
    return 0;
  }
  function_calibration->segments[segment] = *set;
  function_calibration->segment_count = std::max(function_calibration->segment_count, segment + 1);
  return 1;
}

extern "C" int32_t TERVALON_CALL RawReadGetFuncCalibNum(int32_t function_type) {
  static constexpr int32_t kSecondAnalyser[] = {RAW_TYPE_DAUGHTERS,    RAW_TYPE_NEUTRAL_LOSS,
                                                RAW_TYPE_NEUTRAL_GAIN, RAW_TYPE_MRM,
                                                RAW_TYPE_MS2,          RAW_TYPE_AUTO_DAUGHTERS};
  return std::count(std::begin(kSecondAnalyser), std::end(kSecondAnalyser), function_type) != 0 ? 2
                                                                                                : 1;
}

extern "C" int32_t TERVALON_CALL RawFuncDefaultCalib(const RawCalibration* calibration,
                                                     const RawFunctionRecord* record,
                                                     RawFunctionCalibration* function_calibration) {
  if (calibration == nullptr || record == nullptr || function_calibration == nullptr) return 0;
  const bool second = RawReadGetFuncCalibNum(tervalon::raw::FunctionType(*record)) == 2;
  *function_calibration = DefaultFunctionCalibration();
  return RawSetFuncSegCoeffs(function_calibration, 0,
                             second ? &calibration->ms2_dynamic : &calibration->ms1_dynamic);
}

extern "C" int32_t TERVALON_CALL RawIsRootMassCalibration(const RawFunctionRecord* record) {
  if (record == nullptr) return 0;
  switch (tervalon::raw::FunctionType(*record)) {
    case RAW_TYPE_TOF:
    case RAW_TYPE_TOF_SURVEY:
    case RAW_TYPE_TOF_DAUGHTER:
    case RAW_TYPE_TOF_MS:
    case RAW_TYPE_TOF_PARENT:
      return 1;
    case RAW_TYPE_MALDI_TOF:
      return tervalon::Load<uint16_t>(record->bytes + tervalon::raw::kMaldiLinearWord) == 0 ? 1 : 0;
    default:
      return 0;
  }
}

extern "C" int32_t TERVALON_CALL RawUseRootMassCali(int32_t flag) {
  tervalon::raw::prefer_root_mass = flag;
  return flag;
}
