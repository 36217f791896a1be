#include "platform/window_manager.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace tervalon::platform {
namespace {

static_assert(sizeof(TvRect) == sizeof(RECT) && sizeof(TvPoint) == sizeof(POINT) &&
              sizeof(TvSize) == sizeof(SIZE));
static_assert(sizeof(TvDocumentCreate) == sizeof(MDICREATESTRUCTA) &&
              offsetof(TvDocumentCreate, x) == offsetof(MDICREATESTRUCTA, x) &&
              offsetof(TvDocumentCreate, style) == offsetof(MDICREATESTRUCTA, style));

constexpr int kLongestClassName = 256;

class Win32Windows : public WindowManager {
 public:
  bool IsWindow(TvWindow window) override { return ::IsWindow(window) != FALSE; }
  bool IsVisible(TvWindow window) override { return IsWindowVisible(window) != FALSE; }
  bool IsMinimized(TvWindow window) override { return IsIconic(window) != FALSE; }
  bool IsMaximized(TvWindow window) override { return IsZoomed(window) != FALSE; }
  TvWindow Parent(TvWindow window) override {
    const bool is_child = (GetWindowLongPtrA(window, GWL_STYLE) & WS_CHILD) != 0;
    return is_child ? GetParent(window) : nullptr;  // of another it would be the owner
  }

  TvInstance Instance(TvWindow window) override {
    return reinterpret_cast<TvInstance>(GetWindowLongPtrA(window, GWLP_HINSTANCE));
  }

  std::string ClassName(TvWindow window, uint32_t longest) override {
    std::array<char, kLongestClassName + 1> name = {};
    const int length = GetClassNameA(window, name.data(), static_cast<int>(name.size()));
    return {name.data(), std::min(static_cast<size_t>(length), static_cast<size_t>(longest))};
  }

  TvRect Rect(TvWindow window) override {
    RECT rect = {};
    GetWindowRect(window, &rect);
    return {rect.left, rect.top, rect.right, rect.bottom};
  }

  TvPoint ClientOrigin(TvWindow window) override {
    POINT origin = {};
    if (!IsWindow(window) || !ClientToScreen(window, &origin)) return {};
    return {origin.x, origin.y};
  }

  bool Show(TvWindow window, ShowCommand command) override {
    if (!IsWindow(window)) return false;
    ShowWindow(window, command);
    return true;
  }

  bool Move(TvWindow window, const TvRect& rect, bool repaint) override {
    return MoveWindow(window, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
                      repaint) != FALSE;
  }

  bool Repaint(TvWindow window) override { return UpdateWindow(window) != FALSE; }
  bool Destroy(TvWindow window) override { return DestroyWindow(window) != FALSE; }

  // The platform would broadcast what is sent to some values that are no windows.
  intptr_t Send(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) override {
    return IsWindow(window) ? SendMessageA(window, message, first, second) : 0;
  }
  bool Post(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) override {
    return IsWindow(window) && PostMessageA(window, message, first, second) != FALSE;
  }

  bool SetProperty(TvWindow window, const char* name, uintptr_t value) override {
    if (!IsWindow(window) || name == nullptr) return false;
    if (value != 0) return SetPropA(window, name, reinterpret_cast<HANDLE>(value)) != FALSE;
    RemovePropA(window, name);
    return true;
  }
  uintptr_t Property(TvWindow window, const char* name) override {
    return name != nullptr ? reinterpret_cast<uintptr_t>(GetPropA(window, name)) : 0;
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(WindowManager, Win32Windows)

}  // namespace tervalon::platform
