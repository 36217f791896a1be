// Drawing over Cairo: the service, and the exports that make its device contexts, pens and fonts.

#include <atomic>
#include <memory>
#include <new>
#include <unordered_map>
#include <utility>

#include "platform/drawing.h"
#include "platform/linux/cairo_device.h"
#include "platform/linux/cairo_font.h"
#include "platform/linux/svg_device.h"
#include "platform/lock.h"
#include "tervalon/drawing_devices.h"

// The records behind the handles.
struct TvDeviceRecord {
  std::unique_ptr<tervalon::platform::Device> device;
};
struct TvPenRecord {
  tervalon::platform::PenDescription description;
};
struct TvFontRecord {
  std::shared_ptr<const tervalon::platform::CairoFont> font;
};

namespace tervalon::platform {
namespace {

constexpr int32_t kMostPenWidth = 10000;

// Callers hold the handles, so a handle is looked up before it is followed. The record of one that
// is live is its user's own, without a lock.
template <typename Record>
class LiveRecords {
 public:
  // nullptr when memory runs out.
  Record* Add(Record record) {
    try {
      auto owned = std::make_unique<Record>(std::move(record));
      Record* const handle = owned.get();
      const Held held(&lock_);
      live_.emplace(handle, std::move(owned));
      return handle;
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }

  bool Contains(const void* handle) const {
    const Held held(&lock_);
    return live_.contains(handle);
  }

  // nullptr unless the handle is live; then it is not any more.
  std::unique_ptr<Record> Take(const void* handle) {
    const Held held(&lock_);
    auto node = live_.extract(handle);
    return node ? std::move(node.mapped()) : nullptr;
  }

  // A copy, which stays when another thread deletes it. False unless the handle is live.
  bool Copy(const void* handle, Record* out) const {
    const Held held(&lock_);
    const auto found = live_.find(handle);
    if (found != live_.end()) *out = *found->second;
    return found != live_.end();
  }

 private:
  mutable Mutex lock_;
  std::unordered_map<const void*, std::unique_ptr<Record>> live_;
};

class CairoDrawing : public Drawing {
 public:
  TvDC MakeDevice(DeviceKind kind, const char* path, const DeviceMetrics& capabilities) {
    if (path == nullptr) return nullptr;
    return AddDevice([&]() -> std::unique_ptr<Device> {
      if (kind == DeviceKind::kSvg) return SvgDevice::Create(path, capabilities);
      return CairoDevice::Create(kind, path, capabilities);
    });
  }

  TvDC MakeDeviceOn(cairo_t* cairo, const DeviceMetrics& capabilities) {
    if (cairo == nullptr) return nullptr;
    return AddDevice([&] { return CairoDevice::CreateOn(cairo, capabilities); });
  }

