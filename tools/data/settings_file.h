// The settings file of the working directory, for the commands that read it.

#ifndef TOOLS_DATA_SETTINGS_FILE_H_
#define TOOLS_DATA_SETTINGS_FILE_H_

#include <optional>
#include <string>
#include <vector>

namespace tervalon::tools {

inline constexpr const char* kSettingsFile = "TERVALON.INI";

// Names and values are UTF-8. The value of a key, `fallback` where there is none.
std::string ReadSetting(const std::string& section, const std::string& key,
                        const std::string& fallback);

// The names of all sections (nothing), or of a section's keys. Throws a Failure when they are too
// many.
std::vector<std::string> SettingNames(const std::optional<std::string>& section);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_SETTINGS_FILE_H_
