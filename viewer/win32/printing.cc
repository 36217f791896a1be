#include "viewer/win32/printing.h"

#include <commdlg.h>

#include <algorithm>

#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr double kPoints = 9;
constexpr const char* kTheme = "light";
constexpr PictureSize kCopySize = {1200, 675, 96};

std::string Draw(Document& document, HDC dc, const PictureSize& size) {
  try {
    tools::PlotPainter painter(dc, size, tools::ThemeOf(kTheme), kPoints);
    painter.Paint(document.chart()->PlanAnew(size, painter.measure()));
    return "";
  } catch (const tools::Failure& failure) {
    return failure.what();
  }
}

struct Preview {
  Document* document;
  std::string failure;
};

// A4, lying.
constexpr double kPageWidth = 297;
constexpr double kPageHeight = 210;
constexpr double kMargin = 15;  // millimetres, as the page

void PaintPage(HWND window, Preview* preview) {
  PAINTSTRUCT paint = {};
  const HDC dc = BeginPaint(window, &paint);
  RECT client = {};
  GetClientRect(window, &client);
  const double scale = std::min(client.right / kPageWidth, client.bottom / kPageHeight);
  const auto pixels = [&](double millimetres) { return static_cast<int>(millimetres * scale); };
  FillRect(dc, &client, GetSysColorBrush(COLOR_APPWORKSPACE));
  const RECT page = {0, 0, pixels(kPageWidth), pixels(kPageHeight)};
  FillRect(dc, &page, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  // The page in small: the resolution is what makes its texts as small as on paper.
  const PictureSize size = {pixels(kPageWidth - 2 * kMargin), pixels(kPageHeight - 2 * kMargin),
                            std::max(pixels(25.4), 1)};
  SetViewportOrgEx(dc, pixels(kMargin), pixels(kMargin), nullptr);
  preview->failure = Draw(*preview->document, dc, size);
  EndPaint(window, &paint);
}

LRESULT CALLBACK PageProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  auto* const preview = reinterpret_cast<Preview*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_PAINT && preview != nullptr) {
    PaintPage(window, preview);
    return 0;
  }
  if (message == WM_SIZE) InvalidateRect(window, nullptr, TRUE);
  if (message == WM_KEYDOWN && first == VK_ESCAPE) DestroyWindow(window);
  return DefWindowProcW(window, message, first, second);
}

}  // namespace

std::string PrintDocument(Document& document, HWND owner) {
  PRINTDLGW dialog = {};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = owner;
  dialog.Flags = PD_RETURNDC | PD_NOPAGENUMS | PD_NOSELECTION;
  if (PrintDlgW(&dialog) == FALSE) return "";
  const HDC dc = dialog.hDC;
  const std::wstring title = Wide(document.Title());
  DOCINFOW info = {};
  info.cbSize = sizeof info;
  info.lpszDocName = title.c_str();
  std::string failure = "the printer takes nothing";
  if (StartDocW(dc, &info) > 0 && StartPage(dc) > 0) {
    failure = Draw(
        document, dc,
        {GetDeviceCaps(dc, HORZRES), GetDeviceCaps(dc, VERTRES), GetDeviceCaps(dc, LOGPIXELSX)});
    if (EndPage(dc) <= 0 || EndDoc(dc) <= 0) failure = "the page was not printed";
  }
  DeleteDC(dc);
  return failure;
}

std::string PreviewDocument(Document& document, HWND owner) {
  constexpr const wchar_t* kClass = L"TervalonViewPage";
  WNDCLASSW page_class = {};
  page_class.lpfnWndProc = PageProcedure;
  page_class.hInstance = GetModuleHandleW(nullptr);
  page_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
  page_class.lpszClassName = kClass;
  RegisterClassW(&page_class);
  Preview preview = {&document, ""};
  const HWND window =
      CreateWindowExW(0, kClass, L"Print preview (Esc: close)", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT,
                      CW_USEDEFAULT, 860, 640, owner, nullptr, page_class.hInstance, nullptr);
  SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&preview));
  EnableWindow(owner, FALSE);
  ShowWindow(window, SW_SHOW);
  MSG message = {};
  while (IsWindow(window) != FALSE && GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  EnableWindow(owner, TRUE);
  SetForegroundWindow(owner);
  return preview.failure;
}

HENHMETAFILE DrawMetafile(Document& document, HWND owner) {
  const HDC screen = GetDC(owner);
  const auto hundredths = [&](int32_t pixels, int size, int count) {
    return MulDiv(pixels, 100 * GetDeviceCaps(screen, size), GetDeviceCaps(screen, count));
  };
  const RECT bounds = {0, 0, hundredths(kCopySize.width, HORZSIZE, HORZRES),
                       hundredths(kCopySize.height, VERTSIZE, VERTRES)};
  const HDC dc = CreateEnhMetaFileW(screen, nullptr, &bounds, L"Tervalon View\0plot\0");
  ReleaseDC(owner, screen);
  if (dc == nullptr) return nullptr;
  const std::string failure = Draw(document, dc, kCopySize);
  const HENHMETAFILE drawn = CloseEnhMetaFile(dc);
  if (failure.empty()) return drawn;
  DeleteEnhMetaFile(drawn);
  return nullptr;
}

}  // namespace tervalon::viewer
