// What only the platform without a desktop does by itself.
#if !defined(_WIN32)

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "platform/file_change.h"
#include "platform/file_system.h"
#include "platform/memory.h"
#include "platform/profile.h"
#include "tervalon/application.h"
#include "tervalon/memory.h"
#include "tervalon/projects.h"
#include "tests/support/fault_services.h"
#include "tests/support/temp_directory.h"

namespace tervalon::platform {
namespace {

using testing::FaultyFileSystem;
using testing::FileCall;
using testing::Native;
using testing::ReadText;
using testing::TempDirectory;
using testing::WriteText;

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(Native(path).c_str(), &status), 0);
  return status.st_mode & 07777;
}

// Without the administrator's rights, for whom nothing is read-only.
class ScopedUnprivileged {
 public:
  ScopedUnprivileged() : user_(geteuid()) {
    if (user_ == 0) {
      EXPECT_EQ(seteuid(65534), 0);
    }
  }
  ~ScopedUnprivileged() { EXPECT_EQ(seteuid(user_), 0); }

 private:
  uid_t user_;
};

TEST(LinuxFilesTest, TheExactNameComesBeforeOthersOfOtherCase) {
  const TempDirectory directory;
  WriteText(directory.Path("name"), "lower");
  WriteText(directory.Path("Name"), "mixed");
  const auto read = [&](const char* name) {
    const auto file = Files().Open(directory.Path(name), OpenMode::kRead);
    char text[5] = {};
    size_t count = 0;
    return file != nullptr && file->ReadAt(0, text, 5, &count) ? std::string(text, count) : "none";
  };
  EXPECT_EQ(read("name"), "lower");
  EXPECT_EQ(read("Name"), "mixed");
  EXPECT_EQ(read("NAME"), "mixed") << "the first in byte order";
  ASSERT_TRUE(Files().Open(directory.Path("NAME"), OpenMode::kCreate));
  EXPECT_EQ(read("NAME"), "") << "creating makes the exact name";
  EXPECT_EQ(read("Name"), "mixed");
}

TEST(LinuxFilesTest, ANamedPipeIsNoFileAndDoesNotHang) {
  const TempDirectory directory;
  ASSERT_EQ(mkfifo(Native(directory.Path("pipe")).c_str(), 0600), 0);
  for (const OpenMode mode : {OpenMode::kCreate, OpenMode::kRead, OpenMode::kReadWrite}) {
    EXPECT_EQ(Files().Open(directory.Path("pipe"), mode), nullptr);
  }
}

TEST(LinuxFilesTest, MoveOverKeepsPermissionsLinksAndReadOnlyFiles) {
  const TempDirectory directory;
  const std::string target = directory.Path("target");
  const std::string fresh = directory.Path("new");
  WriteText(target, "old");
  ASSERT_EQ(chmod(Native(target).c_str(), 0640), 0);
  ASSERT_EQ(symlink("target", Native(directory.Path("link")).c_str()), 0);
  WriteText(fresh, "new");
  EXPECT_TRUE(Files().MoveOver(fresh, directory.Path("LINK")));
  EXPECT_EQ(ReadText(target), "new");
  EXPECT_EQ(ReadText(directory.Path("link")), "new");
  EXPECT_EQ(ModeOf(target), 0640u);
  struct stat link = {};
  ASSERT_EQ(lstat(Native(directory.Path("link")).c_str(), &link), 0);
  EXPECT_TRUE(S_ISLNK(link.st_mode));

  ASSERT_EQ(chmod(Native(directory.Path()).c_str(), 0777), 0);
  ASSERT_EQ(chmod(Native(target).c_str(), 0444), 0);
  const ScopedUnprivileged unprivileged;
  EXPECT_FALSE(Profiles().Write("A", "Key", "1", target.c_str()));
  EXPECT_EQ(ReadText(target), "new");
  std::vector<DirectoryEntry> entries;
  EXPECT_TRUE(Files().List(directory.Path(), &entries));
  EXPECT_EQ(entries.size(), 2u) << "something half-written left behind";
}

