// An axes object of the library that deletes itself.

#ifndef TOOLS_PICTURES_AXES_OBJECT_H_
#define TOOLS_PICTURES_AXES_OBJECT_H_

#include <tervalon/axes.h>

#include <vector>

#include "tools/data/raw_data.h"
#include "tools/pictures/geometry.h"

namespace tervalon::tools {

struct PanelPlan;

class AxesObject {
 public:
  AxesObject(int32_t rows, int32_t least_height) : handle_(AxsCreate(rows, 0, 1, least_height)) {}
  ~AxesObject() { AxsDelete(handle_); }
  AxesObject(const AxesObject&) = delete;
  AxesObject& operator=(const AxesObject&) = delete;

  int32_t handle() const { return handle_; }

  // Takes over what a plan says of its axes object. Returns how many rows have room.
  int32_t Arrange(const PanelPlan& plan) const;

 private:
  const int32_t handle_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_AXES_OBJECT_H_
