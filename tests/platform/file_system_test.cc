#include "platform/file_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/temp_directory.h"

namespace tervalon::platform {
namespace {

using testing::ReadText;
using testing::TempDirectory;
using testing::WriteText;

class FileSystemTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) { return directory_.Path(name); }

  TempDirectory directory_;
};

std::string ReadBack(File* file, uint64_t offset, size_t count) {
  std::string text(count, '#');
  size_t read = 0;
  EXPECT_TRUE(file->ReadAt(offset, text.data(), count, &read));
  text.resize(read);
  return text;
}

size_t Put(File* file, uint64_t offset, const std::string& text) {
  size_t written = 0;
  EXPECT_TRUE(file->WriteAt(offset, text.data(), text.size(), &written));
  return written;
}

TEST_F(FileSystemTest, ReadsAndWritesAtPositions) {
  const auto file = Files().Open(Path("data"), OpenMode::kCreate);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Put(file.get(), 0, "hello world"), 11u);
  EXPECT_EQ(Put(file.get(), 6, "there"), 5u);
  EXPECT_EQ(ReadBack(file.get(), 4, 4), "o th");
  EXPECT_EQ(ReadBack(file.get(), 6, 100), "there");
  EXPECT_EQ(ReadBack(file.get(), 11, 5), "");
  EXPECT_EQ(ReadBack(file.get(), 500, 5), "");
  EXPECT_EQ(Put(file.get(), 20, "!"), 1u);
  uint64_t size = 0;
  EXPECT_TRUE(file->Size(&size));
  EXPECT_EQ(size, 21u);
  EXPECT_EQ(ReadBack(file.get(), 11, 9), std::string(9, '\0'));
  EXPECT_TRUE(file->Resize(8));
  EXPECT_EQ(ReadBack(file.get(), 0, 100), "hello th");
  EXPECT_TRUE(file->Resize(9));
  EXPECT_EQ(ReadBack(file.get(), 7, 100), std::string("h\0", 2));
  EXPECT_TRUE(file->Sync());
  size_t moved = 1;
  char byte = 0;
  EXPECT_FALSE(file->ReadAt(UINT64_MAX, &byte, 1, &moved));
  EXPECT_FALSE(file->WriteAt(UINT64_MAX - 1, &byte, 1, &moved));
  EXPECT_EQ(moved, 0u);
  EXPECT_TRUE(file->Close());
}

TEST_F(FileSystemTest, AReaderSeesWhatAWriterAddsMeanwhile) {
  const auto writer = Files().Open(Path("data"), OpenMode::kCreate);
  const auto reader = Files().Open(Path("data"), OpenMode::kRead);
  const auto second_writer = Files().Open(Path("data"), OpenMode::kReadWrite);
  ASSERT_TRUE(writer && reader && second_writer);
  Put(writer.get(), 0, "one");
  EXPECT_EQ(ReadBack(reader.get(), 0, 10), "one");
  Put(second_writer.get(), 3, "two");
  EXPECT_EQ(ReadBack(reader.get(), 0, 10), "onetwo");
  size_t written = 1;
  EXPECT_TRUE(reader->WriteAt(0, "x", 1, &written));
  EXPECT_EQ(written, 0u) << "opened for reading only";
}

TEST_F(FileSystemTest, OpensAsTheModeSays) {
  EXPECT_EQ(Files().Open(Path("data"), OpenMode::kRead), nullptr);
  EXPECT_EQ(Files().Open(Path("data"), OpenMode::kReadWrite), nullptr);
  EXPECT_FALSE(testing::Exists(Path("data")));
  WriteText(Path("data"), "old text");
  Put(Files().Open(Path("data"), OpenMode::kReadWrite).get(), 0, "new");
  EXPECT_EQ(ReadText(Path("data")), "new text");
  ASSERT_NE(Files().Open(Path("data"), OpenMode::kCreate), nullptr);
  EXPECT_EQ(ReadText(Path("data")), "");
  EXPECT_EQ(Files().Open(Path("data"), OpenMode::kCreateNew), nullptr);
  EXPECT_NE(Files().Open(Path("new"), OpenMode::kCreateNew), nullptr);
  bool absent = true;
  EXPECT_EQ(Files().Open(Path(""), OpenMode::kRead, &absent), nullptr);
  EXPECT_FALSE(absent);
  EXPECT_EQ(Files().Open(Path("none\\data"), OpenMode::kRead, &absent), nullptr);
  EXPECT_TRUE(absent);
  for (const OpenMode mode :
       {OpenMode::kCreate, OpenMode::kCreateNew, OpenMode::kRead, OpenMode::kReadWrite}) {
    EXPECT_EQ(Files().Open(Path(""), mode), nullptr) << "a directory";
    EXPECT_EQ(Files().Open("", mode), nullptr);
    EXPECT_EQ(Files().Open(Path("none\\data"), mode), nullptr);
    EXPECT_EQ(Files().Open(Path("data\\data"), mode), nullptr);
    EXPECT_EQ(Files().Open(Path("data") + std::string("\0tail", 5), mode), nullptr);
  }
}