// Also across directories, and where nothing is there yet.
TEST(LinuxFilesTest, AChangeFollowsLinksAndAnyCase) {
  const TempDirectory directory;
  const TempDirectory other;
  ASSERT_EQ(symlink(Native(other.Path("real")).c_str(), Native(directory.Path("link")).c_str()), 0);
  ASSERT_EQ(symlink("link", Native(directory.Path("second")).c_str()), 0);
  const auto replace = [](const std::string& path, std::string_view text) {
    return ReplaceFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()},
                       Force::kNo);
  };
  EXPECT_EQ(replace(directory.Path("second"), "one"), ReplaceResult::kDone);
  EXPECT_EQ(ReadText(other.Path("real")), "one");
  ASSERT_EQ(chmod(Native(other.Path("real")).c_str(), 0600), 0);
  EXPECT_EQ(replace(directory.Path("LINK"), "two"), ReplaceResult::kDone);
  EXPECT_EQ(ReadText(other.Path("real")), "two");
  EXPECT_EQ(ModeOf(other.Path("real")), 0600u);
  {
    const auto lock = ChangeLock::Take(directory.Path("link"));
    ASSERT_NE(lock, nullptr);
    EXPECT_EQ(ChangeLock::Take(other.Path("REAL"), std::chrono::milliseconds(0)), nullptr);
    Replacement replacement(lock.get());
    std::vector<DirectoryEntry> entries;
    ASSERT_TRUE(Files().List(other.Path(), &entries));
    const auto fresh = std::ranges::find_if(
        entries, [](const DirectoryEntry& entry) { return entry.name.ends_with(".tmp"); });
    ASSERT_NE(fresh, entries.end());
    EXPECT_EQ(ModeOf(other.Path(fresh->name)), 0600u) << "before anything is written";
  }
  // A link in the place of the lock file leads nowhere.
  ASSERT_EQ(symlink("victim", Native(other.Path("real.lock")).c_str()), 0);
  EXPECT_EQ(replace(other.Path("real"), "three"), ReplaceResult::kNotCreated);
  EXPECT_FALSE(testing::Exists(other.Path("victim")));
  ASSERT_EQ(symlink("loop", Native(directory.Path("loop")).c_str()), 0);
  EXPECT_EQ(replace(directory.Path("loop"), "x"), ReplaceResult::kNotCreated);
}

TEST(LinuxFilesTest, WhatCannotBeToldIsNotAbsent) {
  const TempDirectory directory;
  ASSERT_TRUE(Files().MakeDirectory(directory.Path("closed")));
  WriteText(directory.Path("closed\\file"), "text");
  ASSERT_EQ(chmod(Native(directory.Path()).c_str(), 0755), 0);
  ASSERT_EQ(chmod(Native(directory.Path("closed")).c_str(), 0), 0);
  const ScopedUnprivileged unprivileged;
  bool absent = true;
  EXPECT_EQ(Files().Open(directory.Path("closed\\file"), OpenMode::kRead, &absent), nullptr);
  EXPECT_FALSE(absent);
  EXPECT_EQ(Files().Status(directory.Path("closed\\file")), PathStatus::kUnknown);
  EXPECT_EQ(Files().Status(directory.Path("none\\file")), PathStatus::kNothing);
}

TEST(LinuxProfileTest, KeepsLineEndStyleAndPermissions) {
  const TempDirectory directory;
  const std::string path = directory.Path("settings.ini");
  WriteText(path, "[A]\nOne = 1\n\n; about b\n\n[B]\nTwo=2");
  ASSERT_EQ(chmod(Native(path).c_str(), 0600), 0);
  const std::string upper = directory.Path("SETTINGS.INI");
  EXPECT_TRUE(Profiles().Write("A", "New", "n", upper.c_str()));
  EXPECT_TRUE(Profiles().Write("a", "ONE", "eins", upper.c_str()));
  EXPECT_TRUE(Profiles().Write("C", "Three", "3", upper.c_str()));
  EXPECT_EQ(ReadText(path), "[A]\nOne =eins\n\n; about b\nNew=n\n\n[B]\nTwo=2\n[C]\nThree=3\n");
  EXPECT_EQ(ModeOf(path), 0600u);
  EXPECT_FALSE(testing::Exists(upper)) << "the file that is read is the one that is replaced";
}

