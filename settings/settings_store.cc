// The global store: one INI text that all callers in the process share.

#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "appsvc/export_guard.h"
#include "appsvc/text_number.h"
#include "platform/desktop.h"
#include "platform/memory.h"
#include "platform/profile.h"
#include "settings/ini_text.h"
#include "settings/settings.h"
#include "settings/system_file.h"
#include "settings/system_list.h"
#include "tervalon/number_format.h"
#include "tervalon/settings.h"

namespace tervalon::settings {
namespace {

constexpr int16_t kValueSize = 512;  // room for any line of the store
constexpr int32_t kDecimals = 8;

struct GlobalStore {
  IniStore ini;
  int32_t use_count =
      0;  // above 0: the store exists, even when its text was lost for want of memory
};
GlobalStore global;

// Keeps the store's text locked for one operation.
class TextLock {
 public:
  TextLock() {
    if (global.ini.block != nullptr) {
      global.ini.text = static_cast<char*>(platform::Memory().Lock(global.ini.block));
    }
    if (global.ini.text == nullptr) {
      platform::TheDesktop().ShowMessage(nullptr, "Out of memory", nullptr,
                                         platform::kMessageIconStop);
    }
  }
  ~TextLock() {
    if (global.ini.text != nullptr) platform::Memory().Unlock(global.ini.block);
    global.ini.text = nullptr;
  }
  TextLock(const TextLock&) = delete;
  TextLock& operator=(const TextLock&) = delete;

  explicit operator bool() const { return global.ini.text != nullptr; }
};

bool EnsureStore() { return global.use_count > 0 || InitGlobal(0) != 0; }

// Puts the system list into the settings file, whole or not at all.
bool WriteBack() {
  const std::span<const SystemListRow> rows = SystemList();
  std::vector<std::array<char, kValueSize>> values(rows.size());
  std::vector<platform::ProfileEdit> edits;
  {
    const TextLock lock;
    if (!lock) return false;
    for (size_t i = 0; i < rows.size(); ++i) {
      const auto& [section, key] = rows[i];
      char* const value = values[i].data();
      if (GetString(&global.ini, section, key, nullptr, value, kValueSize) < 0) continue;
      edits.push_back({section, key, value});
    }
  }
  return ChangeSettings(edits);
}

bool Seed(const platform::ProfileText& file) {
  for (const SystemListRow& row : SystemList()) {
    char text[kValueSize];
    file.Read(row.section, row.key, nullptr, text, kValueSize);
    if (SetGlobalString(row.section, row.key, text, 1) == 0) return false;
  }
  return true;
}

// Reads a key for a typed form, which `parse` makes of its text.
template <typename Parse>
int32_t ReadAs(const char* section, const char* key, Parse parse) {
  char text[kValueSize];
  if (section == nullptr || key == nullptr ||
      GetGlobalString(section, key, nullptr, text, kValueSize) < 0) {
    return 0;
  }
  parse(text);
  return 1;
}

template <typename Record>
int32_t WriteRecord(const char* section, const char* key, const Record* file, int32_t create) {
  if (file == nullptr) return 0;
  return Guarded(0, [=] {
    std::string text;
    return Format(*file, &text) ? SetGlobalString(section, key, text.data(), create) : 0;
  });
}

}  // namespace

void ResetGlobalStore() {
  if (global.ini.block != nullptr) platform::Memory().Free(global.ini.block);
  global = {};
}

}  // namespace tervalon::settings

using tervalon::Guarded;
namespace settings = tervalon::settings;
namespace platform = tervalon::platform;
using settings::global;

extern "C" int32_t TERVALON_CALL InitGlobal(int32_t /*ignored*/) {
  if (global.use_count > 0) {
    ++global.use_count;
    return 0;
  }
  return Guarded(0, [] {
    // Of a file that cannot be read the store would hold nothing, and write that back.
    platform::ProfileText file;
    if (!settings::LoadSettings(&file)) return false;
    global = {};
    global.ini.block = platform::Memory().Allocate(1);
    if (global.ini.block == nullptr) return false;
    global.ini.free_bytes = static_cast<int32_t>(platform::Memory().Size(global.ini.block));
    global.use_count = 1;
    const bool seeded = Guarded(false, [&] { return settings::Seed(file); });
    if (!seeded) settings::ResetGlobalStore();
    return seeded;
  });
}

