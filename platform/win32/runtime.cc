#include "platform/win32/runtime.h"

#include <windows.h>

#include <cstdlib>
#include <string_view>

namespace __gnu_cxx {  // NOLINT: the runtime's own
// Frees the memory that is set aside for exceptions when there is no other.
void __freeres();  // NOLINT
}  // namespace __gnu_cxx

// What the ABI of exceptions keeps for each thread.
namespace __cxxabiv1 {     // NOLINT: the ABI's own
struct __cxa_eh_globals {  // NOLINT
  void* caught;
  unsigned int uncaught;
};
}  // namespace __cxxabiv1

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

// For registering it makes a semaphore which it never closes: its first. Others it closes, but for
// one that guards objects of functions' own (static): the library has none that need it.
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

// A slot with the above, from the first exception on. The runtime's own would stay, with a
// semaphore.
volatile LONG exception_slot = -1;

DWORD ExceptionSlot() {
  if (exception_slot == -1) {
    const auto made = static_cast<LONG>(TlsAlloc());
    if (InterlockedCompareExchange(&exception_slot, made, -1) != -1) {
      TlsFree(static_cast<DWORD>(made));  // another thread was faster
    }
  }
  return static_cast<DWORD>(exception_slot);
}

}  // namespace

// In the place of the runtime's functions.
namespace __cxxabiv1 {  // NOLINT
extern "C" {
__cxa_eh_globals* __cxa_get_globals() noexcept {  // NOLINT
  auto* state = static_cast<__cxa_eh_globals*>(TlsGetValue(ExceptionSlot()));
  if (state == nullptr) {
    state = static_cast<__cxa_eh_globals*>(
        HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(__cxa_eh_globals)));
    if (state == nullptr || !TlsSetValue(ExceptionSlot(), state)) std::abort();
  }
  return state;
}
__cxa_eh_globals* __cxa_get_globals_fast() noexcept {  // NOLINT
  return __cxa_get_globals();
}
}
}  // namespace __cxxabiv1

// In the places of imports, so that the runtime's calls come here.
extern "C" {
using ModuleFinder = HMODULE(WINAPI*)(LPCSTR);
extern const ModuleFinder tervalon_find_module __asm__("__imp__GetModuleHandleA@4");
const ModuleFinder tervalon_find_module = FindModule;

extern const SemaphoreMaker tervalon_make_semaphore __asm__("__imp__CreateSemaphoreW@16");
const SemaphoreMaker tervalon_make_semaphore = MakeSemaphore;
}

namespace tervalon::platform {

void ReturnThreadResources() {
  if (exception_slot == -1) return;
  const auto slot = static_cast<DWORD>(exception_slot);
  HeapFree(GetProcessHeap(), 0, TlsGetValue(slot));
  TlsSetValue(slot, nullptr);
}

void ReturnRuntimeResources() {
  ReturnThreadResources();
  if (exception_slot != -1) TlsFree(static_cast<DWORD>(exception_slot));
  exception_slot = -1;
  // What follows still locks what the semaphore belongs to, but it is only waited for when two
  // threads do so at once.
  if (registration_semaphore != nullptr) CloseHandle(registration_semaphore);
  registration_semaphore = nullptr;
  __gnu_cxx::__freeres();
}

}  // namespace tervalon::platform
