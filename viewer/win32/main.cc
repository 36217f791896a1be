// tervalon-view: a browser for runs.

#include <tervalon/settings.h>

#include "viewer/win32/frame.h"
#include "viewer/win32/text.h"

namespace {

// The settings file stands where the desktop keeps such files, whatever directory the program was
// started in.
void GoToSettings() {
  wchar_t folder[MAX_PATH] = L"";
  const DWORD length = GetEnvironmentVariableW(L"APPDATA", folder, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return;
  const std::wstring own = std::wstring(folder) + L"\\tervalon-view";
  CreateDirectoryW(own.c_str(), nullptr);
  std::wstring started(GetCurrentDirectoryW(0, nullptr), L'\0');
  GetCurrentDirectoryW(static_cast<DWORD>(started.size()), started.data());
  SetCurrentDirectoryW(own.c_str());
  SetTervalonWorkingDir();
  InitIni(0);
  SetCurrentDirectoryW(started.c_str());
}

}  // namespace

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
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
