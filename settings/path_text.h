// Paths taken apart and put together by the platform's rules, the same on every platform.

#ifndef SETTINGS_PATH_TEXT_H_
#define SETTINGS_PATH_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "tervalon/settings.h"

namespace tervalon::settings {

// The parts of a path, which they point into. Put behind each other they are the path.
struct PathParts {
  std::string_view directory;  // drive and directory, as far as the last "\" or "/"
  std::string_view name;
  std::string_view extension;  // from the last point on, the point included
};

// A name of nothing but points ("..") has no extension. A drive alone ("C:NAME") is a directory.
PathParts SplitPath(std::string_view path);

// Puts the separator and the point in where the parts lack them.
std::string ComposePath(std::string_view directory, std::string_view name,
                        std::string_view extension);

// The path of a file record.
std::string ComposePath(const SystemFile& file);

// Copies a text to `out` of `size` bytes, cut to it. False when it was cut.
bool CopyCut(std::string_view text, char* out, int32_t size);

}  // namespace tervalon::settings

#endif  // SETTINGS_PATH_TEXT_H_
