#include "tools/pictures/picture.h"

#include <algorithm>
#include <filesystem>

#include "tools/print/failure.h"

namespace tervalon::tools {

void MoveOver(const std::string& partial, const std::string& path) {
  std::error_code failed;
  std::filesystem::rename(partial, path, failed);
  if (failed) {
    RemovePartial(partial);
    throw Failure(path, "cannot be written");
  }
}

void RemovePartial(const std::string& partial) {
  std::error_code ignored;
  std::filesystem::remove(partial, ignored);
}

std::string Ending(const std::string& path) {
  const size_t point = path.find_last_of("./\\");
  if (point == std::string::npos || path[point] != '.') {
    return "";
  }
  std::string ending = path.substr(point + 1);
  std::ranges::transform(ending, ending.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return ending;
}

}  // namespace tervalon::tools
