#include "tools/print/text_plot.h"

#include <algorithm>
#include <cmath>

#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr int kLabelWidth = 12;

// One character stands for a part of a row: full at index 8.
constexpr const char* kEighths[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

struct Range {
  double low;
  double high;
};

Range RangeOf(const std::vector<float>& x) {
  Range range = {0, 0};
  bool first = true;
  for (const float value : x) {
    if (std::isfinite(value)) {
      range.low = first ? value : std::min<double>(range.low, value);
      range.high = first ? value : std::max<double>(range.high, value);
      first = false;
    }
  }
  return range;
}

double Height(float value) { return std::isfinite(value) && value > 0 ? value : 0; }

// The highest value that falls into each of `width` columns; -1 where none does.
std::vector<double> ColumnHeights(const std::vector<float>& x, const std::vector<float>& y,
                                  const Range& range, size_t width) {
  std::vector<double> heights(width, -1);
  for (size_t i = 0; i < x.size(); ++i) {
    if (!std::isfinite(x[i])) {
      continue;
    }
    const double span = range.high - range.low;
    const double part = span > 0 ? (x[i] - range.low) / span : 0;
    const auto column = std::min(width - 1, static_cast<size_t>(part * static_cast<double>(width)));
    heights[column] = std::max(heights[column], Height(y[i]));
  }
  return heights;
}

// Gives a column without a point the value of the nearest one that has.
void FillGaps(std::vector<double>& heights) {
  const std::vector<double> known = heights;
  for (size_t i = 0; i < known.size(); ++i) {
    for (size_t distance = 1; heights[i] < 0 && distance < known.size(); ++distance) {
      const double left = i >= distance ? known[i - distance] : -1;
      const double right = i + distance < known.size() ? known[i + distance] : -1;
      heights[i] = std::max(left, right);
    }
  }
}

std::string RightAligned(const std::string& text, size_t width) {
  return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

std::string XAxis(const Range& range, const PlotFrame& frame, size_t width) {
  const std::string low = RoundedText(range.low, frame.x_decimals);
  const std::string middle = RoundedText((range.low + range.high) / 2, frame.x_decimals);
  const std::string high = RoundedText(range.high, frame.x_decimals) + " " + frame.x_title;
  const std::string left = low + RightAligned(middle, (width + middle.size()) / 2 - low.size());
  return left + RightAligned(high, width - std::min(width, left.size()));
}

}  // namespace

std::string Plot(const std::vector<float>& x, const std::vector<float>& y, PlotStyle style,
                 const PlotFrame& frame) {
  const auto width = static_cast<size_t>(std::max(frame.width - kLabelWidth - 3, 40));
  const Range range = RangeOf(x);
  std::vector<double> heights = ColumnHeights(x, y, range, width);
  if (style == PlotStyle::kCurve) {
    FillGaps(heights);
  }
  const double top = std::max(0.0, *std::ranges::max_element(heights));

  std::string plot = frame.title + "\n";
  for (int row = frame.height - 1; row >= 0; --row) {
    const std::string label = row == frame.height - 1 ? RoundedText(top, -1) : row == 0 ? "0" : "";
    std::string line = RightAligned(label, kLabelWidth) + " │";
    for (const double height : heights) {
      const double eighths = top > 0 ? height / top * frame.height * 8 - row * 8 : 0;
      line += kEighths[std::clamp(static_cast<int>(std::ceil(eighths)), 0, 8)];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    plot += line + "\n";
  }
  plot += std::string(kLabelWidth, ' ') + " └";
  for (size_t i = 0; i < width; ++i) {
    plot += "─";
  }
  return plot + "\n" + std::string(kLabelWidth + 2, ' ') + XAxis(range, frame, width) + "\n";
}

}  // namespace tervalon::tools
