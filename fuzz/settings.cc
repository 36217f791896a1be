#include "tervalon/settings.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/targets.h"
#include "settings/ini_text.h"
#include "tervalon/memory.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/projects.h"
#include "tervalon/retention_indices.h"
#include "tervalon/window_placement.h"

namespace tervalon::fuzz {
namespace {

// The second one is an in-memory text, the others are found by projects.
constexpr const char* kPaths[] = {"TERVALON.INI", "text", "P.PRO\\DATA\\A.RAW\\x",
                                  "P.PRO\\METHDB\\a.mdb"};

// What a line of the settings file can hold and gives back as it is.
bool IsPlain(const std::string& text) {
  return !text.empty() && text.size() < 400 && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
  });
}

struct Names {
  std::string section;
  std::string key;

  explicit Names(Options* options) : section(options->TakeText()), key(options->TakeText()) {}
  const char* Section(int32_t some) const { return some != 0 ? section.c_str() : nullptr; }
  const char* Key(int32_t some) const { return some != 0 ? key.c_str() : nullptr; }
};

void ReadAndWriteFile(Options* options) {
  const Names names(options);
  const auto size = static_cast<int16_t>(1 + options->Pick(200));
  std::vector<char> out(static_cast<size_t>(size), 'x');
  const int32_t length = GetIniString(names.Section(options->Pick(4)), names.Key(options->Pick(4)),
                                      "default ", out.data(), size);
  FUZZ_CHECK(length >= 0 && length < size && out[static_cast<size_t>(length)] == '\0');
  const std::string value = options->TakeText();
  std::string written = value;
  written.resize(std::max<size_t>(value.size(), 600));  // it may be cut in place
  if (SetIniString(names.Section(1), names.Key(options->Pick(8)), written.data(), 0) != 0 &&
      IsPlain(names.section) && IsPlain(names.key) && IsPlain(value)) {
    std::array<char, 600> read;
    GetIniString(names.Section(1), names.Key(1), "", read.data(), 600);
    FUZZ_CHECK(read.data() == value || std::strlen(read.data()) == 0);
  }
}

void ReadAndWriteStore(Options* options) {
  const Names names(options);
  const char* const section = names.section.c_str();
  const char* const key = names.key.c_str();
  const auto size = static_cast<int16_t>(1 + options->Pick(200));
  std::vector<char> out(static_cast<size_t>(size), 'x');
  const int32_t length = GetGlobalString(names.Section(options->Pick(4)),
                                         names.Key(options->Pick(4)), "x", out.data(), size);
  FUZZ_CHECK(length >= -1 && length <= size);
  std::string value = options->TakeText();
  const std::string given = value;
  if (SetGlobalString(section, key, value.data(), options->Pick(4) != 0 ? 1 : 0) != 0 &&
      IsPlain(given)) {
    std::array<char, 600> read;
    FUZZ_CHECK(GetGlobalString(section, key, nullptr, read.data(), 600) >= 0);
    FUZZ_CHECK(given.starts_with(read.data()));
  }
  int32_t number = 0;
  double real = 0;
  GetGlobalLong(section, key, 1, &number);
  GetGlobalDouble(section, key, 1, &real);
  SystemFile file = {};
  SystemRawFile raw = {};
  GetGlobalFile(section, key, nullptr, &file);
  if (GetGlobalRawFile(section, key, nullptr, &raw) != 0 &&
      SetGlobalRawFile(section, key, &raw, 1) != 0) {
    SystemRawFile again = {};
    FUZZ_CHECK(GetGlobalRawFile(section, key, nullptr, &again) == 1);
    FUZZ_CHECK(again.first_value == raw.first_value && again.process == raw.process);
  }
  if (options->Pick(4) == 0) SetGlobalLong(section, key, options->Take<int32_t>(), 1);
  if (options->Pick(4) == 0) SetGlobalDouble(section, key, options->Take<double>(), 1);
  if (options->Pick(4) == 0) UpdateGlobal(0);
}

