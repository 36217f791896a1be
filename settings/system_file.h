// The text form of file records: comma-separated fields, so that no text in them may hold a comma.

#ifndef SETTINGS_SYSTEM_FILE_H_
#define SETTINGS_SYSTEM_FILE_H_

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "tervalon/settings.h"

namespace tervalon::settings {

// The text of a field that may lack its terminating zero.
template <size_t kSize>
std::string_view FieldText(const char (&field)[kSize]) {
  const void* end = std::memchr(field, '\0', kSize);
  return {field,
          end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - field) : kSize};
}

// False for a record with a comma or a line end in a text.
bool Format(const SystemFile& file, std::string* text);
bool Format(const SystemRawFile& file, std::string* text);

// Fields that the text lacks are empty or 0, a missing function 1. Texts are cut to their fields.
void Parse(const char* text, SystemFile* file);
void Parse(const char* text, SystemRawFile* file);

}  // namespace tervalon::settings

#endif  // SETTINGS_SYSTEM_FILE_H_
