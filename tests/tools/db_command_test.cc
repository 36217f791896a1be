// The db command: databases made, filled, changed and printed.

#include <gmock/gmock.h>

#include <string>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using ::testing::HasSubstr;

class DbCommand : public ProgramTest {
 protected:
  void CreatePeaks() const {
    Output({"db", "create", "P1.DBF", "--type", "peak list"});
    Output({"db", "insert", "P1.DBF", "NAME=Caffeine", "FOUND_RT=4.125", "EXC_STD=true"});
    Output({"db", "insert", "P1.DBF", "NAME=Theo, \u00FCber", "PRED_SCAN=-17"});
  }
};

TEST_F(DbCommand, RecordsAreInsertedShownAndDeleted) {
  CreatePeaks();
  Output({"db", "insert", "P1.DBF", "NAME=First", "--at", "1"});
  const nlohmann::json list = Json({"db", "list", "P1.DBF", "--fields", "name,FOUND_RT"});
  EXPECT_EQ(list["title"], "Peak List");
  EXPECT_EQ(list["count"], 3);
  EXPECT_EQ(list["records"], nlohmann::json::parse(R"([
      {"record": 1, "NAME": "First", "FOUND_RT": 0},
      {"record": 2, "NAME": "Caffeine", "FOUND_RT": 4.125},
      {"record": 3, "NAME": "Theo, über", "FOUND_RT": 0}])"));

  const nlohmann::json third = Json({"db", "show", "P1.DBF", "3"})["record"];
  EXPECT_EQ(third["PRED_SCAN"], -17);
  EXPECT_EQ(third["EXC_STD"], false);
  EXPECT_EQ(third["RAW_NAME"], "");
  EXPECT_EQ(third.size(), 139U);
  EXPECT_TRUE(third.contains("PK_AREAREL#2"));

  Output({"db", "delete", "P1.DBF", "2"});
  EXPECT_EQ(Output({"db", "export", "P1.DBF", "--fields", "NAME,EXC_STD"}),
            "record,NAME,EXC_STD\n1,First,0\n2,\"Theo, \u00FCber\",0\n");
  EXPECT_THAT(Output({"db", "list", "P1.DBF"}), HasSubstr("Peak List"));
}

TEST_F(DbCommand, CsvThatIsExportedIsTakenBack) {
  CreatePeaks();
  const std::string exported = Output({"db", "export", "P1.DBF"});
  WriteText(Path("peaks.csv"), exported);
  Output({"db", "create", "P2.DBF", "--type", "2"});
  Output({"db", "insert", "P2.DBF", "--from", "peaks.csv"});
  EXPECT_EQ(Output({"db", "export", "P2.DBF"}), exported);

  WriteText(Path("changes.csv"), "TEXT,record\r\n\"two\r\nlines\",2\r\n\"say \"\"one\"\"\",1\r\n");
  Output({"db", "update", "P2.DBF", "--from", "changes.csv"});
  Output({"db", "update", "P2.DBF", "1", "USER_VAL_1=-0.5"});
  const nlohmann::json records = Json({"db", "export", "P2.DBF"})["records"];
  EXPECT_EQ(records[0]["TEXT"], "say \"one\"");
  EXPECT_EQ(records[0]["USER_VAL_1"], -0.5);
  EXPECT_EQ(records[0]["NAME"], "Caffeine");
  EXPECT_EQ(records[1]["TEXT"], "two\r\nlines");
}

TEST_F(DbCommand, NamesBeyondAsciiAreUtf8) {
  const std::string name = "\u00D6le \u00FC.DBF";
  Output({"db", "create", name, "--type", "Peak List"});
  EXPECT_TRUE(
      exists(NativePath() / std::filesystem::path(std::u8string(name.begin(), name.end()))));
  Output({"db", "insert", name, "NAME=\u00FCber"});
  EXPECT_EQ(Json({"db", "list", name})["records"][0]["NAME"], "\u00FCber");
  ExpectFailure({"db", "create", name, "--type", "2"}, 1, name + ": exists");
  ExpectFailure({"db", "show", name, "2"}, 1, name + ", record 2: no such record");
#if defined(_WIN32)
  ExpectFailure({"db", "list", "\u0416.DBF"}, 1, "\u0416.DBF: the name has characters that");
#endif
}

TEST_F(DbCommand, DamageIsFoundAndMended) {
  CreatePeaks();
  const nlohmann::json whole = Json({"db", "check", "P1.DBF"});
  EXPECT_EQ(whole["sound"], true);
  EXPECT_EQ(whole["findings"].size(), 0U);
  const std::string records = Output({"db", "export", "P1.DBF"});
  auto bytes = ReadFile(Path("P1.DBF"));
  bytes[4] = 9;  // of the record count
  bytes.push_back('x');
  WriteFile(Path("P1.DBF"), bytes);
  const ProcessResult damaged = Run({"db", "check", "P1.DBF", "--json"});
  EXPECT_EQ(damaged.status, 1);
  EXPECT_EQ(damaged.err, "");
  EXPECT_EQ(nlohmann::json::parse(damaged.out)["sound"], false);
  EXPECT_GT(nlohmann::json::parse(damaged.out)["findings"].size(), 0U);
  EXPECT_EQ(ReadFile(Path("P1.DBF")), bytes);
  EXPECT_THAT(Output({"db", "repair", "P1.DBF"}), HasSubstr("Findings"));
  EXPECT_EQ(ReadFile(Path("P1.DBF.old")), bytes);
  EXPECT_EQ(Json({"db", "check", "P1.DBF"})["sound"], true);
  EXPECT_EQ(Output({"db", "export", "P1.DBF"}), records);
  WriteText(Path("text.DBF"), "not a database");
  EXPECT_EQ(Run({"db", "check", "text.DBF"}).status, 1);
  ExpectFailure({"db", "check", "P9.DBF"}, 1, "P9.DBF: no such file");
}

