// Sums of intensities in double precision, in an order that does not depend on how the points are
// cut into blocks: a total ion current and a trace over all masses of the same scan are equal to
// the last bit, on every platform.

#ifndef RAW_LANE_SUM_H_
#define RAW_LANE_SUM_H_

#include <algorithm>
#include <cstddef>

namespace tervalon::raw {

class LaneSum {
 public:
  // Adds the next `count` points.
  void Add(const float* values, size_t count) {
    size_t i = 0;
    for (; i < count && next_ != 0; ++i) AddOne(values[i]);
    double sums[kLanes];
    std::copy_n(lanes_, kLanes, sums);
    for (; i + kLanes <= count; i += kLanes) {
      for (size_t k = 0; k < kLanes; ++k) sums[k] += static_cast<double>(values[i + k]);
    }
    std::copy_n(sums, kLanes, lanes_);
    for (; i < count; ++i) AddOne(values[i]);
  }

  double Total() const {
    return ((lanes_[0] + lanes_[4]) + (lanes_[2] + lanes_[6])) +
           ((lanes_[1] + lanes_[5]) + (lanes_[3] + lanes_[7]));
  }

 private:
  static constexpr size_t kLanes = 8;  // independent sums, for vector code

  void AddOne(float value) {
    lanes_[next_] += static_cast<double>(value);
    next_ = (next_ + 1) % kLanes;
  }

  double lanes_[kLanes] = {};
  size_t next_ = 0;  // lane of the next point
};

}  // namespace tervalon::raw

#endif  // RAW_LANE_SUM_H_
