// Tests with settings of their own, as a process has them.

#ifndef TESTS_SUPPORT_SETTINGS_FIXTURE_H_
#define TESTS_SUPPORT_SETTINGS_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>

#include "settings/settings.h"
#include "tervalon/settings.h"
#include "tests/support/temp_directory.h"

namespace tervalon::testing {

class SettingsFixture : public ::testing::Test {
 protected:
  SettingsFixture() { Restart(); }
  ~SettingsFixture() override {
    settings::ResetGlobalStore();
    settings::ResetSettingsFile(nullptr);
  }

  // A new process in the same directory.
  void Restart() {
    settings::ResetGlobalStore();
    settings::ResetSettingsFile(directory_.Path().c_str());
  }

  static std::string GetIni(const char* section, const char* key) {
    char out[1024];
    GetIniString(section, key, "(none)", out, sizeof(out));
    return out;
  }
  static int32_t SetIni(const char* section, const char* key, std::string value) {
    return SetIniString(section, key, value.data(), 0);
  }

  TempDirectory directory_;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_SETTINGS_FIXTURE_H_
