#include "platform/local_time.h"

namespace tervalon::platform {

// The 64-bit call: time_t ends in 2038 here.
bool LocalTime(int64_t seconds, std::tm* time) {
  const __time64_t value = seconds;
  _tzset();
  const std::tm* const converted = _localtime64(&value);
  if (converted == nullptr) return false;
  *time = *converted;
  return true;
}

}  // namespace tervalon::platform
