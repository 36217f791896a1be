#include "tests/support/temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace tervalon::testing {

namespace fs = std::filesystem;

fs::path Native(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

TempDirectory::TempDirectory() {
  std::random_device random;
  for (;;) {
    const fs::path candidate = fs::temp_directory_path() / ("tervalon-" + std::to_string(random()));
    if (fs::create_directory(candidate)) {
      native_ = candidate.string();
      return;
    }
  }
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  fs::permissions(native_, fs::perms::owner_all, ignored);
  fs::remove_all(native_, ignored);
}

std::string TempDirectory::Path(const std::string& name) const {
  std::string path = name.empty() ? native_ : native_ + "\\" + name;
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

std::vector<uint8_t> ReadFile(const std::string& path) {
  const std::string text = ReadText(path);
  return {text.begin(), text.end()};
}

std::string ReadText(const std::string& path) {
  std::ifstream in(Native(path), std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  WriteText(path, std::string(bytes.begin(), bytes.end()));
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream out(Native(path), std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

bool Exists(const std::string& path) { return fs::exists(Native(path)); }

bool SetWritable(const std::string& path, bool writable) {
  fs::permissions(Native(path),
                  fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  writable ? fs::perm_options::add : fs::perm_options::remove);
  return std::ofstream(Native(path), std::ios::app).is_open() == writable;
}

}  // namespace tervalon::testing
