#include "platform/linux/cairo_device.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <new>
#include <span>

#include "platform/linux/png_resolution.h"

namespace tervalon::platform {
namespace {

constexpr size_t kBufferSize = size_t{1} << 16;
constexpr int32_t kLongestSide = 32767;
constexpr int64_t kMostImagePixels = int64_t{1} << 28;
constexpr int32_t kMostPixelsPerInch = 9600;
constexpr double kPointsPerInch = 72;
constexpr double kScreenPixelsPerInch = 96;

// On an image, Cairo takes a time that grows with the square of the lines that are drawn at once
// where they lie close together, as those of a dense trace do. A trace of more than these is drawn
// a few at a time, in the way of TraceOnImage.
constexpr size_t kSegmentsAtOnce = 16;
constexpr size_t kBoxesAtOnce = 64;
constexpr double kDashPeriodsAtOnce = 100;

// Beyond this Cairo's own coordinates overflow.
constexpr int32_t kFarthest = 1 << 20;

// How far beside what can be seen broken lines are drawn, besides the pen's width: enough for their
// ends and joins.
constexpr double kBesideClip = 16;

constexpr double kPixelCentre = 0.5;

double Coordinate(int32_t value) { return std::clamp(value, -kFarthest, kFarthest); }

// Dashes and gaps in pixels of a screen, by pen style.
struct DashPattern {
  int count;
  std::array<double, 6> lengths;
};
constexpr std::array<DashPattern, 5> kDashes = {{
    {0, {}},                  // solid
    {2, {9, 4}},              // dash
    {2, {2, 3}},              // dot
    {4, {9, 4, 2, 4}},        // dash dot
    {6, {9, 4, 2, 4, 2, 4}},  // dash dot dot
}};

// A place between pixels, or the way from one to another.
struct Vector {
  double x = 0;
  double y = 0;
  double Length() const { return std::hypot(x, y); }
  friend Vector operator+(Vector a, Vector b) { return {a.x + b.x, a.y + b.y}; }
  friend Vector operator-(Vector a, Vector b) { return {a.x - b.x, a.y - b.y}; }
  friend Vector operator*(double factor, Vector a) { return {factor * a.x, factor * a.y}; }
};

Vector Place(const TvPoint& pixel, double centre) { return {pixel.x + centre, pixel.y + centre}; }

struct Window {
  double left, top, right, bottom;
};

bool IsSame(const TvPoint& a, const TvPoint& b) { return a.x == b.x && a.y == b.y; }

// Puts lines into Cairo's path as far as they lie in a window. Their dashes lie where they would if
// nothing had been left out.
class PathInWindow {
 public:
  PathInWindow(cairo_t* cairo, int32_t pen_style, double pen_width, double dash_unit)
      : cairo_(cairo),
        on_image_(cairo_surface_get_type(cairo_get_target(cairo)) == CAIRO_SURFACE_TYPE_IMAGE),
        dashes_(kDashes.at(static_cast<size_t>(pen_style))) {
    for (double& length : dashes_.lengths) period_ += length *= dash_unit;
    SetDashes(0);
    if (dashes_.count == 0) return;
    // Cairo makes every dash of a line, seen or not.
    cairo_clip_extents(cairo_, &window_.left, &window_.top, &window_.right, &window_.bottom);
    const double beside = kBesideClip + pen_width;
    window_ = {window_.left - beside, window_.top - beside, window_.right + beside,
               window_.bottom + beside};
  }

  void MoveTo(Vector place) {
    at_ = place;
    walked_ = 0;
    is_drawn_ = false;
  }

  void LineTo(Vector place) {
    const Vector way = place - at_;
    const double length = way.Length();
    const auto [first, last] = SharesInside(way);
    if (first <= last) {
      if (first > 0 || !is_drawn_) Begin(at_ + first * way, walked_ + first * length);
      const Vector end = last < 1 ? at_ + last * way : place;
      cairo_line_to(cairo_, end.x, end.y);
    }
    is_drawn_ = first <= last && last == 1;
    walked_ += length;
    at_ = place;
    if (on_image_ && is_drawn_ && period_ > 0 && walked_ - begun_ > kDashPeriodsAtOnce * period_) {
      Stroke();
      is_drawn_ = false;
    }
  }

  void Stroke() { cairo_stroke(cairo_); }

