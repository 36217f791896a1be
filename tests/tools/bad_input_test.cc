// What bad input gets: one line that names the file and the reason, and never a crash.

#include <gmock/gmock.h>

#include <random>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using ::testing::HasSubstr;

class BadInput : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "20"}); }

  std::string Member(const std::string& name) const { return Path("run.raw\\" + name); }

  // Runs that may fail, but have to end by themselves and in order.
  void ExpectNoCrash() const {
    const Arguments runs[] = {{"info", "run.raw"},
                              {"info", "run.raw", "--json"},
                              {"spectrum", "run.raw", "-f", "1", "-s", "3", "--json"},
                              {"spectrum", "run.raw", "-f", "2", "-t", "4"},
                              {"chrom", "run.raw", "-f", "1", "--mass", "100-500", "--plot"},
                              {"chrom", "run.raw", "-f", "2", "--bpi", "--json"}};
    for (const Arguments& run : runs) {
      const ProcessResult result = Run(run);
      EXPECT_LE(result.status, 1) << ::testing::PrintToString(run) << result.err;
      EXPECT_EQ(result.status == 0, !result.out.empty()) << ::testing::PrintToString(run);
      if (result.status == 0 && run.back() == "--json") {
        EXPECT_TRUE(nlohmann::json::accept(result.out)) << result.out;
      }
    }
  }
};

TEST_F(BadInput, WrongUsageIsToldApart) {
  ExpectFailures({
      {{}, 2, "a command is missing ('tervalon --help' lists them)"},
      {{"settings", "put"}, 2, "no command 'put' ('tervalon settings --help' lists them)"},
      {{"frobnicate"}, 2, "no command 'frobnicate'"},
      {{"info"}, 2, "DIR is required"},
      {{"info", ""}, 2, "DIR: the value is empty"},
      {{"plot", "run.raw", "--range", ""}, 2, "--range: the value is empty"},
      {{"spectrum", "run.raw", "-t", ""}, 2, "--time: the value is empty"},
      {{"noise", "run.raw", "--from", ""}, 2, "--from: the value is empty"},
      {{"settings", "set", "", "B", "x"}, 2, "SECTION: the value is empty"},
      {{"info", "run.raw", "--csv", "--json"}, 2, "--csv excludes --json"},
      {{"info", "run.raw", "--colour"}, 2, "--colour"},
      {{"spectrum", "run.raw", "-f", "1"}, 2, "1 option from"},
      {{"spectrum", "run.raw", "-f", "1", "-s", "1", "-t", "1"}, 2, "1 option from"},
      {{"spectrum", "run.raw", "-f", "0", "-s", "1"}, 2, "--function"},
      {{"spectrum", "run.raw", "-f", "33", "-s", "1"}, 2, "--function"},
      {{"spectrum", "run.raw", "-f", "1", "-s", "0"}, 2, "--scan"},
      {{"spectrum", "run.raw", "-f", "1", "-t", "soon"}, 2, "--time: 'soon' is not a number"},
      {{"spectrum", "run.raw", "-f", "1", "-t", "-2"}, 2, "--time: -2 is before the start"},
      {{"spectrum", "run.raw", "-f", "1", "-s", "1", "--data-type", "3"}, 2, "--process"},
      {{"spectrum", "run.raw", "-f", "1", "-s", "1", "-p", "256"}, 2, "--process"},
      {{"chrom", "run.raw", "-f", "1", "--tic", "--bpi"}, 2, "at most 1"},
      {{"chrom", "run.raw", "-f", "1", "--trace", "TIC", "--bpi"}, 2, "at most 1"},
      {{"chrom", "run.raw", "-f", "1", "--trace", "TIC,184--200"}, 2, "'184--200' is no trace"},
      {{"chrom", "run.raw", "--trace", "AN5"}, 2, "'AN5' is no trace"},
      {{"chrom", "run.raw", "--trace", "184+300_200"}, 2, "'184+300_200' is no trace"},
      {{"chrom", "run.raw", "--trace", "40000"}, 2, "'40000' is no trace"},
      {{"chrom", "run.raw", "--trace", "100 200"}, 2, "'100 200' is no trace"},
      {{"chrom", "run.raw", "--trace", "455.2-455.4"}, 2, "a range is written with '_'"},
      {{"chrom", "run.raw", "-f", "1", "--trace", " , "}, 2, "no trace is given"},
      {{"chrom", "run.raw", "-f", "1", "--tolerance", "1"}, 2, "--tolerance requires --trace"},
      {{"chrom", "run.raw", "-f", "1", "--trace", "184", "--tolerance", "-1"}, 2, "no tolerance"},
      {{"chrom", "run.raw", "-f", "1", "--mass", "200-100"}, 2, "'200-100' begins above its end"},
      {{"chrom", "run.raw", "-f", "1", "--mass", "200"}, 2, "not a range of masses"},
      {{"chrom", "run.raw", "-f", "1", "--mass", "1-2x"}, 2, "not a range of masses"},
      {{"simulate", "new.raw", "--scans", "0"}, 2, "--scans"},
      {{"simulate", "new.raw", "--duration", "nan"}, 2, "--duration"},
      {{"settings", "set", "A", "B=C", "x"}, 2, "cannot be the name of a key"},
      {{"settings", "set", "A", " B", "x"}, 2, "cannot be the name of a key"},
      {{"settings", "set", "A", "B", std::string(513, 'x')}, 2, "longer than 512"},
  });
}

