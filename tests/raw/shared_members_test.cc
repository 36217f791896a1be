// Members that two programs read whole and write whole: two handles stand for the programs.

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tervalon/raw_analog.h"
#include "tervalon/raw_calibration.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

class SharedMembersTest : public RawTest {
 protected:
  void SetUp() override {
    MakeRun({ScanningRecord(3), ScanningRecord(1)}, {});
    Open();
  }

  void Open() {
    for (int32_t& handle : handles_) ASSERT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
  }

  std::array<int32_t, 2> handles_ = {-1, -1};
};

// --- header, function table, descriptors

struct Headers {
  RawHeader header;
  std::unique_ptr<RawCalibration> calibration = std::make_unique<RawCalibration>();

  void Read(int32_t handle) {
    ASSERT_EQ(RawReadHeader(handle, &header, calibration.get(), nullptr, nullptr), RAW_OK);
  }
  void Write(int32_t handle) const {
    ASSERT_EQ(RawCreateHeader(handle, &header, calibration.get()), RAW_OK);
  }
};

TEST_F(SharedMembersTest, HeadersKeepEachOthersLines) {
  Headers first;
  first.header = {};
  strcpy(first.header.job_code, "J1");
  strcpy(first.header.conditions, "at the start");
  first.Write(handles_[0]);
  Headers second;
  second.Read(handles_[1]);
  first.Read(handles_[0]);
  for (int round = 1; round <= 3; ++round) {
    const std::string text = std::to_string(round);
    strcpy(first.header.user_name, ("user " + text).c_str());
    first.header.analog_offsets[2] = static_cast<float>(round);
    first.Write(handles_[0]);
    strcpy(second.header.submitter, ("submitter " + text).c_str());
    RawParseCaliCoeffs(&second.calibration->ms2_static, (text + ",1,T1").c_str());
    second.Write(handles_[1]);
    Headers read;
    read.Read(handles_[1]);
    EXPECT_EQ(read.header.user_name, "user " + text);
    EXPECT_EQ(read.header.analog_offsets[2], static_cast<float>(round));
    EXPECT_EQ(read.header.submitter, "submitter " + text);
    EXPECT_EQ(read.calibration->ms2_static.coefficients[0], round);
    EXPECT_STREQ(read.header.job_code, "J1");
    second.Read(handles_[1]);
  }
  // Where both have changed the same line, the last one wins; what a caller clears is cleared.
  first.Read(handles_[0]);
  strcpy(first.header.job_code, "J2");
  strcpy(second.header.job_code, "J3");
  second.header.conditions[0] = '\0';
  first.Write(handles_[0]);
  second.Write(handles_[1]);
  first.Read(handles_[0]);
  EXPECT_STREQ(first.header.job_code, "J3");
  EXPECT_STREQ(first.header.conditions, "");
}

TEST_F(SharedMembersTest, AHeaderIsWrittenAsGivenWhereNobodyElseHasChangedIt) {
  Headers headers;
  headers.header = {};
  headers.Write(handles_[0]);
  const std::string as_given = ReadText(Path("_HEADER.TXT"));
  WriteText(Path("_HEADER.TXT"), "$$ Job Code: by hand\r\n");
  headers.Write(handles_[1]);  // knows nothing of it
  EXPECT_EQ(ReadText(Path("_HEADER.TXT")), as_given);
  strcpy(headers.header.job_code, "again");
  headers.Write(handles_[1]);
  strcpy(headers.header.job_code, "");
  headers.Write(handles_[1]);
  EXPECT_EQ(ReadText(Path("_HEADER.TXT")), as_given);
}

TEST_F(SharedMembersTest, FunctionTablesKeepEachOthersRecords) {
  std::array<std::array<RawFunctionRecord, 4>, 2> records;
  for (size_t user = 0; user < 2; ++user) {
    ASSERT_EQ(RawReadFuncInfo(handles_[user], 0, records[user].data(), nullptr), RAW_OK);
    records[user][user].bytes[100] = static_cast<uint8_t>(user + 1);
  }
  int16_t number = 0;
  const RawFunctionRecord third = ScanningRecord(9);
  EXPECT_EQ(RawAppendFunction(handles_[0], &third, &number), RAW_OK);
  EXPECT_EQ(number, 3);
  EXPECT_EQ(RawCreateFunctions(handles_[1], 2, records[1].data()), RAW_OK);
  EXPECT_EQ(RawAppendFunction(handles_[1], &third, &number), RAW_OK);
  EXPECT_EQ(number, 4);
  ASSERT_EQ(RawReadFuncInfo(handles_[0], 0, records[0].data(), nullptr), RAW_OK);
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")).size(), 4u * RAW_FUNCTION_RECORD_SIZE);
  records[0][0].bytes[100] = 7;
  EXPECT_EQ(RawCreateFunctions(handles_[0], 4, records[0].data()), RAW_OK);
  ASSERT_EQ(RawReadFuncInfo(handles_[1], 0, records[1].data(), nullptr), RAW_OK);
  EXPECT_EQ(records[1][0].bytes[100], 7);
  EXPECT_EQ(records[1][1].bytes[100], 2);
  EXPECT_EQ(Get<uint16_t>(records[1][3], 0) >> 10, 9);
  // Afresh is afresh: fewer than the caller has read.
  EXPECT_EQ(RawCreateFunctions(handles_[1], 1, records[1].data()), RAW_OK);
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")).size(), 1u * RAW_FUNCTION_RECORD_SIZE);
}

