// A device context that remembers what is drawn on it, with text metrics that are easy to foresee:
// in a font of height h (16 before one is selected) every line of text is |h| high, h / 4 of that
// internal leading, and every character h / 2 wide.

#ifndef TESTS_SUPPORT_RECORDING_DRAWING_H_
#define TESTS_SUPPORT_RECORDING_DRAWING_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/drawing.h"

namespace tervalon::testing {

// Each with the state that it was drawn with. `clip` is unset where nothing is clipped.
struct DrawnLine {
  TvPoint from;
  TvPoint to;
  platform::PenDescription pen;
  std::optional<TvRect> clip;
};
struct DrawnPolyline {
  std::vector<TvPoint> points;
  platform::PenDescription pen;
  std::optional<TvRect> clip;
};
struct DrawnFill {
  std::vector<TvPoint> points;  // of a rectangle: its upper left and lower right corner
  TvColour colour = 0;
  bool is_rectangle = false;
  std::optional<TvRect> clip;
};
struct DrawnImage {
  TvRect rect;
  std::vector<TvColour> pixels;
};
struct DrawnText {
  TvPoint at;  // the upper left corner
  std::string text;
  TvFont font = nullptr;
  TvColour colour = 0;
  std::optional<TvColour> background;  // where it is opaque
  std::optional<TvRect> within;
  std::optional<TvRect> clip;
};

class RecordingDrawing : public platform::Drawing {
 public:
  RecordingDrawing();
  ~RecordingDrawing() override;

  // The only device context that is live, until KillDevice.
  TvDC dc() { return reinterpret_cast<TvDC>(this); }
  void KillDevice();

  platform::DeviceMetrics capabilities = {96, 96, 800, 600};
  TvColour window_colour = 0xFFFFFF;
  bool fail_save = false;
  bool fail_restore = false;

  // In the order of drawing.
  std::vector<DrawnLine> lines;
  std::vector<DrawnPolyline> polylines;
  std::vector<DrawnFill> fills;
  std::vector<DrawnImage> images;
  std::vector<DrawnText> texts;
  void Forget();

  int32_t saved_states() const { return static_cast<int32_t>(saved_.size()); }
  int32_t live_objects() const { return static_cast<int32_t>(pens_.size() + fonts_.size()); }

  // A readable form of lines and texts: "10,20 10,30" and "x,y text".
  std::vector<std::string> LineTexts() const;
  std::vector<std::string> TextTexts() const;

  bool IsLive(TvDC dc) override { return alive_ && dc == this->dc(); }
  bool Save(TvDC dc) override;
  bool Restore(TvDC dc) override;
  bool Capabilities(TvDC dc, platform::DeviceMetrics* out) override;
  TvPen MakePen(const platform::PenDescription& description) override;
  bool DescribePen(TvPen pen, platform::PenDescription* out) override;
  bool DeletePen(TvPen pen) override;
  TvFont MakeFont(const platform::FontDescription& description) override;
  bool DeleteFont(TvFont font) override;
  bool SelectPen(TvDC dc, TvPen pen) override;
  bool SelectFont(TvDC dc, TvFont font) override;
  TvPen SelectedPen(TvDC dc) override;
  TvFont SelectedFont(TvDC dc) override;
  bool SetTextColour(TvDC dc, TvColour colour) override;
  bool SetOpaqueBackground(TvDC dc, bool opaque) override;
  bool SetBackgroundColour(TvDC dc, TvColour colour) override;
  TvColour WindowColour() override { return window_colour; }
  bool Metrics(TvDC dc, platform::TextMetrics* out) override;
  TvSize Extent(TvDC dc, std::string_view text) override;
  bool Lines(TvDC dc, const platform::LineSegment* lines, size_t count) override;
  bool Polyline(TvDC dc, const TvPoint* points, size_t count) override;
  bool FillRectangle(TvDC dc, const TvRect& rect, TvColour colour) override;
  bool FillPolygon(TvDC dc, const TvPoint* points, size_t count, TvColour colour) override;
  bool Image(TvDC dc, const TvRect& rect, const TvColour* pixels) override;
  bool Text(TvDC dc, int32_t x, int32_t y, std::string_view text) override;
  bool TextWithin(TvDC dc, const TvRect& rect, platform::TextAlign align,
                  std::string_view text) override;
  bool Clip(TvDC dc, const TvRect& rect) override;
  void OnDeviceGone(void (*listener)(TvDC dc)) override { listener_ = listener; }

 private:
  struct State {
    TvPen pen = nullptr;
    platform::PenDescription pen_description;
    TvFont font = nullptr;
    int32_t height = 16;
    TvColour text_colour = 0;
    bool opaque = true;
    TvColour background = 0xFFFFFF;
    std::optional<TvRect> clip;
  };

  DrawnText Drawn(int32_t x, int32_t y, std::string_view text) const;

  bool alive_ = true;
  State state_;
  std::vector<State> saved_;
  uintptr_t last_object_ = 0;
  std::map<TvPen, platform::PenDescription> pens_;
  std::map<TvFont, platform::FontDescription> fonts_;
  void (*listener_)(TvDC dc) = nullptr;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_RECORDING_DRAWING_H_
