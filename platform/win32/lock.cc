// Critical sections, which every version of the platform has; slim locks came later.

#include "platform/lock.h"

#include <windows.h>

#include <new>

namespace tervalon::platform {
namespace {

enum State { kNone, kBeingMade, kReady };

CRITICAL_SECTION* SectionIn(unsigned char* system) {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(system));
}

}  // namespace

Mutex::~Mutex() {
  if (state_.exchange(kNone) == kReady) DeleteCriticalSection(SectionIn(system_.data()));
}

void Mutex::Take() {
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof(system_));
  while (state_.load(std::memory_order_acquire) != kReady) {
    int32_t none = kNone;
    if (state_.compare_exchange_strong(none, kBeingMade)) {
      InitializeCriticalSection(SectionIn(system_.data()));
      state_.store(kReady, std::memory_order_release);
    } else {
      Sleep(0);
    }
  }
  EnterCriticalSection(SectionIn(system_.data()));
}

void Mutex::Release() { LeaveCriticalSection(SectionIn(system_.data())); }

uintptr_t ThisThread() { return GetCurrentThreadId(); }

}  // namespace tervalon::platform