TEST_F(DbCommand, WorksForEveryType) {
  const nlohmann::json types = Json({"db", "types"})["types"];
  ASSERT_EQ(types.size(), 20U);
  for (const nlohmann::json& type : types) {
    SCOPED_TRACE(type["title"]);
    const std::string number = std::to_string(type["type"].get<int>());
    const std::string file = "T" + number + ".DBF";
    Output({"db", "create", file, "--type", type["title"]});
    Output({"db", "insert", file, "--type", number});
    const nlohmann::json record = Json({"db", "show", file, "1"})["record"];
    // Opened as the type of these fields that holds all of them.
    EXPECT_EQ(record.size() + 1, type["fields"]);
  }
}

TEST_F(DbCommand, WhatIsWrongIsToldAndNothingIsWritten) {
  CreatePeaks();
  WriteText(Path("text.DBF"), "not a database");
  WriteText(Path("wrong.csv"), "NAME,AREA\nFine,1\nWrong,1x\n");
  WriteText(Path("short.csv"), "NAME,AREA\nFine\n");
  WriteText(Path("open.csv"), "NAME\n\"Fine\n");
  WriteText(Path("where.csv"), "NAME\nFine\n");
  const std::string before = Output({"db", "export", "P1.DBF"});
  ExpectFailures({
      {{"db", "list", "P9.DBF"}, 1, "P9.DBF: no such file"},
      {{"db", "list", "text.DBF"}, 1, "text.DBF: not a record database"},
      {{"db", "list", "P1.DBF", "--type", "Tune"}, 1, "the fields are not those of the type"},
      {{"db", "list", "P1.DBF", "--type", "Tunes"}, 2, "'Tunes' is no type"},
      {{"db", "list", "P1.DBF", "--fields", "NAME,"}, 2, "'' is no field of \"Peak List\""},
      {{"db", "list", ""}, 2, "FILE: the value is empty"},
      {{"db", "show", "P1.DBF", "3"}, 1, "P1.DBF, record 3: no such record"},
      {{"db", "show", "P1.DBF", "0"}, 2, "RECORD"},
      {{"db", "delete", "P1.DBF", "3"}, 1, "no such record"},
      {{"db", "create", "P1.DBF", "--type", "2"}, 1, "P1.DBF: exists"},
      {{"db", "insert", "P1.DBF", "--at", "4"}, 1, "no such record"},
      {{"db", "insert", "P1.DBF", "NAME"}, 2, "'NAME' is not FIELD=VALUE"},
      {{"db", "insert", "P1.DBF", "NAMES=x"}, 2, "'NAMES' is no field"},
      {{"db", "insert", "P1.DBF", "R_AH=xy"}, 2, "R_AH: 'xy' is longer than 1 characters"},
      {{"db", "insert", "P1.DBF", "NAME=\u0416"}, 2, "beyond Latin-1"},
      {{"db", "insert", "P1.DBF", "MAT=12345"}, 2, "too long for 4 characters with 0 decimals"},
      {{"db", "insert", "P1.DBF", "MAT=1.5"}, 2, "not a whole number"},
      {{"db", "insert", "P1.DBF", "EXC_STD=maybe"}, 2, "neither true nor false"},
      {{"db", "insert", "P1.DBF", "--from", "wrong.csv"},
       1,
       "wrong.csv, line 3: AREA: '1x' is not a number"},
      {{"db", "insert", "P1.DBF", "--from", "short.csv"}, 1, "line 2: has 1 values for 2 columns"},
      {{"db", "insert", "P1.DBF", "--from", "open.csv"}, 1, "a quotation mark is missing"},
      {{"db", "insert", "P1.DBF", "--from", "none.csv"}, 1, "none.csv: cannot be read"},
      {{"db", "update", "P1.DBF", "--from", "where.csv"}, 1, "has no column 'record'"},
      {{"db", "update", "P1.DBF"}, 2, "update needs"},
  });
  EXPECT_EQ(Output({"db", "export", "P1.DBF"}), before);

  Output({"db", "create", "P1.DBF", "--type", "2", "--replace"});
  EXPECT_EQ(Json({"db", "list", "P1.DBF"})["count"], 0);
  // The settings of the working directory are none of the command's business.
  EXPECT_THAT(Names(), ::testing::Not(::testing::Contains("TERVALON.INI")));
}

}  // namespace
}  // namespace tervalon::testing
