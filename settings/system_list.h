// The keys that the global store shares with the settings file.

#ifndef SETTINGS_SYSTEM_LIST_H_
#define SETTINGS_SYSTEM_LIST_H_

#include <span>

namespace tervalon::settings {

struct SystemListRow {
  const char* section;
  const char* key;
};

// The 153 rows in order, no row with a default.
std::span<const SystemListRow> SystemList();

}  // namespace tervalon::settings

#endif  // SETTINGS_SYSTEM_LIST_H_
