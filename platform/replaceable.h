// A process-wide service that a test can replace by a failing or recording one, while no other
// thread uses it.

#ifndef PLATFORM_REPLACEABLE_H_
#define PLATFORM_REPLACEABLE_H_

#include <atomic>
#include <new>

#include "platform/lock.h"

namespace tervalon::platform {

// Returns the service in use. Each platform folder specialises it with its real implementation as
// the default.
template <typename Service>
Service& Current();

// Puts `service` in place (nullptr: the platform's own again). Returns the one that was in place,
// nullptr for the platform's own.
template <typename Service>
Service* Replace(Service* service);

// Replaces a service for a scope.
template <typename Service>
class ScopedReplacement {
 public:
  explicit ScopedReplacement(Service* service) : previous_(Replace<Service>(service)) {}
  ~ScopedReplacement() { Replace<Service>(previous_); }
  ScopedReplacement(const ScopedReplacement&) = delete;
  ScopedReplacement& operator=(const ScopedReplacement&) = delete;

 private:
  Service* previous_;
};

// Held while the platform's own implementation of a service is made.
extern Mutex making_service;

}  // namespace tervalon::platform

// Defines Current and Replace for `Service`, whose platform implementation is the
// default-constructed `Default`. That one is never destroyed: tables that are torn down at exit
// still use it. It has its room in the module: unloading the library leaves nothing of it behind.
#define TERVALON_DEFINE_SERVICE(Service, Default)                                           \
  namespace {                                                                               \
  Service* replaced_##Default = nullptr;                                                    \
  std::atomic<Default*> own_##Default = nullptr;                                            \
  alignas(Default) unsigned char room_##Default[sizeof(Default)];                           \
  Default& Own##Default() {                                                                 \
    Default* own = own_##Default.load(std::memory_order_acquire);                           \
    if (own != nullptr) return *own;                                                        \
    const Held held(&making_service);                                                       \
    if (own_##Default.load() == nullptr) own_##Default.store(new (room_##Default) Default); \
    return *own_##Default.load();                                                           \
  }                                                                                         \
  }                                                                                         \
  template <>                                                                               \
  Service& Current<Service>() {                                                             \
    return replaced_##Default != nullptr ? *replaced_##Default : Own##Default();            \
  }                                                                                         \
  template <>                                                                               \
  Service* Replace<Service>(Service * service) {                                            \
    Service* previous = replaced_##Default;                                                 \
    replaced_##Default = service;                                                           \
    return previous;                                                                        \
  }

#endif  // PLATFORM_REPLACEABLE_H_
