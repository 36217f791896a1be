#include "tools/pictures/picture.h"

#include <algorithm>

namespace tervalon::tools {

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
