// Checking and repairing: a sound directory, and each damage to it.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tervalon/raw_analog.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

// Kind, member, whether it can be mended.
using Problem = std::tuple<int32_t, std::string, bool>;

class DirectoryCheckTest : public RawTest {
 protected:
  void SetUp() override { MakeSound(); }

  // A directory of two functions, a processed set, analog channels and a history of three entries.
  void MakeSound() {
    const std::vector<Scan> scans = {NumberedScan(1, 3), NumberedScan(2, 5), NumberedScan(3, 4)};
    MakeRun({ScanningRecord(1), ScanningRecord(3)}, {scans, scans});
    ASSERT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
    ASSERT_EQ(RawCreateScanFile(handle_, 2, 4, 0), RAW_OK);
    ASSERT_EQ(WriteScan(handle_, 2, 4, 3, scans[0]), RAW_OK);
    ASSERT_EQ(RawCreateScansEnd(handle_, 2, 4), RAW_OK);
    const RawHeader header = {};
    const auto calibration = std::make_unique<RawCalibration>();
    ASSERT_EQ(RawCreateHeader(handle_, &header, calibration.get()), RAW_OK);
    const RawAnalogDescriptor descriptors[2] = {};
    ASSERT_EQ(RawCreateAnalogInf(handle_, 2, descriptors), RAW_OK);
    ASSERT_EQ(RawCreateAnalogFile(handle_), RAW_OK);
    const float values[2] = {1, 2};
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(RawCreateAnalogScan(handle_, static_cast<float>(i), 2, values), RAW_OK);
    }
    ASSERT_EQ(RawCreateAnalogEnd(handle_), RAW_OK);
    RawHistoryHeader history = {};
    history.tree_count = RAW_HISTORY_TREES;
    std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
    for (int16_t tree = 1; tree <= 3; ++tree) {
      RawHistoryEntry entry = {};
      entry.process.type = RAW_STEP_SMOOTH;
      ASSERT_EQ(RawHistAddProcess(&history, entries.data(), tree == 1 ? 1 : 2, 0, &entry), 0);
    }
    ASSERT_EQ(RawHistUpdateInfo(handle_, &history, entries.data()), RAW_OK);
    CloseRun();
  }

  static int32_t TERVALON_CALL Collect(const RawProblem* problem, void* user) {
    EXPECT_NE(problem->text[0], '\0');
    static_cast<std::vector<Problem>*>(user)->emplace_back(problem->kind, problem->member,
                                                           problem->mended != 0);
    return 0;
  }

  std::vector<Problem> Check() {
    std::vector<Problem> problems;
    int32_t count = -1;
    EXPECT_EQ(RawCheckDirectory(Path().c_str(), Collect, &problems, &count), RAW_OK);
    EXPECT_EQ(count, static_cast<int32_t>(problems.size()));
    return problems;
  }

  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(Native(Path()))) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  void Cut(const std::string& member, size_t bytes) {
    Bytes content = ReadFile(Path(member));
    content.resize(content.size() - bytes);
    WriteFile(Path(member), content);
  }

  void Append(const std::string& member, size_t bytes) {
    Bytes content = ReadFile(Path(member));
    content.resize(content.size() + bytes, 0x55);
    WriteFile(Path(member), content);
  }

  void Put(const std::string& member, size_t offset, const Bytes& bytes) {
    Bytes content = ReadFile(Path(member));
    std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(offset));
    WriteFile(Path(member), content);
  }

  void Remove(const std::string& member) { platform::Files().Remove(Path(member)); }
};

