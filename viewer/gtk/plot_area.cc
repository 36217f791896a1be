#include "viewer/gtk/plot_area.h"

#include <tervalon/drawing_devices.h>

#include <cmath>

#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "viewer/gtk/signals.h"

namespace tervalon::viewer {
namespace {

constexpr int kPixelsPerInch = 96;  // of an unscaled desktop
constexpr double kUsualPoints = 9;
constexpr double kWheelStep = 0.8;
constexpr GdkRGBA kMarkColour = {0.2, 0.5, 0.9, 0.25};

}  // namespace

const char* ThemeName(GtkWidget* widget) {
  GdkRGBA text = {};
  GtkStyleContext* const style = gtk_widget_get_style_context(widget);
  gtk_style_context_get_color(style, gtk_style_context_get_state(style), &text);
  return text.red + text.green + text.blue > 1.5 ? "dark" : "light";
}

double TextPoints(GtkWidget* widget) {
  PangoContext* const context = gtk_widget_get_pango_context(widget);
  const PangoFontDescription* const font = pango_context_get_font_description(context);
  const double size = pango_font_description_get_size(font) / double{PANGO_SCALE};
  // What the desktop's resolution makes of it.
  const double resolution = gdk_screen_get_resolution(gtk_widget_get_screen(widget));
  const double factor = resolution > 0 ? resolution / kPixelsPerInch : 1;
  return size > 0 ? size * factor * 0.9 : kUsualPoints;
}

PlotArea::PlotArea(Workspace* workspace, Document* document)
    : workspace_(*workspace), document_(*document), area_(gtk_drawing_area_new()) {
  g_object_ref_sink(area_);
  gtk_widget_set_can_focus(area_, TRUE);
  gtk_widget_add_events(area_, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                                   GDK_POINTER_MOTION_MASK | GDK_SCROLL_MASK |
                                   GDK_SMOOTH_SCROLL_MASK);
  OnSignal<gboolean(cairo_t*)>(area_, "draw", [this](cairo_t* cairo) {
    Draw(cairo);
    return TRUE;
  });
  OnSignal<void(GdkRectangle*)>(area_, "size-allocate", [this](GdkRectangle*) { Redraw(); });
  OnSignal<void()>(area_, "style-updated", [this] { Redraw(); });
  OnSignal<gboolean(GdkEventButton*)>(
      area_, "button-press-event",
      [this](GdkEventButton* event) -> gboolean { return Press(*event); });
  OnSignal<gboolean(GdkEventButton*)>(
      area_, "button-release-event",
      [this](GdkEventButton* event) -> gboolean { return Release(*event); });
  OnSignal<gboolean(GdkEventMotion*)>(
      area_, "motion-notify-event",
      [this](GdkEventMotion* event) -> gboolean { return Move(*event); });
  OnSignal<gboolean(GdkEventScroll*)>(
      area_, "scroll-event", [this](GdkEventScroll* event) -> gboolean { return Scroll(*event); });
}

PlotArea::~PlotArea() {
  cairo_surface_destroy(picture_);
  gtk_widget_destroy(area_);
  g_object_unref(area_);
}

void PlotArea::Redraw() {
  cairo_surface_destroy(picture_);
  picture_ = nullptr;
  gtk_widget_queue_draw(area_);
}

GdkPixbuf* PlotArea::Pixels() const {
  if (picture_ == nullptr || !failure_.empty()) return nullptr;
  return gdk_pixbuf_get_from_surface(picture_, 0, 0, gtk_widget_get_allocated_width(area_),
                                     gtk_widget_get_allocated_height(area_));
}

void PlotArea::Paint(int32_t width, int32_t height, int scale) {
  failure_.clear();
  picture_ = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width * scale, height * scale);
  cairo_surface_set_device_scale(picture_, 1, 1);
  cairo_t* const cairo = cairo_create(picture_);
  cairo_set_antialias(cairo, CAIRO_ANTIALIAS_FAST);  // half of the time, and no difference to see
  const PictureSize size = {width * scale, height * scale, kPixelsPerInch * scale};
  const TvDC dc = TvCreateCairoDC(cairo, size.width, size.height, size.pixels_per_inch);
  if (dc == nullptr) {
    failure_ = "Out of memory";
  } else {
    try {
      tools::PlotPainter painter(dc, size, tools::ThemeOf(ThemeName(area_)), TextPoints(area_));
      painter.Paint(document_.chart()->Plan(size, painter.measure()));
    } catch (const tools::Failure& failure) {
      failure_ = failure.what();
    }
    TvDeleteDC(dc);
  }
  cairo_destroy(cairo);
  cairo_surface_set_device_scale(picture_, scale, scale);
}