extern "C" int32_t TERVALON_CALL UpdateGlobal(int32_t /*ignored*/) {
  return global.use_count > 0 ? Guarded(0, settings::WriteBack) : 1;
}

extern "C" int32_t TERVALON_CALL FreeGlobal(int32_t /*ignored*/) {
  if (global.use_count <= 0) return 1;
  const int32_t written = Guarded(0, settings::WriteBack);
  if (--global.use_count == 0) settings::ResetGlobalStore();
  return written;
}

extern "C" int16_t TERVALON_CALL GetGlobalString(const char* section, const char* key,
                                                 const char* fallback, char* out, int16_t size) {
  constexpr int16_t kFailure = -1;
  if (out == nullptr || size <= 0) return kFailure;
  if (out != fallback) *out = '\0';  // callers pass one buffer as default and output
  return Guarded(kFailure, [=] {
    if (!settings::EnsureStore()) return kFailure;
    const settings::TextLock lock;
    if (!lock) return kFailure;
    return settings::GetString(&global.ini, section, key, fallback, out, size);
  });
}

extern "C" int32_t TERVALON_CALL SetGlobalString(const char* section, const char* key,
                                                 const char* value, int32_t create) {
  if (section == nullptr || key == nullptr || value == nullptr) return 0;
  return Guarded(0, [=] {
    if (!settings::EnsureStore()) return 0;
    const settings::TextLock lock;
    return lock ? settings::SetString(&global.ini, section, key, value, create) : 0;
  });
}

extern "C" int32_t TERVALON_CALL GetGlobalLong(const char* section, const char* key,
                                               int32_t /*fallback*/, int32_t* value) {
  if (value == nullptr) return 0;
  *value = 0;
  return settings::ReadAs(section, key,
                          [=](const char* text) { *value = tervalon::appsvc::ParseInt(text); });
}

extern "C" int32_t TERVALON_CALL SetGlobalLong(const char* section, const char* key, int32_t value,
                                               int32_t create) {
  char text[16];
  *std::to_chars(text, text + sizeof(text) - 1, value).ptr = '\0';
  return SetGlobalString(section, key, text, create);
}

extern "C" int32_t TERVALON_CALL GetGlobalDouble(const char* section, const char* key,
                                                 double /*fallback*/, double* value) {
  if (value == nullptr) return 0;
  *value = 0.0;
  return settings::ReadAs(section, key,
                          [=](const char* text) { *value = tervalon::appsvc::ParseDouble(text); });
}

extern "C" int32_t TERVALON_CALL SetGlobalDouble(const char* section, const char* key, double value,
                                                 int32_t create) {
  char text[32];
  return SetGlobalString(section, key, ftoa(value, text, settings::kDecimals), create);
}

extern "C" int32_t TERVALON_CALL GetGlobalFile(const char* section, const char* key,
                                               const SystemFile* /*fallback*/, SystemFile* file) {
  if (file == nullptr) return 0;
  *file = {};
  return settings::ReadAs(section, key, [=](const char* text) { settings::Parse(text, file); });
}

extern "C" int32_t TERVALON_CALL SetGlobalFile(const char* section, const char* key,
                                               const SystemFile* file, int32_t create) {
  return settings::WriteRecord(section, key, file, create);
}

extern "C" int32_t TERVALON_CALL GetGlobalRawFile(const char* section, const char* key,
                                                  const SystemRawFile* /*fallback*/,
                                                  SystemRawFile* file) {
  if (file == nullptr) return 0;
  std::memset(file, 0, offsetof(SystemRawFile, function));
  return settings::ReadAs(section, key, [=](const char* text) { settings::Parse(text, file); });
}

extern "C" int32_t TERVALON_CALL SetGlobalRawFile(const char* section, const char* key,
                                                  const SystemRawFile* file, int32_t create) {
  return settings::WriteRecord(section, key, file, create);
}
