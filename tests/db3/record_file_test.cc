#include "db3/record_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/db3/record_model.h"
#include "tests/support/temp_directory.h"

namespace tervalon::db3 {
namespace {

using testing::ReadFile;
using testing::WriteFile;
using Bytes = std::vector<uint8_t>;

class RecordFileTest : public ::testing::Test {
 protected:
  // A file with records of these numbers.
  void Make(const std::vector<uint32_t>& numbers) {
    ASSERT_EQ(RecordFile::Create(path_, kSmallFields), kSuccess);
    Open();
    for (const uint32_t number : numbers) {
      ASSERT_EQ(Append(file_.get(), NumberedText(number)), kSuccess);
    }
  }
  void Open() { ASSERT_EQ(RecordFile::Open(path_, &file_), kSuccess); }

  testing::TempDirectory directory_;
  std::string path_ = directory_.Path("P1.DBF");
  std::unique_ptr<RecordFile> file_;
};

TEST_F(RecordFileTest, HasTheLayoutByteForByte) {
  Make({1, 2});
  ASSERT_EQ(file_->Close(), kSuccess);
  std::time_t now = std::time(nullptr);
  const std::tm today = *std::localtime(&now);
  Bytes expected = {3,
                    static_cast<uint8_t>(today.tm_year),
                    static_cast<uint8_t>(today.tm_mon + 1),
                    static_cast<uint8_t>(today.tm_mday),
                    2,
                    0,
                    0,
                    0,
                    129,
                    0,
                    25,
                    0};
  expected.resize(32);
  const auto field = [&expected](const std::string& name, char type, uint8_t width,
                                 uint8_t decimals) {
    const size_t begin = expected.size();
    expected.resize(begin + 32);
    std::copy(name.begin(), name.end(), expected.begin() + static_cast<ptrdiff_t>(begin));
    expected[begin + 11] = static_cast<uint8_t>(type);
    expected[begin + 16] = width;
    expected[begin + 17] = decimals;
  };
  field("VERSION", 'N', 2, 0);
  field("NAME", 'C', 12, 0);
  field("MASS", 'N', 10, 4);
  const std::string rest = "\r " + NumberedText(1) + " " + NumberedText(2) + "\x1A";
  expected.insert(expected.end(), rest.begin(), rest.end());
  EXPECT_EQ(ReadFile(path_), expected);
}

// Any sequence of operations of three users on a file in which another program marked records
// deleted: ours are what a plain list would hold, the marked ones keep their texts and their
// neighbours.
TEST_F(RecordFileTest, UsersInTurnMatchAListAndMarkedRecordsSurvive) {
  constexpr size_t kMarked[] = {0, 2, 3, 6};
  Make({900, 1, 901, 902, 2, 3, 903});
  ASSERT_EQ(file_->Close(), kSuccess);
  Bytes bytes = ReadFile(path_);
  for (const size_t place : kMarked) bytes[kSmallHeader + place * 25] = '*';
  WriteFile(path_, bytes);

  std::unique_ptr<RecordFile> users[3];
  for (auto& user : users) ASSERT_EQ(RecordFile::Open(path_, &user), kSuccess);
  std::vector<std::string> model = {NumberedText(1), NumberedText(2), NumberedText(3)};
  std::mt19937 random(5);
  for (uint32_t step = 10; step < 400; ++step) {
    auto& user = users[random() % 3];
    if (random() % 10 == 0) {
      ASSERT_EQ(user->Close(), kSuccess);
      ASSERT_EQ(RecordFile::Open(path_, &user), kSuccess);
    }
    const auto operation = random() % 3;
    const auto index = random() % (model.size() + (operation == 0 ? 1 : 0));
    const auto number = static_cast<int32_t>(index + 1);
    const auto at = model.begin() + static_cast<ptrdiff_t>(index);
    if (operation == 0) {
      ASSERT_EQ(Insert(user.get(), number, NumberedText(step)), kSuccess);
      model.insert(at, NumberedText(step));
    } else if (operation == 1) {
      ASSERT_EQ(Update(user.get(), number, NumberedText(step)), kSuccess);
      *at = NumberedText(step);
    } else if (model.size() > 2) {
      ASSERT_EQ(Delete(user.get(), number), kSuccess);
      model.erase(at);
    }
    ASSERT_EQ(RecordsOf(users[random() % 3].get()), model);
  }
  RecordFile* const user = users[0].get();
  const std::string text(24, ' ');
  for (const int32_t number : {-1, 0, static_cast<int32_t>(model.size()) + 1}) {
    EXPECT_EQ(Update(user, number, text), kRecordNumber);
    EXPECT_EQ(Delete(user, number), kRecordNumber);
  }
  EXPECT_EQ(Insert(user, 0, text), kRecordNumber);
  EXPECT_EQ(Insert(user, static_cast<int32_t>(model.size()) + 2, text), kRecordNumber);

  for (auto& each : users) ASSERT_EQ(each->Close(), kSuccess);
  bytes = ReadFile(path_);
  ASSERT_EQ(bytes.size(), kSmallHeader + (model.size() + 4) * 25 + 1);
  EXPECT_EQ(bytes.back(), 0x1A);
  std::vector<std::string> marked;
  for (size_t offset = kSmallHeader; offset + 25 <= bytes.size(); offset += 25) {
    const auto begin = bytes.begin() + static_cast<ptrdiff_t>(offset);
    if (*begin == '*') marked.emplace_back(begin + 1, begin + 25);
  }
  EXPECT_EQ(marked, (std::vector{NumberedText(900), NumberedText(901), NumberedText(902),
                                 NumberedText(903)}));
}

// Between two turns the file may become another.
TEST_F(RecordFileTest, WorksOnWhatIsThereNow) {
  Make({1, 2, 3});
  Bytes bytes = ReadFile(path_);
  bytes[kSmallHeader + 25] = '*';
  WriteFile(path_, bytes);
  EXPECT_EQ(Update(file_.get(), 2, NumberedText(4)), kSuccess);
  EXPECT_EQ(RecordsOf(file_.get()), (std::vector{NumberedText(1), NumberedText(4)}));

#if defined(_WIN32)  // no file that somebody has open is replaced
  EXPECT_EQ(RecordFile::Create(path_, kSmallFields), kFileDeletion);
#else
  std::unique_ptr<RecordFile> other;
  ASSERT_EQ(RecordFile::Create(path_, kSmallFields), kSuccess);
  ASSERT_EQ(RecordFile::Open(path_, &other), kSuccess);
  ASSERT_EQ(Append(other.get(), NumberedText(5)), kSuccess);
  EXPECT_EQ(Append(file_.get(), NumberedText(6)), kSuccess);
  EXPECT_EQ(RecordsOf(other.get()), (std::vector{NumberedText(5), NumberedText(6)}));

  ASSERT_EQ(other->Close(), kSuccess);
  ASSERT_EQ(RecordFile::Create(path_, std::span(kSmallFields).first(2)), kSuccess);
  EXPECT_EQ(Append(file_.get(), NumberedText(7)), kRecordStructure);
#endif
  // Only here no user stands in the way where open files cannot be removed.
  ASSERT_EQ(file_->Close(), kSuccess);
  ASSERT_TRUE(platform::Files().Remove(path_));
  EXPECT_EQ(Append(file_.get(), NumberedText(7)), kFileMissing);
}

TEST_F(RecordFileTest, StaysItsOwnWhenTheWorkingDirectoryChanges) {
  Make({1, 2});
  const std::filesystem::path start = std::filesystem::current_path();
  std::filesystem::current_path(testing::Native(directory_.Path()));
  EXPECT_EQ(RecordFile::Open("P1.DBF", &file_), kSuccess);
  std::filesystem::current_path(start);
  EXPECT_EQ(Insert(file_.get(), 1, NumberedText(3)), kSuccess);
  EXPECT_EQ(Update(file_.get(), 3, NumberedText(4)), kSuccess);
  file_.reset();
  EXPECT_EQ(RecordsIn(path_), (std::vector{NumberedText(3), NumberedText(1), NumberedText(4)}));
}

// Headers as other programs write them.
TEST_F(RecordFileTest, OpensWhatOtherProgramsWrite) {
  const std::function<void(Bytes*)> variants[] = {
      [](Bytes* bytes) { bytes->pop_back(); },                   // no end mark
      [](Bytes* bytes) { bytes->resize(bytes->size() + 300); },  // padding
      [](Bytes* bytes) { (*bytes)[0] = 0x83; },                  // can have memo texts
      [](Bytes* bytes) { (*bytes)[32 + 9] = 'x'; },              // rubbish behind a name's end
      [](Bytes* bytes) {                                         // a zero behind the terminator
        bytes->insert(bytes->begin() + kSmallHeader, 0);
        ++(*bytes)[8];
      },
  };
  Make({1, 2, 3});
  ASSERT_EQ(file_->Close(), kSuccess);
  const Bytes whole = ReadFile(path_);
  for (size_t i = 0; i < std::size(variants); ++i) {
    SCOPED_TRACE(i);
    Bytes bytes = whole;
    variants[i](&bytes);
    WriteFile(path_, bytes);
    Open();
    EXPECT_EQ(Insert(file_.get(), 2, NumberedText(8)), kSuccess);
    EXPECT_EQ(Insert(file_.get(), 5, NumberedText(9)), kSuccess);
    EXPECT_STREQ(file_->fields()[0].name, "VERSION");
    file_.reset();
    EXPECT_EQ(RecordsIn(path_), (std::vector{NumberedText(1), NumberedText(8), NumberedText(2),
                                             NumberedText(3), NumberedText(9)}));
  }
}

TEST_F(RecordFileTest, RefusesHeadersThatLie) {
  Make({1, 2, 3});
  ASSERT_EQ(file_->Close(), kSuccess);
  const Bytes whole = ReadFile(path_);
  const auto refused = [this](const Bytes& bytes) {
    WriteFile(path_, bytes);
    std::unique_ptr<RecordFile> file;
    const bool invalid = RecordFile::Open(path_, &file) == kInvalidFormat && file == nullptr;
    return invalid && ReadFile(path_) == bytes;
  };
  struct Lie {
    size_t offset;
    uint8_t value;
  };
  for (const Lie lie :
       {Lie{0, 0x04}, Lie{4, 4}, Lie{7, 0x80}, Lie{8, 128}, Lie{8, 130}, Lie{9, 1}, Lie{10, 24},
        Lie{11, 1}, Lie{32, 0}, Lie{64 + 16, 11}, Lie{96 + 16, 0}, Lie{128, ' '}, Lie{64, '\r'}}) {
    Bytes bytes = whole;
    bytes[lie.offset] = lie.value;
    EXPECT_TRUE(refused(bytes)) << "byte " << lie.offset << " as " << int{lie.value};
  }
  for (size_t size = 0; size + 1 < whole.size(); ++size) {
    EXPECT_TRUE(refused(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size))))
        << size;
  }
  // Behind a true version byte, random ones are no header or, hardly ever, an empty file's.
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    Bytes bytes(random() % 4096 + 1);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<uint8_t>(random()); });
    bytes[0] = 3;
    EXPECT_TRUE(refused(bytes)) << round;
  }
  std::unique_ptr<RecordFile> file;
  EXPECT_EQ(RecordFile::Open(directory_.Path("NONE.DBF"), &file), kFileMissing);
  EXPECT_EQ(RecordFile::Open(directory_.Path(), &file), kFileOpen);
}

}  // namespace
}  // namespace tervalon::db3
