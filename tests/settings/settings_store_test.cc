#include <gmock/gmock.h>

#include <array>
#include <clocale>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "settings/ini_text.h"
#include "settings/system_list.h"
#include "tests/support/fault_services.h"
#include "tests/support/settings_fixture.h"

namespace tervalon::settings {
namespace {

using testing::FileCall;
using ::testing::HasSubstr;

class SettingsTest : public testing::SettingsFixture {
 protected:
  std::string FilePath() { return directory_.Path("TERVALON.INI"); }
  std::string File() { return testing::ReadText(FilePath()); }

  // How many files there are in the settings file's directory.
  ptrdiff_t Entries() {
    const std::filesystem::directory_iterator begin(testing::Native(directory_.Path()));
    return std::distance(begin, std::filesystem::directory_iterator());
  }

  static std::string Get(const char* section, const char* key) {
    char out[1024];
    GetGlobalString(section, key, "(none)", out, sizeof(out));
    return out;
  }
  static int32_t Set(const char* section, const char* key, std::string value) {
    return SetGlobalString(section, key, value.data(), 1);
  }

  testing::RecordingDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> use_desktop_{&desktop_};
};

TEST_F(SettingsTest, IniStringsGoToTheFileAtOnce) {
  char out[16] = "";
  EXPECT_EQ(GetIniString("S", "key", "a default", out, 6), 5);
  EXPECT_STREQ(out, "a def");
  EXPECT_EQ(GetIniString("S", "key", nullptr, out, sizeof(out)), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(GetIniString("S", "key", "x", out, -1), 0);
  CopyBounded(out, "same buffer", 15);
  EXPECT_EQ(GetIniString("S", "key", out, out, sizeof(out)), 11);
  EXPECT_STREQ(out, "same buffer");
  EXPECT_EQ(GetIniString("None", nullptr, "no list", out, sizeof(out)), 7);
  EXPECT_STREQ(out, "no list");

  EXPECT_NE(SetIni("S", "key", "value"), 0);
  EXPECT_THAT(File(), HasSubstr("[S]\r\nkey=value\r\n"));
  EXPECT_EQ(GetIniString("S", "KEY", "x", out, sizeof(out)), 5);
  EXPECT_EQ(GetIniString("S", nullptr, "x", out, sizeof(out)), 4);
  EXPECT_EQ(std::string_view(out, 5), std::string_view("key\0\0", 5));

  EXPECT_NE(SetIniString("S", "literal", "as long as it may be", 0), 0);
  std::string value(600, 'v');
  EXPECT_NE(SetIniString("S", "long", value.data(), 0), 0);
  EXPECT_EQ(std::strlen(value.c_str()), 512u);
  EXPECT_EQ(GetIni("S", "long"), std::string(512, 'v'));
  EXPECT_NE(SetIni("S", "lines", "one\r\nkey=two"), 0);
  EXPECT_EQ(GetIni("S", "lines") + GetIni("S", "key"), "onevalue");

  EXPECT_EQ(InitIni(0) + FreeIni(0, 0), 2);
  EXPECT_EQ(IsIniLoaded(), 0);
}

TEST_F(SettingsTest, IniNamesOutsideAsciiAreRejectedWithAnAssertion) {
  const char* names[][2] = {{"S", "k\x1F"}, {"S", "k\xE4y"}, {"S\n", "key"}, {"S\x80", "key"}};
  for (const auto& [section, key] : names) {
    desktop_.debug_texts.clear();
    EXPECT_EQ(SetIni(section, key, "value"), 0);
    ASSERT_EQ(desktop_.debug_texts.size(), 1u);
    EXPECT_EQ(desktop_.debug_texts[0], "Assertion failed: FALSE, file Ini, line 174");
  }
  EXPECT_FALSE(testing::Exists(FilePath()));
  EXPECT_NE(SetIni("S~\x7F", " k", "value"), 0);
}

TEST_F(SettingsTest, IsGcmdIsReadOnce) {
  EXPECT_EQ(IsGCMD(), 0);
  SetIni("Acquisition", "IsGCMD", "TRUE");
  EXPECT_EQ(IsGCMD(), 0);
  Restart();
  EXPECT_EQ(IsGCMD(), 1);
  SetIni("Acquisition", "IsGCMD", "True");
  EXPECT_EQ(IsGCMD(), 1);
  Restart();
  EXPECT_EQ(IsGCMD(), 0);
}

TEST_F(SettingsTest, WorkingDirectoryIsTakenWhenFirstAskedFor) {
  namespace fs = std::filesystem;
  const fs::path start = fs::current_path();
  const testing::TempDirectory other;

  char out[TV_PATH_SIZE];
  ResetSettingsFile(nullptr);
  EXPECT_EQ(GetTervalonWorkingDir(nullptr), 1);
  fs::current_path(testing::Native(directory_.Path()));
  EXPECT_EQ(GetTervalonWorkingDir(out), 1);
  const std::string first = out;
  fs::current_path(testing::Native(other.Path()));
  EXPECT_EQ(GetTervalonWorkingDir(out), 1);
  EXPECT_EQ(out, first);
  SetIni("S", "key", "value");
  EXPECT_TRUE(testing::Exists(FilePath()));

  // A new working directory does not move the settings file.
  const std::string second = SetTervalonWorkingDir();
  EXPECT_NE(second, first);
  GetTervalonWorkingDir(out);
  EXPECT_EQ(out, second);
  SetIni("S", "key", "value");
  EXPECT_FALSE(testing::Exists(other.Path("TERVALON.INI")));
  ResetSettingsFile(nullptr);
  SetIni("S", "key", "value");
  EXPECT_TRUE(testing::Exists(other.Path("TERVALON.INI")));
  fs::current_path(start);
}

TEST_F(SettingsTest, SystemListIsSeededAndWrittenBackWhole) {
  std::map<std::string, int> rows;
  for (const SystemListRow& row : SystemList()) ++rows[row.section];
  EXPECT_EQ(rows, (std::map<std::string, int>{{"SystemList", 55},
                                              {"RawFileHeader", 12},
                                              {"Spectrum", 6},
                                              {"Acquisition", 12},
                                              {"FunctionTOF", 18},
                                              {"SpectrumTOF", 14},
                                              {"SpectrumQTOF", 4},
                                              {"Library", 7},
                                              {"User", 8},
                                              {"General", 6},
                                              {"Find", 11}}));
  testing::WriteText(FilePath(), "; by hand\r\n[General]\r\nErrorCode=7\r\nOwn=kept\r\n");
  EXPECT_EQ(InitGlobal(0), 1);
  for (const SystemListRow& row : SystemList()) {
    const std::string expected = std::string_view(row.key) == "ErrorCode" ? "7" : "";
    EXPECT_EQ(Get(row.section, row.key), expected) << row.section << " " << row.key;
  }
  EXPECT_EQ(Get("General", "Own"), "(none)");
  char sections[512];
  const int16_t length = GetGlobalString(nullptr, nullptr, nullptr, sections, sizeof(sections));
  EXPECT_EQ(std::string_view(sections, static_cast<size_t>(length)).substr(0, 25),
            std::string_view("SystemList\0RawFileHeader\0", 25));

  // Each row gets a text of its own, but for the file's rule that names differing in case are one.
  std::map<std::string, std::string> texts;
  for (const SystemListRow& row : SystemList()) {
    const std::string name = std::string(row.section) + "/" + row.key;
    EXPECT_EQ(Set(row.section, row.key, texts[name] = std::to_string(texts.size())), 1);
  }
  Set("SystemList", "QLST_DB", "not in the list");
  EXPECT_EQ(UpdateGlobal(0), 1);
  texts["SystemList/ACQUISITION"] = texts["SystemList/Acquisition"];
  for (const SystemListRow& row : SystemList()) {
    EXPECT_EQ(GetIni(row.section, row.key), texts[std::string(row.section) + "/" + row.key]);
  }
  EXPECT_THAT(File(), HasSubstr("; by hand"));
  EXPECT_THAT(File(), HasSubstr("RawDataData="));
  EXPECT_EQ(GetIni("General", "Own"), "kept");
  EXPECT_EQ(GetIni("SystemList", "QLST_DB"), "(none)");

  // The next process finds what this one left.
  EXPECT_EQ(FreeGlobal(0), 1);
  EXPECT_EQ(InitGlobal(0), 1);
  EXPECT_EQ(Get("Find", "Name"), texts["Find/Name"]);
  EXPECT_EQ(Get("SystemList", "QLST_DB"), "(none)");
}

TEST_F(SettingsTest, EveryFreeWritesAndTheLastFrees) {
  testing::FaultyMemory memory;
  const platform::ScopedReplacement<platform::MovableMemory> use_memory(&memory);
  EXPECT_EQ(UpdateGlobal(0) + FreeGlobal(0), 2);
  EXPECT_FALSE(testing::Exists(FilePath()));
  EXPECT_EQ(InitGlobal(0), 1);
  EXPECT_EQ(InitGlobal(0), 0);
  Set("User", "Job", "one");
  EXPECT_EQ(FreeGlobal(0), 1);
  EXPECT_EQ(GetIni("User", "Job"), "one");
  EXPECT_EQ(GetIni("User", "Task"), "");
  Set("User", "Job", "two");
  Set("Own", "key", "lives with the store");
  EXPECT_EQ(memory.live_blocks(), 1);
  EXPECT_EQ(FreeGlobal(0), 1);
  EXPECT_EQ(GetIni("User", "Job"), "two");
  EXPECT_EQ(memory.live_blocks(), 0);
  EXPECT_EQ(Get("Own", "key"), "(none)");  // and makes a new store
  EXPECT_EQ(memory.live_blocks(), 1);
  EXPECT_EQ(InitGlobal(0), 0);
  EXPECT_EQ(memory.live_locks(), 0);
  ResetGlobalStore();
}

TEST_F(SettingsTest, NumbersReadBackAndDefaultsTakeNoEffect) {
  int32_t number = 1;
  double real = 1;
  EXPECT_EQ(GetGlobalLong("Own", "n", 5, &number), 0);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(GetGlobalDouble("Own", "d", 5, &real), 0);
  EXPECT_EQ(real, 0);
  EXPECT_EQ(GetGlobalLong("Library", "Hits", 5, &(number = 1)), 1);  // seeded, empty
  EXPECT_EQ(number, 0);
  EXPECT_EQ(SetGlobalLong("Own", "n", 5, 0), 0);
  for (const int32_t value : {0, -7, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(SetGlobalLong("Own", "n", value, 1), 1);
    EXPECT_EQ(GetGlobalLong("Own", "n", 5, &number), 1);
    EXPECT_EQ(number, value);
  }
  Set("Own", "n", "99999999999 scans");
  GetGlobalLong("Own", "n", 5, &number);
  EXPECT_EQ(number, std::numeric_limits<int32_t>::max());

  EXPECT_EQ(SetGlobalDouble("Own", "d", -556.25, 1), 1);
  EXPECT_EQ(Get("Own", "d"), "-556.25000000");
  EXPECT_EQ(GetGlobalDouble("Own", "d", 5, &real), 1);
  EXPECT_EQ(real, -556.25);
  SetGlobalDouble("Own", "d", 1e40, 1);
  EXPECT_EQ(Get("Own", "d").size(), 31u);
  EXPECT_EQ(GetGlobalLong(nullptr, "n", 5, &number) + GetGlobalDouble("Own", nullptr, 5, &real), 0);
  EXPECT_EQ(GetGlobalLong("Own", "n", 5, nullptr), 0);
}

TEST_F(SettingsTest, NumbersDoNotFollowTheCLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  const char* const names[] = {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "German"};
  bool comma = false;
  for (const char* name : names) {
    comma = comma || (std::setlocale(LC_ALL, name) != nullptr &&
                      std::string_view(std::localeconv()->decimal_point) == ",");
  }
  if (!comma) GTEST_SKIP() << "no locale with a decimal comma";
  double real = 0;
  SetGlobalDouble("Own", "d", 1.5, 1);
  const int32_t found = GetGlobalDouble("Own", "d", 0, &real);
  std::setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(Get("Own", "d"), "1.50000000");
  EXPECT_EQ(found, 1);
  EXPECT_EQ(real, 1.5);
}

TEST_F(SettingsTest, FileRecordsAreLinesOfFields) {
  SystemRawFile raw = {7, "C:\\Data\\", "Run 1", "RAW", 12, -3, 2, 4};
  EXPECT_EQ(SetGlobalRawFile("SystemList", "RAW", &raw, 0), 1);
  EXPECT_EQ(Get("SystemList", "RAW"), "7,C:\\Data\\,Run 1,RAW,12,-3,2,4");
  SystemRawFile raw_back = {};
  EXPECT_EQ(GetGlobalRawFile("SystemList", "RAW", nullptr, &raw_back), 1);
  SetGlobalRawFile("SystemList", "QUANCAL_DB", &raw_back, 0);
  EXPECT_EQ(Get("SystemList", "QUANCAL_DB"), Get("SystemList", "RAW"));

  SystemFile file = {1, "D:\\", "Projects", "", 5, 6};
  EXPECT_EQ(SetGlobalFile("SystemList", "PROJECT", &file, 0), 1);
  EXPECT_EQ(Get("SystemList", "PROJECT"), "1,D:\\,Projects,,5,6");
  EXPECT_EQ(GetGlobalRawFile("SystemList", "PROJECT", nullptr, &raw_back), 1);
  EXPECT_EQ(raw_back.function, 1);
  EXPECT_EQ(raw_back.process, 0);

  // Not in the store: zeroed, but for the raw form's last two fields, whatever the default.
  raw_back.function = 9;
  EXPECT_EQ(GetGlobalRawFile("SystemList", "QLST_DB", &raw, &raw_back), 0);
  EXPECT_EQ(raw_back.name[0], '\0');
  EXPECT_EQ(raw_back.function, 9);
  SystemFile file_back = file;
  EXPECT_EQ(GetGlobalFile("SystemList", "QLST_DB", &file, &file_back), 0);
  EXPECT_EQ(file_back.number, 0);
  EXPECT_STREQ(file_back.directory, "");
  // Seeded without a text: found, and all empty.
  file_back = file;
  EXPECT_EQ(GetGlobalFile("SystemList", "EPAL", nullptr, &file_back), 1);
  EXPECT_EQ(file_back.number, 0);
  EXPECT_STREQ(file_back.directory, "");
  EXPECT_EQ(file_back.second_value, 0);

  // Missing, oversized and overflowing fields.
  Set("SystemList", "EPAL", "40000,only a directory");
  GetGlobalFile("SystemList", "EPAL", nullptr, &file_back);
  EXPECT_EQ(file_back.number, 32767);
  EXPECT_STREQ(file_back.directory, "only a directory");
  EXPECT_STREQ(file_back.name, "");
  Set("SystemList", "EPAL", "1,d,n," + std::string(300, 'e') + ",4x,,-50000");
  GetGlobalRawFile("SystemList", "EPAL", nullptr, &raw_back);
  EXPECT_EQ(std::string(raw_back.extension), std::string(255, 'e'));
  EXPECT_EQ(raw_back.first_value, 4);
  EXPECT_EQ(raw_back.second_value, 0);
  EXPECT_EQ(raw_back.function, -32768);
  Set("SystemList", "EPAL", "1," + std::string(300, 'd') + ",n");
  GetGlobalFile("SystemList", "EPAL", nullptr, &file_back);
  EXPECT_EQ(std::string(file_back.directory), std::string(259, 'd'));
  EXPECT_STREQ(file_back.name, "n");

  for (const char* name : {"a,b", "a\rb", "a\nb"}) {
    CopyBounded(file.name, name, 3);
    EXPECT_EQ(SetGlobalFile("SystemList", "PROJECT", &file, 1), 0);
  }
  EXPECT_EQ(Get("SystemList", "PROJECT"), "1,D:\\,Projects,,5,6");
  std::memset(file.name, 'n', sizeof(file.name));  // no terminating zero
  EXPECT_EQ(SetGlobalFile("SystemList", "PROJECT", &file, 1), 1);
  GetGlobalFile("SystemList", "PROJECT", nullptr, &file_back);
  EXPECT_EQ(std::string(file_back.name), std::string(255, 'n'));
}

// What a file can ask for is bounded: it is read once for all keys, looked through once for all,
// and one that is no settings file by its size is not read at all.
TEST_F(SettingsTest, HugeFilesCostOneReadAndOneReplacement) {
  testing::FaultyFileSystem files;
  const platform::ScopedReplacement<platform::FileSystem> use_files(&files);
  std::string text(50000, '\0');
  for (int line = 0; text.size() < 1000000; ++line) {
    text += "\r\n\r\nkey" + std::to_string(line) + "=value";
    if (line % 100 == 0) text += "\r\n[section" + std::to_string(line) + "]";
  }
  const std::string find = "\r\n[Find]\r\nName=x\r\n";
  testing::WriteText(FilePath(), text + find);
  const uint64_t size = text.size() + find.size();
  using Done = std::array<uint64_t, 3>;  // bytes read, files locked, files replaced
  Done before_step = {};
  const auto done = [&] {
    const Done now = {files.bytes_read(), static_cast<uint64_t>(files.Calls(FileCall::kOpenAlone)),
                      static_cast<uint64_t>(files.Calls(FileCall::kMove))};
    const Done before = std::exchange(before_step, now);
    return Done{now[0] - before[0], now[1] - before[1], now[2] - before[2]};
  };
  EXPECT_EQ(InitGlobal(0), 1);
  EXPECT_EQ(done(), (Done{size, 0, 0}));
  EXPECT_EQ(UpdateGlobal(0), 1);              // all keys but one are new
  EXPECT_EQ(done(), (Done{2 * size, 1, 1}));  // it is read again when it is locked
  EXPECT_EQ(File().substr(0, text.size()), text);
  const uint64_t written = File().size();
  done();
  EXPECT_EQ(UpdateGlobal(0) + FreeGlobal(0), 2);
  EXPECT_EQ(done(), (Done{2 * written, 0, 0}));
  EXPECT_EQ(GetIni("Find", "Name") + GetIni("Find", "QM"), "x");
  done();
  EXPECT_EQ(SetIni("Find", "Name", "x"), 1);  // as it is
  EXPECT_EQ(done()[2], 0u);

  const uint64_t before = files.bytes_read();
  testing::WriteText(FilePath(), std::string((size_t{1} << 20) + 1, '\n'));
  EXPECT_EQ(InitGlobal(0) + SetIni("S", "k", "v"), 0);
  EXPECT_EQ(GetIni("Find", "Name"), "(none)");
  EXPECT_EQ(files.bytes_read(), before);
  EXPECT_EQ(File().size(), (size_t{1} << 20) + 1);
}

}  // namespace
}  // namespace tervalon::settings
