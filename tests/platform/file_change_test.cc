#include "platform/file_change.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/fault_services.h"
#include "tests/support/temp_directory.h"

namespace tervalon::platform {
namespace {

using ::testing::ElementsAre;
using testing::FaultyFileSystem;
using testing::FileCall;
using testing::ReadText;
using testing::TempDirectory;
using ::testing::UnorderedElementsAre;
using testing::WriteText;

constexpr std::chrono::milliseconds kAtOnce{0};

class FileChangeTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) { return directory_.Path(name); }

  std::vector<std::string> Names() {
    std::vector<DirectoryEntry> entries;
    EXPECT_TRUE(Files().List(directory_.Path(), &entries));
    std::vector<std::string> names;
    for (const DirectoryEntry& entry : entries) names.push_back(entry.name);
    return names;
  }

  static ReplaceResult Replace(const std::string& path, const std::string& text) {
    return ReplaceFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()},
                       Force::kToDisk);
  }

  TempDirectory directory_;
};

TEST_F(FileChangeTest, ALockStandsAgainstOthersUntilItIsReleased) {
  auto lock = ChangeLock::Take(Path("data"));
  ASSERT_NE(lock, nullptr);
  bool in_use = false;
  EXPECT_EQ(ChangeLock::Take(Path("data"), kAtOnce, &in_use), nullptr);
  EXPECT_TRUE(in_use);
  EXPECT_EQ(ChangeLock::Take(Path("none\\data"), kAtOnce, &in_use), nullptr);
  EXPECT_FALSE(in_use);
  EXPECT_NE(ChangeLock::Take(Path("other"), kAtOnce), nullptr);
  lock.reset();
  EXPECT_NE(ChangeLock::Take(Path("data"), kAtOnce), nullptr);
  ASSERT_TRUE(Files().MakeDirectory(Path("directory")));
  lock = ChangeLock::Take(Path("directory\\"), kAtOnce);
  EXPECT_EQ(ChangeLock::Take(Path("directory"), kAtOnce), nullptr);
  lock.reset();
  EXPECT_THAT(Names(), ElementsAre("directory"));
}

TEST_F(FileChangeTest, ReplacesWhollyOrNotAtAll) {
  EXPECT_EQ(Replace(Path("data"), "one"), ReplaceResult::kDone);
  EXPECT_EQ(Replace(Path("data"), "the second"), ReplaceResult::kDone);
  EXPECT_EQ(ReadText(Path("data")), "the second");
  {
    Replacement given_up(Path("data"));
    given_up.Write(0, {});
    EXPECT_EQ(ReadText(Path("data")), "the second");
    EXPECT_EQ(Names().size(), 3U) << "the file, the new one, the lock";
  }
  EXPECT_EQ(Replace(Path("none\\data"), "x"), ReplaceResult::kNotCreated);
  ASSERT_TRUE(Files().MakeDirectory(Path("directory")));
  EXPECT_EQ(Replace(Path("directory"), "x"), ReplaceResult::kNotMoved);
  EXPECT_THAT(Names(), UnorderedElementsAre("data", "directory"));
}

TEST_F(FileChangeTest, TellsWhatFailed) {
  WriteText(Path("data"), "old");
  const struct {
    FileCall call;
    const char* on;
    ReplaceResult result;
  } cases[] = {
      {FileCall::kOpenAlone, "data.lock", ReplaceResult::kNotCreated},
      {FileCall::kOpen, ".tmp", ReplaceResult::kNotCreated},
      {FileCall::kPosition, ".tmp", ReplaceResult::kSeekFailed},
      {FileCall::kWrite, ".tmp", ReplaceResult::kShortWrite},
      {FileCall::kClose, ".tmp", ReplaceResult::kNotClosed},
      {FileCall::kMove, "data", ReplaceResult::kNotMoved},
  };
  for (const auto& one : cases) {
    FaultyFileSystem files;
    const ScopedReplacement<FileSystem> replaced(&files);
    files.OnlyPathsWith(one.on);
    files.On(one.call).FailNth(1);
    EXPECT_EQ(Replace(Path("data"), "new"), one.result) << one.on;
    EXPECT_EQ(ReadText(Path("data")), "old");
    EXPECT_THAT(Names(), ElementsAre("data"));
    EXPECT_EQ(files.open_files(), 0);
  }
}

