#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "db3/catalogue.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tests/db3/record_model.h"
#include "tests/support/fault_services.h"
#include "tests/support/temp_directory.h"

namespace tervalon::db3 {
namespace {

using ::testing::HasSubstr;
using Bytes = std::vector<uint8_t>;
using Records = std::vector<std::string>;

// A database of type 9, whose records are two numbers of 15 characters.
constexpr int32_t kType = DB3_PEP_ELEMENT;
constexpr size_t kHeader = 32 + 3 * 32 + 1;
constexpr size_t kRecord = 33;

std::string ElementText(int number) {
  const std::string text = std::to_string(number) + ".0000";
  return " 1" + std::string(15 - text.size(), ' ') + text + "         1.0000";
}

class FileCheckTest : public ::testing::Test {
 protected:
  FileCheckTest() {
    EXPECT_EQ(RecordFile::Create(path_, Catalogue(kType)->fields), kSuccess);
    std::unique_ptr<RecordFile> file;
    EXPECT_EQ(RecordFile::Open(path_, &file), kSuccess);
    for (int number = 1; number <= 5; ++number) {
      records_.push_back(ElementText(number));
      EXPECT_EQ(Append(file.get(), records_.back()), kSuccess);
    }
    file.reset();
    sound_ = testing::ReadFile(path_);
  }

  int32_t Check(int32_t type = DB3_ANY_TYPE) {
    return DB3CheckFile(type, path_.c_str(), findings_, sizeof(findings_));
  }
  int32_t Repair(int32_t type = DB3_ANY_TYPE) {
    return DB3RepairFile(type, path_.c_str(), findings_, sizeof(findings_));
  }

