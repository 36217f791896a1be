#include "tools/pictures/theme.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>

namespace tervalon::tools {
namespace {

// As they are written: red first.
constexpr TvColour Rgb(uint32_t rgb) { return rgb >> 16 | (rgb & 0xFF00) | (rgb & 0xFF) << 16; }

constexpr int32_t kDashes = 1;

constexpr std::array<LineStyle, PLT_DATA_STYLES> With(int32_t dashes, uint32_t a, uint32_t b,
                                                      uint32_t c, uint32_t d, uint32_t e) {
  return {
      {{Rgb(a), dashes}, {Rgb(b), dashes}, {Rgb(c), dashes}, {Rgb(d), dashes}, {Rgb(e), dashes}}};
}

// Neighbouring styles differ in lightness or between blue and yellow, which nearly all eyes tell
// apart.
constexpr Theme kThemes[] = {
    {"light", Rgb(0xFFFFFF), Rgb(0x000000), Rgb(0x5C5C5C), Rgb(0x000000), Rgb(0xDADADA),
     Rgb(0xFFF0C2), With(0, 0x0048A8, 0xD55E00, 0x009E73, 0x9B3F8C, 0x6B5B00),
     With(kDashes, 0x0048A8, 0xD55E00, 0x009E73, 0x9B3F8C, 0x6B5B00)},
    {"dark", Rgb(0x15181E), Rgb(0xECECEC), Rgb(0xA6ABB3), Rgb(0xC9CDD3), Rgb(0x353A43),
     Rgb(0x4A4220), With(0, 0x6CC0F5, 0xF0A030, 0x35CFA0, 0xE99BCB, 0xF2E85C),
     With(kDashes, 0x6CC0F5, 0xF0A030, 0x35CFA0, 0xE99BCB, 0xF2E85C)},
    {"print",
     Rgb(0xFFFFFF),
     Rgb(0x000000),
     Rgb(0x000000),
     Rgb(0x000000),
     Rgb(0xC8C8C8),
     Rgb(0xE6E6E6),
     {{{Rgb(0x000000), 0},
       {Rgb(0x000000), 1},
       {Rgb(0x000000), 2},
       {Rgb(0x000000), 3},
       {Rgb(0x000000), 4}}},
     {{{Rgb(0x888888), 0},
       {Rgb(0x888888), 1},
       {Rgb(0x888888), 2},
       {Rgb(0x888888), 3},
       {Rgb(0x888888), 4}}}}};

// Of lightness that grows by equal steps.
constexpr TvColour kMapSteps[] = {Rgb(0x440154), Rgb(0x482878), Rgb(0x3E4A89), Rgb(0x31688E),
                                  Rgb(0x26828E), Rgb(0x1F9E89), Rgb(0x35B779), Rgb(0x6DCD59),
                                  Rgb(0xB4DE2C), Rgb(0xFDE725)};
constexpr TvColour kGreySteps[] = {Rgb(0xFFFFFF), Rgb(0x000000)};

}  // namespace

std::vector<std::string> ThemeNames() {
  std::vector<std::string> names;
  std::ranges::transform(kThemes, std::back_inserter(names), &Theme::name);
  return names;
}

const Theme& ThemeOf(const std::string& name) {
  const auto* found =
      std::ranges::find_if(kThemes, [&](const Theme& theme) { return theme.name == name; });
  return found != std::end(kThemes) ? *found : kThemes[0];
}

TvColour Mixed(TvColour first, TvColour second, double part) {
  TvColour mixed = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const auto a = static_cast<double>(first >> shift & 255);
    const auto b = static_cast<double>(second >> shift & 255);
    mixed |= static_cast<TvColour>(std::lround(a + (b - a) * part)) << shift;
  }
  return mixed;
}

std::vector<TvColour> MapColours(const Theme& theme, size_t count) {
  const bool grey = theme.first[0].colour == theme.first[1].colour;
  const std::span<const TvColour> steps =
      grey ? std::span<const TvColour>(kGreySteps) : std::span<const TvColour>(kMapSteps);
  std::vector<TvColour> colours;
  for (size_t i = 0; i < count; ++i) {
    const double place = static_cast<double>(i) * static_cast<double>(steps.size() - 1) /
                         static_cast<double>(std::max<size_t>(count - 1, 1));
    const size_t step = std::min(static_cast<size_t>(place), steps.size() - 2);
    colours.push_back(Mixed(steps[step], steps[step + 1], place - static_cast<double>(step)));
  }
  return colours;
}

}  // namespace tervalon::tools
