#include "platform/linux/cairo_device.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <new>
#include <span>

#include "platform/linux/png_resolution.h"

namespace tervalon::platform {
namespace {

constexpr int64_t kMostImagePixels = int64_t{1} << 28;
constexpr double kPointsPerInch = 72;

// On an image, Cairo takes a time that grows with the square of the lines that are drawn at once
// where they lie close together, as those of a dense trace do. A trace of more than these is drawn
// a few at a time, in the way of TraceOnImage.
constexpr size_t kSegmentsAtOnce = 16;
constexpr size_t kBoxesAtOnce = 64;
constexpr double kDashPeriodsAtOnce = 100;

// How far beside what can be seen broken lines are drawn, besides the pen's width: enough for their
// ends and joins.
constexpr double kBesideClip = 16;

constexpr double kPixelCentre = 0.5;

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
        on_image_(Cairo::surface_get_type(Cairo::get_target(cairo)) == CAIRO_SURFACE_TYPE_IMAGE),
        dashes_(kDashes.at(static_cast<size_t>(pen_style))) {
    for (double& length : dashes_.lengths) period_ += length *= dash_unit;
    SetDashes(0);
    if (dashes_.count == 0) return;
    // Cairo makes every dash of a line, seen or not.
    Cairo::clip_extents(cairo_, &window_.left, &window_.top, &window_.right, &window_.bottom);
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
      Cairo::line_to(cairo_, end.x, end.y);
    }
    is_drawn_ = first <= last && last == 1;
    walked_ += length;
    at_ = place;
    if (on_image_ && is_drawn_ && period_ > 0 && walked_ - begun_ > kDashPeriodsAtOnce * period_) {
      Stroke();
      is_drawn_ = false;
    }
  }

  void Stroke() { Cairo::stroke(cairo_); }

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
    Cairo::move_to(cairo_, place.x, place.y);
    begun_ = walked;
  }

  void SetDashes(double offset) {
    offset_ = offset;
    Cairo::set_dash(cairo_, dashes_.lengths.data(), dashes_.count, offset);
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
      Cairo::move_to(cairo_, Coordinate(start.x) + pen_centre_, Coordinate(start.y) + pen_centre_);
    }
    Cairo::line_to(cairo_, Coordinate(end.x) + pen_centre_, Coordinate(end.y) + pen_centre_);
    before_end_ = start;
    end_ = end;
    ++segments_;
  }

  static bool IsTurn(int32_t before, int32_t at, int32_t after) {
    return (at > before && at > after) || (at < before && at < after);
  }

  void Stroke() {
    Cairo::stroke(cairo_);
    segments_ = 0;
  }

  void FillBoxes() {
    Stroke();
    for (const Box& box : boxes_) Cairo::rectangle(cairo_, box.x, box.y, pen_width_, box.height);
    Cairo::fill(cairo_);
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
  if (!CanBeMade(capabilities) ||
      (kind == DeviceKind::kImage &&
       int64_t{capabilities.width} * capabilities.height > kMostImagePixels) ||
      !Cairo::Load()) {
    return nullptr;
  }

  std::unique_ptr<CairoDevice> device(
      new CairoDevice(kind, capabilities, kind == DeviceKind::kImage));
  double scale = 1;
  if (kind == DeviceKind::kImage) {
    device->surface_ =
        Cairo::image_surface_create(CAIRO_FORMAT_RGB24, capabilities.width, capabilities.height);
  } else {
    device->file_ = PictureFile::Create(path);
    if (device->file_ == nullptr) return nullptr;
    scale = kPointsPerInch / capabilities.pixels_per_inch_x;
    const auto create = kind == DeviceKind::kSvgOutlines ? Cairo::svg_surface_create_for_stream
                                                         : Cairo::pdf_surface_create_for_stream;
    device->surface_ = create(PictureFile::Write, device->file_.get(), capabilities.width * scale,
                              capabilities.height * scale);
  }
  device->cairo_ = Cairo::create(device->surface_);
  if (Cairo::status(device->cairo_) != CAIRO_STATUS_SUCCESS) return nullptr;
  Cairo::scale(device->cairo_, scale, scale);
  device->FillRectangle({0, 0, capabilities.width, capabilities.height}, 0xFFFFFF);
  return device;
}

