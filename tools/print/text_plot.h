// Pictures made of characters.

#ifndef TOOLS_PRINT_TEXT_PLOT_H_
#define TOOLS_PRINT_TEXT_PLOT_H_

#include <string>
#include <vector>

namespace tervalon::tools {

struct PlotFrame {
  std::string title;
  std::string x_title;
  int x_decimals = 2;
  int width = 80;  // all in, labels included
  int height = 10;
};

enum class PlotStyle {
  kCurve,   // values between two points are those of the nearest one
  kSticks,  // nothing between points
};

// Draws y over x, y from 0 up; where several points share a column, the highest counts. Negative
// values and numbers that are none are drawn as 0. `x` ascends or is in any order.
std::string Plot(const std::vector<float>& x, const std::vector<float>& y, PlotStyle style,
                 const PlotFrame& frame);

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_TEXT_PLOT_H_
