// Where an array of values has tops that stand out: in spectra and in chromatograms.

#ifndef PROCESSING_TOPS_H_
#define PROCESSING_TOPS_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace tervalon::processing {

struct TopRules {
  double least_height = std::numeric_limits<double>::lowest();
  // How far a top has to stand above its base, and the same as a share of its height.
  double least_rise = 0;
  double rise_share = 0;
  bool ends = false;  // whether the first and the last value can be tops
};

struct Top {
  size_t at;  // of equal values the middle one
  // The higher of the lowest values to both sides, as far as there is nothing higher than the top;
  // of equal tops the first is the higher. A top at an end has one side. 0 without any.
  float base;
  // The lowest value towards the top before it, or the first value; and the same behind it.
  size_t first;
  size_t last;
};

// `values` are finite, and fewer than 2^31. The tops are in their order.
std::vector<Top> FindTops(const float* values, size_t count, const TopRules& rules);

}  // namespace tervalon::processing

#endif  // PROCESSING_TOPS_H_