  testing::TempDirectory directory_;
  std::string path_ = directory_.Path("E.DBF");
  Records records_;
  Bytes sound_;
  char findings_[4096];
};

TEST_F(FileCheckTest, FindsAndMendsWhatIsWrong) {
  struct Case {
    const char* finding;
    int32_t cause;
    std::function<void(Bytes*)> damage;
    std::function<void(Records*)> left;
  };
  const auto all = [](Records*) {};
  const auto four = [](Records* records) { records->pop_back(); };
  const Case cases[] = {
      {"", DB3_SUCCESS, [](Bytes*) {}, all},
      {"no end mark", DB3_SUCCESS, [](Bytes* bytes) { bytes->pop_back(); }, all},
      {"7 bytes behind the end", DB3_SUCCESS,
       [](Bytes* bytes) { bytes->resize(bytes->size() + 7); }, all},
      {"counts 6 records, there are 5", DB3_INVALID_FORMAT, [](Bytes* bytes) { (*bytes)[4] = 6; },
       all},
      {"there are 5", DB3_INVALID_FORMAT, [](Bytes* bytes) { (*bytes)[7] = 0x90; }, all},
      {"2 records behind those", DB3_SUCCESS, [](Bytes* bytes) { (*bytes)[4] = 3; }, all},
      {"there are 4", DB3_INVALID_FORMAT,
       [](Bytes* bytes) { bytes->resize(kHeader + 4 * kRecord + 1); }, four},
      {"20 bytes of one that is cut off", DB3_INVALID_FORMAT,
       [](Bytes* bytes) { bytes->resize(kHeader + 4 * kRecord + 20); },
       [](Records* records) {
         records->back().resize(19);
         records->back().resize(32, ' ');
       }},
      {"without a right mark, the first at place 2", DB3_INVALID_FORMAT,
       [](Bytes* bytes) { (*bytes)[kHeader + kRecord] = 'x'; }, all},
      {"numbers follow from them", DB3_INVALID_FORMAT, [](Bytes* bytes) { (*bytes)[0] = 0; }, all},
      {"numbers follow from them", DB3_INVALID_FORMAT, [](Bytes* bytes) { (*bytes)[10] = 9; }, all},
      {"numbers follow from them", DB3_INVALID_FORMAT,
       [](Bytes* bytes) { std::fill_n(bytes->begin(), 32, uint8_t{0}); }, all},
      {"resemble those of a database type", DB3_INVALID_FORMAT,
       [](Bytes* bytes) { std::fill_n(bytes->begin() + 64, 32, uint8_t{0}); }, all},
      {"cannot be taken back", DB3_INVALID_FORMAT, [](Bytes* bytes) { (*bytes)[14] = 'U'; }, all},
      {"1 field with something else than its type, the first AVGMASS at place 3", DB3_SUCCESS,
       [](Bytes* bytes) { (*bytes)[kHeader + 2 * kRecord + 5] = '#'; },
       [](Records* records) { (*records)[2][4] = '#'; }},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.finding);
    Bytes bytes = sound_;
    each.damage(&bytes);
    testing::WriteFile(path_, bytes);
    EXPECT_EQ(Check(), each.cause) << findings_;
    EXPECT_THAT(std::string(findings_), HasSubstr(each.finding));
    EXPECT_EQ(std::string(findings_).empty(), bytes == sound_);
    EXPECT_EQ(testing::ReadFile(path_), bytes);

    EXPECT_EQ(Repair(kType), DB3_SUCCESS) << findings_;
    Records left = records_;
    each.left(&left);
    EXPECT_EQ(RecordsIn(path_), left);
    EXPECT_EQ(Check(), DB3_SUCCESS) << findings_;
    EXPECT_EQ(testing::ReadFile(path_).size(), kHeader + left.size() * kRecord + 1);
    if (testing::ReadFile(path_) == bytes) continue;
    EXPECT_EQ(testing::ReadFile(path_ + ".old"), bytes);
    ASSERT_TRUE(platform::Files().Remove(path_ + ".old"));
  }
}

// What a killed writer leaves is no damage: whoever opens the file mends it.
TEST_F(FileCheckTest, TakesBackAChangeThatWasCutShort) {
  testing::FaultyFileSystem faulty;
  {
    const platform::ScopedReplacement<platform::FileSystem> replaced(&faulty);
    std::unique_ptr<RecordFile> file;
    ASSERT_EQ(RecordFile::Open(path_, &file), kSuccess);
    faulty.On(testing::FileCall::kWrite).FailNth(3, true);
    EXPECT_EQ(Delete(file.get(), 2), kFileWrite);
  }
  EXPECT_EQ(Check(), DB3_SUCCESS);
  EXPECT_THAT(std::string(findings_), HasSubstr("a change was cut short; whoever opens"));
  EXPECT_EQ(Repair(), DB3_SUCCESS);
  EXPECT_EQ(Check(), DB3_SUCCESS);
  EXPECT_STREQ(findings_, "");
  EXPECT_EQ(RecordsIn(path_), records_);
}

TEST_F(FileCheckTest, LeavesWhatItCannotMakeOut) {
  EXPECT_EQ(Check(DB3_LC), DB3_RECORD_STRUCTURE);
  EXPECT_EQ(Repair(DB3_LC), DB3_RECORD_STRUCTURE);
  EXPECT_EQ(Check(-2), DB3_GENERAL_ERROR);
  EXPECT_EQ(DB3CheckFile(kType, nullptr, findings_, 10), DB3_GENERAL_ERROR);
  EXPECT_EQ(DB3RepairFile(kType, directory_.Path("NONE").c_str(), nullptr, 0), DB3_FILE_MISSING);
  EXPECT_EQ(testing::ReadFile(path_), sound_);
  testing::WriteText(path_, "no database");
  EXPECT_EQ(Repair(kType), DB3_INVALID_FORMAT);
  EXPECT_EQ(testing::ReadText(path_), "no database");
  EXPECT_FALSE(testing::Exists(path_ + ".old"));
  // Findings are told as long as there is room.
  EXPECT_EQ(DB3CheckFile(kType, path_.c_str(), findings_, 19), DB3_INVALID_FORMAT);
  EXPECT_STREQ(findings_, "");
}

}  // namespace
}  // namespace tervalon::db3
