// Where a spectrum has tops that stand out: those that FindTops finds, faster.

#ifndef PROCESSING_SPECTRUM_TOPS_H_
#define PROCESSING_SPECTRUM_TOPS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "processing/tops.h"

namespace tervalon::processing {

struct SpectrumTops {
  std::vector<uint32_t> at;  // of equal values the middle one
  // The lowest value between a top and the one in front of it, 0 where that is below 0; one more
  // than there are tops, of which the first and the last are 0.
  std::vector<float> lowest;
};

// The tops, ends included, of which the least height is above 0 and not below the least rise.
// False, and no tops, where a value is not finite.
bool FindSpectrumTops(const float* values, size_t count, const TopRules& rules, SpectrumTops* tops);

// Where the lowest value is, above 0, between two tops: the first of equal ones, or the middle of
// those that are beside each other.
size_t LowestAt(const float* values, size_t top, float lowest);

}  // namespace tervalon::processing

#endif  // PROCESSING_SPECTRUM_TOPS_H_