 private:
  // What of the way from at_ lies in the window, as the first and last share of it.
  std::pair<double, double> SharesInside(Vector way) const {
    double first = 0;
    double last = 1;
    const auto cut = [&](double start, double length, double low, double high) {
      if (length == 0) {
        if (start < low || start > high) last = -1;
        return;
      }
      const double to_low = (low - start) / length;
      const double to_high = (high - start) / length;
      first = std::max(first, std::min(to_low, to_high));
      last = std::min(last, std::max(to_low, to_high));
    };
    cut(at_.x, way.x, window_.left, window_.right);
    cut(at_.y, way.y, window_.top, window_.bottom);
    return {first, last};
  }

  // All that is stroked at once has its dashes from the same place of the pattern.
  void Begin(Vector place, double walked) {
    const double offset = period_ > 0 ? std::fmod(walked, period_) : 0;
    if (offset != offset_) {
      Stroke();
      SetDashes(offset);
    }
    cairo_move_to(cairo_, place.x, place.y);
    begun_ = walked;
  }

  void SetDashes(double offset) {
    offset_ = offset;
    cairo_set_dash(cairo_, dashes_.lengths.data(), dashes_.count, offset);
  }

  cairo_t* cairo_;
  bool on_image_;
  Window window_ = {-kFarthest, -kFarthest, kFarthest, kFarthest};
  DashPattern dashes_;
  double period_ = 0;
  double offset_ = 0;

  Vector at_;
  double walked_ = 0;      // from the start of the line to at_
  double begun_ = 0;       // to where the path begins
  bool is_drawn_ = false;  // at_ is the end of what is in the path
};

// Draws a long trace on an image. Where it goes up and down in a column of pixels, the column is
// filled from its lowest to its highest point: that is what the lines cover. So is most of the line
// from such a column to the next, which is drawn only where one of the two leaves some of it out.
class TraceOnImage {
 public:
  TraceOnImage(cairo_t* cairo, double pen_width, double pen_centre)
      : cairo_(cairo), pen_width_(pen_width), pen_centre_(pen_centre) {}

  void Draw(std::span<const TvPoint> points) {
    Column last = TakeColumn(&points);
    DrawAsBox(last);
    while (!points.empty()) {
      const Column column = TakeColumn(&points);
      if (!Covers(last, column)) DrawBetween(last, column);
      DrawAsBox(column);
      last = column;
    }
    FillBoxes();
  }

 private:
  // Points one after the other with the same x.
  struct Column {
    int32_t x = 0;
    int32_t first = 0;
    int32_t last = 0;
    int32_t top = 0;
    int32_t bottom = 0;
    bool IsPoint() const { return top == bottom; }
    bool Holds(int32_t y) const { return top <= y && y <= bottom; }
  };

  static Column TakeColumn(std::span<const TvPoint>* points) {
    const TvPoint& start = points->front();
    Column column = {start.x, start.y, start.y, start.y, start.y};
    size_t count = 0;
    for (; count < points->size() && (*points)[count].x == start.x; ++count) {
      column.last = (*points)[count].y;
      column.top = std::min(column.top, column.last);
      column.bottom = std::max(column.bottom, column.last);
    }
    *points = points->subspan(count);
    return column;
  }

  static bool Covers(const Column& from, const Column& to) {
    return (to.x - from.x == 1 || to.x - from.x == -1) && !from.IsPoint() && !to.IsPoint() &&
           to.Holds(from.last) && from.Holds(to.first);
  }

  void DrawAsBox(const Column& column) {
    if (column.IsPoint()) return;
    const double corner = pen_centre_ - pen_width_ / 2;
    const double top = Coordinate(column.top);
    boxes_.push_back({Coordinate(column.x) + corner, top + corner,
                      Coordinate(column.bottom) - top + pen_width_});
    if (boxes_.size() >= kBoxesAtOnce) FillBoxes();
  }

  void DrawBetween(const Column& from, const Column& to) {
    const TvPoint start = {from.x, from.last};
    const TvPoint end = {to.x, to.first};
    // A cut in a smooth trace, which is no trouble to Cairo, would show as a darker pixel.
    bool goes_on = segments_ > 0 && IsSame(start, end_);
    if (segments_ >= kSegmentsAtOnce && (!goes_on || IsTurn(before_end_.y, end_.y, end.y))) {
      Stroke();
      goes_on = false;
    }
    if (!goes_on) {
      cairo_move_to(cairo_, Coordinate(start.x) + pen_centre_, Coordinate(start.y) + pen_centre_);
    }
    cairo_line_to(cairo_, Coordinate(end.x) + pen_centre_, Coordinate(end.y) + pen_centre_);
    before_end_ = start;
    end_ = end;
    ++segments_;
  }

