#include "viewer/win32/printing.h"

#include <commdlg.h>

#include <algorithm>
#include <utility>

#include "viewer/win32/desktop.h"
#include "viewer/win32/memory_dc.h"
#include "viewer/win32/page.h"
#include "viewer/win32/text.h"
#include "viewer/win32/texts.h"

namespace tervalon::viewer {
namespace {

constexpr double kMillimetresPerInch = 25.4;

// What a dialog gives back about a printer, and its device context.
class Printer {
 public:
  Printer(HWND owner, DWORD flags) {
    dialog_.lStructSize = sizeof dialog_;
    dialog_.hwndOwner = owner;
    dialog_.Flags = flags;
  }
  ~Printer() {
    if (dialog_.hDC != nullptr) DeleteDC(dialog_.hDC);
    GlobalFree(dialog_.hDevMode);
    GlobalFree(dialog_.hDevNames);
  }
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;

  bool Ask() { return PrintDlgW(&dialog_) != FALSE; }
  HDC dc() const { return dialog_.hDC; }

  // The usual printer's settings, the paper lying: asked for from here on.
  void LayPaper() {
    dialog_.Flags |= PD_RETURNDEFAULT | PD_NOWARNING;
    PrintDlgW(&dialog_);
    dialog_.Flags &= ~static_cast<DWORD>(PD_RETURNDEFAULT | PD_NOWARNING);
    if (dialog_.hDC != nullptr) DeleteDC(std::exchange(dialog_.hDC, nullptr));
    if (dialog_.hDevMode == nullptr) return;
    auto* const mode = static_cast<DEVMODEW*>(GlobalLock(dialog_.hDevMode));
    mode->dmFields |= DM_ORIENTATION;
    mode->dmOrientation = DMORIENT_LANDSCAPE;
    GlobalUnlock(dialog_.hDevMode);
  }

