// Several axes objects one below another in a window.

#include <algorithm>
#include <cstdlib>

#include "plot/axes.h"

using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

// Moves the area to the place `places` away from the anchor's, neighbours overlapping. False when
// that lies outside 32 bits.
bool MoveFromAnchor(AxsPosition* position, int64_t places) {
  const int64_t margin = int64_t{position->margins.bottom} - position->overlap;
  const int64_t step = position->step >= 0 ? int64_t{position->step} - position->overlap
                                           : int64_t{position->step} + position->overlap;
  const int64_t shift = step * places;  // a step has 33 bits, a count of places 31
  const int64_t top = position->area.top + shift;
  const int64_t bottom = int64_t{position->area.bottom} - position->overlap + shift;
  if (!Fits(margin) || !Fits(top) || !Fits(bottom)) return false;
  position->margins.bottom = static_cast<int32_t>(margin);
  position->area.top = static_cast<int32_t>(top);
  position->area.bottom = static_cast<int32_t>(bottom);
  return true;
}

// Makes the area that of the lowest of the position's objects, with the others above. False when
// they lie outside 32 bits.
bool DivideHeight(AxsPosition* position) {
  const int64_t shown = position->count;
  const int64_t height = int64_t{position->area.bottom} - position->area.top;
  const int64_t each = (height + position->overlap * (shown - 1)) / shown;
  const int64_t top = position->area.bottom - each;
  if (!Fits(top) || !Fits(-each)) return false;
  position->area.top = static_cast<int32_t>(top);
  position->step = static_cast<int32_t>(-each);
  return true;
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsMaxAxes(const AxsPosition* position, const TvRect* margins,
                                            int32_t minimum_width, int32_t minimum_height) {
  if (position == nullptr || margins == nullptr) return 0;
  const TvRect& area = position->area;
  const int64_t width = int64_t{area.right} - area.left;
  if (width < int64_t{minimum_width} + margins->left + margins->right) return 0;
  const int64_t each = int64_t{minimum_height} + margins->top + margins->bottom;
  if (each <= 0) return 1;
  const int64_t count = (int64_t{area.bottom} - area.top) / each;
  return Fits(count) ? static_cast<int32_t>(count) : 0;
}

extern "C" int32_t TERVALON_CALL AxsGetPositionInfo(TvDC dc, int32_t flags, AxsPosition* position) {
  TvSize least = {};
  if (position == nullptr || position->count < 0 || AxsMinLength(dc, &least) == 0) return 0;
  AxsPosition result = *position;
  const int32_t most = AxsMaxAxes(position, &position->margins, least.width, least.height);
  result.count = std::clamp(most, 0, position->count);
  if ((flags & AXS_POSITION_OVERLAY) != 0) {
    result.first = 0;
    result.step = 0;
    if (result.count > 0) result.count = position->count;
  } else {
    const int64_t last_first = int64_t{position->count} - result.count;
    if (result.first > last_first) result.first = Saturate(last_first);
    if (result.count > 0 && !DivideHeight(&result)) return 0;
  }
  *position = result;
  return result.count;
}

extern "C" int32_t TERVALON_CALL AxsPositionAxis(int32_t handle, int32_t index, int32_t reverse,
                                                 AxsPosition position) {
  if (FindAxes(handle) == nullptr) return 0;
  const int64_t end = int64_t{position.first} + position.count;
  bool shown = index >= position.first && index < end;
  if (shown && position.step != 0) {
    const int64_t distance = std::abs(index - (reverse != 0 ? end - 1 : position.first));
    if (distance != 0) shown = MoveFromAnchor(&position, distance);
  }
  AxsSize(handle, shown ? &position.area : nullptr, &position.margins);
  return shown ? 1 : 0;
}
