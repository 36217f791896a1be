// The application's own answer to message boxes (TvSetMessageHandler).

#ifndef PLATFORM_MESSAGE_HANDLER_H_
#define PLATFORM_MESSAGE_HANDLER_H_

#include <cstdint>

#include "tervalon/types.h"

namespace tervalon::platform {

// Lets the handler answer in the platform's place. False when none is set. `caption` may be
// nullptr.
bool AskMessageHandler(TvWindow owner, const char* text, const char* caption, uint32_t style,
                       int32_t* answer);

}  // namespace tervalon::platform

#endif  // PLATFORM_MESSAGE_HANDLER_H_
