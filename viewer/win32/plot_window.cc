#include "viewer/win32/plot_window.h"

#include <windowsx.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "viewer/win32/desktop.h"
#include "viewer/win32/memory_dc.h"
#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr double kWheelStep = 0.8;
constexpr double kMoveStep = 0.1;
constexpr UINT_PTR kLaterTimer = 1;
constexpr BYTE kMarkStrength = 96;  // of 255

RECT RectOf(const Box& box) { return {box.left, box.top, box.right, box.bottom}; }

Place PlaceOf(LPARAM at) { return {GET_X_LPARAM(at), GET_Y_LPARAM(at)}; }

Place PlaceOnScreen(HWND window, LPARAM at) {
  POINT place = {GET_X_LPARAM(at), GET_Y_LPARAM(at)};
  ScreenToClient(window, &place);
  return {place.x, place.y};
}

}  // namespace

PlotWindow::PlotWindow(Workspace* workspace, Document* document, HWND window)
    : workspace_(*workspace),
      document_(*document),
      window_(window),
      made_(static_cast<DWORD>(GetMessageTime())) {}

PlotWindow::~PlotWindow() { DeleteObject(picture_); }

// --- Painting

void PlotWindow::Redraw() {
  is_painted_ = false;
  mark_.reset();
  InvalidateRect(window_, nullptr, FALSE);
}

void PlotWindow::Update() {
  if (!document_.chart()->is_planned()) InvalidateRect(window_, nullptr, FALSE);
  UpdateWindow(window_);
}

void PlotWindow::MakePicture(HDC dc, int width, int height) {
  failure_.clear();
  is_painted_ = true;
  BITMAP made = {};
  GetObjectW(picture_, sizeof made, &made);
  if (picture_ == nullptr || made.bmWidth != width || made.bmHeight != height) {
    DeleteObject(picture_);
    picture_ = CreateCompatibleBitmap(dc, std::max(width, 1), std::max(height, 1));
  }
  if (picture_ == nullptr) {
    failure_ = "Out of memory";
    return;
  }
  const MemoryDc memory(dc, picture_);
  const PictureSize size = {width, height, PixelsPerInch(window_)};
  try {
    tools::PlotPainter painter(memory.get(), size, tools::ThemeOf(ThemeName()), TextPoints());
    painter.Paint(document_.chart()->Plan(size, painter.measure()));
  } catch (const tools::Failure& failure) {
    failure_ = failure.what();
  } catch (const std::bad_alloc&) {
    failure_ = "Out of memory";
  }
}

void PlotWindow::PaintMark(HDC dc, const RECT& mark) const {
  const RECT pixel = {0, 0, 1, 1};
  const HBITMAP bitmap = CreateCompatibleBitmap(dc, 1, 1);
  {
    const MemoryDc colour(dc, bitmap);
    FillRect(colour.get(), &pixel, GetSysColorBrush(COLOR_HIGHLIGHT));
    const BLENDFUNCTION blend = {AC_SRC_OVER, 0, kMarkStrength, 0};
    AlphaBlend(dc, mark.left, mark.top, mark.right - mark.left, mark.bottom - mark.top,
               colour.get(), 0, 0, 1, 1, blend);
  }
  DeleteObject(bitmap);
}

void PlotWindow::PaintPicture(HDC dc, const RECT& part) const {
  const MemoryDc memory(dc, picture_);
  BitBlt(dc, part.left, part.top, part.right - part.left, part.bottom - part.top, memory.get(),
         part.left, part.top, SRCCOPY);
}

