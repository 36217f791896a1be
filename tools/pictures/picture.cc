#include "tools/pictures/picture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tools/data/files.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr const char* kStandardOutput = "-";

}  // namespace

std::string PictureEnding(const std::string& path) {
  return path == kStandardOutput ? "png" : Ending(path);
}

std::string PartialName(const std::string& path, const std::string& target) {
  const bool is_file = path != kStandardOutput;
  return UnusedName(
      is_file ? target : NameOf(std::filesystem::temp_directory_path() / "tervalon_picture"),
      ".part");
}

void Picture::PutInPlace(bool is_whole, Output* standard_output) {
  if (!is_whole) {
    RemoveFile(partial_);
    throw Failure(path_, "cannot be written");
  }
  if (path_ != kStandardOutput) {
    MoveOver(partial_, target_);
    return;
  }
  std::ifstream file(PathOf(partial_), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  file.close();
  RemoveFile(partial_);
  if (standard_output != nullptr) {
    *standard_output << bytes;
  }
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
