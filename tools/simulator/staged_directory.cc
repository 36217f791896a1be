#include "tools/simulator/staged_directory.h"

#include <filesystem>

#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

namespace fs = std::filesystem;

// Every member file of a raw data directory is a plain file whose name begins with "_".
bool HoldsOnlyMembers(const std::string& path) {
  std::error_code error;
  fs::directory_iterator entries(PathOf(path), error);
  for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
    if (!entries->path().filename().string().starts_with("_") ||
        !fs::is_regular_file(entries->symlink_status())) {
      return false;
    }
  }
  return !error;
}

}  // namespace

StagedDirectory::StagedDirectory(std::string path, bool replace)
    : path_(std::move(path)), staging_(UnusedName(path_, ".part")) {
  std::error_code error;
  console::HoldInterrupts();
  const fs::file_status status = fs::symlink_status(PathOf(path_), error);
  if (status.type() == fs::file_type::not_found) {
    return;
  }
  if (!replace) {
    throw Failure(path_, "exists already (--force replaces a raw data directory)");
  }
  if (!fs::is_directory(status) || !HoldsOnlyMembers(path_)) {
    throw Failure(path_, "holds other things than raw data and is not replaced");
  }
}

StagedDirectory::~StagedDirectory() {
  std::error_code error;
  fs::remove_all(PathOf(staging_), error);
}

void StagedDirectory::Commit() {
  const fs::path path = PathOf(path_);
  const fs::path old = PathOf(UnusedName(path_, ".old"));
  std::error_code error;
  const bool replaces = fs::exists(path, error);
  if (replaces) {
    fs::rename(path, old, error);
  }
  if (!error) {
    fs::rename(PathOf(staging_), path, error);
    if (error && replaces) {
      std::error_code ignored;
      fs::rename(old, path, ignored);
    }
  }
  if (error) {
    throw Failure(path_, "cannot be put in its place: " + error.message());
  }
  if (replaces) {
    fs::remove_all(old, error);
  }
}

}  // namespace tervalon::tools