TEST_F(DirectoryCheckTest, FindsEachDamageAndMendsWhatItCan) {
  constexpr size_t kHistoryHeader = 132;
  const struct {
    const char* name;
    std::function<void()> damage;
    std::vector<Problem> problems = {};  // where the first one is mended, its member is changed
    size_t size_after = 0;
  } kCases[] = {
      {"nothing", [] {}},
      {"no header", [&] { Remove("_HEADER.TXT"); }, {{RAW_PROBLEM_MISSING, "_HEADER.TXT", false}}},
      {"an empty header",
       [&] { WriteText(Path("_HEADER.TXT"), "no line"); },
       {{RAW_PROBLEM_CONTENT, "_HEADER.TXT", false}}},
      {"a directory instead of a header",
       [&] {
         Remove("_HEADER.TXT");
         std::filesystem::create_directory(Native(Path("_HEADER.TXT")));
       },
       {{RAW_PROBLEM_UNREADABLE, "_HEADER.TXT", false}}},
      {"a partial function record",
       [&] { Append("_FUNCTNS.INF", 40); },
       {{RAW_PROBLEM_CUT_OFF, "_FUNCTNS.INF", true}},
       2 * RAW_FUNCTION_RECORD_SIZE},
      {"a function that the table lost",
       [&] { Cut("_FUNCTNS.INF", RAW_FUNCTION_RECORD_SIZE); },
       {{RAW_PROBLEM_CONTENT, "_FUNC002.IDX", false}}},
      {"a data type that is not stored",
       [&] { Put("_FUNCTNS.INF", 1, {5 << 2}); },
       {{RAW_PROBLEM_CONTENT, "_FUNCTNS.INF", false}}},
      {"a partial index record",
       [&] { Append("_FUNC001.IDX", 21); },
       {{RAW_PROBLEM_CUT_OFF, "_FUNC001.IDX", true}},
       3 * 22},
      {"the last scan's data are cut off",
       [&] { Cut("_FUNC002.DAT", 1); },
       {{RAW_PROBLEM_CUT_OFF, "_FUNC002.IDX", true}, {RAW_PROBLEM_CUT_OFF, "_FUNC002.DAT", true}},
       2 * 22},
      {"no scan has its data",
       [&] { WriteFile(Path("_FUNC002.DAT"), {}); },
       {{RAW_PROBLEM_CUT_OFF, "_FUNC002.IDX", true}}},
      {"data behind the last scan",
       [&] { Append("_FUNC002.DAT", 1000); },
       {{RAW_PROBLEM_CUT_OFF, "_FUNC002.DAT", true}},
       2 * (3 + 5 + 4)},
      {"a scan in the middle that points outside",
       [&] {
         Put("_FUNC001.IDX", 22, {0, 0, 0, 1});
       },
       {{RAW_PROBLEM_CONTENT, "_FUNC001.IDX", false}}},
      {"a scan earlier than the one before",
       [&] { Put("_FUNC001.IDX", 22 + 15, {0}); },
       {{RAW_PROBLEM_CONTENT, "_FUNC001.IDX", false}}},
      {"no data", [&] { Remove("_FUNC001.DAT"); }, {{RAW_PROBLEM_MISSING, "_FUNC001.DAT", false}}},
      {"no index", [&] { Remove("_FUNC001.IDX"); }, {{RAW_PROBLEM_MISSING, "_FUNC001.IDX", false}}},
      {"a processed set with half an index record",
       [&] { Append("_PROC004.IDX", 11); },
       {{RAW_PROBLEM_CUT_OFF, "_PROC004.IDX", true}},
       22},
      {"half an analog descriptor",
       [&] { Append("_ANALOGS.INF", 40); },
       {{RAW_PROBLEM_CUT_OFF, "_ANALOGS.INF", true}},
       2 * 85},
      {"half an analog record",
       [&] { Append("_ANALOGS.DAT", 7); },
       {{RAW_PROBLEM_CUT_OFF, "_ANALOGS.DAT", true}},
       3 * 8},
      {"samples without channels",
       [&] { Remove("_ANALOGS.INF"); },
       {{RAW_PROBLEM_MISSING, "_ANALOGS.INF", false}}},
      {"a history that is cut off",
       [&] { Cut("_HISTORY.INF", 130); },
       {{RAW_PROBLEM_CUT_OFF, "_HISTORY.INF", true}},
       kHistoryHeader + 4 * 123},
      {"an entry that no tree leads to",
       [&] { Put("_HISTORY.INF", 4, {0}); },
       {{RAW_PROBLEM_CONTENT, "_HISTORY.INF", true}},
       kHistoryHeader + 4 * 123},
      {"a loop of siblings",
       [&] { Put("_HISTORY.INF", kHistoryHeader + 3 * 123 + 8, {2}); },
       {{RAW_PROBLEM_CONTENT, "_HISTORY.INF", true}},
       kHistoryHeader + 4 * 123},
  };
  for (const auto& damaged : kCases) {
    SCOPED_TRACE(damaged.name);
    std::filesystem::remove_all(Native(Path()));
    ASSERT_NO_FATAL_FAILURE(MakeSound());
    damaged.damage();
    std::set<std::string> names = Names();
    EXPECT_EQ(Check(), damaged.problems);
    EXPECT_EQ(Names(), names) << "checking has changed the directory";
    const bool mends = !damaged.problems.empty() && std::get<bool>(damaged.problems[0]);
    const std::string changed = mends ? std::get<std::string>(damaged.problems[0]) : "";
    const Bytes before = mends ? ReadFile(Path(changed)) : Bytes();

    std::vector<Problem> repaired;
    int32_t remaining = -1;
    ASSERT_EQ(RawRepairDirectory(Path().c_str(), Collect, &repaired, &remaining), RAW_OK);
    EXPECT_EQ(repaired, damaged.problems);
    const auto mended = std::count_if(repaired.begin(), repaired.end(), [](const Problem& problem) {
      return std::get<bool>(problem);
    });
    EXPECT_EQ(remaining, static_cast<int32_t>(repaired.size()) - mended);
    EXPECT_EQ(Check().size(), static_cast<size_t>(remaining));
    if (!mends) {
      EXPECT_EQ(Names(), names);
      continue;
    }
    EXPECT_EQ(ReadFile(Path(changed)).size(), damaged.size_after);
    EXPECT_EQ(ReadFile(Path(changed + ".BAK")), before);
  }
}

