// The library's side of what applications register (tervalon/application.h).

#ifndef APPSVC_APPLICATION_H_
#define APPSVC_APPLICATION_H_

#include <cstdint>

#include "tervalon/types.h"

namespace tervalon::appsvc {

// Gives the application a chance to handle its messages.
void YieldToApplication();

// Ask the pen-procedure provider for a directory's analog channels, its records and a run of them
// (tervalon/application.h). False when there is no provider or it fails.
bool PenChannelCount(const char* directory, int32_t* count);
bool PenRecordCount(const char* directory, int32_t* count);
bool PenReadRecords(const char* directory, int32_t channel, int32_t first, int32_t count,
                    float* intensities, float* times);

// Asks the application to close a running service that has no window. False when it refuses or
// nobody answers.
bool AskToCloseService(int32_t slot);

// Finds the module of the application's main window. False when there is no main window.
bool ApplicationInstance(TvInstance* instance);

// Forgets everything that was registered.
void ResetApplication();

}  // namespace tervalon::appsvc

#endif  // APPSVC_APPLICATION_H_
