/* Drives the example with a window from outside, as a user would: drive_window PROGRAM DIRECTORY
   PICTURE. Resizes it, clicks into the chromatogram, opens the print preview from the menu, and
   looks at what is drawn. Both windows are stored: PICTURE.bmp, PICTURE-preview.bmp. */

#include <windows.h>
/* After the system's header. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { kPreview = 100 }; /* the command in the example's menu */

static int Fail(const char* what) {
  fprintf(stderr, "%s\n", what);
  return 1;
}

static HWND WaitForWindow(const char* window_class) {
  for (int tries = 0; tries < 300; ++tries, Sleep(100)) {
    HWND window = FindWindowA(window_class, NULL);
    if (window != NULL && IsWindowVisible(window)) return window;
  }
  return NULL;
}

/* The client area's pixels, drawn afresh; the number of those that are not white in its upper and
 * lower half. */
static int Photograph(HWND window, const char* path, int drawn[2]) {
  RECT area;
  RedrawWindow(window, NULL, NULL, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
  GetClientRect(window, &area);
  const BITMAPINFO info = {.bmiHeader = {.biSize = sizeof(BITMAPINFOHEADER),
                                         .biWidth = area.right,
                                         .biHeight = -area.bottom,
                                         .biPlanes = 1,
                                         .biBitCount = 32}};
  HDC source = GetDC(window);
  HDC copy = CreateCompatibleDC(source);
  uint32_t* pixels = NULL;
  HBITMAP bitmap = CreateDIBSection(source, &info, DIB_RGB_COLORS, (void**)&pixels, NULL, 0);
  if (bitmap == NULL) return 0;
  SelectObject(copy, bitmap);
  /* Another process paints when it comes to it: until two pictures are the same. */
  drawn[0] = drawn[1] = 0;
  for (int tries = 0, before = -1; tries < 50; ++tries, Sleep(300)) {
    BitBlt(copy, 0, 0, area.right, area.bottom, source, 0, 0, SRCCOPY);
    GdiFlush();
    drawn[0] = drawn[1] = 0;
    for (int32_t i = 0; i < area.right * area.bottom; ++i) {
      drawn[i >= area.right * (area.bottom / 2)] += (pixels[i] & 0xFFFFFF) != 0xFFFFFF;
    }
    if (drawn[0] > 0 && drawn[1] > 0 && drawn[0] + drawn[1] == before) break;
    before = drawn[0] + drawn[1];
  }
  const uint32_t bytes = 4u * (uint32_t)area.right * (uint32_t)area.bottom;
  const uint32_t offset = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
  const BITMAPFILEHEADER header = {.bfType = 0x4D42, .bfSize = offset + bytes, .bfOffBits = offset};
  FILE* file = fopen(path, "wb");
  if (file == NULL) return 0;
  fwrite(&header, sizeof(header), 1, file);
  fwrite(&info.bmiHeader, sizeof(info.bmiHeader), 1, file);
  fwrite(pixels, bytes, 1, file);
  ReleaseDC(window, source);
  return fclose(file) == 0;
}

static int Drive(const char* picture, HANDLE process) {
  char path[MAX_PATH];
  int before[2];
  int after[2];
  HWND window = WaitForWindow("TervalonView");
  if (window == NULL) return Fail("the window does not come");
  snprintf(path, sizeof(path), "%s.bmp", picture);
  if (!Photograph(window, path, before)) return Fail("no photograph");
  SetWindowPos(window, NULL, 0, 0, 1000, 760, SWP_NOZORDER);
  RECT area;
  GetClientRect(window, &area);
  for (int tries = 0; tries < 20; ++tries, Sleep(300)) { /* until that is painted, too */
    if (!Photograph(window, path, after)) return Fail("no photograph");
    if (after[0] > before[0]) break;
  }
  if (after[0] <= before[0]) return Fail("the chromatogram does not grow with the window");
  /* The highest peak of the simulated chromatogram stands at 58 % of it. */
  SendMessageA(window, WM_LBUTTONDOWN, 0,
               MAKELPARAM(40 + (area.right - 50) * 58 / 100, area.bottom / 4));
  if (!Photograph(window, path, after)) return Fail("no photograph");
  if (before[0] < 1000 || after[1] < 1000) return Fail("a plot is missing");

  SendMessageA(window, WM_COMMAND, kPreview, 0);
  HWND preview = WaitForWindow("TervalonPreview");
  if (preview == NULL) return Fail("the preview does not come");
  snprintf(path, sizeof(path), "%s-preview.bmp", picture);
  if (!Photograph(preview, path, after)) return Fail("no photograph of the preview");
  if (after[0] < 500 || after[1] < 500) return Fail("the preview lacks a plot");

  DWORD status = 1;
  PostMessageA(window, WM_CLOSE, 0, 0);
  WaitForSingleObject(process, 30000);
  GetExitCodeProcess(process, &status);
  return status == 0 ? 0 : Fail("the program does not end well");
}

int main(int argc, char** argv) {
  if (argc != 4) return Fail("usage: drive_window PROGRAM DIRECTORY PICTURE");
  char command[2 * MAX_PATH];
  STARTUPINFOA startup = {.cb = sizeof(startup)};
  PROCESS_INFORMATION process;
  snprintf(command, sizeof(command), "\"%s\" \"%s\"", argv[1], argv[2]);
  if (!CreateProcessA(argv[1], command, NULL, NULL, FALSE, 0, NULL, NULL, &startup, &process)) {
    return Fail("the program does not start");
  }
  const int status = Drive(argv[3], process.hProcess);
  TerminateProcess(process.hProcess, 1); /* no more than a formality when all went well */
  return status;
}
