// Analog channels and processing histories, as people and programs see them.

#include <gmock/gmock.h>

#include <cstring>

#include "tervalon/raw_directory.h"
#include "tervalon/raw_history.h"
#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

class ShownHistory : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "10"}); }

  RawHistoryEntry& Add(int16_t tree, uint16_t parent, uint16_t type, const std::string& name) {
    RawHistoryEntry entry = {};
    entry.process.type = type;
    std::strcpy(entry.process.name, name.c_str());
    EXPECT_EQ(RawHistAddProcess(&header_, entries_.data(), tree, parent, &entry), 0);
    return entries_[entry.index];
  }

  void Write() {
    int32_t handle = -1;
    ASSERT_EQ(RawReadOpen(Path("run.raw").c_str(), &handle), RAW_OK);
    EXPECT_EQ(RawHistUpdateInfo(handle, &header_, entries_.data()), RAW_OK);
    EXPECT_EQ(RawReadClose(handle), RAW_OK);
  }

  void WriteSample() {
    RawHistoryEntry& first = Add(1, 0, RAW_STEP_REFINE, "_PROC001");
    const int32_t window = 5;
    std::memcpy(first.process.parameters, &window, sizeof(window));
    first.process.created = 1748836799;
    Add(1, 1, RAW_STEP_CENTER, "_PROC002").flags = RAW_HISTORY_PROTECTED;
    Add(1, 0, RAW_STEP_MODIFY, "\xB5");
    Add(3, 0, RAW_STEP_MODIFY, "_PROC004");
    Write();
  }

  RawHistoryHeader header_ = {
      .tree_count = RAW_HISTORY_TREES, .highest_index = 0, .roots = {}, .counts = {}};
  std::vector<RawHistoryEntry> entries_ =
      std::vector<RawHistoryEntry>(RAW_HISTORY_ENTRIES, RawHistoryEntry{});
};

TEST_F(ShownHistory, IsAnOutlineForPeople) {
  std::filesystem::remove(NativePath("run.raw/_HISTORY.INF"));
  EXPECT_EQ(Output({"history", "run.raw"}), "Processing history\n  none\n");
  EXPECT_EQ(Json({"history", "run.raw"})["history"], json::array());
  WriteSample();
  const std::string text = Output({"history", "run.raw"});
  EXPECT_THAT(text, HasSubstr("Function 1: TOF MS\n"));
  EXPECT_THAT(text, HasSubstr("\n  Refine (5,0)  _PROC001  "));
  EXPECT_THAT(text, HasSubstr("\n    Center      _PROC002                   protected\n"));
  EXPECT_THAT(text, HasSubstr("\n  Modify        \u00B5\n"));
  EXPECT_THAT(text, HasSubstr("\n\nFunction 3: SIR of 7 channels\n"));
  EXPECT_THAT(Output({"info", "run.raw"}), HasSubstr("    Center"));
}

TEST_F(ShownHistory, IsATableForPrograms) {
  WriteSample();
  const json steps = Json({"history", "run.raw"})["history"];
  ASSERT_EQ(steps.size(), 4U);
  EXPECT_EQ(steps[0]["created"], 1748836799);
  EXPECT_EQ(steps[1], (json{{"function", 1},
                            {"depth", 1},
                            {"index", 2},
                            {"parent", 1},
                            {"type", 4},
                            {"description", "Center"},
                            {"name", "_PROC002"},
                            {"created", 0},
                            {"deletion_pending", false},
                            {"protected", true}}));
  EXPECT_EQ(Json({"info", "run.raw"})["history"], steps);
  EXPECT_THAT(Output({"history", "run.raw", "--csv"}),
              HasSubstr("\n3,0,4,0,6,Modify,_PROC004,0,0,0\n"));
}

TEST_F(ShownHistory, CirclesAndCutOffFilesEnd) {
  WriteSample();
  entries_[2].first_child = 1;
  entries_[4].next = 4;
  Write();
  EXPECT_EQ(Json({"history", "run.raw"})["history"].size(), 4U);
  auto file = ReadFile(Path("run.raw\\_HISTORY.INF"));
  file.resize(132 + 3 * 123 + 50);
  WriteFile(Path("run.raw\\_HISTORY.INF"), file);
  const ProcessResult cut = Run({"history", "run.raw", "--json"});
  EXPECT_EQ(cut.status, 0);
  EXPECT_THAT(cut.err, HasSubstr("_HISTORY.INF: cut off"));
  EXPECT_EQ(json::parse(cut.out)["history"].size(), 2U);
  ExpectFailure({"history", "absent.raw"}, 1, "absent.raw: no such directory");
}

TEST_F(ShownHistory, AnalogChannelsAreListed) {
  const json channels = Json({"info", "run.raw"})["analog_channels"];
  ASSERT_EQ(channels.size(), 2U);
  EXPECT_EQ(channels[1]["trace"], "AN2");
  EXPECT_EQ(channels[1]["name"], "Pump pressure");
  EXPECT_EQ(channels[1]["unit"], "bar");
  EXPECT_EQ(channels[1]["records"], 20);
  EXPECT_EQ(channels[1]["first_time"], 0);
  EXPECT_NEAR(channels[1]["last_time"].get<double>(), 7.6, 1e-6);
  // Descriptors may hold anything, and samples be missing.
  WriteFile(Path("run.raw\\_ANALOGS.INF"), std::vector<uint8_t>(85, 0xFF));
  std::filesystem::remove(NativePath("run.raw/_ANALOGS.DAT"));
  const json odd = Json({"info", "run.raw"})["analog_channels"];
  ASSERT_EQ(odd.size(), 1U);
  EXPECT_EQ(odd[0]["records"], nullptr);
  EXPECT_EQ(odd[0]["unit"], "");
}

}  // namespace
}  // namespace tervalon::testing