void PlotArea::Draw(cairo_t* cairo) {
  const int32_t width = gtk_widget_get_allocated_width(area_);
  const int32_t height = gtk_widget_get_allocated_height(area_);
  const int scale = gtk_widget_get_scale_factor(area_);
  if (picture_ == nullptr) Paint(width, height, scale);
  if (failure_.empty()) {
    cairo_set_source_surface(cairo, picture_, 0, 0);
    cairo_paint(cairo);
  } else {
    // A picture that has no room says so in words that have.
    GtkStyleContext* const style = gtk_widget_get_style_context(area_);
    gtk_render_background(style, cairo, 0, 0, width, height);
    PangoLayout* const text = gtk_widget_create_pango_layout(area_, failure_.c_str());
    pango_layout_set_width(text, width * PANGO_SCALE);
    gtk_render_layout(style, cairo, 0, 0, text);
    g_object_unref(text);
  }
  if (mark_) {
    gdk_cairo_set_source_rgba(cairo, &kMarkColour);
    const double unit = 1.0 / scale;
    cairo_rectangle(cairo, mark_->left * unit, mark_->top * unit, mark_->width() * unit,
                    mark_->height() * unit);
    cairo_fill(cairo);
  }
  if (gtk_widget_has_focus(area_)) {
    gtk_render_focus(gtk_widget_get_style_context(area_), cairo, 0, 0, width, height);
  }
}

Place PlotArea::PlaceOf(double x, double y) const {
  const int scale = gtk_widget_get_scale_factor(area_);
  return {static_cast<int32_t>(x * scale), static_cast<int32_t>(y * scale)};
}

bool PlotArea::Press(const GdkEventButton& event) {
  gtk_widget_grab_focus(area_);
  workspace_.Activate(&document_);
  const Place place = PlaceOf(event.x, event.y);
  if (event.type == GDK_2BUTTON_PRESS && event.button == GDK_BUTTON_PRIMARY) {
    document_.chart()->DoubleClick(place);
    mark_.reset();
    workspace_.ViewChanged(document_);
  } else if (event.type == GDK_BUTTON_PRESS && event.button == GDK_BUTTON_PRIMARY) {
    document_.chart()->Press(Button::kLeft, place);
  } else if (event.type == GDK_BUTTON_PRESS && event.button == GDK_BUTTON_SECONDARY) {
    document_.chart()->Press(Button::kRight, place);
  }
  return true;
}

bool PlotArea::Release(const GdkEventButton& event) {
  mark_.reset();
  gtk_widget_queue_draw(area_);
  workspace_.Do(document_, document_.chart()->Release(PlaceOf(event.x, event.y)));
  return true;
}

bool PlotArea::Move(const GdkEventMotion& event) {
  Chart& chart = *document_.chart();
  const Place place = PlaceOf(event.x, event.y);
  if (const auto mark = chart.MarkTo(place); mark || mark_) {
    mark_ = mark;
    gtk_widget_queue_draw(area_);
  }
  if (chart.plan() != nullptr) workspace_.PointAt(document_, FindPlace(*chart.plan(), place));
  return true;
}

bool PlotArea::Scroll(const GdkEventScroll& event) {
  double steps = event.direction == GDK_SCROLL_UP ? -1 : event.direction == GDK_SCROLL_DOWN ? 1 : 0;
  if (event.direction == GDK_SCROLL_SMOOTH) steps = event.delta_y;
  if (steps == 0) return true;
  const bool along_y = (event.state & GDK_CONTROL_MASK) != 0;
  document_.chart()->Zoom(PlaceOf(event.x, event.y), std::pow(kWheelStep, -steps), along_y);
  workspace_.ViewChanged(document_);
  return true;
}

}  // namespace tervalon::viewer
