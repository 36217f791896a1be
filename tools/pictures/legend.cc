#include "tools/pictures/legend.h"

#include <algorithm>

namespace tervalon::tools {

int32_t PlaceLegend(const Legend& legend, int32_t width, int32_t most_lines,
                    const TextMeasure& measure, std::vector<PlannedText>* texts,
                    std::vector<PlannedLine>* samples) {
  const int32_t height = measure.Height();
  const int32_t gap = height;
  const bool several = legend.entries.size() > 1;
  const int32_t sample = several ? 2 * height + height / 2 : 0;
  const auto put = [&](const std::string& text, int32_t left, int32_t line, Ink ink) {
    texts->push_back(
        {{left, line * height, left + measure.Width(text), (line + 1) * height}, text, ink});
  };

  int32_t from = 0;
  if (!legend.title.empty()) {
    if (!legend.hidden) {
      put(legend.title, 0, 0, kTextInk);
    }
    from = measure.Width(legend.title) + 2 * gap;
  }
  int32_t to = width;
  if (!legend.top.empty()) {
    const int32_t own = measure.Width(legend.top);
    put(legend.top, width - own, 0, kTextInk);
    to -= own + gap;
  }
  int32_t widest = 0;
  int32_t sum = 0;
  for (const LegendEntry& entry : legend.entries) {
    const int32_t own = sample + measure.Width(entry.text) + gap;
    widest = std::max(widest, own);
    sum += own;
  }
  const bool in_a_line = sum - gap <= to - from;
  int32_t first_line = 0;
  if (!in_a_line && (to - from) / std::max(widest, 1) < 2 && from > 0) {  // below, over all of it
    first_line = 1;
    from = 0;
    to = width;
  }
  const int32_t columns = std::max((to - from + gap) / std::max(widest, 1), 1);
  const size_t room = static_cast<size_t>(columns) * static_cast<size_t>(std::max(most_lines, 1));
  int32_t left = from;
  int32_t line = first_line;
  for (size_t i = 0; i < legend.entries.size(); ++i) {
    std::string text = legend.entries[i].text;
    Ink ink = legend.entries[i].ink;
    const bool is_last = !in_a_line && i + 1 == room && i + 1 < legend.entries.size();
    if (is_last) {
      text = "and " + std::to_string(legend.entries.size() - i) + " more";
      ink = kTextInk;
    }
    text = measure.Fitting(text, to - left - sample, Face::kPlain);
    put(text, left + (is_last ? 0 : sample), line, ink);
    if (several && !is_last) {
      const int32_t middle = line * height + height / 2;
      samples->push_back({{left, middle}, {left + 2 * height, middle}, ink});
    }
    if (is_last) {
      break;
    }
    if (in_a_line) {
      left += sample + measure.Width(text) + gap;
    } else if (i + 1 < legend.entries.size()) {
      left += widest;
      if (left + widest - gap > to) {
        left = from;
        ++line;
      }
    }
  }
  return texts->empty() ? 0 : (line + 1) * height;
}

}  // namespace tervalon::tools
