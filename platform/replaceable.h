// A process-wide service that a test can replace by a failing or recording one.

#ifndef PLATFORM_REPLACEABLE_H_
#define PLATFORM_REPLACEABLE_H_

#include <new>

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

}  // namespace tervalon::platform

// Defines Current and Replace for `Service`, whose platform implementation is the
// default-constructed `Default`. That one is never destroyed: tables that are torn down at exit
// still use it. It has its room in the module, and no guard for threads, which the library does
// not have: unloading the library leaves nothing of it behind.
#define TERVALON_DEFINE_SERVICE(Service, Default)                               \
  namespace {                                                                   \
  Service* replaced_##Default = nullptr;                                        \
  Default* own_##Default = nullptr;                                             \
  alignas(Default) unsigned char room_##Default[sizeof(Default)];               \
  }                                                                             \
  template <>                                                                   \
  Service& Current<Service>() {                                                 \
    if (replaced_##Default != nullptr) return *replaced_##Default;              \
    if (own_##Default == nullptr) own_##Default = new (room_##Default) Default; \
    return *own_##Default;                                                      \
  }                                                                             \
  template <>                                                                   \
  Service* Replace<Service>(Service * service) {                                \
    Service* previous = replaced_##Default;                                     \
    replaced_##Default = service;                                               \
    return previous;                                                            \
  }

#endif  // PLATFORM_REPLACEABLE_H_
