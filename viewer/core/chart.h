// A plot that somebody works with: what part of it is seen, and what the mouse on it means. Knows
// no window system: a shell tells it about sizes and the mouse, and paints its plan.

#ifndef VIEWER_CORE_CHART_H_
#define VIEWER_CORE_CHART_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/pictures/geometry.h"
#include "tools/pictures/mass_map.h"
#include "tools/pictures/picture_plan.h"

namespace tervalon::viewer {

using tools::Box;
using tools::PicturePlan;
using tools::PictureSize;
using tools::PictureStyle;
using tools::Place;
using tools::PlotSeries;
using tools::TextMeasure;
using tools::Window;

// Where in a plot a place is.
struct PlotPlace {
  enum class Zone { kOutside, kData, kBelow, kBeside };  // below the X axis, beside the Y axis

  Zone zone = Zone::kOutside;
  size_t panel = 0;
  size_t row = 0;
  float x = 0;       // of the nearest place inside
  float y = 0;       // in the data's own unit
  float axis_y = 0;  // as the axis says: percent, or the same
};

PlotPlace FindPlace(const PicturePlan& plan, Place place);

// What is seen of a plot; nothing: all.
struct View {
  std::optional<Window> x = {};
  std::optional<Window> y = {};  // in the unit of the axis

  friend bool operator==(const View& a, const View& b);
};

enum class Button { kLeft, kRight };

// What somebody did on a plot.
struct Gesture {
  enum class Kind {
    kNone,
    kClick,   // on x.low
    kSelect,  // from x.low to x.high
    kBackground,
    kView,  // another part is seen
  };

  Kind kind = Kind::kNone;
  size_t panel = 0;
  Window x = {};
  float reach = 0;  // what a hand that points at x may have meant, to both sides
};

class Chart {
 public:
  // Puts other data in place of those shown. What is seen stays.
  void Show(std::vector<PlotSeries> series, PictureStyle style);
  void Show(tools::MassMap map, PictureStyle style);
  // The same data look otherwise.
  void Restyle(PictureStyle style);

  // Kept until something changes. Throws a Failure when there is no room.
  const PicturePlan& Plan(const PictureSize& size, const TextMeasure& measure);
  // One of another size, for a file or paper, with a title.
  PicturePlan PlanAnew(const PictureSize& size, const TextMeasure& measure,
                       const std::string& title = "") const;

  const View& view() const { return view_; }
  // The last one made, which somebody still sees; nullptr: none yet.
  const PicturePlan* plan() const { return plan_ ? &*plan_ : nullptr; }
  // Whether it shows what is to be seen.
  bool is_planned() const { return plan_ && !is_stale_; }
  // Where the view comes from another plot, or back; each but the first can be undone.
  void SetView(const View& view);
  void SeeAll() { SetView({}); }
  bool SeeLast();
  bool has_last() const { return !earlier_.empty(); }
  // Zooms by a factor around a place, along X or Y; moves by a part of what is seen.
  void Zoom(Place around, double factor, bool along_y);
  void ZoomMiddle(double factor);
  // From the X axis upward.
  void ZoomHeight(double factor);
  void Move(double part);

  void Press(Button button, Place place);
  // What is being marked is seen meanwhile; nothing: nothing is.
  std::optional<Box> MarkTo(Place place);
  Gesture Release(Place place);
  void DoubleClick(Place place);
  void Cancel() { pressed_.reset(); }

 private:
  struct Pressed {
    Button button;
    Place place;
    PlotPlace found;
  };

  // The first row of the first panel; nullptr: none is planned.
  const Box* FirstRow() const;
  // The range along X or Y of a panel as it was planned last, and as it will be.
  Window Planned(size_t panel, bool along_y) const;
  Window Seen(size_t panel, bool along_y) const;
  void Change(const View& view);
  // Nothing where the range is all that there is.
  std::optional<Window> Inside(Window range, bool along_y) const;

  // The series, of which those with very many points have no more than a picture needs.
  std::vector<PlotSeries> SeriesSeen(const PictureSize& size) const;

  std::vector<PlotSeries> series_;
  std::vector<PlotSeries> coarse_;  // of those with very many points what is seen of them from afar
  std::optional<tools::MassMap> map_;
  PictureStyle style_;
  View view_;
  View whole_;  // as far as it was seen
  std::vector<View> earlier_;
  std::optional<Pressed> pressed_;
  std::optional<PicturePlan> plan_;
  bool is_stale_ = true;  // something has changed since
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_CHART_H_
