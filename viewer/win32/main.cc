// tervalon-view: a browser for runs.

#include <windows.h>
// In front of what needs it.
#include <shellapi.h>
#include <shlobj.h>
#include <tervalon/application.h>
#include <tervalon/settings.h>

#include "viewer/win32/frame.h"
#include "viewer/win32/text.h"

namespace {

// The settings file stands where the desktop keeps such files, whatever directory the program was
// started in.
void GoToSettings() {
  wchar_t started[MAX_PATH] = L"";
  wchar_t folder[MAX_PATH] = L"";
  GetCurrentDirectoryW(MAX_PATH, started);
  if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, folder) != S_OK) return;
  const std::wstring own = std::wstring(folder) + L"\\tervalon-view";
  CreateDirectoryW(own.c_str(), nullptr);
  SetCurrentDirectoryW(own.c_str());
  SetTervalonWorkingDir();
  InitIni(0);
  SetCurrentDirectoryW(started);
}

}  // namespace

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int) {
  CoInitialize(nullptr);
  GoToSettings();
  int status = 0;
  {
    tervalon::viewer::Frame frame(instance);
    frame.Restore();
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; i < count; ++i) frame.workspace().Open(tervalon::viewer::Utf8(words[i]));
    LocalFree(words);
    status = frame.Run();
  }
  CoUninitialize();
  return status;
}
