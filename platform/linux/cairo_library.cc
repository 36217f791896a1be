#include "platform/linux/cairo_library.h"

#include <dlfcn.h>

#include <atomic>

#include "platform/lock.h"

namespace tervalon::platform {
namespace {

Mutex lock;
std::atomic<bool> is_loaded = false;

template <typename Function>
bool Find(void* library, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(dlsym(library, name));
  return *function != nullptr;
}

}  // namespace

bool Cairo::Load() {
  if (is_loaded.load(std::memory_order_acquire)) return true;
  const Held held(&lock);
  if (is_loaded.load(std::memory_order_relaxed)) return true;
  void* const library = dlopen("libcairo.so.2", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return false;
  bool found = true;
#define TERVALON_FIND(name) found = Find(library, "cairo_" #name, &name) && found;
  TERVALON_CAIRO(TERVALON_FIND)
#undef TERVALON_FIND
  if (!found) dlclose(library);
  is_loaded.store(found, std::memory_order_release);
  return found;
}

}  // namespace tervalon::platform
