#include "platform/linux/svg_device.h"

#include <charconv>
#include <cmath>
#include <initializer_list>
#include <new>
#include <utility>

#include "platform/linux/cairo_device.h"

namespace tervalon::platform {
namespace {

constexpr double kPointsPerInch = 72;
constexpr const char* kOpening =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
    "xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"";

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

// With two decimals at most.
std::string Number(double value) {
  constexpr double kParts = 100;
  char text[32];
  const double rounded = std::round(value * kParts) / kParts + 0.0;
  return {text, std::to_chars(std::begin(text), std::end(text), rounded).ptr};
}

std::string Pair(double x, double y) { return Joined({Number(x), " ", Number(y)}); }

std::string Colour(TvColour colour) {
  std::string text = "#";
  for (const int shift : {4, 0, 12, 8, 20, 16}) text += "0123456789abcdef"[colour >> shift & 15];
  return text;
}

// What XML may hold of a text.
std::string Escaped(std::string_view text) {
  std::string result;
  for (const char c : Utf8(text)) {
    switch (c) {
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '&':
        result += "&amp;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
  }
  return result;
}

std::string Box(const char* element, const TvRect& rect) {
  const double left = Coordinate(rect.left);
  const double top = Coordinate(rect.top);
  return Joined({"<", element, " x=\"", Number(left), "\" y=\"", Number(top), "\" width=\"",
                 Number(Coordinate(rect.right) - left), "\" height=\"",
                 Number(Coordinate(rect.bottom) - top), "\""});
}

// Lines through points as a path, in steps from one to the next.
class Path {
 public:
  explicit Path(double centre) : centre_(centre) {}

  void MoveTo(const TvPoint& point) {
    at_ = Reachable(point);
    text_ += Joined({"M", Pair(at_.x + centre_, at_.y + centre_)});
  }
  void LineTo(const TvPoint& point) {
    const TvPoint next = Reachable(point);
    const TvPoint step = {next.x - at_.x, next.y - at_.y};
    if (step.x == 0) {
      text_ += Joined({"v", std::to_string(step.y)});
    } else if (step.y == 0) {
      text_ += Joined({"h", std::to_string(step.x)});
    } else {
      text_ += Joined({"l", std::to_string(step.x), step.y < 0 ? "" : " ", std::to_string(step.y)});
    }
    at_ = next;
  }

  const std::string& text() const { return text_; }

 private:
  static TvPoint Reachable(const TvPoint& point) {
    return {static_cast<int32_t>(Coordinate(point.x)), static_cast<int32_t>(Coordinate(point.y))};
  }

  double centre_;
  TvPoint at_ = {};
  std::string text_;
};

std::string Base64(std::span<const unsigned char> bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? bytes[i + k] : 0);
    for (size_t k = 0; k < 4; ++k) {
      text += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

cairo_status_t AddBytes(void* closure, const unsigned char* data, unsigned int length) {
  auto* bytes = static_cast<std::vector<unsigned char>*>(closure);
  try {
    bytes->insert(bytes->end(), data, data + length);
  } catch (const std::bad_alloc&) {
    return CAIRO_STATUS_NO_MEMORY;
  }
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

std::unique_ptr<SvgDevice> SvgDevice::Create(const std::string& path,
                                             const DeviceMetrics& capabilities) {
  std::unique_ptr<PictureFile> file = CanBeMade(capabilities) ? PictureFile::Create(path) : nullptr;
  if (file == nullptr) return nullptr;
  std::unique_ptr<SvgDevice> device(new SvgDevice(std::move(file), capabilities));
  const auto [width, height] = std::pair(capabilities.width, capabilities.height);
  const double scale = kPointsPerInch / capabilities.pixels_per_inch_x;
  device->file_->Append(
      Joined({kOpening, Number(width * scale), "pt\" height=\"", Number(height * scale),
              "pt\" viewBox=\"0 0 ", Pair(width, height), "\">\n"}));
  device->FillRectangle({0, 0, width, height}, 0xFFFFFF);
  return device;
}

bool SvgDevice::Finish() {
  CloseGroup();
  file_->Append("</svg>\n");
  return !failed() && file_->Complete();
}

void SvgDevice::Save() { saved_.push_back({state_, clip_}); }

bool SvgDevice::Restore() {
  if (saved_.empty()) return false;
  state_ = saved_.back().state;
  clip_ = saved_.back().clip;
  saved_.pop_back();
  return true;
}

void SvgDevice::Clip(const TvRect& rect) {
  const TvRect outer = clip_.value_or(TvRect{-kFarthest, -kFarthest, kFarthest, kFarthest});
  clip_ = TvRect{std::max(rect.left, outer.left), std::max(rect.top, outer.top),
                 std::min(rect.right, outer.right), std::min(rect.bottom, outer.bottom)};
  clip_->right = std::max(clip_->right, clip_->left);
  clip_->bottom = std::max(clip_->bottom, clip_->top);
}

void SvgDevice::CloseGroup() {
  if (group_) file_->Append("</g>\n");
  group_.reset();
}

void SvgDevice::Element(const std::string& element) {
  const auto is_same = [](const TvRect& a, const TvRect& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
  };
  if (clip_.has_value() != group_.has_value() || (clip_ && !is_same(*clip_, *group_))) {
    CloseGroup();
    if (clip_) {
      const std::string number = std::to_string(++clips_);
      file_->Append(Joined({"<clipPath id=\"clip", number, "\">", Box("rect", *clip_),
                            "/></clipPath>\n<g clip-path=\"url(#clip", number, ")\">\n"}));
    }
    group_ = clip_;
  }
  file_->Append(element);
}

// The attributes of a line in the pen that is selected.
std::string SvgDevice::Stroke(bool is_joined) const {
  std::string text = Joined({" fill=\"none\" stroke=\"", Colour(state_.pen.colour),
                             "\" stroke-width=\"", Number(PenWidth()), "\""});
  const DashPattern& dashes = kDashes.at(static_cast<size_t>(state_.pen.style));
  if (is_joined) text += " stroke-linejoin=\"round\"";
  if (is_joined && dashes.count == 0) text += " stroke-linecap=\"square\"";
  for (int i = 0; i < dashes.count; ++i) {
    text += i == 0 ? " stroke-dasharray=\"" : " ";
    text += Number(dashes.lengths.at(static_cast<size_t>(i)) * DashUnit());
  }
  return text + (dashes.count > 0 ? "\"/>\n" : "/>\n");
}

void SvgDevice::Lines(const LineSegment* lines, size_t count) {
  if (state_.pen.style == kPenNull) return;
  std::string path;
  for (const LineSegment& line : std::span(lines, count)) {
    const LineSegment reachable = {
        {static_cast<int32_t>(Coordinate(line.from.x)),
         static_cast<int32_t>(Coordinate(line.from.y))},
        {static_cast<int32_t>(Coordinate(line.to.x)), static_cast<int32_t>(Coordinate(line.to.y))}};
    if (reachable.from.x == reachable.to.x && reachable.from.y == reachable.to.y) continue;
    const auto [start, end] = EndsOf(reachable);
    path += Joined({"M", Pair(start.x, start.y)});
    if (start.x == end.x) {
      path += Joined({"V", Number(end.y)});
    } else if (start.y == end.y) {
      path += Joined({"H", Number(end.x)});
    } else {
      path += Joined({"L", Pair(end.x, end.y)});
    }
  }
  if (!path.empty()) Element(Joined({"<path d=\"", path, "\"", Stroke(false)}));
}

void SvgDevice::Polyline(const TvPoint* points, size_t count) {
  if (state_.pen.style == kPenNull || count == 0) return;
  Path path(PenCentre());
  path.MoveTo(*points);
  // Where a line has no length, a square end still shows.
  if (count == 1) path.LineTo(*points);
  for (const TvPoint& point : std::span(points, count).subspan(1)) path.LineTo(point);
  Element(Joined({"<path d=\"", path.text(), "\"", Stroke(true)}));
}

void SvgDevice::FillRectangle(const TvRect& rect, TvColour colour) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  Element(Joined({Box("rect", rect), " fill=\"", Colour(colour), "\"/>\n"}));
}

void SvgDevice::FillPolygon(const TvPoint* points, size_t count, TvColour colour) {
  if (count < 3) return;
  Path path(0.5);
  path.MoveTo(*points);
  for (const TvPoint& point : std::span(points, count).subspan(1)) path.LineTo(point);
  Element(Joined({"<path d=\"", path.text(), "z\" fill=\"", Colour(colour), "\"/>\n"}));
}

void SvgDevice::Image(const TvRect& rect, const TvColour* pixels) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  cairo_surface_t* image = SurfaceOf(rect.right - rect.left, rect.bottom - rect.top, pixels);
  std::vector<unsigned char> png;
  const bool stored =
      Cairo::surface_write_to_png_stream(image, AddBytes, &png) == CAIRO_STATUS_SUCCESS;
  Cairo::surface_destroy(image);
  if (!stored) throw std::bad_alloc();
  Element(Joined({Box("image", rect), " preserveAspectRatio=\"none\" ",
                  "xlink:href=\"data:image/png;base64,", Base64(png), "\"/>\n"}));
}

void SvgDevice::ShowText(double x, double y, std::string_view text) {
  const CairoFont& font = *state_.font;
  const bool is_generic = font.family() == "sans-serif";
  Element(Joined(
      {"<text x=\"", Number(x), "\" y=\"", Number(y + font.metrics().ascent), "\" font-family=\"",
       is_generic ? "" : "'", is_generic ? "" : Escaped(font.family()), is_generic ? "" : "', ",
       "sans-serif\" font-size=\"", Number(font.size()),
       font.is_bold() ? "\" font-weight=\"bold" : "", "\" fill=\"", Colour(state_.text_colour),
       "\" xml:space=\"preserve\">", Escaped(text), "</text>\n"}));
}

}  // namespace tervalon::platform
