#include "platform/win32/runtime.h"

#include <windows.h>

namespace __gnu_cxx {  // NOLINT: the runtime's own
// Frees the memory that is set aside for exceptions when there is no other.
void __freeres();  // NOLINT
}  // namespace __gnu_cxx

namespace {

// Before anything else of the DLL runs, the runtime registers its tables of exceptions, and for
// that makes a semaphore which it never closes. Others that it makes it closes.
HANDLE registration_semaphore = nullptr;

using SemaphoreMaker = HANDLE(WINAPI*)(LPSECURITY_ATTRIBUTES, LONG, LONG, LPCWSTR);

HANDLE WINAPI MakeSemaphore(LPSECURITY_ATTRIBUTES security, LONG initial, LONG largest,
                            LPCWSTR name) {
  const FARPROC system_maker = GetProcAddress(GetModuleHandleA("kernel32.dll"), "CreateSemaphoreW");
  HANDLE made = reinterpret_cast<SemaphoreMaker>(reinterpret_cast<void*>(system_maker))(
      security, initial, largest, name);
  if (registration_semaphore == nullptr) registration_semaphore = made;
  return made;
}

}  // namespace

// Stands in the place of the import, so that the runtime's calls come here.
extern "C" {
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
