/* A window with the chromatogram of a raw data directory's first function and the spectrum at the
   place that was clicked. File / Print preview draws the same page into a metafile and shows it. */

#include <windows.h>
#include <windowsx.h>
/* After the system's header. */
#include <stdio.h>
#include <stdlib.h>
#include <tervalon/axes.h>
#include <tervalon/drawing.h>
#include <tervalon/plot_resources.h>
#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_spectra.h>

enum { kPreview = 100, kExit, kPageWidth = 1000, kPageHeight = 700 };

typedef struct Plot {
  int32_t axes;
  char title[80];
  float* x;
  float* y;
  int32_t count;
  float low; /* what the X axis shows */
  float high;
} Plot;

static struct {
  int32_t handle;
  RawFunctionRecord record;
  Plot chromatogram;
  Plot spectrum;
  HENHMETAFILE page;
} view;

static BOOL Resize(Plot* plot, int32_t count) {
  const size_t bytes = sizeof(float) * ((size_t)count + 1);
  float* x = realloc(plot->x, bytes);
  if (x != NULL) plot->x = x;
  float* y = realloc(plot->y, bytes);
  if (y != NULL) plot->y = y;
  plot->count = x != NULL && y != NULL ? count : 0;
  return plot->count == count;
}

static int32_t ReadSpectrum(int32_t scan) {
  RawScanHeader header;
  int32_t code = RawReadSpectrum(view.handle, 1, 0, scan, 1, NULL, &header, NULL, NULL, NULL, 0);
  Plot* plot = &view.spectrum;
  if (code != RAW_OK || !Resize(plot, (int32_t)(header.points & RAW_SCAN_POINTS_MASK))) return code;
  plot->low = header.low_mass;
  plot->high = header.high_mass;
  snprintf(plot->title, sizeof(plot->title), "Scan %d, %.2f min", (int)scan, header.retention_time);
  return RawReadSpectrum(view.handle, 1, 0, scan, 1, &plot->count, NULL, plot->x, plot->y, NULL, 0);
}

static int32_t ReadChromatogram(void) {
  Plot* plot = &view.chromatogram;
  const int32_t scans = RawGetFuncScanCount(&view.record);
  if (!Resize(plot, scans)) return RAW_NO_MEMORY_FOR_SCAN_BUFFER;
  snprintf(plot->title, sizeof(plot->title), "Total ion current");
  const int32_t code =
      RawReadChrom(view.handle, 1, 0, 1, scans, plot->y, plot->x, RAW_CHROM_TOTAL_ION);
  plot->high = code == RAW_OK && scans > 0 ? plot->x[scans - 1] : 1;
  return code;
}

static int32_t Open(const char* directory) {
  int32_t code = RawReadOpen(directory, &view.handle);
  if (code == RAW_OK) code = RawReadFuncInfo(view.handle, 1, &view.record, NULL);
  if (code == RAW_OK) code = RawReadFuncInit(view.handle, 1, 0, &view.record, NULL);
  if (code == RAW_OK) code = ReadChromatogram();
  return code == RAW_OK ? ReadSpectrum(1) : code;
}

static void DrawPlot(HDC dc, const Plot* plot, TvRect area, const char* x_title, int32_t mode) {
  TvRect margins;
  const int32_t line = AxsGetBorder(dc, &margins, x_title, NULL, 0);
  margins.top += line; /* for the title */
  AxsSize(plot->axes, &area, &margins);
  float highest = 0;
  for (int32_t i = 0; i < plot->count; ++i) {
    if (plot->y[i] > highest) highest = plot->y[i];
  }
  AxsSetRanges(plot->axes, plot->low, plot->high, 0, highest);
  AxsDisplayDefaultAxes(dc, plot->axes, x_title, 1, NULL, 0);
  AxsDisplayDefaultData(dc, plot->axes, plot->x, plot->y, plot->count, mode, 0);
  AxsDisplayHeader(dc, plot->axes, NULL, 0, 0, plot->title, 0);
}

/* The same for the window and for a page. */
static void DrawPage(HDC dc, int32_t width, int32_t height) {
  const TvRect upper = {10, 10, width - 10, height / 2};
  const TvRect lower = {10, height / 2 + 10, width - 10, height - 10};
  DrawPlot(dc, &view.chromatogram, upper, "min", AXS_PLOT_JOINED);
  DrawPlot(dc, &view.spectrum, lower, "m/z", AXS_PLOT_STICKS);
}

