// Keeps exceptions from crossing an export.

#ifndef APPSVC_EXPORT_GUARD_H_
#define APPSVC_EXPORT_GUARD_H_

#include <utility>

namespace tervalon {

// Runs an export's body; memory that runs out in it gives `failure`.
template <typename Result, typename Body>
Result Guarded(Result failure, Body&& body) noexcept {
  try {
    return static_cast<Result>(std::forward<Body>(body)());
  } catch (...) {
    return failure;
  }
}

}  // namespace tervalon

#endif  // APPSVC_EXPORT_GUARD_H_
