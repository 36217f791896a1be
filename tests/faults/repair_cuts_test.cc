// What RawRepairDirectory makes of a directory any of whose files are cut off, at every length.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "tervalon/raw_directory.h"
#include "tests/faults/scenarios.h"

namespace tervalon::testing {
namespace {

constexpr char kRun[] = "C:\\M\\RUN.RAW";

bool IsCopy(const std::string& path) { return path.ends_with(".BAK"); }

// What a file held before, or the begin of it that was left.
void ExpectNothingInvented(const Disk& cut, const Disk& mended) {
  for (const auto& [path, bytes] : cut.files) {
    const auto now = mended.files.find(path);
    ASSERT_NE(now, mended.files.end()) << path << " is gone";
    if (now->second == bytes) continue;
    const auto copy = mended.files.find(path + ".BAK");
    ASSERT_NE(copy, mended.files.end()) << path << " was changed without a copy";
    EXPECT_EQ(copy->second, bytes) << path;
    if (path.ends_with("_HISTORY.INF")) continue;  // links are made anew
    EXPECT_LE(now->second.size(), bytes.size()) << path;
    EXPECT_TRUE(std::equal(now->second.begin(), now->second.end(), bytes.begin())) << path;
  }
  for (const auto& file : mended.files) {
    EXPECT_TRUE(cut.files.contains(file.first) || IsCopy(file.first)) << file.first << " is new";
  }
}

TEST(RepairTest, FilesCutOffAnywhere) {
  MemoryFileSystem disk;
  const platform::ScopedReplacement<platform::FileSystem> in_place(&disk);
  const Scenario scenario = RawReading();
  scenario.prepare();
  scenario.reset();
  const Disk whole = disk.Now();
  size_t lengths = 0;
  for (const auto& file : whole.files) lengths += file.second.size();
  const size_t most = std::getenv("TERVALON_FAULTS_ALL") != nullptr ? 20000 : 100;
  std::mt19937 random(20240607);
  size_t cuts = 0;
  int64_t mended = 0;
  for (size_t at = 0; at < lengths; at += 1 + random() % (2 * lengths / most)) {
    Disk cut = whole;
    size_t left = at;
    auto file = cut.files.begin();
    for (; left >= file->second.size(); ++file) left -= file->second.size();
    SCOPED_TRACE(::testing::Message() << file->first << " cut to " << left << " bytes");
    file->second.resize(left);
    disk.Load(cut);
    int32_t found = -1;
    int32_t remain = -1;
    int32_t checked = -1;
    ASSERT_EQ(RawCheckDirectory(kRun, nullptr, nullptr, &found), RAW_OK);
    ASSERT_EQ(disk.Now(), cut);
    ASSERT_EQ(RawRepairDirectory(kRun, nullptr, nullptr, &remain), RAW_OK);
    EXPECT_LE(remain, found);
    const Disk after = disk.Now();
    ExpectNothingInvented(cut, after);
    ASSERT_EQ(RawCheckDirectory(kRun, nullptr, nullptr, &checked), RAW_OK);
    EXPECT_LE(checked, remain);
    ASSERT_EQ(RawRepairDirectory(kRun, nullptr, nullptr, &remain), RAW_OK);
    EXPECT_EQ(disk.Now(), after) << "the second time";
    scenario.read_all();
    scenario.reset();
    ++cuts;
    mended += found - checked;
    if (HasFailure()) return;
  }
  EXPECT_GT(mended, 0);
  std::cout << cuts << " cuts of " << lengths << " bytes, " << mended << " problems mended"
            << std::endl;
}

}  // namespace
}  // namespace tervalon::testing
