// The library's side of what applications register (tervalon/application.h).

#ifndef APPSVC_APPLICATION_H_
#define APPSVC_APPLICATION_H_

#include <cstdint>

namespace tervalon::appsvc {

// Gives the application a chance to handle its messages.
void YieldToApplication();

// Asks the pen-procedure provider for a directory's analog channel count. False when there is no
// provider or it fails.
bool PenChannelCount(const char* directory, int32_t* count);

}  // namespace tervalon::appsvc

#endif  // APPSVC_APPLICATION_H_
