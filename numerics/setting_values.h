// Numbers in a section of the settings file: written with two decimals, read through buffers of 80
// characters.

#ifndef NUMERICS_SETTING_VALUES_H_
#define NUMERICS_SETTING_VALUES_H_

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "appsvc/text_number.h"
#include "settings/settings.h"
#include "tervalon/number_format.h"

namespace tervalon::numerics {

// The section as it is at one moment.
class SettingReader {
 public:
  explicit SettingReader(const char* section) : section_(section) {}

  // False when the settings file cannot be read. A missing one is empty.
  bool Load() { return settings::LoadSettings(&text_); }

  int32_t Integer(const std::string& key, const char* fallback) const {
    return appsvc::ParseInt(Text(key, fallback).c_str());
  }
  float Float(const std::string& key, const char* fallback) const {
    constexpr double kLimit = std::numeric_limits<float>::max();
    const double value = appsvc::ParseDouble(Text(key, fallback).c_str());
    return static_cast<float>(std::clamp(value, -kLimit, kLimit));
  }

 private:
  std::string Text(const std::string& key, const char* fallback) const {
    char text[80];
    text_.Read(section_, key.c_str(), fallback, text, sizeof(text));
    return text;
  }

  const char* section_;
  platform::ProfileText text_;
};

// Values that are stored in one change, all or none.
class SettingWriter {
 public:
  explicit SettingWriter(const char* section) : section_(section) {}

  void Integer(std::string key, int32_t value) {
    values_.emplace_back(std::move(key), std::to_string(value));
  }
  void Float(std::string key, float value) {
    char text[32];
    values_.emplace_back(std::move(key), ftoa(value, text, 2));
  }

  bool Store() const {
    std::vector<platform::ProfileEdit> edits;
    for (const auto& [key, value] : values_) {
      edits.push_back({section_, key.c_str(), value.c_str()});
    }
    return settings::ChangeSettings(edits);
  }

 private:
  const char* section_;
  std::vector<std::pair<std::string, std::string>> values_;
};

}  // namespace tervalon::numerics

#endif  // NUMERICS_SETTING_VALUES_H_