TEST_F(FileSystemTest, MakesListsAndRemoves) {
  EXPECT_TRUE(Files().MakeDirectory(Path("sub")));
  EXPECT_FALSE(Files().MakeDirectory(Path("sub")));
  EXPECT_FALSE(Files().MakeDirectory(Path("none\\sub")));
  WriteText(Path("sub\\file"), "x");
  EXPECT_TRUE(Files().MakeDirectory(Path("sub\\inner")));
  EXPECT_EQ(Files().Status(Path("sub")), PathStatus::kDirectory);
  EXPECT_EQ(Files().Status(Path("sub/file")), PathStatus::kFile);
  EXPECT_EQ(Files().Status(Path("sub\\none")), PathStatus::kNothing);

  std::vector<DirectoryEntry> entries;
  for (const char* end : {"", "\\"}) {
    ASSERT_TRUE(Files().List(Path("sub") + end, &entries));
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].name, "file");
    EXPECT_FALSE(entries[0].is_directory);
    EXPECT_EQ(entries[1].name, "inner");
    EXPECT_TRUE(entries[1].is_directory);
  }
  EXPECT_FALSE(Files().List(Path("none"), &entries));
  EXPECT_FALSE(Files().List(Path("sub\\file"), &entries));

  EXPECT_FALSE(Files().RemoveEmptyDirectory(Path("sub")));
  EXPECT_FALSE(Files().Remove(Path("sub\\inner")));
  EXPECT_TRUE(Files().Remove(Path("sub\\file")));
  EXPECT_FALSE(Files().Remove(Path("sub\\file")));
  EXPECT_TRUE(Files().RemoveEmptyDirectory(Path("sub\\inner")));
  EXPECT_TRUE(Files().RemoveEmptyDirectory(Path("sub")));
  EXPECT_EQ(Files().Status(Path("sub")), PathStatus::kNothing);
}

TEST_F(FileSystemTest, FindsFilesWithoutRegardToCase) {
  WriteText(Path("_Func001.dat"), "data");
  const auto file = Files().Open(Path("_FUNC001.DAT"), OpenMode::kRead);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadBack(file.get(), 0, 10), "data");
  EXPECT_TRUE(file->Close());
  EXPECT_NE(Files().Open(Path("_FUNC001.DAT"), OpenMode::kReadWrite), nullptr);
  EXPECT_EQ(Files().Status(Path("_FUNC001.DAT")), PathStatus::kFile);
  EXPECT_EQ(Files().Status(Path("_FUNC002.DAT")), PathStatus::kNothing);
  bool absent = false;
  EXPECT_EQ(Files().Open(Path("_FUNC002.DAT"), OpenMode::kRead, &absent), nullptr);
  EXPECT_TRUE(absent);
#if !defined(_WIN32)  // where names differ by their case
  EXPECT_FALSE(Files().Remove(Path("_FUNC001.DAT"))) << "another file";
  EXPECT_EQ(Files().Resolve(Path("_FUNC001.DAT")), Path("_Func001.dat"));
