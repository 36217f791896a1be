#include "platform/win32/attach.h"

#include <windows.h>

namespace tervalon::platform {
namespace {

HINSTANCE recorded_instance = nullptr;

// Spin controls in their arrow and ear forms, the experiment browser, the toolbar and the status
// bar. Applications name these classes in their dialog templates, so they are known to the whole
// process.
constexpr const char* kWindowClasses[] = {"TervalonArrowSpin", "TervalonEarSpin", "TervalonBrowser",
                                          "TervalonToolbar", "TervalonStatusBar"};

// A class that cannot be registered (another module of the process has one of that name) is no
// reason to refuse the library.
void Attach(HINSTANCE instance) {
  recorded_instance = instance;
  for (const char* name : kWindowClasses) {
    WNDCLASSA description = {};
    description.style = CS_GLOBALCLASS | CS_DBLCLKS;
    description.lpfnWndProc = DefWindowProcA;
    description.hInstance = instance;
    description.hCursor = LoadCursor(nullptr, IDC_ARROW);
    description.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    description.lpszClassName = name;
    RegisterClassA(&description);
  }
}

void Detach() {
  for (const char* name : kWindowClasses) UnregisterClassA(name, recorded_instance);
  recorded_instance = nullptr;
}

}  // namespace

TvInstance LibraryInstance() {
  return recorded_instance != nullptr ? recorded_instance : GetModuleHandleA(nullptr);
}

}  // namespace tervalon::platform

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*process_ends*/) {
  if (reason == DLL_PROCESS_ATTACH) tervalon::platform::Attach(instance);
  if (reason == DLL_PROCESS_DETACH) tervalon::platform::Detach();
  return TRUE;
}
