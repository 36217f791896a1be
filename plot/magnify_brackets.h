// The brackets above magnified ranges.

#ifndef PLOT_MAGNIFY_BRACKETS_H_
#define PLOT_MAGNIFY_BRACKETS_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "plot/axes.h"

namespace tervalon::plot {

// Where one range has its bracket: from its left end in one row to its right end in the same or a
// later row. The ends stand on the tops of their rows' data rectangles.
struct Bracket {
  int32_t first_row = 0;
  int32_t last_row = 0;
  int32_t left_x = 0;
  int32_t right_x = 0;
  TvRect left_data;  // data rectangles of both rows
  TvRect right_data;
  int32_t height = 0;
  int32_t end_width = 0;

  // From the left end's left to the right end's right edge, at the height of the left end.
  TvRect Box() const;
};

// Brackets are as high as the line of text beside them. nullopt for a range that is unmagnified,
// not above 0 or out of view.
std::optional<Bracket> FindBracket(int32_t handle, const AxsSystem& axes, const AxsMagnify& range,
                                   int32_t text_height);

// What the brackets of live ranges and their factors cover, with the font that is selected.
std::vector<TvRect> BracketBoxes(TvDC dc, int32_t handle, const AxsSystem& axes);

}  // namespace tervalon::plot

#endif  // PLOT_MAGNIFY_BRACKETS_H_
