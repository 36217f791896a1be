// The library's side of the settings (tervalon/settings.h): how tests start afresh.

#ifndef SETTINGS_SETTINGS_H_
#define SETTINGS_SETTINGS_H_

namespace tervalon::settings {

// Forgets the settings file's path, the working directory and what was read once.
// `working_directory` (optional) stands in for the process's current directory.
void ResetSettingsFile(const char* working_directory);

// Frees the global store without writing it back.
void ResetGlobalStore();

}  // namespace tervalon::settings

#endif  // SETTINGS_SETTINGS_H_
