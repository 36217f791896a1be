// What the public headers say of wrong arguments.

#ifndef TESTS_CALLERS_CONTRACT_H_
#define TESTS_CALLERS_CONTRACT_H_

#include <cstdint>
#include <string_view>

namespace tervalon::testing {

// What an export gives for an argument that cannot be.
enum class Failure { kUnknown, kZero, kOne, kMinusOne, kNotZero, kAnything };

// kUnknown for an export that no row of the table covers: it needs one.
Failure FailureOf(std::string_view export_name);

// Whether NULL is an argument like any other.
bool Optional(std::string_view export_name, std::string_view argument);

// Whether NULL would wait for somebody at the screen.
bool NeverNull(std::string_view export_name, std::string_view argument);

// The handles of a family, and numbers like them that a bad one of fails.
struct HandleRange {
  std::string_view prefix;
  std::string_view argument;
  int64_t first;
  int64_t last;
};
const HandleRange* RangeOf(std::string_view export_name, std::string_view argument);

// Whether an array may be shorter than a count says, because there are not so many data, or because
// the count is refused.
bool BoundedByData(std::string_view export_name);

// The elements of an array that the header gives in another way than by a count; 0: by the count.
size_t FixedElements(std::string_view export_name, std::string_view argument);

}  // namespace tervalon::testing

#endif  // TESTS_CALLERS_CONTRACT_H_