static void OnClick(HWND window, int x, int y) {
  int32_t scan = 0;
  const int32_t row = AxsSelectAxis(view.chromatogram.axes, x, y, 0);
  if (row < 0) return;
  const float minutes = AxsGetValue(view.chromatogram.axes, row, x, AXS_X_AXIS, 1);
  if (RawReadTimeScan(view.handle, 1, 0, &view.record, minutes, &scan) == RAW_OK && scan > 0) {
    ReadSpectrum(scan);
    InvalidateRect(window, NULL, TRUE);
  }
}

static void OnPreview(HWND window) {
  HDC screen = GetDC(window);
  /* The page's size in hundredths of a millimetre, of which the metafile makes pixels again. */
  const RECT frame = {
      0, 0,
      MulDiv(kPageWidth, GetDeviceCaps(screen, HORZSIZE) * 100, GetDeviceCaps(screen, HORZRES)),
      MulDiv(kPageHeight, GetDeviceCaps(screen, VERTSIZE) * 100, GetDeviceCaps(screen, VERTRES))};
  HDC dc = CreateEnhMetaFileA(screen, NULL, &frame, NULL);
  ReleaseDC(window, screen);
  if (dc == NULL) return;
  DrawPage(dc, kPageWidth, kPageHeight);
  PltReleaseResources(dc);
  if (view.page != NULL) DeleteEnhMetaFile(view.page);
  view.page = CloseEnhMetaFile(dc);
  CreateWindowA("TervalonPreview", "Print preview", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 60, 60, 500,
                390, window, NULL, GetModuleHandleA(NULL), NULL);
}

static void OnPaint(HWND window, BOOL preview) {
  PAINTSTRUCT paint;
  RECT area;
  HDC dc = BeginPaint(window, &paint);
  GetClientRect(window, &area);
  if (preview) {
    PlayEnhMetaFile(dc, view.page, &area);
  } else {
    DrawPage(dc, area.right, area.bottom);
  }
  EndPaint(window, &paint);
}

static LRESULT CALLBACK OnPreviewMessage(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message != WM_PAINT) return DefWindowProcA(window, message, w, l);
  OnPaint(window, TRUE);
  return 0;
}

static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM w, LPARAM l) {
  switch (message) {
    case WM_PAINT:
      OnPaint(window, FALSE);
      return 0;
    case WM_LBUTTONDOWN:
      OnClick(window, GET_X_LPARAM(l), GET_Y_LPARAM(l));
      return 0;
    case WM_COMMAND:
      if (LOWORD(w) == kPreview) OnPreview(window);
      if (LOWORD(w) == kExit) DestroyWindow(window);
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcA(window, message, w, l);
  }
}

static HMENU MakeMenu(void) {
  HMENU file = CreatePopupMenu();
  AppendMenuA(file, MF_STRING, kPreview, "Print pre&view");
  AppendMenuA(file, MF_STRING, kExit, "E&xit");
  HMENU bar = CreateMenu();
  AppendMenuA(bar, MF_POPUP, (UINT_PTR)file, "&File");
  return bar;
}

static void RegisterWindowClass(const char* name, WNDPROC procedure) {
  WNDCLASSA description = {0};
  description.style = CS_HREDRAW | CS_VREDRAW; /* a new size is a new layout */
  description.lpfnWndProc = procedure;
  description.hInstance = GetModuleHandleA(NULL);
  description.hCursor = LoadCursorA(NULL, (LPCSTR)IDC_ARROW);
  description.hbrBackground = (HBRUSH)(COLOR_WINDOW + 1);
  description.lpszClassName = name;
  RegisterClassA(&description);
}

int main(int argc, char** argv) {
  const int32_t code = argc == 2 ? Open(argv[1]) : RAW_DIRECTORY_ABSENT;
  if (code != RAW_OK) {
    fprintf(stderr, "usage: %s DIRECTORY (error %d)\n", argv[0], (int)code);
    return 1;
  }
  view.chromatogram.axes = AxsCreate(1, 0, 1, 1);
  view.spectrum.axes = AxsCreate(1, 0, 1, 1);
  RegisterWindowClass("TervalonView", OnMessage);
  RegisterWindowClass("TervalonPreview", OnPreviewMessage);
  CreateWindowA("TervalonView", argv[1], WS_OVERLAPPEDWINDOW | WS_VISIBLE, CW_USEDEFAULT,
                CW_USEDEFAULT, 800, 600, NULL, MakeMenu(), GetModuleHandleA(NULL), NULL);
  MSG message;
  while (GetMessageA(&message, NULL, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageA(&message);
  }
  RawReadClose(view.handle);
  return 0;
}