TEST_F(BadInput, WhatIsNotThereIsNamed) {
  WriteText(Path("plain"), "");
  std::filesystem::create_directory(NativePath("empty"));
  ExpectFailure({"info", "absent.raw"}, 1, "absent.raw: no such directory");
  ExpectFailure({"info", "plain"}, 1, "plain: not a raw data directory but a file");
  ExpectFailure({"info", std::string(260, 'x')}, 1, "the path is longer than 259 characters");
  ExpectFailure({"chrom", "empty", "-f", "1"}, 1, "empty: not a raw data directory");
  ExpectFailure({"chrom", "run.raw", "-f", "4"}, 1, "run.raw: no function 4");
  ExpectFailure({"chrom", "run.raw", "-f", "1", "--trace", "TIC,NL18"}, 1,
                "function 1: has no trace NL18");
  ExpectFailure({"chrom", "run.raw", "-f", "1", "--trace", "AN4"}, 1, "has no trace AN4");
  ExpectFailures({
      {{"chrom", "run.raw", "--trace", "5000"}, 1, "no trace 5000: its masses are 100 to 900"},
      {{"chrom", "run.raw", "--mass", "1-20"}, 1, "no trace 1-20: its masses are 100 to 900"},
      {{"chrom", "run.raw", "-f", "3", "--trace", "250"}, 1, "its masses are 195.0876, 311.0808"},
      {{"spectrum", "run.raw", "-t", "1e9"}, 1, "no scan at 1e+09 min: its times are 0.0000 to 7."},
      {{"plot", "run.raw", "-t", "1e9"}, 1, "no scan at 1e+09 min"},
  });
  ExpectFailure({"spectrum", "run.raw", "-f", "1", "-s", "21"}, 1,
                "no scan 21: it has scans 1 to 20");
  ExpectFailure({"spectrum", "run.raw", "-f", "1", "-p", "7", "-s", "1"}, 1,
                "_PROC007.IDX: missing");
  ExpectFailure({"settings", "get", "None", "None"}, 1, "TERVALON.INI: no key 'None'");
  for (const std::string member : {"_FUNC002.DAT", "_FUNC001.IDX", "_FUNCTNS.INF", "_HEADER.TXT"}) {
    std::filesystem::remove(NativePath("run.raw\\" + member));
    const std::string function = member.substr(0, 8) == "_FUNC002" ? "2" : "1";
    ExpectFailure({"chrom", "run.raw", "-f", function}, 1,
                  member == "_HEADER.TXT" ? "not a raw data directory" : member + ": missing");
  }
}

TEST_F(BadInput, CutOffDataGiveFewerScansAndPoints) {
  auto data = ReadFile(Member("_FUNC002.DAT"));
  data.resize(data.size() / 2 + 1001);
  WriteFile(Member("_FUNC002.DAT"), data);
  EXPECT_EQ(Json({"info", "run.raw"})["functions"][1]["scans"], 10);
  EXPECT_EQ(Json({"chrom", "run.raw", "-f", "2"})["chromatogram"]["tic"].size(), 10U);
  const ProcessResult cut = Run({"spectrum", "run.raw", "-f", "2", "-s", "11", "--json"});
  EXPECT_EQ(cut.status, 0);
  EXPECT_THAT(cut.err, HasSubstr("cut off after 500 of 5001 points"));
  EXPECT_EQ(nlohmann::json::parse(cut.out)["points"]["mass"].size(), 500U);
}

TEST_F(BadInput, ScansThatCannotBeReadAreNotNone) {
  std::filesystem::remove(NativePath("run.raw\\_FUNC002.DAT"));
  std::filesystem::create_directory(NativePath("run.raw\\_FUNC002.DAT"));
  const ProcessResult info = Run({"info", "run.raw", "--json"});
  EXPECT_EQ(info.status, 0);
  EXPECT_THAT(info.err, HasSubstr("_FUNC002.DAT: cannot be opened"));
  const nlohmann::json functions = nlohmann::json::parse(info.out)["functions"];
  EXPECT_EQ(functions[1]["scans"], nullptr);
  EXPECT_EQ(functions[2]["scans"], 20);
}