  static bool IsTurn(int32_t before, int32_t at, int32_t after) {
    return (at > before && at > after) || (at < before && at < after);
  }

  void Stroke() {
    cairo_stroke(cairo_);
    segments_ = 0;
  }

  void FillBoxes() {
    Stroke();
    for (const Box& box : boxes_) cairo_rectangle(cairo_, box.x, box.y, pen_width_, box.height);
    cairo_fill(cairo_);
    boxes_.clear();
  }

  struct Box {
    double x, y, height;
  };

  cairo_t* cairo_;
  double pen_width_;
  double pen_centre_;
  std::vector<Box> boxes_;

  // Of the lines that are not yet drawn: how many, and the last two points.
  size_t segments_ = 0;
  TvPoint before_end_ = {};
  TvPoint end_ = {};
};

}  // namespace

std::unique_ptr<PictureFile> PictureFile::Create(const std::string& path) {
  if (path.empty() || Files().Status(path) == PathStatus::kDirectory) return nullptr;
  std::unique_ptr<PictureFile> picture(new PictureFile(path));
  return picture->replacement_.file() != nullptr ? std::move(picture) : nullptr;
}

cairo_status_t PictureFile::Write(void* closure, const unsigned char* data, unsigned int length) {
  auto* picture = static_cast<PictureFile*>(closure);
  try {
    picture->buffer_.insert(picture->buffer_.end(), data, data + length);
  } catch (const std::bad_alloc&) {
    picture->failed_ = true;
  }
  if (picture->buffer_.size() >= kBufferSize) picture->Flush();
  return picture->failed_ ? CAIRO_STATUS_WRITE_ERROR : CAIRO_STATUS_SUCCESS;
}

void PictureFile::Flush() {
  failed_ |= replacement_.Write(written_, buffer_) != ReplaceResult::kDone;
  written_ += buffer_.size();
  buffer_.clear();
}

bool PictureFile::Complete() {
  Flush();
  return !failed_ && replacement_.Commit(Force::kNo) == ReplaceResult::kDone;
}

namespace {

// Puts the resolution behind the header of a PNG file on its way to the disk.
struct PngStream {
  PictureFile* picture;
  PngResolution resolution;
  size_t header_left = kPngHeaderSize;

  static cairo_status_t Write(void* closure, const unsigned char* data, unsigned int length) {
    auto* stream = static_cast<PngStream*>(closure);
    const auto header = static_cast<unsigned int>(std::min<size_t>(stream->header_left, length));
    cairo_status_t status = PictureFile::Write(stream->picture, data, header);
    stream->header_left -= header;
    if (header > 0 && stream->header_left == 0 && status == CAIRO_STATUS_SUCCESS) {
      status = PictureFile::Write(stream->picture, stream->resolution.data(),
                                  static_cast<unsigned int>(stream->resolution.size()));
    }
    if (status != CAIRO_STATUS_SUCCESS) return status;
    return PictureFile::Write(stream->picture, data + header, length - header);
  }
};

}  // namespace

std::unique_ptr<CairoDevice> CairoDevice::Create(DeviceKind kind, const std::string& path,
                                                 const DeviceMetrics& capabilities) {
  const auto in_range = [](int32_t value, int32_t most) { return value >= 1 && value <= most; };
  if (!in_range(capabilities.width, kLongestSide) || !in_range(capabilities.height, kLongestSide) ||
      !in_range(capabilities.pixels_per_inch_x, kMostPixelsPerInch) ||
      !in_range(capabilities.pixels_per_inch_y, kMostPixelsPerInch) ||
      (kind == DeviceKind::kImage &&
       int64_t{capabilities.width} * capabilities.height > kMostImagePixels)) {
    return nullptr;
  }

  std::unique_ptr<CairoDevice> device(new CairoDevice(capabilities));
  double scale = 1;
  if (kind == DeviceKind::kImage) {
    device->surface_ =
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, capabilities.width, capabilities.height);
  } else {
    device->file_ = PictureFile::Create(path);
    if (device->file_ == nullptr) return nullptr;
    scale = kPointsPerInch / capabilities.pixels_per_inch_x;
    const auto create = kind == DeviceKind::kSvg ? cairo_svg_surface_create_for_stream
                                                 : cairo_pdf_surface_create_for_stream;
    device->surface_ = create(PictureFile::Write, device->file_.get(), capabilities.width * scale,
                              capabilities.height * scale);
  }
  device->cairo_ = cairo_create(device->surface_);
  if (cairo_status(device->cairo_) != CAIRO_STATUS_SUCCESS) return nullptr;
  cairo_scale(device->cairo_, scale, scale);
  device->FillRectangle({0, 0, capabilities.width, capabilities.height}, 0xFFFFFF);
  return device;
}

