#include "platform/local_time.h"

#include "platform/lock.h"

namespace tervalon::platform {
namespace {

constinit Mutex time_zone_lock;  // the process has one time zone, which the system takes anew

}  // namespace

bool LocalTime(int64_t seconds, std::tm* time) {
  const time_t value = seconds;
  const Held held(&time_zone_lock);
  tzset();
  return localtime_r(&value, time) != nullptr;
}

}  // namespace tervalon::platform
