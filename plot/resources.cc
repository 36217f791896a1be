#include "plot/resources.h"

#include <algorithm>
#include <array>
#include <map>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "platform/lock.h"

namespace tervalon::plot {
namespace {

using platform::Drawing;
using platform::TheDrawing;

constexpr int32_t kScreenPixelsPerInch = 96;
constexpr TvColour kBlack = 0;

// Of ticks, and so of the grids that are made from their pen: behind the data, not in front.
constexpr TvColour kGrey = 0x6A6A6A;

struct Colour {
  uint8_t red, green, blue;
};
constexpr TvColour Packed(const Colour& colour) {
  return colour.red | TvColour{colour.green} << 8 | TvColour{colour.blue} << 16;
}

// Dark enough for thin lines on white, and of five different hues and lightnesses, so that they
// also differ for most colour-blind eyes.
constexpr std::array<Colour, PLT_DATA_STYLES> kColours = {
    {{0, 72, 168}, {200, 30, 30}, {0, 128, 70}, {136, 40, 152}, {190, 104, 0}}};

constexpr std::array<platform::PenStyle, PLT_DATA_STYLES> kLineStyles = {
    platform::kPenSolid, platform::kPenDash, platform::kPenDot, platform::kPenDashDot,
    platform::kPenDashDotDot};

// The resources of one device context, and what the library made for them.
class DeviceResources {
 public:
  explicit DeviceResources(int32_t pixels_per_inch);
  ~DeviceResources();
  DeviceResources(const DeviceResources&) = delete;
  DeviceResources& operator=(const DeviceResources&) = delete;

  // False when a pen or the font could not be made.
  bool complete() const { return complete_; }

  int32_t pixels_per_inch() const { return pixels_per_inch_; }
  bool replaced() const { return replaced_; }
  const PltResources& in_use() const { return in_use_; }

  void Replace(const PltResources& wanted);

 private:
  TvPen MakePen(int32_t style, int32_t width, TvColour colour);

