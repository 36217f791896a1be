// Drawing on a device context: a screen, a printer, an image or a metafile.
//
// Coordinates are the device's pixels, y downwards: (x, y) is the pixel of that number, and a line
// one pixel wide covers whole pixels. A rectangle's right and bottom edge are outside it. Device
// contexts, pens and fonts come from callers: one that is null where it is needed, unknown or
// already deleted gives false (or an empty result) and draws nothing.
//
// What is recorded into a metafile is measured on the metafile's reference device.

#ifndef PLATFORM_DRAWING_H_
#define PLATFORM_DRAWING_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/replaceable.h"
#include "tervalon/types.h"

namespace tervalon::platform {

// With the desktop platform's values.
enum PenStyle : int32_t {
  kPenSolid = 0,
  kPenDash = 1,
  kPenDot = 2,
  kPenDashDot = 3,
  kPenDashDotDot = 4,
  kPenNull = 5,  // draws nothing
};

struct PenDescription {
  int32_t style = kPenSolid;
  int32_t width = 1;  // pixels; 0 is one pixel too
  TvColour colour = 0;
};

struct FontDescription {
  std::string face;      // a name that the device does not have, or none, gives a plain sans serif
  int32_t height = 0;    // of a line; negated, of its characters without internal leading; 0: usual
  int32_t weight = 400;  // 400 normal, 700 bold
};

struct TextMetrics {
  int32_t height = 0;  // of a line: from the top of its tallest to the bottom of its lowest text
  int32_t ascent = 0;  // of these, above the base line
  int32_t internal_leading = 0;  // of these, above the capitals: room for accents
  int32_t average_width = 0;     // of the font's characters
};

struct DeviceMetrics {
  int32_t pixels_per_inch_x = 0;
  int32_t pixels_per_inch_y = 0;
  int32_t width = 0;
  int32_t height = 0;
};

struct LineSegment {
  TvPoint from;
  TvPoint to;
};

enum class TextAlign { kLeft, kCentre, kRight };

// Where a text of that width begins in a rectangle.
inline int32_t AlignedLeft(const TvRect& rect, TextAlign align, int32_t width) {
  if (align == TextAlign::kLeft) return rect.left;
  const int64_t free = int64_t{rect.right} - rect.left - width;
  return static_cast<int32_t>(rect.left + (align == TextAlign::kCentre ? free / 2 : free));
}

class Drawing {
 public:
  virtual ~Drawing() = default;

  virtual bool IsLive(TvDC dc) = 0;

  // Save what the calls below select and set, and put back what was last saved. Everything set
  // between the two is the drawer's own; a context taken over from a caller may have any state.
  virtual bool Save(TvDC dc) = 0;
  virtual bool Restore(TvDC dc) = 0;

  virtual bool Capabilities(TvDC dc, DeviceMetrics* out) = 0;

  // Pens and fonts serve every device context. Who makes one deletes it, when no context has it
  // selected any more. nullptr when there is no room for it.
  virtual TvPen MakePen(const PenDescription& description) = 0;
  virtual bool DescribePen(TvPen pen, PenDescription* out) = 0;
  virtual bool DeletePen(TvPen pen) = 0;
  virtual TvFont MakeFont(const FontDescription& description) = 0;
  virtual bool DeleteFont(TvFont font) = 0;

  // nullptr keeps the one that is selected, and succeeds.
  virtual bool SelectPen(TvDC dc, TvPen pen) = 0;
  virtual bool SelectFont(TvDC dc, TvFont font) = 0;

  // The pen and the font that are selected; nullptr where the context does not tell.
  virtual TvPen SelectedPen(TvDC dc) = 0;
  virtual TvFont SelectedFont(TvDC dc) = 0;

  virtual bool SetTextColour(TvDC dc, TvColour colour) = 0;

  // Whether the rectangle behind a text is painted with the background colour.
  virtual bool SetOpaqueBackground(TvDC dc, bool opaque) = 0;
  virtual bool SetBackgroundColour(TvDC dc, TvColour colour) = 0;

  // The colour that windows are painted with.
  virtual TvColour WindowColour() = 0;

  // Measure with the selected font. On failure the result is all zeros.
  virtual bool Metrics(TvDC dc, TextMetrics* out) = 0;
  virtual TvSize Extent(TvDC dc, std::string_view text) = 0;  // its height is the line's

  // Draws lines with the selected pen, each from its first pixel up to but without its last.
  virtual bool Lines(TvDC dc, const LineSegment* lines, size_t count) = 0;
  bool Line(TvDC dc, TvPoint from, TvPoint to) {
    const LineSegment line = {from, to};
    return Lines(dc, &line, 1);
  }

  // Draws a line through all points with the selected pen, both ends included; a single point is a
  // pixel.
  virtual bool Polyline(TvDC dc, const TvPoint* points, size_t count) = 0;

  // Fill without an outline: a rectangle of pixels, and the area within the lines through points.
  virtual bool FillRectangle(TvDC dc, const TvRect& rect, TvColour colour) = 0;
  virtual bool FillPolygon(TvDC dc, const TvPoint* points, size_t count, TvColour colour) = 0;

  // Colours the pixels of a rectangle, one after the other, the uppermost row first.
  virtual bool Image(TvDC dc, const TvRect& rect, const TvColour* pixels) = 0;

  // Writes one line of text with its upper left corner at (x, y).
  virtual bool Text(TvDC dc, int32_t x, int32_t y, std::string_view text) = 0;

  // Writes one line of text at the top of a rectangle. What does not fit is cut off at its edges.
  virtual bool TextWithin(TvDC dc, const TvRect& rect, TextAlign align, std::string_view text) = 0;

  // Draws only inside `rect` from now on (and inside what was set before), until the state from
  // before is restored.
  virtual bool Clip(TvDC dc, const TvRect& rect) = 0;

  // Something that belongs in the picture could not be drawn: where its end tells, it has failed.
  virtual void Fail(TvDC /*dc*/) {}

  // Asks to be told when a device context has gone; nullptr ends it. One listener; a platform whose
  // own calls delete device contexts does not tell.
  virtual void OnDeviceGone(void (*listener)(TvDC dc)) = 0;
};

template <>
Drawing& Current<Drawing>();
template <>
Drawing* Replace<Drawing>(Drawing* service);

inline Drawing& TheDrawing() { return Current<Drawing>(); }

// Saves a context's state for a scope.
class SavedState {
 public:
  explicit SavedState(TvDC dc) : dc_(dc), saved_(TheDrawing().Save(dc)) {}
  ~SavedState() { Restore(); }
  SavedState(const SavedState&) = delete;
  SavedState& operator=(const SavedState&) = delete;

  bool saved() const { return saved_; }

  // Ends the scope early, for those who need to know. True when the state was put back.
  bool Restore() {
    const bool was_saved = saved_;
    saved_ = false;
    return was_saved && TheDrawing().Restore(dc_);
  }

 private:
  TvDC dc_;
  bool saved_;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_DRAWING_H_