void ReadAndWritePlacement(Options* options) {
  const Names names(options);
  IniWindPos position = {};
  const IniWindPos fallback = {1, 2, 3, 4, 5, 6};
  const bool found = GetIniWindPos(names.Section(1), names.Key(1),
                                   options->Pick(2) != 0 ? &fallback : nullptr, &position) != 0;
  FUZZ_CHECK(!found || (position.show_state >= 1 && position.show_state <= 3));
  SetIniWindPos("W", "P", &position, 0);
  IniWindPos again = {};
  if (GetIniWindPos("W", "P", nullptr, &again) != 0 && found) {
    FUZZ_CHECK(std::memcmp(&again, &position, sizeof(again)) == 0);
  }
}

void ReadNumbers(Options* options) {
  RTCalibration calibration = {};
  const std::string section = options->TakeText();
  if (RTIndicesGetRetentionCalibration(options->Pick(2) != 0 ? section.c_str() : nullptr,
                                       &calibration) != 0) {
    float value = 0;
    RTIndicesCalculateIndex(static_cast<float>(options->Take<uint8_t>()) / 16, &calibration,
                            &value);
    RTIndicesCalculateLogP(options->Take<float>(), &calibration, &value);
    RTIndicesSetRetentionCalibration(nullptr, &calibration);
  }
  ChroStatSettings settings = {};
  float level = 0;
  if (ChroStatGetIniFile(&settings) != 0) ChroStatSetIniFile(&settings);
  if (SpecStatGetIniFile(&level) != 0) SpecStatSetIniFile(&level);
}

void ReadProject(Options* options) {
  SystemFile project = {};
  ProGetCurrent(&project);
  if (options->Pick(2) != 0) {
    std::strcpy(project.directory, "\\w\\");
    options->TakeText().copy(project.name, sizeof(project.name) - 1);
    std::strcpy(project.extension, "PRO");
  }
  ProFindFirstFileName(&project, options->Pick(2));
  if (options->Pick(2) != 0) ProSetGlobalDirectories(&project);
  if (options->Pick(2) != 0) ProSetCurrent(nullptr, &project);
  if (options->Pick(4) == 0) ProCreateDirectory(nullptr, &project);
}

// A text in memory that the store did not make, and a record of it that is wrong.
void EditText(const Bytes& bytes, Options* options) {
  using namespace settings;  // NOLINT(google-build-using-namespace)
  IniStore store;
  store.block = TvMemAlloc(static_cast<uint32_t>(std::max<size_t>(bytes.size(), 1)));
  std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(TvMemLock(store.block)));
  TvMemUnlock(store.block);
  if (options->Pick(2) != 0) {
    store.free_bytes = options->Take<int32_t>();
    store.section_start = options->Take<int32_t>();
    store.section_length = options->Take<int32_t>();
    options->TakeText().copy(store.section_name, sizeof(store.section_name) - 1);
  }
  for (int i = options->Pick(16); i >= 0 && store.block != nullptr; --i) {
    const Names names(options);
    std::string value = options->TakeText();
    const char* const key = names.key.c_str();
    FUZZ_CHECK(CompareBounded(key, key, INT32_MAX) == (*key == '\0' ? -1 : 0));
    std::array<char, 300> out;
    const auto size = static_cast<int16_t>(options->Pick(256));
    store.text = static_cast<char*>(TvMemLock(store.block));
    SetString(&store, names.section.c_str(), names.key.c_str(), value.data(), options->Pick(2));
    if (store.text != nullptr) TvMemUnlock(store.block);
    if (store.block == nullptr) break;
    store.text = static_cast<char*>(TvMemLock(store.block));
    GetString(&store, names.Section(options->Pick(4)), names.Key(options->Pick(4)), "x", out.data(),
              size);
    TvMemUnlock(store.block);
  }
  TvMemFree(store.block);
}

void RunSettings(Options* options, MemoryFileSystem* files) {
  using Operation = void (*)(Options*);
  constexpr Operation kOperations[] = {ReadAndWriteFile, ReadAndWriteStore, ReadAndWritePlacement,
                                       ReadNumbers, ReadProject};
  InitIni(0);
  IsGCMD();
  InitGlobal(0);
  for (int i = 0; i < 8 && !options->empty(); ++i) {
    const int32_t which = options->Pick(static_cast<int32_t>(std::size(kOperations)) + 1);
    if (which == static_cast<int32_t>(std::size(kOperations))) {
      EditText(files->Get("text"), options);
    } else {
      kOperations[which](options);
    }
  }
  FreeGlobal(0);
}

}  // namespace

const Target kSettings = {"settings", kPaths, RunSettings};

}  // namespace tervalon::fuzz