std::unique_ptr<CairoDevice> CairoDevice::CreateOn(cairo_t* cairo,
                                                   const DeviceMetrics& capabilities) {
  if (!CanBeMade(capabilities) || !Cairo::Load() || Cairo::status(cairo) != CAIRO_STATUS_SUCCESS) {
    return nullptr;
  }
  constexpr cairo_surface_type_t kWithoutPixels[] = {CAIRO_SURFACE_TYPE_PDF, CAIRO_SURFACE_TYPE_PS,
                                                     CAIRO_SURFACE_TYPE_SVG,
                                                     CAIRO_SURFACE_TYPE_RECORDING};
  const auto* const found = std::find(std::begin(kWithoutPixels), std::end(kWithoutPixels),
                                      Cairo::surface_get_type(Cairo::get_target(cairo)));
  const bool has_pixels = found == std::end(kWithoutPixels);
  std::unique_ptr<CairoDevice> device(
      new CairoDevice(DeviceKind::kCallers, capabilities, has_pixels));
  device->cairo_ = Cairo::reference(cairo);
  Cairo::save(cairo);
  Cairo::new_path(cairo);
  return device;
}

CairoDevice::~CairoDevice() {
  Cairo::destroy(cairo_);
  Cairo::surface_destroy(surface_);
}

bool CairoDevice::Finish() {
  constexpr size_t kCompression = size_t{1} << 20;  // without which Cairo leaves out fonts
  if (file_ != nullptr && HasRoom(kCompression)) Cairo::show_page(cairo_);
  if (kind_ == DeviceKind::kCallers) {
    for (size_t i = 0; i <= saved_.size(); ++i) Cairo::restore(cairo_);
  }
  const bool drawn = !failed() && Cairo::status(cairo_) == CAIRO_STATUS_SUCCESS;
  if (surface_ == nullptr) return drawn;
  Cairo::surface_finish(surface_);
  const bool finished = Cairo::surface_status(surface_) == CAIRO_STATUS_SUCCESS;
  return drawn && finished && (file_ == nullptr || file_->Complete());
}

bool CairoDevice::NextPage() {
  if (kind_ != DeviceKind::kPdf) return false;
  Cairo::show_page(cairo_);
  Cairo::save(cairo_);
  Cairo::reset_clip(cairo_);
  FillRectangle({0, 0, capabilities().width, capabilities().height}, 0xFFFFFF);
  Cairo::restore(cairo_);
  return Cairo::status(cairo_) == CAIRO_STATUS_SUCCESS;
}

bool CairoDevice::SavePng(const std::string& path) {
  if (kind_ != DeviceKind::kImage) return false;
  const std::unique_ptr<PictureFile> picture = PictureFile::Create(path);
  if (picture == nullptr) return false;
  Cairo::surface_flush(surface_);
  PngStream stream = {picture.get(), MakePngResolution(capabilities().pixels_per_inch_x,
                                                       capabilities().pixels_per_inch_y)};
  return !failed() && Cairo::status(cairo_) == CAIRO_STATUS_SUCCESS &&
         Cairo::surface_write_to_png_stream(surface_, PngStream::Write, &stream) ==
             CAIRO_STATUS_SUCCESS &&
         picture->Complete();
}

void CairoDevice::Save() {
  saved_.push_back(state_);
  Cairo::save(cairo_);
}

bool CairoDevice::Restore() {
  if (saved_.empty()) return false;
  Cairo::restore(cairo_);
  state_ = saved_.back();
  saved_.pop_back();
  return Cairo::status(cairo_) == CAIRO_STATUS_SUCCESS;
}

void CairoDevice::Clip(const TvRect& rect) {
  const double left = Coordinate(rect.left);
  const double top = Coordinate(rect.top);
  Cairo::rectangle(cairo_, left, top, std::max(0.0, Coordinate(rect.right) - left),
                   std::max(0.0, Coordinate(rect.bottom) - top));
  Cairo::clip(cairo_);
}

// Whether there is memory for what Cairo is about to do. It does not come out of some shortages by
// itself: then the picture fails here.
bool CairoDevice::HasRoom(size_t bytes) {
  void* volatile room = std::malloc(bytes);
  if (room == nullptr) Fail();
  std::free(room);
  return !failed();
}

// Its rasteriser jumps back into a function that has returned.
bool CairoDevice::CanRasterise(size_t lines) {
  constexpr size_t kRoom = size_t{1} << 16;
  constexpr size_t kRoomOfLine = 256;
  return !has_pixels() || HasRoom(kRoom + kRoomOfLine * lines);
}

