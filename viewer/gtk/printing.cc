#include "viewer/gtk/printing.h"

#include <tervalon/drawing_devices.h>

#include <algorithm>

#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "viewer/gtk/signals.h"

namespace tervalon::viewer {
namespace {

constexpr int kResolution = 300;  // that pages are planned in
constexpr double kPoints = 9;
constexpr const char* kTheme = "light";

// A4, lying, within margins, in inches.
constexpr double kPageWidth = 297 / 25.4;
constexpr double kPageHeight = 210 / 25.4;
constexpr double kMargin = 15 / 25.4;

// Draws a document into a rectangle of that many inches whose units are `unit` inches.
std::string DrawPage(Document& document, cairo_t* cairo, double width, double height, double unit) {
  const PictureSize size = {static_cast<int32_t>(width * kResolution),
                            static_cast<int32_t>(height * kResolution), kResolution};
  cairo_save(cairo);
  cairo_scale(cairo, 1 / (unit * kResolution), 1 / (unit * kResolution));
  const TvDC dc = TvCreateCairoDC(cairo, size.width, size.height, size.pixels_per_inch);
  std::string failure = dc == nullptr ? "Out of memory" : "";
  if (dc != nullptr) {
    try {
      tools::PlotPainter painter(dc, size, tools::ThemeOf(kTheme), kPoints);
      painter.Paint(document.chart()->PlanAnew(size, painter.measure(), document.Title()));
    } catch (const tools::Failure& thrown) {
      failure = thrown.what();
    }
    if (TvDeleteDC(dc) == 0 && failure.empty()) failure = "the page could not be drawn";
  }
  cairo_restore(cairo);
  return failure;
}

std::string ShowPage(Document& document, GtkWindow* parent) {
  GtkWidget* const dialog = gtk_dialog_new_with_buttons(
      "Print preview", parent, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
      "_Close", GTK_RESPONSE_CLOSE, "_Print...", GTK_RESPONSE_APPLY, nullptr);
  GtkWidget* const area = gtk_drawing_area_new();
  gtk_widget_set_size_request(area, 842, 595);
  std::string failure;
  OnSignal<gboolean(cairo_t*)>(area, "draw", [&](cairo_t* cairo) -> gboolean {
    const double unit = std::max(kPageWidth / gtk_widget_get_allocated_width(area),
                                 kPageHeight / gtk_widget_get_allocated_height(area));
    cairo_set_source_rgb(cairo, 1, 1, 1);
    cairo_rectangle(cairo, 0, 0, kPageWidth / unit, kPageHeight / unit);
    cairo_fill_preserve(cairo);
    cairo_set_source_rgb(cairo, 0.6, 0.6, 0.6);
    cairo_set_line_width(cairo, 1);
    cairo_stroke(cairo);
    cairo_translate(cairo, kMargin / unit, kMargin / unit);
    failure = DrawPage(document, cairo, kPageWidth - 2 * kMargin, kPageHeight - 2 * kMargin, unit);
    return TRUE;
  });
  gtk_box_pack_start(GTK_BOX(gtk_dialog_get_content_area(GTK_DIALOG(dialog))), area, TRUE, TRUE, 0);
  gtk_widget_show_all(dialog);
  const int answer = gtk_dialog_run(GTK_DIALOG(dialog));
  gtk_widget_destroy(dialog);
  return answer == GTK_RESPONSE_APPLY ? PrintDocument(document, parent, false) : failure;
}

}  // namespace

std::string PrintDocument(Document& document, GtkWindow* parent, bool preview) {
  if (preview) return ShowPage(document, parent);
  GtkPrintOperation* const operation = gtk_print_operation_new();
  gtk_print_operation_set_n_pages(operation, 1);
  gtk_print_operation_set_job_name(operation, document.Title().c_str());
  GtkPageSetup* const page = gtk_page_setup_new();
  gtk_page_setup_set_orientation(page, GTK_PAGE_ORIENTATION_LANDSCAPE);
  gtk_print_operation_set_default_page_setup(operation, page);
  g_object_unref(page);
  std::string failure;
  OnSignal<void(GtkPrintContext*, int)>(operation, "draw-page", [&](GtkPrintContext* paper, int) {
    const double resolution = gtk_print_context_get_dpi_x(paper);
    failure = DrawPage(document, gtk_print_context_get_cairo_context(paper),
                       gtk_print_context_get_width(paper) / resolution,
                       gtk_print_context_get_height(paper) / resolution, 1 / resolution);
  });
  GError* error = nullptr;
  gtk_print_operation_run(operation, GTK_PRINT_OPERATION_ACTION_PRINT_DIALOG, parent, &error);
  if (error != nullptr) {
    failure = error->message;
    g_error_free(error);
  }
  g_object_unref(operation);
  return failure;
}

}  // namespace tervalon::viewer