TEST(LinuxProfileTest, ReadsOnceAndWritesOnlyChanges) {
  const TempDirectory directory;
  const std::string path = directory.Path("SETTINGS.INI");
  WriteText(path, "[A]\r\nKey=1\r\n");
  FaultyFileSystem files;
  const ScopedReplacement<FileSystem> replacement(&files);
  char out[10];
  EXPECT_EQ(Profiles().Read("A", "Key", "", out, sizeof out, path.c_str()), 1u);
  EXPECT_EQ(files.Calls(FileCall::kOpen), 1);
  EXPECT_EQ(files.Calls(FileCall::kRead), 1);
  EXPECT_TRUE(Profiles().Write("A", "Key", "1", path.c_str()));
  EXPECT_EQ(files.Calls(FileCall::kWrite), 0);
}

TEST(LinuxMemoryTest, AFreedBlockIsAnsweredLikeNone) {
  const TvMemory block = Memory().Allocate(10);
  EXPECT_TRUE(Memory().Free(block));
  EXPECT_FALSE(Memory().Free(block));
  EXPECT_EQ(Memory().Lock(block), nullptr);
  EXPECT_EQ(Memory().Unlock(block), 0);
  EXPECT_EQ(Memory().Size(block), 0u);
}

TEST(LinuxDesktopTest, WithoutAHandlerTheDefaultButtonAnswers) {
  const struct {
    uint32_t style;
    int32_t answer;
  } cases[] = {
      {kMessageOk, kAnswerOk},
      {kMessageOkCancel | kMessageIconQuestion, kAnswerOk},
      {kMessageOkCancel | kMessageDefaultSecond, kAnswerCancel},
      {kMessageOkCancel | kMessageDefaultThird, kAnswerOk},
      {kMessageAbortRetryIgnore, kAnswerAbort},
      {kMessageAbortRetryIgnore | kMessageDefaultSecond, kAnswerRetry},
      {kMessageAbortRetryIgnore | kMessageDefaultThird, kAnswerIgnore},
      {kMessageYesNoCancel | kMessageDefaultThird, kAnswerCancel},
      {kMessageYesNo, kAnswerYes},
      {kMessageYesNo | kMessageDefaultSecond | kMessageIconStop, kAnswerNo},
      {kMessageRetryCancel, kAnswerRetry},
      {kMessageRetryCancel | 0xF00, kAnswerRetry},
      {0xF, kAnswerOk},
  };
  ::testing::internal::CaptureStderr();
  for (const auto& one : cases) {
    EXPECT_EQ(TheDesktop().ShowMessage(nullptr, "", nullptr, one.style), one.answer)
        << std::hex << one.style;
  }
  EXPECT_EQ(TheDesktop().ShowMessage(nullptr, "Text", "Caption", kMessageOk), kAnswerOk);
  EXPECT_TRUE(::testing::internal::GetCapturedStderr().ends_with("\nCaption: Text\n"));
}

template <typename Function>
Function* Find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

TEST(LinuxLibrary, LeavesNothingBehind) {
  namespace fs = std::filesystem;
  const fs::path path =
      fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib/libtervalon.so";
  const TempDirectory directory;
  const auto open_files = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  size_t heap_before = 0;
  auto files_before = open_files();
  for (int round = 0; round < 100; ++round) {
    // Once the loader's tables have been made, and the allocator's caches, which count, are full.
    if (round == 30) heap_before = mallinfo2().uordblks;
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    // Windows, memory and files are used and given back, and an application is never taken back.
    EXPECT_EQ(Find<decltype(AppSetWindow)>(library, "AppSetWindow")(3, nullptr), 1);
    const TvMemory block = Find<decltype(TvMemAlloc)>(library, "TvMemAlloc")(1000);
    EXPECT_EQ(Find<decltype(TvMemFree)>(library, "TvMemFree")(block), 1);
    SystemFile project = {0, "", "P", "PRO", 0, 0};
    (directory.Path() + "\\").copy(project.directory, sizeof(project.directory) - 1);
    EXPECT_EQ(Find<decltype(ProFindFirstFileName)>(library, "ProFindFirstFileName")(&project, 1),
              0);
    ASSERT_EQ(dlclose(library), 0);
    ASSERT_EQ(dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "still there";
  }
  EXPECT_EQ(open_files(), files_before);
  EXPECT_LE(mallinfo2().uordblks, heap_before);
}

}  // namespace
}  // namespace tervalon::platform

#endif  // !_WIN32
