// Where axes have ticks, and what their labels say.

#ifndef TOOLS_PICTURES_AXIS_TICKS_H_
#define TOOLS_PICTURES_AXIS_TICKS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/pictures/text_measure.h"

namespace tervalon::tools {

enum class YScale { kLinear, kLog, kSqrt };

// A value as it is plotted on a scale, and back. On a logarithmic one what is not positive has no
// place: it is the lowest number.
float OnScale(YScale scale, float value);

// A tick with a label is long, one without is short.
struct Tick {
  double position;  // as plotted
  std::string label;
};

// The X ticks of an axes object at the library's round numbers, with as many decimals as they need
// (stored).
std::vector<Tick> XTicks(int32_t axes, const Window& range, const TextMeasure& measure,
                         int* decimals);

// What the values of a Y axis are: displayed value = plotted one (off its scale) / unit.
struct YUnit {
  double unit = 1;  // a hundredth of the highest for percent
  bool percent = false;
  bool mirrored = false;  // negative values count upwards, too
  int exponent = 0;       // power of ten that labels leave out
};

// A range's end, moved outward to a round number that gets a label.
float RoundEnd(float end, float other, int32_t most_ticks);

// Y ticks of a range as plotted, with at most that many labels.
std::vector<Tick> YTicks(YScale scale, const Window& range, const YUnit& unit, int32_t most_labels);

// The power of ten, a multiple of three, that labels of such values leave out.
int CommonExponent(double highest);

// "x 1e6", or "" for an exponent of 0.
std::string ExponentText(int exponent);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_AXIS_TICKS_H_
