// Axes, coordinate systems, and pictures on device contexts.

#include <deque>
#include <optional>

#include "platform/drawing.h"
#include "tervalon/axes.h"
#include "tervalon/coordinate_systems.h"
#include "tervalon/drawing.h"
#include "tervalon/plot_resources.h"
#include "tests/support/canvas.h"
#include "tests/support/families.h"

namespace tervalon::testing {
namespace {

class AxesObjects : public Family {
 public:
  explicit AxesObjects(const Workplace& /*place*/) {}
  ~AxesObjects() override {
    for (const Object& object : objects_) AxsDelete(object.handle);
    for (const auto& [handle, origin] : systems_) CosDelete(handle);
  }

  void Step(Random* random) override {
    StepSystems(random);
    if (objects_.empty() || (objects_.size() < 5 && Below(random, 8) == 0)) {
      const auto rows = static_cast<int32_t>(Below(random, 3)) + 1;
      Object object = {AxsCreate(rows, 0, 1, 1), rows, 0};
      Require(object.handle != 0, "AxsCreate");
      const TvRect area = {0, 0, 599, 299};
      const TvRect margins = {};
      Require(AxsSize(object.handle, &area, &margins) == rows, "AxsSize");
      Range(&object, random);
      objects_.push_back(object);
      return;
    }
    Object& object = objects_[Below(random, static_cast<uint32_t>(objects_.size()))];
    AxsSystem system;
    Require(AxsGetSystem(object.handle, &system) == 1 && system.x.high == object.high &&
                system.row_count == object.rows,
            "another axes object");
    TvPoint point = {};
    Require(AxsGetAxisCoord(object.handle, 0, 0, &point) >= 0, "AxsGetAxisCoord");
    if (Below(random, 8) > 0) return Range(&object, random);
    Require(AxsDelete(object.handle) == 1, "AxsDelete");
    object = objects_.back();
    objects_.pop_back();
  }

 private:
  struct Object {
    int32_t handle;
    int32_t rows;
    float high;
  };

  static void Range(Object* object, Random* random) {
    object->high = static_cast<float>(Below(random, 1000) + 1);
    Require(AxsSetRanges(object->handle, 0, object->high, 0, 100) == 1, "AxsSetRanges");
  }

  void StepSystems(Random* random) {
    if (systems_.size() < 5) {
      const auto origin = static_cast<int32_t>(Below(random, 500));
      const int32_t handle = CosCreate(origin, 0);
      Require(handle != 0, "CosCreate");
      systems_.push_back({handle, origin});
      return;
    }
    const auto [handle, origin] = systems_.front();
    Require(CosXPosOfValue(handle, 7) == origin + 7 && CosValueAtXPos(handle, origin + 9) == 9.0,
            "another coordinate system");
    if (Below(random, 4) > 0) return;
    Require(CosDelete(handle) == 0, "CosDelete");
    systems_.pop_front();
  }

  std::vector<Object> objects_;
  std::deque<std::pair<int32_t, int32_t>> systems_;  // with their origins
};

// Every picture of the same plot is the same.
class Pictures : public Family {
 public:
  explicit Pictures(const Workplace& /*place*/) {}
  // A system that does not tell when a device context goes leaves its resources to the next one.
  ~Pictures() override {
    if (canvas_) PltReleaseResources(canvas_->dc());
  }

  void Step(Random* random) override {
    const uint32_t choice = Below(random, 8);
    if (!canvas_ || choice == 0) {
      canvas_.reset();
      canvas_.emplace(160, 120);
      Draw();
    } else if (choice < 4) {
      CheckObjects(random);
    } else if (choice == 4) {
      PltResources resources = {};
      resources.text_colour = 0x123456;
      Require(PltSetResources(canvas_->dc(), &resources) == 1, "PltSetResources");
      resources = {};
      Require(PltGetResources(canvas_->dc(), &resources) == 1 && resources.axis_pen != nullptr &&
                  resources.text_colour == 0x123456,
              "PltGetResources");
      PltReleaseResources(canvas_->dc());
    } else if (choice == 5) {
      TvColour colour = 0;
      Require(AxsGetDataPen(1, &colour, nullptr) != nullptr && colour != 0, "AxsGetDataPen");
    } else {
      Draw();
    }
  }

 private:
  void Draw() {
    const TvDC dc = canvas_->dc();
    const int32_t axes = AxsCreate(1, 0, 1, 1);
    const TvRect area = {0, 0, 159, 119};
    const TvRect margins = {30, 5, 5, 30};
    AxsSize(axes, &area, &margins);
    AxsSetRanges(axes, 0, 10, 0, 100);
    platform::TheDrawing().FillRectangle(dc, {0, 0, 160, 120}, kWhite);
    const float x[] = {0, 2, 4, 6, 8, 10};
    const float y[] = {5, 80, 20, 60, 90, 10};
    Require(AxsDisplayDefaultAxes(dc, axes, "Time", 1, "%", 0) >= 0, "AxsDisplayDefaultAxes");
    Require(AxsDisplayDefaultData(dc, axes, x, y, 6, AXS_PLOT_JOINED, 0) >= 0,
            "AxsDisplayDefaultData");
    AxsDelete(axes);
    canvas_->Look();
    const int64_t inked = canvas_->InkedCount();
    if (inked_ == 0) inked_ = inked;
    Require(inked == inked_ && inked > 300, "another picture: " + std::to_string(inked));
  }

  static void CheckObjects(Random* random) {
    platform::Drawing& drawing = platform::TheDrawing();
    const auto width = static_cast<int32_t>(Below(random, 5)) + 1;
    const TvPen pen = drawing.MakePen({platform::kPenSolid, width, 0xFF});
    platform::PenDescription description;
    Require(drawing.DescribePen(pen, &description) && description.width == width, "another pen");
    const TvFont font = drawing.MakeFont({"Arial", -8 - width, 400});
    Require(drawing.DeletePen(pen) && drawing.DeleteFont(font), "pens and fonts");
  }

  std::optional<Canvas> canvas_;
  int64_t inked_ = 0;
};

}  // namespace

std::vector<FamilyKind> DrawingFamilies() {
  return {{"AxesObjects", 50, Make<AxesObjects>}, {"Pictures", 2, Make<Pictures>}};
}

}  // namespace tervalon::testing
