// A directory of a test's own, removed with everything in it.

#ifndef TESTS_SUPPORT_TEMP_DIRECTORY_H_
#define TESTS_SUPPORT_TEMP_DIRECTORY_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tervalon::testing {

class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  // The directory itself, or the path of a name inside it, in the library's form ("\" between
  // parts).
  std::string Path(const std::string& name = "") const;

 private:
  std::string native_;
};

// Whole files, past the library. Paths in the library's form.
std::vector<uint8_t> ReadFile(const std::string& path);
std::string ReadText(const std::string& path);
void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes);
void WriteText(const std::string& path, const std::string& text);
bool Exists(const std::string& path);

// Gives everyone the right to write a file, or takes it away. False when that makes no difference
// to this user, as with an administrator on some platforms.
bool SetWritable(const std::string& path, bool writable);

// A path of the library's form as the standard library takes it on every platform.
std::filesystem::path Native(std::string path);

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_TEMP_DIRECTORY_H_
