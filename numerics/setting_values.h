// Numbers in the settings file: written with two decimals, read through buffers of 80 characters.

#ifndef NUMERICS_SETTING_VALUES_H_
#define NUMERICS_SETTING_VALUES_H_

#include <algorithm>
#include <limits>
#include <string>

#include "appsvc/text_number.h"
#include "tervalon/number_format.h"
#include "tervalon/settings.h"

namespace tervalon::numerics {

inline std::string SettingText(const char* section, const char* key, const char* fallback) {
  char text[80];
  GetIniString(section, key, fallback, text, sizeof(text));
  return text;
}

inline float FloatSetting(const char* section, const char* key, const char* fallback) {
  constexpr double kLimit = std::numeric_limits<float>::max();
  const double value = appsvc::ParseDouble(SettingText(section, key, fallback).c_str());
  return static_cast<float>(std::clamp(value, -kLimit, kLimit));
}

// Returns what SetIniString returns.
inline int32_t SetFloatSetting(const char* section, const char* key, float value) {
  char text[32];
  ftoa(value, text, 2);
  return SetIniString(section, key, text, 0);
}

}  // namespace tervalon::numerics

#endif  // NUMERICS_SETTING_VALUES_H_
