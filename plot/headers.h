// What headers and peak labels on a page leave free.

#ifndef PLOT_HEADERS_H_
#define PLOT_HEADERS_H_

#include <array>
#include <cstddef>
#include <span>

#include "tervalon/drawing.h"
#include "tervalon/types.h"

namespace tervalon::plot {

// Sharing an edge counts.
inline bool Touch(const TvRect& a, const TvRect& b) {
  return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

// Rectangles until it is full.
class ExclusionList {
 public:
  void Add(const TvRect& rect) {
    if (count_ < rects_.size()) rects_[count_++] = rect;
  }
  std::span<const TvRect> rects() const { return {rects_.data(), count_}; }

 private:
  std::array<TvRect, AXS_MAX_HEADER_RECTS> rects_ = {};
  size_t count_ = 0;
};

// The headers that peak labels avoid.
ExclusionList LabelExclusions();

}  // namespace tervalon::plot

#endif  // PLOT_HEADERS_H_
