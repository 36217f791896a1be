// Whatever fails, a record file holds each change wholly or not at all.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "db3/record_file.h"
#include "tests/db3/record_model.h"
#include "tests/support/fault_services.h"
#include "tests/support/temp_directory.h"

namespace tervalon::db3 {
namespace {

using testing::FaultyFileSystem;
using testing::FileCall;
using Records = std::vector<std::string>;

struct Change {
  const char* name;
  std::function<Cause(RecordFile*)> make;
  Records after;
};

class RecordSafetyTest : public ::testing::Test {
 protected:
  RecordSafetyTest() {
    EXPECT_EQ(RecordFile::Create(path_, kSmallFields), kSuccess);
    base_ = testing::ReadFile(path_);
    base_.pop_back();
    // So many that counting one more changes two bytes of the count.
    for (uint32_t number = 0; number < 255; ++number) {
      const std::string text = NumberedText(number);
      before_.push_back(text);
      base_.push_back(' ');
      base_.insert(base_.end(), text.begin(), text.end());
    }
    base_.push_back(0x1A);
    base_[1] = 90;  // last changed years ago
    base_[4] = 255;
    Records updated = before_;
    updated[1] = new_text_;
    Records appended = before_;
    appended.push_back(new_text_);
    Records inserted = before_;
    inserted.insert(inserted.begin() + 1, new_text_);
    Records shortened = before_;
    shortened.erase(shortened.begin() + 1);
    changes_ = {
        {"update", [this](RecordFile* file) { return Update(file, 2, new_text_); }, updated},
        {"append", [this](RecordFile* file) { return Insert(file, 256, new_text_); }, appended},
        {"insert", [this](RecordFile* file) { return Insert(file, 2, new_text_); }, inserted},
        {"delete", [](RecordFile* file) { return Delete(file, 2); }, shortened},
    };
  }

  testing::TempDirectory directory_;
  std::string path_ = directory_.Path("P1.DBF");
  Records before_;
  std::string new_text_ = NumberedText(999);
  std::vector<uint8_t> base_;
  std::vector<Change> changes_;
};

// What stands beside a database under names that could be the library's is somebody's.
TEST_F(RecordSafetyTest, FilesBesideAreLeftAlone) {
  testing::WriteFile(path_, base_);
  const std::string extensions[] = {".new", ".undo", ".tmp", ".bak"};
  for (const std::string& extension : extensions) testing::WriteText(path_ + extension, "mine");
  std::unique_ptr<RecordFile> file;
  ASSERT_EQ(RecordFile::Open(path_, &file), kSuccess);
  for (const Change& change : changes_) {
    ASSERT_EQ(Delete(file.get(), file->count()), kSuccess);
    ASSERT_EQ(Append(file.get(), before_.back()), kSuccess);
    EXPECT_EQ(change.make(file.get()), kSuccess) << change.name;
  }
  ASSERT_EQ(file->Close(), kSuccess);
  for (const std::string& extension : extensions) {
    EXPECT_EQ(testing::ReadText(path_ + extension), "mine");
  }
}

// A header that says a change is going on, and behind the file a journal that is none, or nothing.
TEST_F(RecordSafetyTest, AJournalThatCannotBeRightLocksNobodyOut) {
  testing::WriteFile(path_, base_);
  std::unique_ptr<RecordFile> file;
  ASSERT_EQ(RecordFile::Open(path_, &file), kSuccess);
  ASSERT_EQ(Update(file.get(), 1, before_[0]), kSuccess);
  const std::vector<uint8_t> whole = testing::ReadFile(path_);
  ASSERT_EQ(whole.size(), base_.size() + 24 + 48);
  file.reset();
  EXPECT_EQ(testing::ReadFile(path_).size(), base_.size());

  for (size_t lie = base_.size(); lie < whole.size(); lie += 3) {
    std::vector<uint8_t> bytes = whole;
    bytes[14] = 'U';
    bytes[lie] ^= 0x40;
    bytes[kSmallHeader + 1] = '?';
    testing::WriteFile(path_, bytes);
    Records expected = before_;
    expected[0][0] = '?';
    EXPECT_EQ(RecordsIn(path_), expected) << lie;
    EXPECT_EQ(testing::ReadFile(path_), bytes) << lie;
    ASSERT_EQ(RecordFile::Open(path_, &file), kSuccess);
    EXPECT_EQ(Update(file.get(), 1, before_[0]), kSuccess);
    EXPECT_EQ(testing::ReadFile(path_)[14], 0);
  }
}

TEST_F(RecordSafetyTest, AFileThatCannotBeWrittenStaysReadable) {
  testing::WriteFile(path_, base_);
  FaultyFileSystem faulty;
  const platform::ScopedReplacement<platform::FileSystem> replaced(&faulty);
  std::unique_ptr<RecordFile> file;
  faulty.On(FileCall::kOpen).FailNth(1);
  ASSERT_EQ(RecordFile::Open(path_, &file), kSuccess);
  for (const Change& change : changes_) {
    EXPECT_EQ(change.make(file.get()), kFileWrite);
    EXPECT_EQ(RecordsOf(file.get()), before_);
  }
  file.reset();
  EXPECT_EQ(testing::ReadFile(path_), base_);
}

}  // namespace
}  // namespace tervalon::db3
