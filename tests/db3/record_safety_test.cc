// Whatever fails, a record file holds each change wholly or not at all.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#endif

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

  // Makes a change on the base file while `arm` has set faults, then ends the process, as it were:
  // nothing more reaches the disk. Returns whether a fault was there to be met.
  bool Try(const Change& change, bool process_goes_on,
           const std::function<void(FaultyFileSystem*)>& arm,
           const std::function<bool(const FaultyFileSystem&)>& met) {
    testing::WriteFile(path_, base_);
    std::unique_ptr<RecordFile> other;
    EXPECT_EQ(RecordFile::Open(path_, &other), kSuccess);
    FaultyFileSystem faulty;
    Cause cause = kSuccess;
    bool was_met = false;
    {
      const platform::ScopedReplacement<platform::FileSystem> replaced(&faulty);
      std::unique_ptr<RecordFile> file;
      EXPECT_EQ(RecordFile::Open(path_, &file), kSuccess);
      arm(&faulty);
      cause = change.make(file.get());
      was_met = met(faulty);
      if (process_goes_on) {
        for (int call = 0; call < static_cast<int>(FileCall::kCount); ++call) {
          faulty.On(static_cast<FileCall>(call)).Heal();
        }
        EXPECT_EQ(RecordsOf(file.get()), cause == kSuccess ? change.after : before_);
      }
    }
    const Records left = RecordsOf(other.get());
    if (cause == kSuccess) {
      EXPECT_EQ(left, change.after);
    } else if (left != change.after) {
      EXPECT_EQ(left, before_);
    }
    EXPECT_EQ(RecordsIn(path_), left);
    return was_met;
  }

  testing::TempDirectory directory_;
  std::string path_ = directory_.Path("P1.DBF");
  Records before_;
  std::string new_text_ = NumberedText(999);
  std::vector<uint8_t> base_;
  std::vector<Change> changes_;
};

// Fails the n-th call of a kind, for every n that there is.
TEST_F(RecordSafetyTest, FailingEachCallInTurn) {
  struct Fault {
    FileCall call;
    size_t short_write;  // what still goes to the file
    bool onwards;
  };
  std::vector<Fault> faults;
  for (const bool onwards : {false, true}) {
    for (const FileCall call : {FileCall::kWrite, FileCall::kRead, FileCall::kPosition,
                                FileCall::kOpen, FileCall::kClose, FileCall::kSize}) {
      faults.push_back({call, 0, onwards});
    }
    faults.push_back({FileCall::kWrite, 5, onwards});
  }
  for (const Change& change : changes_) {
    for (const Fault& fault : faults) {
      bool met = true;
      for (int64_t n = 1; met && !HasFailure(); ++n) {
        SCOPED_TRACE(::testing::Message()
                     << change.name << ", call " << static_cast<int>(fault.call) << ", number " << n
                     << (fault.onwards ? " and all later" : "") << ", " << fault.short_write
                     << " bytes written");
        ASSERT_LT(n, 100);
        int64_t calls_before = 0;
        met = Try(
            change, !fault.onwards,
            [&](FaultyFileSystem* faulty) {
              faulty->SetShortWriteBytes(fault.short_write);
              calls_before = faulty->Calls(fault.call);
              faulty->On(fault.call).FailNth(n, fault.onwards);
            },
            [&](const FaultyFileSystem& faulty) {
              return faulty.Calls(fault.call) >= calls_before + n;
            });
      }
    }
  }
}

// The write that finds no more room is cut, and none goes to the disk after it: as when the process
// ends in the middle of that write.
TEST_F(RecordSafetyTest, FullDisk) {
  for (const Change& change : changes_) {
    // From no room to more than the whole file anew.
    for (uint64_t room = 0; room < base_.size() + 300; room += room < 400 ? 5 : 1009) {
      SCOPED_TRACE(::testing::Message() << change.name << ", " << room << " bytes");
      Try(
          change, false, [room](FaultyFileSystem* faulty) { faulty->SetDiskSpace(room); },
          [](const FaultyFileSystem&) { return true; });
      if (HasFailure()) return;
    }
  }
}

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

#if !defined(_WIN32)

// Records of several memory pages, whose writes can be cut between any two.
constexpr size_t kWidth = 250;
constexpr size_t kWideFields = 48;

// Mostly those that write in place: updates (0), and 2 inserts, 3 deletes.
constexpr uint32_t kOperations[] = {0, 0, 0, 0, 0, 2, 2, 3};

// The n-th change of a series, the same in every process.
Cause MakeChange(uint32_t series, uint32_t n, RecordFile* file, Records* model) {
  std::mt19937 random(series * 1000 + n);
  const auto count = static_cast<uint32_t>(model->size());
  const uint32_t operation = count < 3 ? 2 : count > 12 ? 3 : kOperations[random() % 8];
  const auto index = static_cast<uint32_t>(random() % (operation >= 2 ? count + 1 : count));
  const auto at = model->begin() + index;
  const auto number = static_cast<int32_t>(index + 1);
  const std::string text = NumberedText(series * 1000 + n, kWidth * kWideFields);
  if (operation < 2) {
    *at = text;
    return file != nullptr ? Update(file, number, text) : kSuccess;
  }
  if (operation == 2) {
    model->insert(at, text);
    return file != nullptr ? Insert(file, number, text) : kSuccess;
  }
  const uint32_t removed = std::min(index, count - 1);
  model->erase(model->begin() + removed);
  return file != nullptr ? Delete(file, static_cast<int32_t>(removed + 1)) : kSuccess;
}

[[noreturn]] void ChangeUntilKilled(const std::string& path, uint32_t series, Records model,
                                    std::atomic<uint32_t>* done) {
  std::unique_ptr<RecordFile> file;
  if (RecordFile::Open(path, &file) != kSuccess) _exit(1);
  for (uint32_t n = 0;; ++n) {
    if (MakeChange(series, n, file.get(), &model) != kSuccess) _exit(2);
    done->store(n + 1);
  }
}

TEST_F(RecordSafetyTest, KillingAWritingProcessAHundredTimes) {
  std::vector<FieldDescriptor> fields(kWideFields, {"TEXT", 'C', kWidth, 0});
  ASSERT_EQ(RecordFile::Create(path_, fields), kSuccess);
  void* const shared = mmap(nullptr, sizeof(std::atomic<uint32_t>), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* const done = new (shared) std::atomic<uint32_t>;
  Records model;
  std::mt19937 random(17);
  uint32_t changes = 0;
  for (uint32_t series = 1; series <= 100; ++series) {
    done->store(0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) ChangeUntilKilled(path_, series, model, done);
    usleep(static_cast<useconds_t>(1000 + random() % 20000));
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "a change failed: " << WEXITSTATUS(status);

    for (uint32_t n = 0; n < done->load(); ++n) MakeChange(series, n, nullptr, &model);
    changes += done->load();
    const Records left = RecordsIn(path_);
    if (left != model) {
      MakeChange(series, done->load(), nullptr, &model);
      ASSERT_EQ(left, model) << "after kill " << series;
    }
  }
  munmap(shared, sizeof(std::atomic<uint32_t>));
  EXPECT_GT(changes, 100U);  // else it was killed before it did much
}

#endif

}  // namespace
}  // namespace tervalon::db3
