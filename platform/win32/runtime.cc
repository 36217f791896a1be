#include "platform/win32/runtime.h"

#include <windows.h>

#include <string_view>

namespace __gnu_cxx {  // NOLINT: the runtime's own
// Frees the memory that is set aside for exceptions when there is no other.
void __freeres();  // NOLINT
}  // namespace __gnu_cxx

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

// For registering it makes a semaphore which it never closes: its first. Others it closes.
HANDLE registration_semaphore = nullptr;

using SemaphoreMaker = HANDLE(WINAPI*)(LPSECURITY_ATTRIBUTES, LONG, LONG, LPCWSTR);

HANDLE WINAPI MakeSemaphore(LPSECURITY_ATTRIBUTES security, LONG initial, LONG largest,
                            LPCWSTR name) {
  const FARPROC system_maker = GetProcAddress(FindModule("kernel32.dll"), "CreateSemaphoreW");
  HANDLE made = reinterpret_cast<SemaphoreMaker>(reinterpret_cast<void*>(system_maker))(
      security, initial, largest, name);
  if (registration_semaphore == nullptr) registration_semaphore = made;
  return made;
}

}  // namespace

// In the places of imports, so that the runtime's calls come here.
extern "C" {
using ModuleFinder = HMODULE(WINAPI*)(LPCSTR);
extern const ModuleFinder tervalon_find_module __asm__("__imp__GetModuleHandleA@4");
const ModuleFinder tervalon_find_module = FindModule;

extern const SemaphoreMaker tervalon_make_semaphore __asm__("__imp__CreateSemaphoreW@16");
const SemaphoreMaker tervalon_make_semaphore = MakeSemaphore;
}

namespace tervalon::platform {

void ReturnRuntimeResources() {
  // What follows still locks what the semaphore belongs to, but it is only waited for when two
  // threads do so at once.
  if (registration_semaphore != nullptr) CloseHandle(registration_semaphore);
  registration_semaphore = nullptr;
  __gnu_cxx::__freeres();
}

}  // namespace tervalon::platform
