#include "platform/lock.h"

#include <pthread.h>

#include <new>

namespace tervalon::platform {
namespace {

// A mutex that is all zeros is ready for use.
pthread_mutex_t* MutexIn(unsigned char* system) {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(system));
}

}  // namespace

Mutex::~Mutex() = default;

void Mutex::Take() {
  static_assert(sizeof(pthread_mutex_t) <= sizeof(system_));
  pthread_mutex_lock(MutexIn(system_.data()));
}

void Mutex::Release() { pthread_mutex_unlock(MutexIn(system_.data())); }

uintptr_t ThisThread() { return static_cast<uintptr_t>(pthread_self()); }

}  // namespace tervalon::platform
