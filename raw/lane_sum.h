// Sums of intensities in double precision, in an order that does not depend on how the points are
// cut into blocks: a total ion current and a trace over all masses of the same scan are equal to
// the last bit, on every platform.

#ifndef RAW_LANE_SUM_H_
#define RAW_LANE_SUM_H_

#include <cstddef>

#include "raw/point_kernels.h"

namespace tervalon::raw {

class LaneSum {
 public:
  // Adds the next `count` points.
  void Add(const float* values, size_t count) {
    AddInGroups(
        count, [&](size_t i) { return values[i]; },
        [&](size_t i, size_t groups) { Kernels().add_lanes(values + i, groups, lanes_); });
  }

  // Adds those of the next `count` points whose mass lies from low to high, and 0 for the others,
  // which take part so that the order stays the same.
  void AddInside(const float* masses, const float* values, size_t count, float low, float high) {
    AddInGroups(
        count, [&](size_t i) { return masses[i] >= low && masses[i] <= high ? values[i] : 0.0f; },
        [&](size_t i, size_t groups) {
          Kernels().add_lanes_inside(masses + i, values + i, groups, low, high, lanes_);
        });
  }

  double Total() const {
    return ((lanes_[0] + lanes_[4]) + (lanes_[2] + lanes_[6])) +
           ((lanes_[1] + lanes_[5]) + (lanes_[3] + lanes_[7]));
  }

 private:
  static constexpr size_t kLanes = 8;  // independent sums, for vector code

  // Points up to the first lane and behind the last whole group one by one.
  template <typename ValueOf, typename AddGroups>
  void AddInGroups(size_t count, ValueOf value_of, AddGroups add_groups) {
    size_t i = 0;
    for (; i < count && next_ != 0; ++i) AddOne(value_of(i));
    const size_t groups = (count - i) / kLanes;
    add_groups(i, groups);
    for (i += groups * kLanes; i < count; ++i) AddOne(value_of(i));
  }

  void AddOne(float value) {
    lanes_[next_] += static_cast<double>(value);
    next_ = (next_ + 1) % kLanes;
  }

  double lanes_[kLanes] = {};
  size_t next_ = 0;  // lane of the next point
};

}  // namespace tervalon::raw

#endif  // RAW_LANE_SUM_H_
