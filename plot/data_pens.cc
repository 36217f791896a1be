// Pens and colours of traces.

#include <algorithm>
#include <array>

#include "appsvc/export_guard.h"
#include "plot/resources.h"
#include "tervalon/drawing.h"

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

extern "C" TvPen TERVALON_CALL AxsGetDataPenDC(TvDC dc, int32_t index, TvColour* colour,
                                               int32_t* style, int32_t primary) {
  if (index < 0) return nullptr;
  return Guarded(TvPen{nullptr}, [&]() -> TvPen {
    const PltResources& resources = ResourcesFor(dc);
    const PltDataStyle* styles = primary != 0 ? resources.first : resources.second;
    const PltDataStyle& found = styles[index % PLT_DATA_STYLES];
    if (found.pen == nullptr) return nullptr;
    if (colour != nullptr) {
      *colour = found.red | TvColour{found.green} << 8 | TvColour{found.blue} << 16;
    }
    if (style != nullptr) *style = found.style;
    return found.pen;
  });
}

extern "C" TvPen TERVALON_CALL AxsGetDataPen(int32_t index, TvColour* colour, int32_t* style) {
  return AxsGetDataPenDC(nullptr, index, colour, style, 1);
}

extern "C" TvPen TERVALON_CALL AxsGetDataPenExt(int32_t index, TvColour* colour, int32_t* style,
                                                int32_t primary) {
  return AxsGetDataPenDC(nullptr, index, colour, style, primary);
}

extern "C" int32_t TERVALON_CALL AxsGetDataColourNum(const int32_t* used, int32_t count) {
  std::array<int32_t, PLT_DATA_STYLES> uses = {};
  for (int32_t i = 0; used != nullptr && i < count; ++i) {
    const int32_t colour = used[i] % PLT_DATA_STYLES;
    if (colour >= 0) ++uses[static_cast<size_t>(colour)];
  }
  return static_cast<int32_t>(std::min_element(uses.begin(), uses.end()) - uses.begin());
}
