// Every allocation of the program, counted and made to fail. It is there in programs with
// tests/faults/memory_limit_test.cc.

#ifndef TESTS_SUPPORT_MEMORY_LIMIT_H_
#define TESTS_SUPPORT_MEMORY_LIMIT_H_

#include <cstddef>
#include <cstdint>

namespace tervalon::testing {

// What the library allocates while `watched`; what its doubles do does not count.
struct MemoryLimit {
  bool watched = false;
  int64_t allocations = 0;
  int64_t first_failure = 0;  // 0: none
  int64_t last_failure = 0;
  size_t largest = SIZE_MAX;  // what is larger fails
  int64_t blocks = 0;         // of the whole program, by operator new
};
extern MemoryLimit memory_limit;

class Unwatched {
 public:
  Unwatched() : before_(memory_limit.watched) { memory_limit.watched = false; }
  ~Unwatched() { memory_limit.watched = before_; }
  Unwatched(const Unwatched&) = delete;
  Unwatched& operator=(const Unwatched&) = delete;

 private:
  bool before_;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_MEMORY_LIMIT_H_
