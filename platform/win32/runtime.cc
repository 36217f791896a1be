// The compiler's runtime, which is linked into the DLL, beside the shared form of itself.

#include <windows.h>

#include <string_view>

namespace {

// Before anything else of the DLL runs, the runtime registers its tables of exceptions. Where some
// other module of the process has loaded the shared form of the runtime it does so there, but looks
// for them here: whatever is thrown would end the process. So that one is not found from here.
HMODULE WINAPI FindModule(LPCSTR name) {
  if (name != nullptr && std::string_view(name).starts_with("libgcc_s_")) return nullptr;
  HMODULE found = nullptr;
  return GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, name, &found) != FALSE
             ? found
             : nullptr;
}

}  // namespace

// In the place of the import, so that the runtime's calls come here.
extern "C" {
using ModuleFinder = HMODULE(WINAPI*)(LPCSTR);
extern const ModuleFinder tervalon_find_module __asm__("__imp__GetModuleHandleA@4");
const ModuleFinder tervalon_find_module = FindModule;
}