TEST_F(DirectoryCheckTest, RemovesWhatAKilledWriterLeft) {
  WriteText(Path("_HEADER.TXT.lock"), "Tervalon change\n_HEADER.TXT.0123456789abcdef.tmp\n");
  WriteText(Path("_HEADER.TXT.0123456789abcdef.tmp"), "half of a header");
  WriteText(Path("notes.lock"), "of another program");
  const std::vector<Problem> left = {{RAW_PROBLEM_LEFT_OVER, "_HEADER.TXT.lock", true}};
  EXPECT_EQ(Check(), left);
  int32_t remaining = -1;
  EXPECT_EQ(RawRepairDirectory(Path().c_str(), nullptr, nullptr, &remaining), RAW_OK);
  EXPECT_EQ(remaining, 0);
  EXPECT_EQ(Check(), std::vector<Problem>());
  EXPECT_EQ(Names().count("notes.lock"), 1u);
  EXPECT_EQ(Names().count("_HEADER.TXT.0123456789abcdef.tmp"), 0u);
}

TEST_F(DirectoryCheckTest, NothingIsChangedWithoutACopy) {
  Append("_FUNC001.IDX", 7);
  Append("_HISTORY.INF", 0);
  Put("_HISTORY.INF", 4, {0});
  const Bytes index = ReadFile(Path("_FUNC001.IDX"));
  const Bytes history = ReadFile(Path("_HISTORY.INF"));
  for (const FileCall call : {FileCall::kOpen, FileCall::kWrite, FileCall::kClose}) {
    FaultyFileSystem& files = UseFaultyFiles();
    files.OnlyPathsWith(".BAK");
    files.On(call).FailNth(1, /*onwards=*/true);
    int32_t remaining = -1;
    EXPECT_EQ(RawRepairDirectory(Path().c_str(), nullptr, nullptr, &remaining), RAW_OK);
    EXPECT_EQ(remaining, 2);
    EXPECT_EQ(ReadFile(Path("_FUNC001.IDX")), index);
    EXPECT_EQ(ReadFile(Path("_HISTORY.INF")), history);
    EXPECT_EQ(Names().count("_FUNC001.IDX.BAK"), 0u);
    EXPECT_EQ(files.open_files(), 0);
  }
}

TEST_F(DirectoryCheckTest, Refusals) {
  int32_t problems = 7;
  EXPECT_EQ(RawCheckDirectory(nullptr, nullptr, nullptr, &problems), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(problems, 0);
  EXPECT_EQ(RawRepairDirectory(temp_.Path("NOTHING").c_str(), nullptr, nullptr, nullptr),
            RAW_DIRECTORY_ABSENT);
}

}  // namespace
}  // namespace tervalon::testing
