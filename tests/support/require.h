// Checks outside of a test's body: what a worker, a child process or a model finds.

#ifndef TESTS_SUPPORT_REQUIRE_H_
#define TESTS_SUPPORT_REQUIRE_H_

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tervalon::testing {

// Throws std::runtime_error.
inline void Require(bool condition, const std::string& what) {
  if (!condition) throw std::runtime_error(what);
}

// Of an export that answers 0 when it has succeeded.
inline void Succeed(int32_t error, const std::string& what) {
  Require(error == 0, what + ": " + std::to_string(error));
}

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_REQUIRE_H_
