#include "platform/lock.h"

#include <pthread.h>
#include <sched.h>
#include <time.h>

namespace tervalon::platform {

void LetOthersRun(int round) {
  constexpr int kRoundsOfYielding = 50;
  if (round < kRoundsOfYielding) {
    sched_yield();
  } else {
    const timespec millisecond = {0, 1000000};
    nanosleep(&millisecond, nullptr);
  }
}

uintptr_t ThisThread() { return static_cast<uintptr_t>(pthread_self()); }

}  // namespace tervalon::platform
