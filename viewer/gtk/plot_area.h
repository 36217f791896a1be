// The area of a window that shows a plot.

#ifndef VIEWER_GTK_PLOT_AREA_H_
#define VIEWER_GTK_PLOT_AREA_H_

#include <gtk/gtk.h>

#include <optional>

#include "viewer/core/workspace.h"

namespace tervalon::viewer {

class PlotArea {
 public:
  PlotArea(Workspace* workspace, Document* document);
  ~PlotArea();
  PlotArea(const PlotArea&) = delete;
  PlotArea& operator=(const PlotArea&) = delete;

  GtkWidget* widget() const { return area_; }
  // Draws anew, soon.
  void Redraw();
  // What is shown; the caller unrefs it. nullptr before it was shown.
  GdkPixbuf* Pixels() const;

 private:
  void Draw(cairo_t* cairo);
  // The picture as it is now, of the area's size.
  void Paint(int32_t width, int32_t height, int scale);
  Place PlaceOf(double x, double y) const;
  bool Press(const GdkEventButton& event);
  bool Release(const GdkEventButton& event);
  bool Move(const GdkEventMotion& event);
  bool Scroll(const GdkEventScroll& event);

  Workspace& workspace_;
  Document& document_;
  GtkWidget* const area_;
  cairo_surface_t* picture_ = nullptr;
  std::optional<Box> mark_;
  std::string failure_;
};

// Whether the desktop is dark, and the size of its text.
const char* ThemeName(GtkWidget* widget);
double TextPoints(GtkWidget* widget);

}  // namespace tervalon::viewer

#endif  // VIEWER_GTK_PLOT_AREA_H_