void CairoDevice::SetColour(TvColour colour) {
  constexpr double kMost = 255;
  Cairo::set_source_rgb(cairo_, (colour & 0xFF) / kMost, (colour >> 8 & 0xFF) / kMost,
                        (colour >> 16 & 0xFF) / kMost);
}

void CairoDevice::Lines(const LineSegment* lines, size_t count) {
  if (state_.pen.style == kPenNull || !CanRasterise(count)) return;
  SetColour(state_.pen.colour);
  Cairo::set_line_width(cairo_, PenWidth());
  Cairo::set_line_cap(cairo_, CAIRO_LINE_CAP_BUTT);
  PathInWindow path(cairo_, state_.pen.style, PenWidth(), DashUnit());
  for (const LineSegment& line : std::span(lines, count)) {
    if (IsSame(line.from, line.to)) continue;
    const auto [start, end] = EndsOf(line);
    path.MoveTo(start);
    path.LineTo(end);
  }
  path.Stroke();
}

void CairoDevice::Polyline(const TvPoint* points, size_t count) {
  if (state_.pen.style == kPenNull || count == 0 || !CanRasterise(count)) return;
  const bool solid = state_.pen.style == kPenSolid;
  SetColour(state_.pen.colour);
  Cairo::set_line_width(cairo_, PenWidth());
  Cairo::set_line_join(cairo_, CAIRO_LINE_JOIN_ROUND);
  PathInWindow path(cairo_, state_.pen.style, PenWidth(), DashUnit());
  if (has_pixels() && solid && count > kSegmentsAtOnce) {
    Cairo::set_line_cap(cairo_, CAIRO_LINE_CAP_ROUND);
    TraceOnImage(cairo_, PenWidth(), PenCentre()).Draw({points, count});
    return;
  }
  Cairo::set_line_cap(cairo_, solid ? CAIRO_LINE_CAP_SQUARE : CAIRO_LINE_CAP_BUTT);
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
    Cairo::rectangle(cairo_, Coordinate(last->x) + corner, Coordinate(last->y) + corner, PenWidth(),
                     PenWidth());
    Cairo::fill(cairo_);
  }
}

void CairoDevice::FillRectangle(const TvRect& rect, TvColour colour) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  const double left = Coordinate(rect.left);
  const double top = Coordinate(rect.top);
  SetColour(colour);
  Cairo::rectangle(cairo_, left, top, Coordinate(rect.right) - left, Coordinate(rect.bottom) - top);
  Cairo::fill(cairo_);
}

void CairoDevice::FillPolygon(const TvPoint* points, size_t count, TvColour colour) {
  if (!CanRasterise(count)) return;
  for (const TvPoint& point : std::span(points, count)) {
    Cairo::line_to(cairo_, Coordinate(point.x) + kPixelCentre, Coordinate(point.y) + kPixelCentre);
  }
  SetColour(colour);
  // Ten times as fast for a dense trace, whose edges are too steep to show the difference.
  if (count > kSegmentsAtOnce) Cairo::set_antialias(cairo_, CAIRO_ANTIALIAS_FAST);
  Cairo::fill(cairo_);
  Cairo::set_antialias(cairo_, CAIRO_ANTIALIAS_DEFAULT);
}

cairo_surface_t* SurfaceOf(int32_t width, int32_t height, const TvColour* pixels) {
  cairo_surface_t* image = Cairo::image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  uint8_t* row = Cairo::image_surface_get_data(image);
  for (int32_t y = 0; row != nullptr && y < height; ++y, pixels += width) {
    std::transform(pixels, pixels + width, reinterpret_cast<uint32_t*>(row), [](TvColour colour) {
      return (colour & 0xFF) << 16 | (colour & 0xFF00) | (colour >> 16 & 0xFF);
    });
    row += Cairo::image_surface_get_stride(image);
  }
  Cairo::surface_mark_dirty(image);
  return image;
}

void CairoDevice::Image(const TvRect& rect, const TvColour* pixels) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  cairo_surface_t* image = SurfaceOf(rect.right - rect.left, rect.bottom - rect.top, pixels);
  Cairo::set_source_surface(cairo_, image, rect.left, rect.top);
  Cairo::pattern_set_filter(Cairo::get_source(cairo_), CAIRO_FILTER_NEAREST);
  Cairo::rectangle(cairo_, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
  Cairo::fill(cairo_);
  Cairo::surface_destroy(image);
}

void CairoDevice::ShowText(double x, double y, std::string_view text) {
  SetColour(state_.text_colour);
  if (!state_.font->Show(cairo_, x, y, text)) Fail();
}

}  // namespace tervalon::platform