// What a killed writer leaves: the lock file with the name of the temporary file, and that file.
TEST_F(FileChangeTest, RemovesOnlyWhatTheLockFileNames) {
  const std::string temporary = "data.0123456789abcdef.tmp";
  const auto leave = [&](const std::string& name) {
    WriteText(Path("data.lock"), "Tervalon change\n" + name + "\n");
  };
  WriteText(Path(temporary), "half");
  leave(temporary);
  EXPECT_EQ(Replace(Path("data"), "new"), ReplaceResult::kDone);
  EXPECT_THAT(Names(), ElementsAre("data"));

  ASSERT_TRUE(Files().MakeDirectory(Path("sub")));
  const std::string others[] = {"mine.tmp",
                                "data.0123456789ABCDEF.tmp",
                                "other.0123456789abcdef.tmp",
                                "sub\\" + temporary,
                                "sub",
                                "data.0123456789abcdef.tmp2",
                                ""};
  for (const std::string& other : others) {
    if (!other.empty() && other != "sub") WriteText(Path(other), "the user's");
    leave(other);
    EXPECT_EQ(Replace(Path("data"), "new"), ReplaceResult::kDone);
    EXPECT_TRUE(testing::Exists(Path(other))) << other;
    EXPECT_FALSE(testing::Exists(Path("data.lock")));
  }
  // Without a lock file that names it, a temporary file is somebody's own.
  WriteText(Path(temporary), "the user's");
  EXPECT_EQ(Replace(Path("data"), "new"), ReplaceResult::kDone);
  EXPECT_EQ(ReadText(Path(temporary)), "the user's");
}

TEST_F(FileChangeTest, AForeignLockFileIsUsedButNotTouched) {
  WriteText(Path("data.lock"), "the user's");
  WriteText(Path("data.next"), "the user's, too");
  {
    const auto lock = ChangeLock::Take(Path("data"), kAtOnce);
    ASSERT_NE(lock, nullptr);
    EXPECT_EQ(ChangeLock::Take(Path("data"), kAtOnce), nullptr);
  }
  EXPECT_EQ(Replace(Path("data"), "new"), ReplaceResult::kDone);
  EXPECT_EQ(ReadText(Path("data.lock")), "the user's");
  EXPECT_EQ(ReadText(Path("data.next")), "the user's, too");
  EXPECT_EQ(Names().size(), 3U);
  // A left-over of one who was killed while it waited.
  WriteText(Path("data.next"), "");
  EXPECT_EQ(Replace(Path("data"), "new"), ReplaceResult::kDone);
  EXPECT_FALSE(testing::Exists(Path("data.next")));
}

TEST_F(FileChangeTest, NamesBesideMayBeLongerThanAnyThatCanBeReplaced) {
  std::string path = directory_.Path();
  while (path.size() < 150) {
    path += "\\" + std::string(40, 'd');
    ASSERT_TRUE(Files().MakeDirectory(path));
  }
  path += "\\" + std::string(259 - path.size() - 1, 'n');
  EXPECT_EQ(Replace(path, "one"), ReplaceResult::kDone);
  EXPECT_EQ(Replace(path, "two"), ReplaceResult::kDone);
  const auto file = Files().Open(path, OpenMode::kRead);
  ASSERT_NE(file, nullptr);
  const std::string longest = Path(std::string(250, 'n'));  // of a name
  EXPECT_EQ(Replace(longest.substr(0, 259), "three"), ReplaceResult::kDone);
}

}  // namespace
}  // namespace tervalon::platform
