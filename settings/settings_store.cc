// The global store: one INI text that all callers in the process share.

#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "appsvc/text_number.h"
#include "platform/desktop.h"
#include "platform/lock.h"
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
constinit platform::Mutex store_lock;
GlobalStore global;  // under store_lock

// Taken before store_lock, so that what is written back last is what the store held last.
constinit platform::Mutex write_back_lock;

// Runs an operation on the store's text; store_lock is held.
template <typename Result, typename Operation>
Result OnText(Result failure, Operation operation) {
  if (!LockText(&global.ini)) {
    global.ini.short_of_memory = "";
    return failure;
  }
  const Result result = operation();
  UnlockText(&global.ini);
  return result;
}

// Takes the lock for a scope, and tells afterwards what ran out of memory in it.
class StoreScope {
 public:
  StoreScope() { store_lock.Take(); }
  ~StoreScope() {
    const char* const operation = std::exchange(global.ini.short_of_memory, nullptr);
    store_lock.Release();
    if (operation == nullptr) return;
    Guarded(0, [operation] {
      return platform::TheDesktop().ShowMessage(nullptr, "Out of memory",
                                                *operation != '\0' ? operation : nullptr,
                                                platform::kMessageIconStop);
    });
  }
  StoreScope(const StoreScope&) = delete;
  StoreScope& operator=(const StoreScope&) = delete;
};

bool Seed(const platform::ProfileText& file) {
  for (const SystemListRow& row : SystemList()) {
    char text[kValueSize];
    file.Read(row.section, row.key, nullptr, text, kValueSize);
    if (SetString(&global.ini, row.section, row.key, text, 1) == 0) return false;
  }
  return true;
}

void FreeStore() {
  if (global.ini.block != nullptr) platform::Memory().Free(global.ini.block);
  global = {};
}

enum class Made { kNow, kBefore, kNot };

// Makes the store, or with `counts` raises the use count of the one there is.
Made MakeStore(bool counts) {
  const auto there = [counts] {
    if (global.use_count > 0 && counts) ++global.use_count;
    return global.use_count > 0;
  };
  {
    const StoreScope scope;
    if (there()) return Made::kBefore;
  }
  // Of a file that cannot be read the store would hold nothing, and write that back.
  platform::ProfileText file;
  if (!LoadSettings(&file)) return Made::kNot;
  file.Prepare();
  const StoreScope scope;
  if (there()) return Made::kBefore;  // another thread made it meanwhile
  global = {};
  global.ini.block = platform::Memory().Allocate(1);
  if (global.ini.block == nullptr) return Made::kNot;
  global.ini.free_bytes = static_cast<int32_t>(platform::Memory().Size(global.ini.block));
  global.use_count = 1;
  const bool seeded = Guarded(false, [&] { return OnText(false, [&file] { return Seed(file); }); });
  if (!seeded) {
    const char* const operation = global.ini.short_of_memory;
    FreeStore();
    global.ini.short_of_memory = operation;  // which is still to be told
  }
  return seeded ? Made::kNow : Made::kNot;
}

// Runs an operation on the text of the store, which is made when there is none.
template <typename Result, typename Operation>
Result OnStore(Result failure, Operation operation) {
  for (;;) {
    {
      const StoreScope scope;
      if (global.use_count > 0) return OnText(failure, operation);
    }
    if (MakeStore(false) == Made::kNot) return failure;
  }
}

// Puts the system list into the settings file, whole or not at all.
bool WriteBack() {
  const std::span<const SystemListRow> rows = SystemList();
  std::vector<std::array<char, kValueSize>> values;
  std::vector<platform::ProfileEdit> edits;
  const platform::Held held(&write_back_lock);
  {
    const StoreScope scope;
    if (global.use_count <= 0) return true;
    values.resize(rows.size());
    edits.reserve(rows.size());
    const bool copied = OnText(false, [&] {
      for (size_t i = 0; i < rows.size(); ++i) {
        const auto& [section, key] = rows[i];
        char* const value = values[i].data();
        if (GetString(&global.ini, section, key, nullptr, value, kValueSize) < 0) continue;
        edits.push_back({section, key, value});
      }
      return true;
    });
    if (!copied) return false;
  }
  return ChangeSettings(edits);
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

int32_t SetGlobalValues(std::span<const platform::ProfileEdit> values) {
  return OnStore(0, [=] {
    int32_t done = 1;
    for (const auto& [section, key, value] : values) {
      done &= SetString(&global.ini, section, key, value, 1);
    }
    return done;
  });
}

void ResetGlobalStore() {
  const StoreScope scope;
  FreeStore();
}

}  // namespace tervalon::settings

using tervalon::Guarded;
namespace settings = tervalon::settings;
using settings::global;

extern "C" int32_t TERVALON_CALL InitGlobal(int32_t /*ignored*/) {
  return Guarded(0, [] { return settings::MakeStore(true) == settings::Made::kNow; });
}

extern "C" int32_t TERVALON_CALL UpdateGlobal(int32_t /*ignored*/) {
  return Guarded(0, settings::WriteBack);
}

extern "C" int32_t TERVALON_CALL FreeGlobal(int32_t /*ignored*/) {
  const int32_t written = Guarded(0, settings::WriteBack);
  const settings::StoreScope scope;
  if (global.use_count > 0 && --global.use_count == 0) settings::FreeStore();
  return written;
}

extern "C" int16_t TERVALON_CALL GetGlobalString(const char* section, const char* key,
                                                 const char* fallback, char* out, int16_t size) {
  constexpr int16_t kFailure = -1;
  if (out == nullptr || size <= 0) return kFailure;
  if (out != fallback) *out = '\0';  // callers pass one buffer as default and output
  return Guarded(kFailure, [=] {
    return settings::OnStore(kFailure, [=] {
      return settings::GetString(&global.ini, section, key, fallback, out, size);
    });
  });
}

extern "C" int32_t TERVALON_CALL SetGlobalString(const char* section, const char* key,
                                                 const char* value, int32_t create) {
  if (section == nullptr || key == nullptr || value == nullptr) return 0;
  return Guarded(0, [=] {
    return settings::OnStore(
        0, [=] { return settings::SetString(&global.ini, section, key, value, create); });
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
