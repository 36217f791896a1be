#include "tools/data/files.h"

#include <random>

#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {

namespace fs = std::filesystem;

fs::path PathOf(const std::string& name) {
#if defined(_WIN32)
  return {std::u8string(name.begin(), name.end())};
#else
  return {name};
#endif
}

std::string NameOf(const fs::path& path) {
#if defined(_WIN32)
  const std::u8string name = path.u8string();
  return {name.begin(), name.end()};
#else
  return path.string();
#endif
}

std::string UnusedName(const std::string& name, const std::string& ending) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::random_device random;
  for (;;) {
    std::string unused = name + ".";
    for (int i = 0; i < 8; ++i) unused += kDigits[random() & 15];
    unused += ending;
    std::error_code unknown;
    if (!fs::exists(fs::symlink_status(PathOf(unused), unknown))) return unused;
  }
}

std::string LinkTarget(const std::string& name) {
  std::error_code error;
  if (!fs::is_symlink(fs::symlink_status(PathOf(name), error))) return name;
  const fs::path target = fs::weakly_canonical(PathOf(name), error);
  return error ? name : NameOf(target);
}

void MoveOver(const std::string& complete, const std::string& name) {
  std::error_code error;
  const fs::file_status old = fs::status(PathOf(name), error);
  if (fs::is_regular_file(old)) {
    console::CopyOwner(name, complete);
    fs::permissions(PathOf(complete), old.permissions(), error);
  }
  fs::rename(PathOf(complete), PathOf(name), error);
  if (error) {
    RemoveFile(complete);
    throw Failure(name, "cannot be written");
  }
}

void RemoveFile(const std::string& name) {
  std::error_code ignored;
  fs::remove(PathOf(name), ignored);
}

}  // namespace tervalon::tools