  template <typename Make>
  TvDC AddDevice(Make make) {
    try {
      if (!MakeStock()) return nullptr;
      std::unique_ptr<Device> device = make();
      if (device == nullptr) return nullptr;
      device->state().pen_handle = stock_pen_;
      device->state().font_handle = stock_font_;
      device->state().font = stock_font_.load()->font;
      return devices_.Add({std::move(device)});
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }

  bool DeleteDevice(TvDC dc) {
    const auto record = devices_.Take(dc);
    if (record == nullptr) return false;
    if (const auto listener = listener_.load(); listener != nullptr) listener(dc);
    try {
      return record->device->Finish();
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  bool SavePng(TvDC dc, const char* path) {
    if (!IsLive(dc) || path == nullptr) return false;
    try {
      return dc->device->SavePng(path);
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  bool NextPage(TvDC dc) {
    if (!IsLive(dc)) return false;
    try {
      return dc->device->NextPage();
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  bool DeleteObject(const void* object) {
    if (object == stock_pen_ || object == stock_font_) return false;
    return pens_.Take(object) != nullptr || fonts_.Take(object) != nullptr;
  }

  bool IsLive(TvDC dc) override { return devices_.Contains(dc); }

  bool Save(TvDC dc) override {
    return On(dc, [&](Device& device) { device.Save(); });
  }
  bool Restore(TvDC dc) override { return IsLive(dc) && dc->device->Restore(); }

  bool Capabilities(TvDC dc, DeviceMetrics* out) override {
    *out = {};
    return On(dc, [&](Device& device) { *out = device.capabilities(); });
  }

  TvPen MakePen(const PenDescription& description) override {
    if (description.style < kPenSolid || description.style > kPenNull || description.width < 0 ||
        description.width > kMostPenWidth) {
      return nullptr;
    }
    return pens_.Add({description});
  }
  bool DescribePen(TvPen pen, PenDescription* out) override {
    TvPenRecord record;
    if (!pens_.Copy(pen, &record)) return false;
    *out = record.description;
    return true;
  }
  bool DeletePen(TvPen pen) override { return pen != stock_pen_ && pens_.Take(pen) != nullptr; }

  TvFont MakeFont(const FontDescription& description) override {
    auto font = CairoFont::Make(description);
    return font != nullptr ? fonts_.Add({std::move(font)}) : nullptr;
  }
  bool DeleteFont(TvFont font) override {
    return font != stock_font_ && fonts_.Take(font) != nullptr;
  }

  bool SelectPen(TvDC dc, TvPen pen) override {
    if (!IsLive(dc)) return false;
    if (pen == nullptr) return true;
    if (!DescribePen(pen, &dc->device->state().pen)) return false;
    dc->device->state().pen_handle = pen;
    return true;
  }
  bool SelectFont(TvDC dc, TvFont font) override {
    if (!IsLive(dc)) return false;
    if (font == nullptr) return true;
    TvFontRecord record;
    if (!fonts_.Copy(font, &record)) return false;
    dc->device->state().font = record.font;
    dc->device->state().font_handle = font;
    return true;
  }

  TvPen SelectedPen(TvDC dc) override {
    const TvPen pen = IsLive(dc) ? dc->device->state().pen_handle : nullptr;
    return pens_.Contains(pen) ? pen : nullptr;
  }
  TvFont SelectedFont(TvDC dc) override {
    const TvFont font = IsLive(dc) ? dc->device->state().font_handle : nullptr;
    return fonts_.Contains(font) ? font : nullptr;
  }

  bool SetTextColour(TvDC dc, TvColour colour) override {
    return On(dc, [&](Device& device) { device.state().text_colour = colour; });
  }
  bool SetOpaqueBackground(TvDC dc, bool opaque) override {
    return On(dc, [&](Device& device) { device.state().opaque_background = opaque; });
  }
  bool SetBackgroundColour(TvDC dc, TvColour colour) override {
    return On(dc, [&](Device& device) { device.state().background_colour = colour; });
  }
  TvColour WindowColour() override { return 0xFFFFFF; }

  bool Metrics(TvDC dc, TextMetrics* out) override {
    *out = {};
    return On(dc, [&](Device& device) { *out = device.state().font->metrics(); });
  }
  TvSize Extent(TvDC dc, std::string_view text) override {
    if (!IsLive(dc)) return {};
    return {dc->device->Width(text), dc->device->state().font->metrics().height};
  }

  bool Lines(TvDC dc, const LineSegment* lines, size_t count) override {
    return On(dc, [&](Device& device) { device.Lines(lines, count); });
  }
  bool Polyline(TvDC dc, const TvPoint* points, size_t count) override {
    return On(dc, [&](Device& device) { device.Polyline(points, count); });
  }
  bool FillRectangle(TvDC dc, const TvRect& rect, TvColour colour) override {
    return On(dc, [&](Device& device) { device.FillRectangle(rect, colour); });
  }
  bool FillPolygon(TvDC dc, const TvPoint* points, size_t count, TvColour colour) override {
    return On(dc, [&](Device& device) { device.FillPolygon(points, count, colour); });
  }
  bool Image(TvDC dc, const TvRect& rect, const TvColour* pixels) override {
    return On(dc, [&](Device& device) { device.Image(rect, pixels); });
  }
  bool Text(TvDC dc, int32_t x, int32_t y, std::string_view text) override {
    return On(dc, [&](Device& device) { device.Text(x, y, text); });
  }
  bool TextWithin(TvDC dc, const TvRect& rect, TextAlign align, std::string_view text) override {
    return On(dc, [&](Device& device) { device.TextWithin(rect, align, text); });
  }
  bool Clip(TvDC dc, const TvRect& rect) override {
    return On(dc, [&](Device& device) { device.Clip(rect); });
  }

  void Fail(TvDC dc) override {
    On(dc, [](Device& device) { device.Fail(); });
  }

  void OnDeviceGone(void (*listener)(TvDC dc)) override { listener_ = listener; }

 private:
  // Acts on a live device context; false for any other.
  template <typename Action>
  bool On(TvDC dc, Action&& action) {
    if (!IsLive(dc)) return false;
    try {
      action(*dc->device);
    } catch (const std::bad_alloc&) {
      dc->device->Fail();
      throw;
    }
    return true;
  }

  bool MakeStock() {
    const Held held(&stock_lock_);
    if (stock_pen_ == nullptr) stock_pen_ = MakePen({});
    if (stock_font_ == nullptr) stock_font_ = MakeFont({});
    return stock_pen_ != nullptr && stock_font_ != nullptr;
  }

  LiveRecords<TvDeviceRecord> devices_;
  LiveRecords<TvPenRecord> pens_;
  LiveRecords<TvFontRecord> fonts_;

  // What a new device context has selected.
  Mutex stock_lock_;
  std::atomic<TvPen> stock_pen_ = nullptr;
  std::atomic<TvFont> stock_font_ = nullptr;

  std::atomic<void (*)(TvDC dc)> listener_ = nullptr;
};

// The exports' own, whatever a test puts in the service's place. Never destroyed, like the service.
CairoDrawing& Own() {
  static CairoDrawing& own = *new CairoDrawing;
  return own;
}

Drawing* replacement = nullptr;

}  // namespace

template <>
Drawing& Current<Drawing>() {
  return replacement != nullptr ? *replacement : Own();
}
template <>
Drawing* Replace<Drawing>(Drawing* service) {
  return std::exchange(replacement, service);
}

}  // namespace tervalon::platform

using tervalon::platform::DeviceKind;
using tervalon::platform::Own;

extern "C" TvDC TERVALON_CALL TvCreateImageDC(int32_t width, int32_t height,
                                              int32_t pixels_per_inch) {
  return Own().MakeDevice(DeviceKind::kImage, "",
                          {pixels_per_inch, pixels_per_inch, width, height});
}

extern "C" TvDC TERVALON_CALL TvCreateSvgDC(const char* path, int32_t width, int32_t height,
                                            int32_t pixels_per_inch) {
  return Own().MakeDevice(DeviceKind::kSvg, path,
                          {pixels_per_inch, pixels_per_inch, width, height});
}

extern "C" TvDC TERVALON_CALL TvCreateSvgOutlinesDC(const char* path, int32_t width, int32_t height,
                                                    int32_t pixels_per_inch) {
  return Own().MakeDevice(DeviceKind::kSvgOutlines, path,
                          {pixels_per_inch, pixels_per_inch, width, height});
}

extern "C" TvDC TERVALON_CALL TvCreatePdfDC(const char* path, int32_t width, int32_t height,
                                            int32_t pixels_per_inch) {
  return Own().MakeDevice(DeviceKind::kPdf, path,
                          {pixels_per_inch, pixels_per_inch, width, height});
}

extern "C" TvDC TERVALON_CALL TvCreateCairoDC(struct _cairo* cairo, int32_t width, int32_t height,
                                              int32_t pixels_per_inch) {
  return Own().MakeDeviceOn(cairo, {pixels_per_inch, pixels_per_inch, width, height});
}

extern "C" int32_t TERVALON_CALL TvNextPage(TvDC dc) { return Own().NextPage(dc) ? 1 : 0; }

extern "C" int32_t TERVALON_CALL TvSavePng(TvDC dc, const char* path) {
  return Own().SavePng(dc, path) ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL TvDeleteDC(TvDC dc) { return Own().DeleteDevice(dc) ? 1 : 0; }

extern "C" TvPen TERVALON_CALL TvCreatePen(int32_t style, int32_t width, TvColour colour) {
  return Own().MakePen({style, width, colour});
}

extern "C" TvFont TERVALON_CALL TvCreateFont(const char* face, int32_t height, int32_t weight) {
  try {
    return Own().MakeFont({face != nullptr ? face : "", height, weight});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

extern "C" int32_t TERVALON_CALL TvDeleteObject(void* object) {
  return Own().DeleteObject(object) ? 1 : 0;
}
