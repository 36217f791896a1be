#include "platform/lock.h"

#include <windows.h>

namespace tervalon::platform {

void LetOthersRun(int round) {
  constexpr int kRoundsOfYielding = 50;
  Sleep(round < kRoundsOfYielding ? 0 : 1);
}

uintptr_t ThisThread() { return GetCurrentThreadId(); }

}  // namespace tervalon::platform
