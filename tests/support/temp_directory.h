// A directory of a test's own, removed with everything in it.

#ifndef TESTS_SUPPORT_TEMP_DIRECTORY_H_
#define TESTS_SUPPORT_TEMP_DIRECTORY_H_

#include <cstdint>
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

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_TEMP_DIRECTORY_H_
