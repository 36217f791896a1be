#include "tools/pictures/axes_object.h"

#include <tervalon/magnification.h>

#include "tools/pictures/picture_plan.h"

namespace tervalon::tools {

int32_t AxesObject::Arrange(const PanelPlan& plan) const {
  const TvRect area = {plan.area.left, plan.area.top, plan.area.right - 1, plan.area.bottom - 1};
  const TvRect margins = {plan.margins.left, plan.margins.top, plan.margins.right,
                          plan.margins.bottom};
  AxsSetRanges(handle_, plan.x.low, plan.x.high, plan.y.low, plan.y.high);
  for (size_t i = 0; i < plan.magnified.size(); ++i) {
    const AxsMagnify& range = plan.magnified[i];
    AxsMagnifyRange(handle_, range.factor, range.from, range.to, static_cast<int32_t>(i));
  }
  AxsModify(handle_, plan.depth_x, plan.depth_y);
  return AxsSize(handle_, &area, &margins);
}

}  // namespace tervalon::tools
