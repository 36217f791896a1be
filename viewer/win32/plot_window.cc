#include "viewer/win32/plot_window.h"

#include <windowsx.h>

#include <cmath>

#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr double kPointsPerInch = 72;
constexpr double kWheelStep = 0.8;
constexpr int kDarkest = 3 * 128;  // the sum of a dark ground's colours is below

RECT ClientOf(HWND window) {
  RECT rect = {};
  GetClientRect(window, &rect);
  return rect;
}

}  // namespace

int PixelsPerInch(HDC dc) { return GetDeviceCaps(dc, LOGPIXELSX); }

const char* ThemeName() {
  const COLORREF ground = GetSysColor(COLOR_WINDOW);
  return GetRValue(ground) + GetGValue(ground) + GetBValue(ground) < kDarkest ? "dark" : "light";
}

double TextPoints(HDC dc) {
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  if (SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0) == 0) return 9;
  const double height = std::abs(metrics.lfMessageFont.lfHeight);
  return height * kPointsPerInch / PixelsPerInch(dc);
}

PlotWindow::~PlotWindow() { DeleteObject(picture_); }

void PlotWindow::Redraw() {
  DeleteObject(picture_);
  picture_ = nullptr;
  InvalidateRect(window_, nullptr, FALSE);
}

void PlotWindow::MakePicture(HDC dc, int width, int height) {
  failure_.clear();
  const HDC memory = CreateCompatibleDC(dc);
  picture_ = CreateCompatibleBitmap(dc, std::max(width, 1), std::max(height, 1));
  const HGDIOBJ before = SelectObject(memory, picture_);
  const PictureSize size = {width, height, PixelsPerInch(dc)};
  try {
    tools::PlotPainter painter(memory, size, tools::ThemeOf(ThemeName()), TextPoints(dc));
    painter.Paint(document_.chart()->Plan(size, painter.measure()));
  } catch (const tools::Failure& failure) {
    failure_ = failure.what();
  }
  SelectObject(memory, before);
  DeleteDC(memory);
}

void PlotWindow::Paint() {
  PAINTSTRUCT paint = {};
  const HDC dc = BeginPaint(window_, &paint);
  RECT client = ClientOf(window_);
  if (picture_ == nullptr) MakePicture(dc, client.right, client.bottom);
  if (failure_.empty()) {
    const HDC memory = CreateCompatibleDC(dc);
    const HGDIOBJ before = SelectObject(memory, picture_);
    BitBlt(dc, 0, 0, client.right, client.bottom, memory, 0, 0, SRCCOPY);
    SelectObject(memory, before);
    DeleteDC(memory);
  } else {
    FillRect(dc, &client, GetSysColorBrush(COLOR_WINDOW));
    SetTextColor(dc, GetSysColor(COLOR_WINDOWTEXT));
    SetBkMode(dc, TRANSPARENT);
    DrawTextW(dc, Wide(failure_).c_str(), -1, &client, DT_WORDBREAK);
  }
  if (mark_) {
    const RECT marked = {mark_->left, mark_->top, mark_->right, mark_->bottom};
    InvertRect(dc, &marked);
  }
  EndPaint(window_, &paint);
}

HBITMAP PlotWindow::CopyBitmap() {
  if (picture_ == nullptr || !failure_.empty()) return nullptr;
  return static_cast<HBITMAP>(CopyImage(picture_, IMAGE_BITMAP, 0, 0, 0));
}

Place PlotWindow::PlaceOf(LPARAM at) { return {GET_X_LPARAM(at), GET_Y_LPARAM(at)}; }

void PlotWindow::Move(Place place) {
  Chart& chart = *document_.chart();
  if (const auto mark = chart.MarkTo(place); mark || mark_) {
    mark_ = mark;
    InvalidateRect(window_, nullptr, FALSE);
  }
  if (chart.plan() != nullptr) workspace_.PointAt(document_, FindPlace(*chart.plan(), place));
}

bool PlotWindow::Handle(UINT message, WPARAM first, LPARAM second) {
  Chart& chart = *document_.chart();
  switch (message) {
    case WM_PAINT:
      Paint();
      return true;
    case WM_ERASEBKGND:
      return true;
    case WM_SIZE:
    case WM_SYSCOLORCHANGE:
    case WM_SETTINGCHANGE:
      Redraw();
      return false;
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
      SetCapture(window_);
      chart.Press(message == WM_LBUTTONDOWN ? Button::kLeft : Button::kRight, PlaceOf(second));
      return true;
    case WM_LBUTTONUP:
    case WM_RBUTTONUP:
      ReleaseCapture();
      mark_.reset();
      InvalidateRect(window_, nullptr, FALSE);
      workspace_.Do(document_, chart.Release(PlaceOf(second)));
      return true;
    case WM_LBUTTONDBLCLK:
      chart.DoubleClick(PlaceOf(second));
      workspace_.ViewChanged(document_);
      return true;
    case WM_MOUSEMOVE:
      Move(PlaceOf(second));
      return true;
    case WM_MOUSEWHEEL: {
      POINT at = {GET_X_LPARAM(second), GET_Y_LPARAM(second)};
      ScreenToClient(window_, &at);
      const double steps = GET_WHEEL_DELTA_WPARAM(first) / double{WHEEL_DELTA};
      const bool along_y = (GET_KEYSTATE_WPARAM(first) & MK_CONTROL) != 0;
      chart.Zoom({at.x, at.y}, std::pow(kWheelStep, steps), along_y);
      workspace_.ViewChanged(document_);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace tervalon::viewer
