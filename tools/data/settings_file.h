// The settings file of the working directory, for the commands that read it.

#ifndef TOOLS_DATA_SETTINGS_FILE_H_
#define TOOLS_DATA_SETTINGS_FILE_H_

#include <string>
#include <vector>

namespace tervalon::tools {

inline constexpr const char* kSettingsFile = "TERVALON.INI";

// The value of a key, `fallback` where there is none.
std::string ReadSetting(const char* section, const char* key, const char* fallback);

// The names of all sections (nullptr), or of a section's keys. Throws a Failure when they are too
// many.
std::vector<std::string> SettingNames(const char* section);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_SETTINGS_FILE_H_