  int32_t pixels_per_inch_;
  bool complete_ = true;
  bool replaced_ = false;
  PltResources own_ = {};
  PltResources in_use_ = {};
};

TvPen DeviceResources::MakePen(int32_t style, int32_t width, TvColour colour) {
  const TvPen pen = TheDrawing().MakePen({style, width, colour});
  complete_ = complete_ && pen != nullptr;
  return pen;
}

DeviceResources::DeviceResources(int32_t pixels_per_inch) : pixels_per_inch_(pixels_per_inch) {
  // A pixel of a screen, and hairlines of about 0.2 mm on paper.
  const int32_t width = std::max(1, (pixels_per_inch + 48) / 120);
  own_.axis_pen = MakePen(platform::kPenSolid, width, kBlack);
  own_.tick_pen = MakePen(platform::kPenSolid, width, kGrey);
  own_.axis_font = TheDrawing().MakeFont({"Arial", -(pixels_per_inch * 9 + 36) / 72, 400});
  complete_ = complete_ && own_.axis_font != nullptr;
  own_.text_colour = kBlack;
  for (size_t i = 0; i < PLT_DATA_STYLES; ++i) {
    const Colour& colour = kColours[i];
    own_.first[i] = {MakePen(platform::kPenSolid, width, Packed(colour)), platform::kPenSolid,
                     colour.red, colour.green, colour.blue};
    own_.second[i] = {MakePen(kLineStyles[i], width, kBlack), kLineStyles[i], 0, 0, 0};
  }
  in_use_ = own_;
}

DeviceResources::~DeviceResources() {
  Drawing& drawing = TheDrawing();
  const auto discard = [&](TvPen pen) {
    if (pen != nullptr) drawing.DeletePen(pen);
  };
  discard(own_.axis_pen);
  discard(own_.tick_pen);
  for (const PltDataStyle& style : own_.first) discard(style.pen);
  for (const PltDataStyle& style : own_.second) discard(style.pen);
  if (own_.axis_font != nullptr) drawing.DeleteFont(own_.axis_font);
}

void DeviceResources::Replace(const PltResources& wanted) {
  in_use_ = wanted;
  replaced_ = true;
  if (wanted.axis_pen == nullptr) in_use_.axis_pen = own_.axis_pen;
  if (wanted.tick_pen == nullptr) in_use_.tick_pen = own_.tick_pen;
  if (wanted.axis_font == nullptr) in_use_.axis_font = own_.axis_font;
  for (size_t i = 0; i < PLT_DATA_STYLES; ++i) {
    if (wanted.first[i].pen == nullptr) in_use_.first[i] = own_.first[i];
    if (wanted.second[i].pen == nullptr) in_use_.second[i] = own_.second[i];
  }
}

using Table = std::map<TvDC, DeviceResources>;
constinit platform::Mutex table_lock;
// Under table_lock. Destroyed when the library is unloaded: what it made is given back to the
// platform.
Table all_resources;

// The platform does not tell everywhere when a device context has gone.
void DropThoseOfDeadDevices() {
  std::erase_if(all_resources, [](const Table::value_type& entry) {
    return entry.first != nullptr && !TheDrawing().IsLive(entry.first);
  });
}

void Drop(TvDC dc) {
  const platform::Held held(&table_lock);
  all_resources.erase(dc);
}

// Finds or makes the resources of a device context of that resolution; table_lock is held. nullptr
// when something could not be made.
DeviceResources* FindOrMake(TvDC dc, int32_t pixels_per_inch) {
  const auto found = all_resources.find(dc);
  if (found != all_resources.end()) {
    DeviceResources& resources = found->second;
    if (resources.replaced() || resources.pixels_per_inch() == pixels_per_inch) return &resources;
    all_resources.erase(found);  // another device under the handle of one that has gone
  }
  DropThoseOfDeadDevices();
  TheDrawing().OnDeviceGone(Drop);
  DeviceResources& made = all_resources.try_emplace(dc, pixels_per_inch).first->second;
  if (made.complete()) return &made;
  all_resources.erase(dc);
  return nullptr;
}

// Acts on the resources of a device context. False when it is not live or something could not be
// made.
template <typename Action>
bool OnResources(TvDC dc, Action action) {
  int32_t pixels_per_inch = kScreenPixelsPerInch;
  platform::DeviceMetrics capabilities;
  if (dc != nullptr) {
    if (!TheDrawing().Capabilities(dc, &capabilities)) return false;
    pixels_per_inch = std::clamp(capabilities.pixels_per_inch_y, 1, 9600);
  }
  const platform::Held held(&table_lock);
  DeviceResources* const resources = FindOrMake(dc, pixels_per_inch);
  if (resources != nullptr) action(*resources);
  return resources != nullptr;
}

}  // namespace

PltResources ResourcesFor(TvDC dc) {
  PltResources found;
  if (!OnResources(dc, [&](const DeviceResources& made) { found = made.in_use(); })) {
    found = {};
    TheDrawing().Fail(dc);
  }
  return found;
}

void ReleaseAllResources() {
  const platform::Held held(&table_lock);
  all_resources.clear();
}

}  // namespace tervalon::plot

using tervalon::Guarded;
using tervalon::plot::DeviceResources;
using tervalon::plot::OnResources;

extern "C" int32_t TERVALON_CALL PltGetResources(TvDC dc, PltResources* resources) {
  return Guarded(0, [&] {
    return resources != nullptr &&
           OnResources(dc, [&](const DeviceResources& found) { *resources = found.in_use(); });
  });
}

extern "C" int32_t TERVALON_CALL PltSetResources(TvDC dc, const PltResources* resources) {
  return Guarded(0, [&] {
    return resources != nullptr &&
           OnResources(dc, [&](DeviceResources& found) { found.Replace(*resources); });
  });
}

extern "C" int32_t TERVALON_CALL PltReleaseResources(TvDC dc) {
  tervalon::plot::Drop(dc);
  return 1;
}
