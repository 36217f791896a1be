#include "tervalon/paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "settings/path_text.h"
#include "tests/support/temp_directory.h"

namespace tervalon::settings {
namespace {

std::string Create(const char* file, const char* directory, const char* extension) {
  char out[TV_PATH_SIZE];
  return CreatePathName(file, directory, extension, out, sizeof(out)) != 0 ? out : "(refused)";
}

std::string Part(int32_t(TERVALON_CALL* get)(const char*, char*, int32_t),
                 const std::string& path) {
  char out[TV_PATH_SIZE];
  return get(path.c_str(), out, sizeof(out)) != 0 ? out : "(refused)";
}

TEST(PathsTest, PathsAreSplitByThePlatformsRules) {
  const struct {
    const char* path;
    const char* directory;
    const char* name;
    const char* extension;
  } cases[] = {
      {"C:\\DATA\\PEAKS.PDB", "C:\\DATA\\", "PEAKS", "PDB"},
      {"C:/DATA\\SUB/PEAKS.PDB", "C:/DATA\\SUB/", "PEAKS", "PDB"},
      {"C:PEAKS", "C:", "PEAKS", ""},
      {"C:", "C:", "", ""},
      {"\\PEAKS.", "\\", "PEAKS", ""},
      {"\\\\server\\share\\A.B.C", "\\\\server\\share\\", "A.B", "C"},
      {"D.IR\\NAME", "D.IR\\", "NAME", ""},
      {"DIR\\", "DIR\\", "", ""},
      {".PRO", "", "", "PRO"},
      {"a:b.c:d", "a:", "b", "c:d"},
      {"ab:c.d", "", "ab:c", "d"},
      {"..", "", "..", ""},
      {"C:\\X\\.", "C:\\X\\", ".", ""},
      {"C:\\X\\..", "C:\\X\\", "..", ""},
      {"...A", "", "..", "A"},
      {"", "", "", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Part(GetPathDirectory, c.path), c.directory) << c.path;
    EXPECT_EQ(Part(GetPathName, c.path), c.name) << c.path;
    EXPECT_EQ(Part(GetPathExtension, c.path), c.extension) << c.path;
    SystemFile file = {};
    EXPECT_EQ(ConvertPathToKXFile(&file, c.path), 1);
    EXPECT_STREQ(file.directory, c.directory);
    EXPECT_STREQ(file.name, c.name);
    EXPECT_STREQ(file.extension, c.extension);
    const PathParts parts = SplitPath(c.path);
    EXPECT_EQ(std::string(parts.directory).append(parts.name).append(parts.extension), c.path);
  }
  char same[16] = "D:\\A\\B.C";
  EXPECT_EQ(GetPathName(same, same, sizeof(same)), 1);
  EXPECT_STREQ(same, "B");
}

TEST(PathsTest, DefaultsFillWhatAFileLacks) {
  EXPECT_EQ(Create("PEAKS", "C:\\DATA\\", "PDB"), "C:\\DATA\\PEAKS.PDB");
  EXPECT_EQ(Create("PEAKS", "C:\\DATA", ".PDB"), "C:\\DATA\\PEAKS.PDB");
  EXPECT_EQ(Create("PEAKS", "C:/DATA/", ""), "C:/DATA/PEAKS");
  EXPECT_EQ(Create("D:\\X\\PEAKS.TXT", "C:\\DATA\\", "PDB"), "D:\\X\\PEAKS.TXT");
  EXPECT_EQ(Create("D:PEAKS", "C:\\DATA\\", nullptr), "D:\\PEAKS");
  EXPECT_EQ(Create("PEAKS.", "C:\\DATA\\", "PDB"), "C:\\DATA\\PEAKS.");
  EXPECT_EQ(Create("..", "C:\\DATA\\", "PDB"), "C:\\DATA\\..");
  EXPECT_EQ(Create(nullptr, "C:\\DATA\\", "PDB"), "C:\\DATA\\.PDB");
  EXPECT_EQ(Create("PEAKS", nullptr, nullptr), "PEAKS");
  EXPECT_EQ(Create(nullptr, nullptr, nullptr), "");

  const SystemFile file = {3, "E:\\", "OTHER", "MDB", 0, 0};
  char out[32];
  EXPECT_EQ(CreateKXFilePathName("PEAKS", &file, 1, out, sizeof(out)), 1);
  EXPECT_STREQ(out, "E:\\PEAKS.MDB");
  EXPECT_EQ(CreateKXFilePathName("PEAKS", &file, 0, out, sizeof(out)), 1);
  EXPECT_STREQ(out, "E:\\PEAKS");
  EXPECT_EQ(CreateKXFilePathName("PEAKS", nullptr, 1, out, sizeof(out)), 0);
  SystemFile full;
  std::memset(&full, 'x', sizeof(full));  // fields without an end
  EXPECT_EQ(CreateKXFilePathName("PEAKS", &full, 1, out, sizeof(out)), 0);
}

TEST(PathsTest, WhatDoesNotFitIsRefused) {
  const std::string path = "C:\\AB\\CD.EFG";  // 12 characters
  const auto refused = [&](auto&& call, int32_t size) {
    std::string out(12, '?');
    const int32_t result = call(out.data(), size);
    return result == 0 && out == std::string(static_cast<size_t>(size), '\0') +
                                     std::string(12 - static_cast<size_t>(size), '?');
  };
  const auto create = [&](char* out, int32_t size) {
    return CreatePathName(path.c_str(), nullptr, nullptr, out, size);
  };
  char out[13];
  EXPECT_EQ(create(out, 13), 1);
  EXPECT_EQ(out, path);
  EXPECT_TRUE(refused(create, 12));
  EXPECT_TRUE(refused(create, 1));
  EXPECT_TRUE(refused(create, 0));
  EXPECT_EQ(create(out, -1) + create(nullptr, 13), 0);
  for (const auto get : {GetPathDirectory, GetPathName, GetPathExtension}) {
    const auto part = [&](char* to, int32_t size) { return get(path.c_str(), to, size); };
    const auto length = static_cast<int32_t>(Part(get, path).size());
    EXPECT_EQ(part(out, length + 1), 1);
    EXPECT_TRUE(refused(part, length));
    EXPECT_EQ(part(out, 0), 0);
  }

  // The path of a record is cut instead.
  const SystemFile file = {0, "C:\\AB", "CD", "EFG", 0, 0};
  EXPECT_EQ(ConvertKXFileToPath(out, 13, &file), 1);
  EXPECT_EQ(out, path);
  EXPECT_EQ(ConvertKXFileToPath(out, 12, &file), 0);
  EXPECT_EQ(out, path.substr(0, 11));
}

TEST(PathsTest, OverlongPartsAreCutToTheirFields) {
  struct Case {
    size_t directory, name, extension;
    int32_t result;
  };
  for (const Case& c : {Case{259, 255, 255, 1},
                        {260, 1, 1, 0},
                        {1, 256, 1, 0},
                        {1, 1, 256, 0},
                        {9000, 9000, 9000, 0}}) {
    SystemFile file = {7, "old", "old", "old", 8, 9};
    const std::string path = std::string(c.directory - 1, 'd') + "\\" + std::string(c.name, 'n') +
                             "." + std::string(c.extension, 'e');
    EXPECT_EQ(StringToFile(path.c_str(), &file), c.result);
    EXPECT_EQ(std::strlen(file.directory), std::min<size_t>(c.directory, 259));
    EXPECT_EQ(std::string(file.name), std::string(std::min<size_t>(c.name, 255), 'n'));
    EXPECT_EQ(std::string(file.extension), std::string(std::min<size_t>(c.extension, 255), 'e'));
    EXPECT_EQ(file.number * 100 + file.first_value * 10 + file.second_value, 789);
  }
}

TEST(PathsTest, NamesAndTypesAreChecked) {
  EXPECT_EQ(IsFileOfType("C:\\A.B\\DATA.Raw", "rAW"), 1);
  EXPECT_EQ(IsFileOfType("DATA.RAW", "RA") + IsFileOfType("DATA.RAW", ".RAW"), 0);
  EXPECT_EQ(IsFileOfType("DATA", ""), 1);
  EXPECT_EQ(IsValidFilename("Peaks 2-b_\xE4"), 1);
  for (const char c : std::string("'\\/:*?<>|.")) {
    EXPECT_EQ(IsValidFilename((std::string("A") + c + "B").c_str()), 0) << c;
  }
  EXPECT_EQ(IsValidFilename("PEAKS.PDB") + IsValidFilename("A:B") + IsValidFilename(nullptr), 0);
  EXPECT_EQ(IsValidPath("C:\\DATA\\it's.ok"), 1);
  for (const char c : std::string("/*?<>|")) {
    EXPECT_EQ(IsValidPath((std::string("C:\\A") + c).c_str()), 0) << c;
  }
  EXPECT_EQ(IsValidPath(nullptr), 0);

  const testing::TempDirectory directory;
  testing::WriteText(directory.Path("file"), "");
  EXPECT_EQ(DirectoryExists(directory.Path().c_str()), 1);
  EXPECT_EQ(DirectoryExists((directory.Path() + "\\").c_str()), 1);
  EXPECT_EQ(DirectoryExists(directory.Path("file").c_str()), 0);
  EXPECT_EQ(DirectoryExists(directory.Path("none").c_str()), 0);
  EXPECT_EQ(DirectoryExists("") + DirectoryExists(nullptr), 0);
}

}  // namespace
}  // namespace tervalon::settings
