// Mass lists sorted, and made into extraction windows.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "datamgr/mass_list.h"

namespace tervalon::datamgr {
namespace {

// Values that are sorted as one: a mass, a range or a combination.
struct Group {
  std::ptrdiff_t length;
  float key;
};

// The group in [begin, end). `is_range` says whether it is a range.
Group GroupAt(const float* begin, const float* end, bool is_range) {
  if (IsMarker(*begin)) {
    const float* const close = std::find_if(begin + 1, end, IsMarker);
    return {(close != end ? close + 1 : end) - begin,
            begin + 1 != end ? std::fabs(begin[1]) : 0.0f};
  }
  if (is_range) return {std::min<std::ptrdiff_t>(2, end - begin), RangeLow(*begin)};
  return {1, std::fabs(*begin)};
}

Group FirstGroup(const float* begin, const float* end) {
  return GroupAt(begin, end, IsRangeStart(*begin));
}

// Here 32000 itself is a mass.
Group SecondGroup(const float* begin, const float* end) {
  return GroupAt(begin, end, IsRangeStart(*begin) && std::fabs(*begin) > DM_RANGE_OFFSET);
}

void Sort(float* list) {
  const float* end = list;
  while (*end != 0) ++end;
  for (std::ptrdiff_t n = end - list; n >= 2; --n) {
    for (float* at = list; at < list + n - 1;) {
      const Group first = FirstGroup(at, end);
      float* const middle = at + first.length;
      if (middle == end) break;
      const Group second = SecondGroup(middle, end);
      at = first.key > second.key ? std::rotate(at, middle, middle + second.length) : middle;
    }
  }
}

class WindowBuilder {
 public:
  WindowBuilder(RawTrace* traces, float tolerance, bool absolute)
      : traces_(traces), tolerance_(tolerance), absolute_(absolute) {}

  // Returns the number of traces that are complete.
  int32_t Build(const float* list) {
    for (; *list != 0; ++list) {
      if (new_trace_) traces_[trace_].window_count = 0;
      new_trace_ = false;
      if (IsMarker(*list)) {
        PassMarker();
        continue;
      }
      if (!HasRoom()) break;
      if (IsRangeStart(*list)) {
        AddWindow(RangeLow(*list), std::fabs(list[1]), *list < 0, false);
        if (list[1] != 0) ++list;
      } else {
        AddMass(*list);
      }
      if (!in_combination_) {
        ++trace_;
        new_trace_ = true;
      }
    }
    return trace_;
  }

 private:
  // From the first marker on, all members are windows of one trace, which the next one ends.
  void PassMarker() {
    if (in_combination_) traces_[++trace_].window_count = 0;
    in_combination_ = true;
  }

  bool HasRoom() const {
    const RawTrace& trace = traces_[trace_];
    return trace.windows != nullptr &&
           trace.window_count < std::numeric_limits<decltype(trace.window_count)>::max();
  }

  void AddMass(float value) {
    const double mass = std::fabs(value);
    const double tolerance = absolute_ ? tolerance_ : mass * tolerance_ / 1000000;
    AddWindow(static_cast<float>(mass - tolerance), static_cast<float>(mass + tolerance), value < 0,
              !absolute_);
  }

  void AddWindow(float low, float high, bool subtract, bool relative) {
    RawTrace& trace = traces_[trace_];
    RawTraceWindow& window = trace.windows[trace.window_count++];
    window.low = low;
    window.high = high;
    window.subtract = subtract ? 1 : 0;
    window.relative = relative ? 1 : 0;
  }

  RawTrace* const traces_;
  const double tolerance_;
  const bool absolute_;
  int32_t trace_ = 0;
  bool in_combination_ = false;
  bool new_trace_ = true;
};

}  // namespace
}  // namespace tervalon::datamgr

namespace datamgr = tervalon::datamgr;

extern "C" int32_t TERVALON_CALL DmRawSortMassList(float* list) {
  if (list == nullptr) return 0;
  datamgr::Sort(list);
  return 1;
}

extern "C" int32_t TERVALON_CALL DmRawSetupLoHiMass(const float* list, float tolerance,
                                                    RawTrace* traces, int32_t absolute) {
  if (list == nullptr || traces == nullptr) return 0;
  return datamgr::WindowBuilder(traces, tolerance, absolute != 0).Build(list);
}