#endif
  ASSERT_TRUE(Files().MakeDirectory(Path("Sample.raw")));
  WriteText(Path("Sample.raw\\_header.txt"), "text");
  EXPECT_NE(Files().Open(Path("SAMPLE.RAW\\_HEADER.TXT"), OpenMode::kRead), nullptr);
  EXPECT_EQ(Files().Status(Path("SAMPLE.RAW\\_HEADER.TXT")), PathStatus::kFile);
  EXPECT_EQ(Files().Status(Path("SAMPLE.RAW\\_FUNCTNS.INF")), PathStatus::kNothing);
  EXPECT_EQ(Files().Status(Path("SAMPLE.RAX\\_HEADER.TXT")), PathStatus::kNothing);
}

TEST_F(FileSystemTest, MovesAFileInPlaceOfAnother) {
  WriteText(Path("new"), "new");
  EXPECT_TRUE(Files().MoveOver(Path("new"), Path("target")));
  EXPECT_EQ(ReadText(Path("target")), "new");
  WriteText(Path("newer"), "newer");
  EXPECT_TRUE(Files().MoveOver(Path("newer"), Path("target")));
  EXPECT_EQ(ReadText(Path("target")), "newer");
  EXPECT_FALSE(testing::Exists(Path("newer")));

  EXPECT_FALSE(Files().MoveOver(Path("none"), Path("target")));
  EXPECT_EQ(ReadText(Path("target")), "newer");
  ASSERT_TRUE(Files().MakeDirectory(Path("dir")));
  EXPECT_FALSE(Files().MoveOver(Path("target"), Path("dir")));
  EXPECT_EQ(ReadText(Path("target")), "newer");
}

TEST_F(FileSystemTest, LocksStandAgainstEachOther) {
  WriteText(Path("data"), "data");
  auto first = Files().Open(Path("data"), OpenMode::kReadWrite);
  const auto second = Files().Open(Path("data"), OpenMode::kReadWrite);
  EXPECT_TRUE(first->Lock(LockMode::kShared));
  EXPECT_TRUE(second->Lock(LockMode::kShared));
  EXPECT_FALSE(first->Lock(LockMode::kExclusive));
  EXPECT_TRUE(second->Lock(LockMode::kExclusive));  // the first gave its own up
  EXPECT_FALSE(first->Lock(LockMode::kShared));
  EXPECT_EQ(ReadBack(first.get(), 0, 10), "data");
  EXPECT_TRUE(second->Unlock());
  EXPECT_TRUE(first->Lock(LockMode::kExclusive));
  EXPECT_TRUE(first->Unlock());
#if !defined(_WIN32)  // where the name is free when the last has closed
  EXPECT_TRUE(Files().Remove(Path("data")));
  EXPECT_FALSE(second->Lock(LockMode::kExclusive)) << "removed";
#endif

  WriteText(Path("other"), "");
  first = Files().Open(Path("other"), OpenMode::kReadWrite);
  EXPECT_TRUE(first->Lock(LockMode::kExclusive));
  first.reset();
  first = Files().Open(Path("other"), OpenMode::kRead);
  EXPECT_TRUE(first->Lock(LockMode::kExclusive));
}

TEST_F(FileSystemTest, OpensForOneUserAlone) {
  bool in_use = true;
  auto file = Files().OpenAlone(Path("lock"), &in_use);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Files().OpenAlone(Path("lock"), &in_use), nullptr);
  EXPECT_TRUE(in_use);
  Put(file.get(), 0, "mark");
  file.reset();
  file = Files().OpenAlone(Path("lock"), &in_use);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadBack(file.get(), 0, 10), "mark");
  EXPECT_TRUE(Files().RemoveAlone(Path("lock"), std::move(file)));
  EXPECT_FALSE(testing::Exists(Path("lock")));
  EXPECT_EQ(Files().OpenAlone(Path(""), &in_use), nullptr);
  EXPECT_FALSE(in_use) << "a directory";
}

TEST_F(FileSystemTest, KnowsTheWorkingDirectoryAndTouches) {
  const std::string working = Files().WorkingDirectory();
  EXPECT_EQ(Files().Status(working), PathStatus::kDirectory);
  EXPECT_EQ(working.find('/'), std::string::npos);
  WriteText(Path("data"), "x");
  EXPECT_TRUE(Files().Touch(Path("data")));
  EXPECT_TRUE(Files().Touch(Path("")));
  EXPECT_FALSE(Files().Touch(Path("none")));
}

}  // namespace
}  // namespace tervalon::platform
