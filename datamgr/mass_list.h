// The values of a mass list (tervalon/trace_strings.h).

#ifndef DATAMGR_MASS_LIST_H_
#define DATAMGR_MASS_LIST_H_

#include <cmath>
#include <string>

#include "tervalon/trace_strings.h"

namespace tervalon::datamgr {

inline bool IsMarker(float value) { return std::fabs(value) >= DM_COMBINATION_MARKER; }

// The first of a range's two values; not a marker.
inline bool IsRangeStart(float value) {
  return std::fabs(value) >= DM_RANGE_OFFSET && !IsMarker(value);
}

inline float RangeLow(float start) { return std::fabs(start) - DM_RANGE_OFFSET; }

// The text of a list.
std::string MassListText(const float* list);

}  // namespace tervalon::datamgr

#endif  // DATAMGR_MASS_LIST_H_
