#include "platform/win32/attach.h"

#include <windows.h>

namespace tervalon::platform {
namespace {

HINSTANCE recorded_instance = nullptr;

}  // namespace

TvInstance LibraryInstance() {
  return recorded_instance != nullptr ? recorded_instance : GetModuleHandleA(nullptr);
}

}  // namespace tervalon::platform

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    tervalon::platform::recorded_instance = instance;
  } else if (reason == DLL_PROCESS_DETACH) {
    tervalon::platform::recorded_instance = nullptr;
  }
  return TRUE;
}
