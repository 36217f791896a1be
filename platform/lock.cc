#include "platform/lock.h"

namespace tervalon::platform {

void Mutex::Wait() {
  int round = 0;
  do {
    // Looked at without writing, so that those who wait do not disturb who holds it.
    while (taken_.load(std::memory_order_relaxed)) LetOthersRun(round++);
  } while (taken_.exchange(true, std::memory_order_acquire));
}

}  // namespace tervalon::platform