CairoDevice::~CairoDevice() {
  cairo_destroy(cairo_);
  cairo_surface_destroy(surface_);
}

bool CairoDevice::Finish() {
  const bool drawn = cairo_status(cairo_) == CAIRO_STATUS_SUCCESS;
  if (file_ != nullptr) cairo_show_page(cairo_);
  cairo_surface_finish(surface_);
  const bool finished = cairo_surface_status(surface_) == CAIRO_STATUS_SUCCESS;
  return drawn && finished && (file_ == nullptr || file_->Complete());
}

bool CairoDevice::SavePng(const std::string& path) {
  if (file_ != nullptr) return false;
  const std::unique_ptr<PictureFile> picture = PictureFile::Create(path);
  if (picture == nullptr) return false;
  cairo_surface_flush(surface_);
  PngStream stream = {picture.get(), MakePngResolution(capabilities_.pixels_per_inch_x,
                                                       capabilities_.pixels_per_inch_y)};
  return cairo_status(cairo_) == CAIRO_STATUS_SUCCESS &&
         cairo_surface_write_to_png_stream(surface_, PngStream::Write, &stream) ==
             CAIRO_STATUS_SUCCESS &&
         picture->Complete();
}

void CairoDevice::Save() {
  saved_.push_back(state_);
  cairo_save(cairo_);
}

bool CairoDevice::Restore() {
  if (saved_.empty()) return false;
  cairo_restore(cairo_);
  state_ = saved_.back();
  saved_.pop_back();
  return cairo_status(cairo_) == CAIRO_STATUS_SUCCESS;
}

void CairoDevice::Clip(const TvRect& rect) {
  const double left = Coordinate(rect.left);
  const double top = Coordinate(rect.top);
  cairo_rectangle(cairo_, left, top, std::max(0.0, Coordinate(rect.right) - left),
                  std::max(0.0, Coordinate(rect.bottom) - top));
  cairo_clip(cairo_);
}

void CairoDevice::SetColour(TvColour colour) {
  constexpr double kMost = 255;
  cairo_set_source_rgb(cairo_, (colour & 0xFF) / kMost, (colour >> 8 & 0xFF) / kMost,
                       (colour >> 16 & 0xFF) / kMost);
}

double CairoDevice::PenWidth() const { return std::clamp(state_.pen.width, 1, kLongestSide); }

// Where a line through a pixel lies in it, so that its edges are edges of pixels: an even number of
// them cannot be centred.
double CairoDevice::PenCentre() const {
  return std::max(state_.pen.width, 1) % 2 == 0 ? 0 : kPixelCentre;
}

// Of a unit of the dash patterns, in pixels.
double CairoDevice::DashUnit() const {
  return std::max({1.0, std::round(capabilities_.pixels_per_inch_x / kScreenPixelsPerInch),
                   PenWidth() * (2.0 / 3)});
}

// A line is what the pen covers as it moves from the first pixel to the last but one: it reaches
// half the pen's width beyond both.
void CairoDevice::Lines(const LineSegment* lines, size_t count) {
  if (state_.pen.style == kPenNull) return;
  SetColour(state_.pen.colour);
  cairo_set_line_width(cairo_, PenWidth());
  cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_BUTT);
  const double reach = PenWidth() / 2;
  PathInWindow path(cairo_, state_.pen.style, PenWidth(), DashUnit());
  for (const auto& [from, to] : std::span(lines, count)) {
    if (IsSame(from, to)) continue;
    const Vector start = Place(from, PenCentre());
    const Vector end = Place(to, PenCentre());
    const Vector direction = (1 / (end - start).Length()) * (end - start);
    path.MoveTo(start - reach * direction);
    path.LineTo(end + (reach - 1) * direction);
  }
  path.Stroke();
}