void PlotWindow::Paint() {
  PAINTSTRUCT paint = {};
  const HDC dc = BeginPaint(window_, &paint);
  RECT client = {};
  GetClientRect(window_, &client);
  const RECT& part = paint.rcPaint;
  if (!is_painted_ || !document_.chart()->is_planned()) {
    MakePicture(dc, client.right, client.bottom);
  }
  if (!failure_.empty()) {
    FillRect(dc, &client, GetSysColorBrush(COLOR_WINDOW));
    SetTextColor(dc, GetSysColor(COLOR_WINDOWTEXT));
    SetBkMode(dc, TRANSPARENT);
    const int space = Scaled(window_, 12);
    InflateRect(&client, -space, -space);
    const HFONT font = MakeMessageFont(window_);
    const HGDIOBJ before = SelectObject(dc, font);
    DrawTextW(dc, Wide(failure_).c_str(), -1, &client, DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(dc, before);
    DeleteObject(font);
  } else if (!mark_) {
    PaintPicture(dc, part);
  } else {  // together before they are shown
    const HBITMAP both = CreateCompatibleBitmap(dc, client.right, client.bottom);
    {
      const MemoryDc memory(dc, both);
      PaintPicture(memory.get(), part);
      PaintMark(memory.get(), RectOf(*mark_));
      BitBlt(dc, part.left, part.top, part.right - part.left, part.bottom - part.top, memory.get(),
             part.left, part.top, SRCCOPY);
    }
    DeleteObject(both);
  }
  EndPaint(window_, &paint);
}

HBITMAP PlotWindow::CopyBitmap() {
  Update();
  if (picture_ == nullptr || !failure_.empty()) return nullptr;
  return static_cast<HBITMAP>(CopyImage(picture_, IMAGE_BITMAP, 0, 0, 0));
}

// --- The mouse

void PlotWindow::Mark(const std::optional<Box>& mark) {
  for (const std::optional<Box>& one : {mark_, mark}) {
    if (!one) continue;
    const RECT rect = RectOf(*one);
    InvalidateRect(window_, &rect, FALSE);
  }
  mark_ = mark;
}

void PlotWindow::Press(Button button, Place place) {
  DoLater();
  // The second press of a double click whose first has put this window under the mouse.
  if (static_cast<DWORD>(GetMessageTime()) - made_ < GetDoubleClickTime()) return;
  Update();
  SetCapture(window_);
  document_.chart()->Press(button, place);
}

bool PlotWindow::Release(Place place) {
  if (GetCapture() != window_) return false;
  Mark(std::nullopt);
  const Gesture gesture = document_.chart()->Release(place);
  ReleaseCapture();
  // A click in a spectrum adds a trace, which a double click is not to do.
  if (document_.kind() == Kind::kSpectrum && gesture.kind == Gesture::Kind::kClick) {
    later_ = gesture;
    SetTimer(window_, kLaterTimer, GetDoubleClickTime(), nullptr);
  } else {
    workspace_.Do(document_, gesture);
  }
  return gesture.kind != Gesture::Kind::kNone;
}

void PlotWindow::DoLater() {
  KillTimer(window_, kLaterTimer);
  if (const auto gesture = std::exchange(later_, std::nullopt)) workspace_.Do(document_, *gesture);
}

void PlotWindow::PointAt(Place place) {
  // The system tells places again where nobody has moved the mouse.
  if (is_followed_ && place.x == pointed_.x && place.y == pointed_.y) return;
  if (!is_followed_) {
    TRACKMOUSEEVENT track = {sizeof track, TME_LEAVE, window_, 0};
    is_followed_ = TrackMouseEvent(&track) != FALSE;
  }
  pointed_ = place;
  Update();
  const Chart& chart = *document_.chart();
  if (GetCapture() == window_) Mark(document_.chart()->MarkTo(place));
  if (chart.plan() != nullptr) workspace_.PointAt(document_, FindPlace(*chart.plan(), place));
}

void PlotWindow::Leave() {
  is_followed_ = false;
  workspace_.PointAt(document_, {});
}

void PlotWindow::TurnWheel(WPARAM keys, Place place, bool sideways) {
  Update();
  const double steps = GET_WHEEL_DELTA_WPARAM(keys) / double{WHEEL_DELTA};
  const WORD held = GET_KEYSTATE_WPARAM(keys);
  Chart& chart = *document_.chart();
  if (sideways || (held & MK_SHIFT) != 0) {
    chart.Move(sideways ? steps * kMoveStep : -steps * kMoveStep);
  } else {
    chart.Zoom(place, std::pow(kWheelStep, steps), (held & MK_CONTROL) != 0);
  }
  workspace_.ViewChanged(document_);
}

bool PlotWindow::ShowCursor() const {
  const PicturePlan* const plan = document_.chart()->plan();
  if (plan == nullptr || !failure_.empty()) return false;
  POINT at = {};
  GetCursorPos(&at);
  ScreenToClient(window_, &at);
  LPCSTR shape = IDC_ARROW;
  switch (FindPlace(*plan, {at.x, at.y}).zone) {
    case PlotPlace::Zone::kData:
      shape = IDC_CROSS;
      break;
    case PlotPlace::Zone::kBelow:
      shape = IDC_SIZEWE;
      break;
    case PlotPlace::Zone::kBeside:
      shape = IDC_SIZENS;
      break;
    case PlotPlace::Zone::kOutside:
      break;
  }
  SetCursor(LoadCursorA(nullptr, shape));
  return true;
}

bool PlotWindow::Handle(UINT message, WPARAM first, LPARAM second) {
  switch (message) {
    case WM_PAINT:
      Paint();
      return true;
    case WM_ERASEBKGND:
      return true;
    case WM_SIZE:
    case WM_SYSCOLORCHANGE:
    case WM_SETTINGCHANGE:
    case WM_DISPLAYCHANGE:
    case WM_DPICHANGED_AFTERPARENT:
      Redraw();
      return false;
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONDBLCLK:
      Press(message == WM_LBUTTONDOWN ? Button::kLeft : Button::kRight, PlaceOf(second));
      return false;
    case WM_LBUTTONUP:
      Release(PlaceOf(second));
      return true;
    case WM_RBUTTONUP:
      return Release(PlaceOf(second));  // else it asks for a menu
    case WM_LBUTTONDBLCLK:
      later_.reset();
      KillTimer(window_, kLaterTimer);
      Update();
      document_.chart()->DoubleClick(PlaceOf(second));
      workspace_.ViewChanged(document_);
      return true;
    case WM_TIMER:
      DoLater();
      return true;
    case WM_CAPTURECHANGED:
      document_.chart()->Cancel();
      Mark(std::nullopt);
      return true;
    case WM_MOUSEMOVE:
      PointAt(PlaceOf(second));
      return true;
    case WM_MOUSELEAVE:
      Leave();
      return true;
    case WM_SETCURSOR:
      return LOWORD(second) == HTCLIENT && ShowCursor();
    case WM_MOUSEWHEEL:
    case WM_MOUSEHWHEEL:
      TurnWheel(first, PlaceOnScreen(window_, second), message == WM_MOUSEHWHEEL);
      return true;
    default:
      return false;
  }
}

}  // namespace tervalon::viewer
