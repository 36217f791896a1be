// Room for labels of peaks in one row of a plot. All that is drawn there, of all series, is seen at
// once: no label stands across it, nor across another label.

#ifndef TOOLS_PICTURES_LABEL_PLACEMENT_H_
#define TOOLS_PICTURES_LABEL_PLACEMENT_H_

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/pictures/geometry.h"

namespace tervalon::tools {

struct LabelWish {
  Place tip;              // of the peak
  bool downward = false;  // the label stands below
  float weight = 0;       // the higher one has its label first
  int32_t width = 0;      // of the text
  bool named = false;     // by the user: has its label before all others
};

class LabelPlacement {
 public:
  // Labels stay in `area`; a line of text is that high.
  LabelPlacement(const Box& area, int32_t text_height);

  // What is drawn from a place to another: a stick, a part of a trace.
  void AddLine(Place from, Place to);
  void AddObstacle(const Box& box);

  // Places for labels, in the order of the wishes; nothing where there is no room, or a higher
  // peak is within half the label's width.
  std::vector<std::optional<Box>> Find(const std::vector<LabelWish>& wishes);

  // Between a tip and its label: grows with the text.
  static int32_t Gap(int32_t text_height);

 private:
  static constexpr int32_t kStrips = 128;

  struct Column {  // what is drawn in it
    int32_t top = INT32_MAX;
    int32_t bottom = INT32_MIN;
  };

  size_t ColumnAt(int32_t x) const;
  size_t StripAt(int32_t x) const;
  bool IsFree(const Box& box) const;
  std::optional<Box> FindOne(const LabelWish& wish) const;

  const Box area_;
  const int32_t text_height_;
  std::vector<Column> columns_;
  std::array<std::vector<Box>, kStrips> taken_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_LABEL_PLACEMENT_H_
