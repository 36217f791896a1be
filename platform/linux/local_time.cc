#include "platform/local_time.h"

namespace tervalon::platform {

bool LocalTime(int64_t seconds, std::tm* time) {
  const time_t value = seconds;
  tzset();
  return localtime_r(&value, time) != nullptr;
}

}  // namespace tervalon::platform
