// Paints plans with the library's exports.

#ifndef TOOLS_PICTURES_PLOT_DRAWING_H_
#define TOOLS_PICTURES_PLOT_DRAWING_H_

#include <tervalon/plot_resources.h>
#include <tervalon/types.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/pictures/axes_object.h"
#include "tools/pictures/drawing_tools.h"
#include "tools/pictures/picture_plan.h"
#include "tools/pictures/text_measure.h"
#include "tools/pictures/theme.h"

namespace tervalon::tools {

// What a picture is painted with, on one device context.
class PlotPainter : private TextMeasure {
 public:
  // Text of that many points.
  PlotPainter(TvDC dc, const PictureSize& size, const Theme& theme, double points);
  ~PlotPainter() override;
  PlotPainter(const PlotPainter&) = delete;
  PlotPainter& operator=(const PlotPainter&) = delete;

  const TextMeasure& measure() const { return *this; }

  void Paint(const PicturePlan& plan);

 private:
  using TextMeasure::Height;
  using TextMeasure::Width;
  int32_t Width(const std::string& utf8, Face face) const override;
  int32_t Height(Face face) const override;

  TvColour ColourOf(Ink ink) const;
  void UseFor(Ink ink, Face face, bool lines = true) const;
  void PaintPanel(const PicturePlan& plan, const PanelPlan& panel);
  void PaintMaps(const PanelPlan& panel) const;
  void PaintCells(const Box& box, std::span<const TvColour> colours, int32_t columns) const;
  void PaintArea(const Box& box, TvColour colour) const;
  void PaintPeakArea(const PlannedArea& area) const;
  void PaintTrace(const AxesObject& axes, const PlotSeries& series,
                  const PlannedTrace& trace) const;
  void PaintLines(std::span<const PlannedLine> lines) const;
  void PaintTexts(std::span<const PlannedText> texts) const;

  const TvDC dc_;
  const PictureSize size_;
  const Theme& theme_;
  DrawingTools tools_;
  TvFont fonts_[2] = {};
  int32_t heights_[2] = {};
  int32_t letters_[2] = {};  // the average width of one
  TvPen axis_pen_ = nullptr;
  TvPen muted_pen_ = nullptr;
  TvPen grid_pen_ = nullptr;
  TvPen no_pen_ = nullptr;
  std::vector<PltDataStyle> styles_;  // of series
  AxesObject canvas_;                 // whose values are the picture's pixels
};

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PLOT_DRAWING_H_
