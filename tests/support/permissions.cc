#include "tests/support/permissions.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace tervalon::testing {
namespace {

namespace fs = std::filesystem;
constexpr fs::perms kAllWrite =
    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;

std::string Native(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

}  // namespace

bool MakeReadOnly(const std::string& path) {
  fs::permissions(Native(path), kAllWrite, fs::perm_options::remove);
  return !std::ofstream(Native(path), std::ios::app).is_open();
}

void MakeWritable(const std::string& path) {
  fs::permissions(Native(path), kAllWrite, fs::perm_options::add);
}

}  // namespace tervalon::testing