TEST_F(SharedMembersTest, DescriptorsKeepEachOthersRecords) {
  std::array<RawAnalogDescriptor, 3> first = {};
  std::array<RawAnalogDescriptor, 3> second = {};
  ASSERT_EQ(RawCreateAnalogInf(handles_[0], 2, first.data()), RAW_OK);
  int16_t count = 3;
  ASSERT_EQ(RawReadAnalogInf(handles_[1], &count, second.data()), RAW_OK);
  first[0].bytes[0] = 'A';
  second[1].bytes[0] = 'B';
  ASSERT_EQ(RawCreateAnalogInf(handles_[0], 3, first.data()), RAW_OK);
  ASSERT_EQ(RawCreateAnalogInf(handles_[1], 2, second.data()), RAW_OK);
  count = 3;
  ASSERT_EQ(RawReadAnalogInf(handles_[0], &count, first.data()), RAW_OK);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(first[0].bytes[0], 'A');
  EXPECT_EQ(first[1].bytes[0], 'B');
}

// --- history

// A program that keeps its history in memory and seldom reads it again.
class HistoryUser {
 public:
  HistoryUser(int32_t handle, char letter) : handle_(handle), letter_(letter) { Read(); }

  void Read() {
    const int32_t error = RawReadProcInfo(handle_, &header_, entries_.data());
    ASSERT_TRUE(error == RAW_OK || error == RAW_MEMBER_NOT_OPEN) << error;
  }

  // Adds an entry below one of its own, or at the top level.
  void Add(int16_t tree, std::mt19937* random) {
    RawHistoryEntry entry = {};
    const std::string name = letter_ + std::to_string(++last_);
    name.copy(entry.process.name, sizeof(entry.process.name));
    entry.process.type = RAW_STEP_SMOOTH;
    uint16_t parent = 0;
    if (!names.empty() && (*random)() % 2 == 0) parent = Find(tree, *names.begin());
    if (RawHistAddProcess(&header_, entries_.data(), tree, parent, &entry) == RAW_OK) {
      names.insert(name);
    }
  }

  // Deletes one of its own, or has it go with its last child.
  void Delete(int16_t tree) {
    if (names.empty()) return;
    const std::string name = *names.rbegin();
    if (RawHistDeleteProcess(&header_, entries_.data(), tree, Find(tree, name), 1) == 1) {
      names.erase(name);
      deleted.insert(name);
    }
  }

  int32_t Write() { return RawHistUpdateInfo(handle_, &header_, entries_.data()); }

  uint16_t Find(int16_t tree, const std::string& name) const {
    return static_cast<uint16_t>(RawHistSearchTag(&header_, entries_.data(), tree, name.c_str()) &
                                 0xFFFF);
  }

  std::set<std::string> names;  // that are to be there
  std::set<std::string> deleted;

 private:
  int32_t handle_;
  char letter_;
  int last_ = 0;
  RawHistoryHeader header_ = {};
  std::vector<RawHistoryEntry> entries_ = std::vector<RawHistoryEntry>(RAW_HISTORY_ENTRIES);
};

TEST_F(SharedMembersTest, HistoriesKeepEachOthersEntries) {
  for (int round = 0; round < 20; ++round) {
    platform::Files().Remove(Path("_HISTORY.INF"));
    HistoryUser users[] = {{handles_[0], 'A'}, {handles_[1], 'B'}};
    for (int step = 0; step < 150; ++step) {
      HistoryUser& user = users[random_() % 2];
      const auto tree = static_cast<int16_t>(&user - users + 1);
      const unsigned chance = random_() % 8;
      if (chance == 0) user.Read();
      if (chance < 6) {
        user.Add(tree, &random_);
      } else {
        user.Delete(tree);
      }
      ASSERT_EQ(user.Write(), RAW_OK);
    }
    HistoryUser reader(handles_[0], 'R');
    for (const HistoryUser& user : users) {
      const auto tree = static_cast<int16_t>(&user - users + 1);
      for (const std::string& name : user.names) EXPECT_NE(reader.Find(tree, name), 0) << name;
    }
    if (HasFailure()) return;
    int32_t problems = -1;
    EXPECT_EQ(RawCheckDirectory(
                  Path().c_str(),
                  [](const RawProblem* problem, void*) TERVALON_CALL -> int32_t {
                    EXPECT_STRNE(problem->member, "_HISTORY.INF") << problem->text;
                    return 0;
                  },
                  nullptr, &problems),
              RAW_OK);
  }
}

TEST_F(SharedMembersTest, AHistoryThatBothFillIsFull) {
  HistoryUser first(handles_[0], 'A');
  HistoryUser second(handles_[1], 'B');
  for (int i = 0; i < 200; ++i) {
    first.Add(1, &random_);
    second.Add(2, &random_);
  }
  EXPECT_EQ(first.Write(), RAW_OK);
  const Bytes file = ReadFile(Path("_HISTORY.INF"));
  EXPECT_EQ(second.Write(), RAW_HISTORY_FULL);
  EXPECT_EQ(ReadFile(Path("_HISTORY.INF")), file);
}

}  // namespace
}  // namespace tervalon::testing
