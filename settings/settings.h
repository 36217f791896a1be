// The library's side of the settings (tervalon/settings.h): the settings file as a whole, and how
// tests start afresh.

#ifndef SETTINGS_SETTINGS_H_
#define SETTINGS_SETTINGS_H_

#include <cstdint>
#include <span>

#include "platform/profile.h"

namespace tervalon::settings {

// Reads the settings file as it is at one moment; a missing one is empty. False when it cannot be
// read, or there is no directory for it: then it must not be taken for empty.
bool LoadSettings(platform::ProfileText* text);

// Sets keys of the settings file, all or none. False when that cannot be done, and, after an
// assertion text on the debug channel, for a name with a byte outside 32..127.
bool ChangeSettings(std::span<const platform::ProfileEdit> edits);

// Forgets the settings file's path, the working directory and what was read once.
// `working_directory` (optional) stands in for the process's current directory.
void ResetSettingsFile(const char* working_directory);

// Sets keys of the global store in one go. Returns 1, 0 when there is no store or no memory.
int32_t SetGlobalValues(std::span<const platform::ProfileEdit> values);

// Frees the global store without writing it back.
void ResetGlobalStore();

}  // namespace tervalon::settings

#endif  // SETTINGS_SETTINGS_H_
