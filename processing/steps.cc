#include "processing/steps.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "platform/little_endian.h"
#include "processing/options.h"

namespace tervalon::processing {
namespace {

// Where a member of PrcStep, an integer or a float, is among the parameters.
struct Field {
  int32_t type;
  size_t place;  // in bytes
  size_t size;   // 4, or 2 of a small integer
  size_t member;
};

// The same as in docs/processing_history.md.
constexpr Field kFields[] = {
    {RAW_STEP_COMBINE, 0, 4, offsetof(PrcStep, combining.scans[0].first)},
    {RAW_STEP_COMBINE, 4, 4, offsetof(PrcStep, combining.scans[0].last)},
    {RAW_STEP_COMBINE, 8, 4, offsetof(PrcStep, combining.background[0].first)},
    {RAW_STEP_COMBINE, 12, 4, offsetof(PrcStep, combining.background[0].last)},
    {RAW_STEP_COMBINE, 16, 4, offsetof(PrcStep, combining.background[1].first)},
    {RAW_STEP_COMBINE, 20, 4, offsetof(PrcStep, combining.background[1].last)},
    {RAW_STEP_COMBINE, 24, 4, offsetof(PrcStep, combining.factor)},
    {RAW_STEP_COMBINE, 28, 2, offsetof(PrcStep, combining.method)},
    {RAW_STEP_COMBINE, 30, 2, offsetof(PrcStep, combining.points)},
    {RAW_STEP_COMBINE, 32, 4, offsetof(PrcStep, combining.tolerance)},
    {RAW_STEP_COMBINE, 36, 4, offsetof(PrcStep, combining.tolerance_in_ppm)},
    {RAW_STEP_COMBINE, 40, 4, offsetof(PrcStep, combining.scans[1].first)},
    {RAW_STEP_COMBINE, 44, 4, offsetof(PrcStep, combining.scans[1].last)},
    {RAW_STEP_COMBINE, 48, 4, offsetof(PrcStep, combining.scans[2].first)},
    {RAW_STEP_COMBINE, 52, 4, offsetof(PrcStep, combining.scans[2].last)},
    {RAW_STEP_COMBINE, 56, 4, offsetof(PrcStep, combining.scans[3].first)},
    {RAW_STEP_COMBINE, 60, 4, offsetof(PrcStep, combining.scans[3].last)},
    {RAW_STEP_SMOOTH, 0, 4, offsetof(PrcStep, smoothing.method)},
    {RAW_STEP_SMOOTH, 4, 4, offsetof(PrcStep, smoothing.half_width)},
    {RAW_STEP_SMOOTH, 8, 4, offsetof(PrcStep, smoothing.passes)},
    {RAW_STEP_SMOOTH, 12, 4, offsetof(PrcStep, smoothing.degree)},
    {RAW_STEP_SMOOTH, 16, 4, offsetof(PrcStep, scan)},
    {RAW_STEP_SMOOTH, 20, 4, offsetof(PrcStep, trace)},
    {RAW_STEP_SMOOTH, 24, 4, offsetof(PrcStep, low)},
    {RAW_STEP_SMOOTH, 28, 4, offsetof(PrcStep, high)},
    {RAW_STEP_SMOOTH, 32, 4, offsetof(PrcStep, grid)},
    {RAW_STEP_CENTER, 0, 4, offsetof(PrcStep, centroiding.threshold_unit)},
    {RAW_STEP_CENTER, 4, 4, offsetof(PrcStep, centroiding.threshold)},
    {RAW_STEP_CENTER, 8, 4, offsetof(PrcStep, centroiding.rise)},
    {RAW_STEP_CENTER, 12, 4, offsetof(PrcStep, centroiding.top)},
    {RAW_STEP_CENTER, 16, 4, offsetof(PrcStep, centroiding.resolution)},
    {RAW_STEP_CENTER, 20, 4, offsetof(PrcStep, centroiding.intensity)},
    {RAW_STEP_CENTER, 24, 4, offsetof(PrcStep, scan)},
};

int32_t CheckSmoothing(const PrcStep& step) {
  const bool of_trace = step.trace != PRC_TRACE_NONE;
  const bool masses_count = step.trace == PRC_TRACE_MASSES;
  if (step.trace < PRC_TRACE_NONE || step.trace > PRC_TRACE_MASSES ||
      (of_trace ? step.scan != 0 : step.scan < 1) || !(step.grid >= 0) ||
      !std::isfinite(step.grid) ||
      (masses_count &&
       !(step.low <= step.high && std::isfinite(step.low) && std::isfinite(step.high)))) {
    return PRC_BAD_ARGUMENT;
  }
  return CheckOptions(step.smoothing, INT32_MAX);
}

}  // namespace

int32_t CheckStep(const PrcStep& step) {
  switch (step.type) {
    case RAW_STEP_COMBINE:
      if (!IsValid(step.combining)) return PRC_BAD_ARGUMENT;
      return std::any_of(std::begin(step.combining.scans), std::end(step.combining.scans),
                         [](const PrcScans& run) { return run.first != 0; })
                 ? PRC_OK
                 : PRC_NO_SCANS;
    case RAW_STEP_SMOOTH:
      return CheckSmoothing(step);
    case RAW_STEP_CENTER:
      return IsValid(step.centroiding) && step.scan >= 1 ? PRC_OK : PRC_BAD_ARGUMENT;
    default:
      return PRC_BAD_ARGUMENT;
  }
}

RawHistoryProcess ToHistory(const PrcStep& step) {
  RawHistoryProcess process = {};
  process.type = static_cast<uint16_t>(step.type);
  const auto* const members = reinterpret_cast<const uint8_t*>(&step);
  for (const Field& field : kFields) {
    if (field.type != step.type) continue;
    const auto value = Load<uint32_t>(members + field.member);
    uint8_t* const place = process.parameters + field.place;
    if (field.size == sizeof(uint16_t)) {
      Store(place, static_cast<uint16_t>(value));
    } else {
      Store(place, value);
    }
  }
  return process;
}

int32_t FromHistory(const RawHistoryProcess& process, PrcStep* step) {
  *step = {};
  step->type = process.type;
  auto* const members = reinterpret_cast<uint8_t*>(step);
  for (const Field& field : kFields) {
    if (field.type != process.type) continue;
    const uint8_t* const place = process.parameters + field.place;
    const uint32_t value =
        field.size == sizeof(uint16_t) ? Load<uint16_t>(place) : Load<uint32_t>(place);
    Store(members + field.member, value);
  }
  // Whoever has written anything else may have meant anything by it.
  const RawHistoryProcess own = ToHistory(*step);
  const bool is_own =
      std::memcmp(own.parameters, process.parameters, RAW_STEP_PARAMETERS_SIZE) == 0;
  return is_own && CheckStep(*step) == PRC_OK ? PRC_OK : PRC_STEP_UNKNOWN;
}

}  // namespace tervalon::processing
