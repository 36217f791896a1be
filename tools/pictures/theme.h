// The colours and lines of pictures.

#ifndef TOOLS_PICTURES_THEME_H_
#define TOOLS_PICTURES_THEME_H_

#include <tervalon/plot_resources.h>
#include <tervalon/types.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tervalon::tools {

struct LineStyle {
  TvColour colour;
  int32_t dashes;  // the style of a pen: 0 solid, 1 dashes, ...
};

// The second set of line styles is used where the first is used up.
struct Theme {
  const char* name;
  TvColour ground;
  TvColour text;
  TvColour muted;
  TvColour axis;
  TvColour grid;
  TvColour mark;
  std::array<LineStyle, PLT_DATA_STYLES> first;
  std::array<LineStyle, PLT_DATA_STYLES> second;

  const LineStyle& StyleOf(size_t series) const {
    const size_t style = series % (2 * PLT_DATA_STYLES);
    return style < PLT_DATA_STYLES ? first[style] : second[style - PLT_DATA_STYLES];
  }
};

// The names of all themes, the usual one first.
std::vector<std::string> ThemeNames();
const Theme& ThemeOf(const std::string& name);

// A mixture of two colours: of the second that part.
TvColour Mixed(TvColour first, TvColour second, double part);

// The colours of a map from the lowest value to the highest: evenly lighter (or darker on paper
// without colours), so that equal steps look equal.
std::vector<TvColour> MapColours(const Theme& theme, size_t count);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_THEME_H_
