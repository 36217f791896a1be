// Calendar time in the time zone of the process.

#ifndef PLATFORM_LOCAL_TIME_H_
#define PLATFORM_LOCAL_TIME_H_

#include <cstdint>
#include <ctime>

namespace tervalon::platform {

// Converts seconds since 1970, universal time. False when the system cannot.
bool LocalTime(int64_t seconds, std::tm* time);

}  // namespace tervalon::platform

#endif  // PLATFORM_LOCAL_TIME_H_