TEST_F(BadInput, DamageIsFoundAndMended) {
  EXPECT_EQ(Json({"check", "run.raw"})["sound"], true);
  auto index = ReadFile(Member("_FUNC001.IDX"));
  index.resize(index.size() - 7);
  WriteFile(Member("_FUNC001.IDX"), index);
  const ProcessResult damaged = Run({"check", "run.raw", "--json"});
  EXPECT_EQ(damaged.status, 1);
  EXPECT_EQ(damaged.err, "");
  EXPECT_THAT(damaged.out, HasSubstr("_FUNC001.IDX"));
  EXPECT_EQ(ReadFile(Member("_FUNC001.IDX")), index);
  EXPECT_THAT(Output({"check", "run.raw", "--repair"}), HasSubstr("_FUNC001.IDX"));
  EXPECT_EQ(ReadFile(Member("_FUNC001.IDX.BAK")), index);
  EXPECT_EQ(Json({"check", "run.raw"})["sound"], true);
  EXPECT_EQ(Json({"info", "run.raw"})["functions"][0]["scans"], 19);
  ExpectFailure({"check", "absent.raw"}, 1, "absent.raw: no such directory");
}

TEST_F(BadInput, AnUnstorableDataTypeIsRefused) {
  auto table = ReadFile(Member("_FUNCTNS.INF"));
  table[1] = static_cast<uint8_t>(5 << 2);
  WriteFile(Member("_FUNCTNS.INF"), table);
  ExpectFailure({"chrom", "run.raw", "-f", "1"}, 1, "function 1: data type 5 is not a stored one");
  const ProcessResult info = Run({"info", "run.raw", "--json"});
  EXPECT_EQ(nlohmann::json::parse(info.out)["functions"][0]["scans"], nullptr);
  EXPECT_THAT(info.err, HasSubstr("data type 5 is not a stored one"));
}

TEST_F(BadInput, RandomBytesDoNoHarm) {
  std::mt19937 random(7);
  for (const char* member :
       {"_HEADER.TXT", "_FUNC001.IDX", "_FUNC002.IDX", "_FUNC001.DAT", "_FUNCTNS.INF"}) {
    SCOPED_TRACE(member);
    auto bytes = ReadFile(Member(member));
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    WriteFile(Member(member), bytes);
    ExpectNoCrash();
  }
}

TEST_F(BadInput, ControlsInHeaderTextsDoNotReachATerminal) {
  WriteText(Member("_HEADER.TXT"),
            "$$ Job Code: a\x1B[2J\x9B"
            "2Jb\xFC,\"c\"\r\n");
  EXPECT_THAT(Output({"info", "run.raw"}), HasSubstr("a?[2J?2Jb\u00FC,\"c\"\n"));
  EXPECT_EQ(Json({"info", "run.raw"})["header"]["job_code"],
            "a\x1B[2J\u009B"
            "2Jb\u00FC,\"c\"");
  EXPECT_THAT(Output({"info", "run.raw", "--csv"}), HasSubstr("b\u00FC,\"\"c\"\"\"\n"));
}

TEST_F(BadInput, SettingsAreKeptInTheWorkingDirectory) {
  EXPECT_EQ(Json({"settings", "list"})["settings"].size(), 0U);
  Output({"settings", "set", "Acquisition", "Instrument", "TOF 1"});
  Output({"settings", "set", "Acquisition", "Empty", ""});
  Output({"settings", "set", "Other", "Key", "1"});
  EXPECT_EQ(Output({"settings", "get", "acquisition", "INSTRUMENT"}), "TOF 1\n");
  EXPECT_EQ(Output({"settings", "get", "Acquisition", "Empty"}), "\n");
  EXPECT_EQ(Output({"settings", "list", "--csv"}),
            "section,key,value\nAcquisition,Instrument,TOF 1\nAcquisition,Empty,\nOther,Key,1\n");
  EXPECT_THAT(ReadText(Path("TERVALON.INI")), HasSubstr("[Acquisition]"));
#if defined(_WIN32)  // what a line of the command can hold
  const std::string quoted = "'quoted'";
#else
  const std::string quoted = "\"quoted\"";
#endif
  for (const std::string& value : {std::string("  two words "), quoted, std::string("\t")}) {
    Output({"settings", "set", "Other", "Key", value});
    EXPECT_EQ(Json({"settings", "get", "Other", "Key"})["setting"]["value"], value);
  }
  Output({"settings", "set", "Other", "Key", "1"});
  // A setting that sends analog data elsewhere does not keep the rest from being read.
  Output({"settings", "set", "Acquisition", "IsGCMD", "TRUE"});
  EXPECT_EQ(Json({"info", "run.raw"})["analog"]["channels"], nullptr);
}

}  // namespace
}  // namespace tervalon::testing
