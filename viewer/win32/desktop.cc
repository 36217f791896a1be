#include "viewer/win32/desktop.h"

#include <uxtheme.h>

#include <cmath>

namespace tervalon::viewer {
namespace {

constexpr int kUsualPixelsPerInch = 96;
constexpr double kPointsPerInch = 72;
constexpr double kUsualPoints = 9;
constexpr int kDarkest = 3 * 128;  // the sum of a dark ground's colours is below

int SystemPixelsPerInch() {
  const HDC screen = GetDC(nullptr);
  const int pixels = GetDeviceCaps(screen, LOGPIXELSX);
  ReleaseDC(nullptr, screen);
  return pixels > 0 ? pixels : kUsualPixelsPerInch;
}

// Its height is for the system's resolution.
bool MessageFont(LOGFONTW* font) {
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  const bool known =
      SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0) != 0;
  *font = metrics.lfMessageFont;
  return known;
}

bool IsDark() {
  const COLORREF ground = GetSysColor(COLOR_WINDOW);
  return GetRValue(ground) + GetGValue(ground) + GetBValue(ground) < kDarkest;
}

}  // namespace

int PixelsPerInch(HWND window) {
  // Older systems have one resolution for all monitors.
  using GetDpi = UINT(WINAPI*)(HWND);
  static const auto get_dpi = reinterpret_cast<GetDpi>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32"), "GetDpiForWindow")));
  const UINT pixels = get_dpi != nullptr ? get_dpi(window) : 0;
  return pixels != 0 ? static_cast<int>(pixels) : SystemPixelsPerInch();
}

int Scaled(HWND window, int pixels) {
  return MulDiv(pixels, PixelsPerInch(window), kUsualPixelsPerInch);
}

const char* ThemeName() { return IsDark() ? "dark" : "light"; }

void FollowColours(HWND control) {
  const wchar_t* const none = IsDark() ? L"" : nullptr;
  SetWindowTheme(control, none, none);
}

double TextPoints() {
  LOGFONTW font = {};
  if (!MessageFont(&font) || font.lfHeight == 0) return kUsualPoints;
  return std::abs(font.lfHeight) * kPointsPerInch / SystemPixelsPerInch();
}

HFONT MakeMessageFont(HWND window) {
  LOGFONTW font = {};
  if (!MessageFont(&font)) return nullptr;
  font.lfHeight = MulDiv(font.lfHeight, PixelsPerInch(window), SystemPixelsPerInch());
  return CreateFontIndirectW(&font);
}

}  // namespace tervalon::viewer