 private:
  PRINTDLGW dialog_ = {};
};

Paper PaperOf(HDC dc) {
  const auto millimetres = [&](int pixels, int per_inch) {
    return GetDeviceCaps(dc, pixels) * kMillimetresPerInch / GetDeviceCaps(dc, per_inch);
  };
  return {millimetres(PHYSICALWIDTH, LOGPIXELSX), millimetres(PHYSICALHEIGHT, LOGPIXELSY)};
}

// --- The look before

constexpr const wchar_t* kPageClass = L"TervalonViewPage";
constexpr int kPreviewWidth = 860;  // at 96 pixels per inch
constexpr int kPreviewHeight = 640;
constexpr int kSpace = 16;  // around the page

struct Preview {
  Document* document;
  bool print = false;
  std::string failure;
};

void DrawPreview(HWND window, HDC dc, const RECT& client, Preview* preview) {
  FillRect(dc, &client, GetSysColorBrush(COLOR_APPWORKSPACE));
  const Paper paper;
  const int space = Scaled(window, kSpace);
  const double scale = std::max(0.1, std::min((client.right - 2 * space) / paper.width,
                                              (client.bottom - 2 * space) / paper.height));
  const auto width = static_cast<int>(paper.width * scale);
  const auto height = static_cast<int>(paper.height * scale);
  const int left = (client.right - width) / 2;
  const int top = (client.bottom - height) / 2;
  const RECT page = {left, top, left + width, top + height};
  FillRect(dc, &page, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  SetViewportOrgEx(dc, left, top, nullptr);
  // The resolution is what makes texts as small as on paper.
  preview->failure = DrawPage(*preview->document, dc, paper, scale * kMillimetresPerInch);
  SetViewportOrgEx(dc, 0, 0, nullptr);
}

void PaintPreview(HWND window, Preview* preview) {
  PAINTSTRUCT paint = {};
  const HDC dc = BeginPaint(window, &paint);
  RECT client = {};
  GetClientRect(window, &client);
  const HBITMAP bitmap = CreateCompatibleBitmap(dc, client.right, client.bottom);
  if (bitmap != nullptr) {
    const MemoryDc memory(dc, bitmap);
    DrawPreview(window, memory.get(), client, preview);
    BitBlt(dc, 0, 0, client.right, client.bottom, memory.get(), 0, 0, SRCCOPY);
  }
  DeleteObject(bitmap);
  EndPaint(window, &paint);
}

LRESULT CALLBACK PageProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  auto* const preview = reinterpret_cast<Preview*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  switch (message) {
    case WM_NCCREATE:
      SetWindowLongPtrW(window, GWLP_USERDATA,
                        reinterpret_cast<LONG_PTR>(
                            reinterpret_cast<const CREATESTRUCTW*>(second)->lpCreateParams));
      break;
    case WM_PAINT:
      PaintPreview(window, preview);
      return 0;
    case WM_ERASEBKGND:
      return 1;
    case WM_SIZE:
      InvalidateRect(window, nullptr, FALSE);
      return 0;
    case WM_KEYDOWN:
      if (first != VK_ESCAPE && first != VK_RETURN) break;
      preview->print = first == VK_RETURN;
      PostMessageW(window, WM_CLOSE, 0, 0);
      return 0;
    case WM_CLOSE:
      // While this is the active window, so that the system does not look for another.
      EnableWindow(GetWindow(window, GW_OWNER), TRUE);
      break;
    default:
      break;
  }
  return DefWindowProcW(window, message, first, second);
}

}  // namespace

std::string PrintDocument(Document& document, HWND owner) {
  Printer printer(owner, PD_RETURNDC | PD_NOPAGENUMS | PD_NOSELECTION | PD_USEDEVMODECOPIES);
  printer.LayPaper();
  if (!printer.Ask()) return "";
  const HDC dc = printer.dc();
  if (dc == nullptr) return "The printer cannot be used";
  const std::wstring title = Wide(document.Title());
  DOCINFOW info = {};
  info.cbSize = sizeof info;
  info.lpszDocName = title.c_str();
  if (StartDocW(dc, &info) <= 0) return "The printer takes nothing";
  // Its first pixel is where it can print.
  SetViewportOrgEx(dc, -GetDeviceCaps(dc, PHYSICALOFFSETX), -GetDeviceCaps(dc, PHYSICALOFFSETY),
                   nullptr);
  std::string failure = "The page was not printed";
  if (StartPage(dc) > 0) {
    failure = DrawPage(document, dc, PaperOf(dc), GetDeviceCaps(dc, LOGPIXELSX));
    if (EndPage(dc) <= 0 && failure.empty()) failure = "The page was not printed";
  }
  if (!failure.empty()) {
    AbortDoc(dc);
  } else if (EndDoc(dc) <= 0) {
    failure = "The page was not printed";
  }
  return failure;
}

std::string PreviewDocument(Document& document, HWND owner) {
  WNDCLASSW page_class = {};
  page_class.lpfnWndProc = PageProcedure;
  page_class.hInstance = GetModuleHandleW(nullptr);
  page_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
  page_class.hIcon = LoadIconW(page_class.hInstance, MAKEINTRESOURCEW(VIEWER_ICON));
  page_class.lpszClassName = kPageClass;
  RegisterClassW(&page_class);
  Preview preview = {&document, false, ""};
  const HWND window = CreateWindowExW(0, kPageClass, L"Print preview (Enter: print, Esc: close)",
                                      WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                                      Scaled(owner, kPreviewWidth), Scaled(owner, kPreviewHeight),
                                      owner, nullptr, page_class.hInstance, &preview);
  EnableWindow(owner, FALSE);
  ShowWindow(window, SW_SHOW);
  MSG message = {};
  while (IsWindow(window) != FALSE) {
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) {
      PostQuitMessage(static_cast<int>(message.wParam));
      break;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  EnableWindow(owner, TRUE);
  return preview.print ? PrintDocument(document, owner) : preview.failure;
}

HENHMETAFILE DrawMetafile(Document& document, HWND window) {
  const HDC screen = GetDC(window);
  RECT client = {};
  GetClientRect(window, &client);
  const auto hundredths = [&](int32_t pixels, int size, int count) {
    return MulDiv(pixels, 100 * GetDeviceCaps(screen, size), GetDeviceCaps(screen, count));
  };
  const RECT bounds = {0, 0, hundredths(client.right, HORZSIZE, HORZRES),
                       hundredths(client.bottom, VERTSIZE, VERTRES)};
  const HDC dc = CreateEnhMetaFileW(screen, nullptr, &bounds, L"Tervalon View\0plot\0");
  ReleaseDC(window, screen);
  if (dc == nullptr) return nullptr;
  const std::string failure =
      DrawPlot(document, dc, {client.right, client.bottom, PixelsPerInch(window)});
  const HENHMETAFILE drawn = CloseEnhMetaFile(dc);
  if (failure.empty()) return drawn;
  DeleteEnhMetaFile(drawn);
  return nullptr;
}

}  // namespace tervalon::viewer