void CairoDevice::Polyline(const TvPoint* points, size_t count) {
  if (state_.pen.style == kPenNull || count == 0) return;
  const bool solid = state_.pen.style == kPenSolid;
  SetColour(state_.pen.colour);
  cairo_set_line_width(cairo_, PenWidth());
  cairo_set_line_join(cairo_, CAIRO_LINE_JOIN_ROUND);
  PathInWindow path(cairo_, state_.pen.style, PenWidth(), DashUnit());
  if (file_ == nullptr && solid && count > kSegmentsAtOnce) {
    cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_ROUND);
    TraceOnImage(cairo_, PenWidth(), PenCentre()).Draw({points, count});
    return;
  }
  cairo_set_line_cap(cairo_, solid ? CAIRO_LINE_CAP_SQUARE : CAIRO_LINE_CAP_BUTT);
  const TvPoint* last = points;
  path.MoveTo(Place(*last, PenCentre()));
  for (const TvPoint& point : std::span(points, count).subspan(1)) {
    if (IsSame(point, *last)) continue;
    path.LineTo(Place(point, PenCentre()));
    last = &point;
  }
  path.Stroke();
  if (last == points) {  // a point has no direction in which Cairo could draw a cap
    const double corner = PenCentre() - PenWidth() / 2;
    cairo_rectangle(cairo_, Coordinate(last->x) + corner, Coordinate(last->y) + corner, PenWidth(),
                    PenWidth());
    cairo_fill(cairo_);
  }
}

void CairoDevice::FillRectangle(const TvRect& rect, TvColour colour) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  const double left = Coordinate(rect.left);
  const double top = Coordinate(rect.top);
  SetColour(colour);
  cairo_rectangle(cairo_, left, top, Coordinate(rect.right) - left, Coordinate(rect.bottom) - top);
  cairo_fill(cairo_);
}

void CairoDevice::FillPolygon(const TvPoint* points, size_t count, TvColour colour) {
  for (const TvPoint& point : std::span(points, count)) {
    cairo_line_to(cairo_, Coordinate(point.x) + kPixelCentre, Coordinate(point.y) + kPixelCentre);
  }
  SetColour(colour);
  // Ten times as fast for a dense trace, whose edges are too steep to show the difference.
  if (count > kSegmentsAtOnce) cairo_set_antialias(cairo_, CAIRO_ANTIALIAS_FAST);
  cairo_fill(cairo_);
  cairo_set_antialias(cairo_, CAIRO_ANTIALIAS_DEFAULT);
}

void CairoDevice::Image(const TvRect& rect, const TvColour* pixels) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, rect.right - rect.left,
                                                      rect.bottom - rect.top);
  uint8_t* row = cairo_image_surface_get_data(image);
  const auto width = static_cast<size_t>(rect.right - rect.left);
  for (int32_t y = rect.top; row != nullptr && y < rect.bottom; ++y, pixels += width) {
    std::transform(pixels, pixels + width, reinterpret_cast<uint32_t*>(row), [](TvColour colour) {
      return (colour & 0xFF) << 16 | (colour & 0xFF00) | (colour >> 16 & 0xFF);
    });
    row += cairo_image_surface_get_stride(image);
  }
  cairo_surface_mark_dirty(image);
  cairo_set_source_surface(cairo_, image, rect.left, rect.top);
  cairo_pattern_set_filter(cairo_get_source(cairo_), CAIRO_FILTER_NEAREST);
  cairo_rectangle(cairo_, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
  cairo_fill(cairo_);
  cairo_surface_destroy(image);
}

void CairoDevice::Text(int32_t x, int32_t y, std::string_view text) {
  if (state_.opaque_background) {
    const TvSize size = {state_.font->Width(text), state_.font->metrics().height};
    const auto left = static_cast<int32_t>(Coordinate(x));
    const auto top = static_cast<int32_t>(Coordinate(y));
    FillRectangle({left, top, left + size.width, top + size.height}, state_.background_colour);
  }
  SetColour(state_.text_colour);
  state_.font->Show(cairo_, Coordinate(x), Coordinate(y), text);
}

void CairoDevice::TextWithin(const TvRect& rect, TextAlign align, std::string_view text) {
  cairo_save(cairo_);
  Clip(rect);
  Text(AlignedLeft(rect, align, state_.font->Width(text)), rect.top, text);
  cairo_restore(cairo_);
}

}  // namespace tervalon::platform
