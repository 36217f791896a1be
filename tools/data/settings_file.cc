#include "tools/data/settings_file.h"

#include <tervalon/settings.h>

#include <array>
#include <iterator>
#include <memory>

#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

using Buffer = std::array<char, 32767>;

int32_t Read(const char* section, const char* key, const char* fallback, Buffer* out) {
  return GetIniString(section, key, fallback, out->data(), static_cast<int16_t>(out->size()));
}

}  // namespace

std::string ReadSetting(const char* section, const char* key, const char* fallback) {
  auto buffer = std::make_unique<Buffer>();
  Read(section, key, fallback, buffer.get());
  return buffer->data();
}

std::vector<std::string> SettingNames(const char* section) {
  auto buffer = std::make_unique<Buffer>();
  if (Read(section, nullptr, nullptr, buffer.get()) >= std::ssize(*buffer) - 2) {
    throw Failure(kSettingsFile, "too many names to list");
  }
  std::vector<std::string> names;
  for (const char* name = buffer->data(); *name != '\0'; name += names.back().size() + 1) {
    names.emplace_back(name);
  }
  return names;
}

}  // namespace tervalon::tools
