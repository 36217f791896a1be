// Private profiles over the platform's own calls.

#include "platform/profile.h"

#include <windows.h>

#include <cstring>
#include <new>
#include <string>

namespace tervalon::platform {
namespace {

// The calls look for a bare name in the system's directory; here it is relative to the current one.
// Empty when there is no such path.
std::string FullPath(const char* path) {
  if (path == nullptr || *path == '\0') return {};
  const DWORD size = GetFullPathNameA(path, 0, nullptr, nullptr);
  std::string full(size, '\0');
  const DWORD length = size > 0 ? GetFullPathNameA(path, size, full.data(), nullptr) : 0;
  full.resize(length < size ? length : 0);
  return full;
}

bool OnOneLine(const char* text) {
  return text == nullptr || std::strpbrk(text, "\r\n") == nullptr;
}

class Win32Profile : public Profile {
 public:
  uint32_t Read(const char* section, const char* key, const char* fallback, char* out,
                uint32_t size, const char* path) override {
    if (out == nullptr || size == 0) return 0;
    try {
      std::string missing = fallback != nullptr ? fallback : "";
      missing.resize(missing.find_last_not_of(" \t") + 1);
      const std::string full = FullPath(path);
      if (!full.empty()) {
        return GetPrivateProfileStringA(section, key, missing.c_str(), out, size, full.c_str());
      }
    } catch (const std::bad_alloc&) {
    }
    *out = '\0';
    return 0;
  }

  bool Write(const char* section, const char* key, const char* value, const char* path) override {
    // A line break would end the line early and turn the rest into lines of its own.
    if (section == nullptr || !OnOneLine(section) || !OnOneLine(key) || !OnOneLine(value)) {
      return false;
    }
    try {
      const std::string full = FullPath(path);
      if (full.empty() || !WritePrivateProfileStringA(section, key, value, full.c_str())) {
        return false;
      }
      // The platform may hold the file's text back and answer later reads from it.
      WritePrivateProfileStringA(nullptr, nullptr, nullptr, full.c_str());
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(Profile, Win32Profile)

}  // namespace tervalon::platform
