// Allocations of the whole program, Cairo and what it stands on included, can fail.

#include "tests/support/memory_limit.h"

#include <cstddef>
#include <cstdlib>
#include <new>

// It is called before the sanitizers have begun.
#if defined(_WIN32)
#define PLAIN
#else
#define PLAIN __attribute__((no_sanitize("address", "undefined")))
#endif

namespace {

PLAIN bool Fails(size_t size) {
  auto& limit = tervalon::testing::memory_limit;
  if (!limit.watched) return false;
  const int64_t number = ++limit.allocations;
  return size > limit.largest || (limit.first_failure != 0 && number >= limit.first_failure &&
                                  number <= limit.last_failure);
}

}  // namespace

#if !defined(_WIN32)

#if defined(__SANITIZE_ADDRESS__)
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif

extern "C" {
void* REAL(malloc)(size_t size);
void* REAL(calloc)(size_t count, size_t size);
void* REAL(realloc)(void* block, size_t size);

PLAIN void* malloc(size_t size) { return Fails(size) ? nullptr : REAL(malloc)(size); }
PLAIN void* calloc(size_t count, size_t size) {
  return Fails(count * size) ? nullptr : REAL(calloc)(count, size);
}
PLAIN void* realloc(void* block, size_t size) {
  return Fails(size) ? nullptr : REAL(realloc)(block, size);
}
}
#define ALLOCATE(size) REAL(malloc)(size)

#else
#define ALLOCATE(size) std::malloc(size)
#endif

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  void* const block = Fails(size) ? nullptr : ALLOCATE(size != 0 ? size : 1);
  if (block != nullptr) ++tervalon::testing::memory_limit.blocks;
  return block;
}
void* operator new(std::size_t size) {
  void* const block = operator new(size, std::nothrow);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* block) noexcept {
  if (block != nullptr) --tervalon::testing::memory_limit.blocks;
  std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { operator delete(block); }
