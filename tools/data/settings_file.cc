#include "tools/data/settings_file.h"

#include <tervalon/settings.h>

#include <array>
#include <cstring>
#include <iterator>
#include <memory>

#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

using Buffer = std::array<char, 32767>;

int32_t Read(const char* section, const char* key, const char* fallback, Buffer* out) {
  return GetIniString(section, key, fallback, out->data(), static_cast<int16_t>(out->size()));
}

}  // namespace

std::string ReadSetting(const std::string& section, const std::string& key,
                        const std::string& fallback) {
  auto buffer = std::make_unique<Buffer>();
  Read(console::SystemText(section).c_str(), console::SystemText(key).c_str(),
       console::SystemText(fallback).c_str(), buffer.get());
  return Utf8FromSystem(buffer->data());
}

std::vector<std::string> SettingNames(const std::optional<std::string>& section) {
  auto buffer = std::make_unique<Buffer>();
  const std::string name = console::SystemText(section.value_or(""));
  if (Read(section ? name.c_str() : nullptr, nullptr, nullptr, buffer.get()) >=
      std::ssize(*buffer) - 2) {
    throw Failure(kSettingsFile, "too many names to list");
  }
  std::vector<std::string> names;
  for (const char* at = buffer->data(); *at != '\0'; at += std::strlen(at) + 1) {
    names.push_back(Utf8FromSystem(at));
  }
  return names;
}

}  // namespace tervalon::tools
