// The settings file and the working directory that it stands in.

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "platform/desktop.h"
#include "platform/file_system.h"
#include "platform/lock.h"
#include "platform/profile.h"
#include "settings/ini_text.h"
#include "settings/settings.h"
#include "tervalon/settings.h"

namespace tervalon::settings {
namespace {

constexpr std::string_view kFileName = "TERVALON.INI";
constexpr size_t kMaxValue = 512;

enum class Answer { kNotAsked, kNo, kYes };

// What the process asked for once. Empty texts: not asked yet.
struct Once {
  char working_directory[TV_PATH_SIZE] = {};
  char file_path[TV_PATH_SIZE + 1 + kFileName.size()] = {};
  Answer is_gcmd = Answer::kNotAsked;
};
constinit platform::Mutex once_lock;
Once once;  // under once_lock

// These three with once_lock held.

// One that has not changed is not written again: callers have been given its address.
void TakeWorkingDirectory() {
  const std::string directory = platform::Files().WorkingDirectory();
  if (directory.size() < sizeof(once.working_directory) && directory != once.working_directory) {
    CopyBounded(once.working_directory, directory.c_str(), TV_PATH_SIZE - 1);
  }
}

const char* WorkingDirectory() {
  if (once.working_directory[0] == '\0') TakeWorkingDirectory();
  return once.working_directory;
}

// The settings file's path, or nullptr while there is no directory for it.
const char* MakeFilePath() {
  if (once.file_path[0] != '\0') return once.file_path;
  const std::string_view directory = WorkingDirectory();
  if (directory.empty()) return nullptr;
  char* at = once.file_path + directory.copy(once.file_path, directory.size());
  if (directory.back() != '\\' && directory.back() != '/') *at++ = '\\';
  at[kFileName.copy(at, kFileName.size())] = '\0';
  return once.file_path;
}

// Empty while there is no directory for the settings file.
std::string FilePath() {
  const platform::Held held(&once_lock);
  const char* const path = MakeFilePath();
  return path != nullptr ? path : "";
}

bool CheckName(const char* name) {
  const bool plain = std::all_of(name, name + std::strlen(name), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 32 && byte <= 127;
  });
  if (!plain) platform::TheDesktop().DebugText("Assertion failed: FALSE, file Ini, line 174");
  return plain;
}

}  // namespace

bool LoadSettings(platform::ProfileText* text) {
  const std::string path = FilePath();
  return !path.empty() && platform::Profiles().Load(path.c_str(), text);
}

bool ChangeSettings(std::span<const platform::ProfileEdit> edits) {
  for (const platform::ProfileEdit& edit : edits) {
    if (!CheckName(edit.key) || !CheckName(edit.section)) return false;
  }
  const std::string path = FilePath();
  return !path.empty() && platform::Profiles().Change(path.c_str(), edits);
}

void ResetSettingsFile(const char* working_directory) {
  const platform::Held held(&once_lock);
  once = {};
  if (working_directory != nullptr) {
    CopyBounded(once.working_directory, working_directory, TV_PATH_SIZE - 1);
  }
}

}  // namespace tervalon::settings

using tervalon::Guarded;
namespace settings = tervalon::settings;
namespace platform = tervalon::platform;

extern "C" int32_t TERVALON_CALL InitIni(int32_t /*ignored*/) {
  return Guarded(0, [] { return !settings::FilePath().empty(); });
}

extern "C" int32_t TERVALON_CALL FreeIni(int32_t /*ignored*/, int32_t /*also_ignored*/) {
  return 1;
}

extern "C" int32_t TERVALON_CALL IsIniLoaded(void) { return 0; }

extern "C" int32_t TERVALON_CALL GetIniString(const char* section, const char* key,
                                              const char* fallback, char* out, int16_t size) {
  if (out == nullptr || size <= 0) return 0;
  settings::CopyBounded(out, fallback != nullptr ? fallback : "", size - 1);
  return Guarded(0, [=] {
    // A copy, because callers pass one buffer as default and output.
    const std::string default_text = fallback != nullptr ? fallback : "";
    platform::ProfileText text;
    settings::LoadSettings(&text);
    return text.Read(section, key, default_text.c_str(), out, static_cast<uint32_t>(size));
  });
}

extern "C" int32_t TERVALON_CALL SetIniString(const char* section, const char* key,
                                              const char* value, int32_t /*ignored*/) {
  if (section == nullptr || key == nullptr || value == nullptr) return 0;
  return Guarded(0, [=] {
    if (!settings::CheckName(key) || !settings::CheckName(section)) return false;  // value stays
    const std::string line(settings::FirstLine(value).substr(0, settings::kMaxValue));
    // Callers that give this much rely on their buffers being cut.
    if (std::strlen(value) >= settings::kMaxValue) {
      const_cast<char*>(value)[settings::kMaxValue] = '\0';
    }
    const platform::ProfileEdit edit = {section, key, line.c_str()};
    return settings::ChangeSettings({&edit, 1});
  });
}

extern "C" int32_t TERVALON_CALL IsGCMD(void) {
  using settings::Answer;
  using settings::once;
  return Guarded(0, [] {
    {
      const platform::Held held(&settings::once_lock);
      if (once.is_gcmd != Answer::kNotAsked) return once.is_gcmd == Answer::kYes;
    }
    platform::ProfileText text;
    // A file that cannot be read now may answer later.
    if (!settings::LoadSettings(&text)) return false;
    char value[80];
    text.Read("Acquisition", "IsGCMD", "FALSE", value, sizeof(value));
    const platform::Held held(&settings::once_lock);
    if (once.is_gcmd == Answer::kNotAsked) {
      once.is_gcmd = std::strcmp(value, "TRUE") == 0 ? Answer::kYes : Answer::kNo;
    }
    return once.is_gcmd == Answer::kYes;
  });
}

extern "C" int32_t TERVALON_CALL GetTervalonWorkingDir(char* directory) {
  if (directory == nullptr) return 1;
  *directory = '\0';
  return Guarded(0, [=] {
    const platform::Held held(&settings::once_lock);
    settings::CopyBounded(directory, settings::WorkingDirectory(), TV_PATH_SIZE - 1);
    return 1;
  });
}

extern "C" const char* TERVALON_CALL SetTervalonWorkingDir(void) {
  Guarded(0, [] {
    const platform::Held held(&settings::once_lock);
    settings::TakeWorkingDirectory();
    return 1;
  });
  return settings::once.working_directory;
}
