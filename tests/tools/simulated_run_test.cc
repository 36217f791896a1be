// A simulated acquisition, from its writing to every way of reading it.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class SimulatedRun : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "60", "--duration", "3"}); }

  static json Summary(const json& functions, const char* key) {
    json values = json::array();
    for (const json& function : functions) values.push_back(function[key]);
    return values;
  }
};

TEST_F(SimulatedRun, ShowsItsHeaderAndFunctions) {
  const json info = Json({"info", "run.raw"});
  EXPECT_EQ(info["directory"], "run.raw");
  EXPECT_EQ(info["header"]["acquired_name"], "run");
  EXPECT_EQ(info["header"]["conditions"], "2.1 x 50 mm, 0.4 mL/min, 40 \u00B0C");  // was Latin-1
  const json& functions = info["functions"];
  EXPECT_EQ(Summary(functions, "type_name"), json({"TOF MS", "Scan", "SIR of 7 channels"}));
  EXPECT_EQ(Summary(functions, "ion_mode_name"), json({"ES+", "ES+", "ES+"}));
  EXPECT_EQ(Summary(functions, "data_type_name"),
            json({"Standard centroid", "Continuum", "SIR or MRM data"}));
  EXPECT_EQ(Summary(functions, "low_mass"), json({100, 150, nullptr}));
  EXPECT_EQ(Summary(functions, "high_mass"), json({900, 650, nullptr}));
  EXPECT_EQ(Summary(functions, "scans"), json({60, 60, 60}));
  EXPECT_EQ(functions[0]["first_time"], 0);
  EXPECT_FLOAT_EQ(functions[0]["last_time"].get<float>(), 2.95F);
  EXPECT_EQ(info["channels"].size(), 7U);
  EXPECT_EQ(Summary(info["processed_sets"], "process"), json({1, 2, 3}));
  EXPECT_EQ(Summary(info["history"], "parent"), json({0, 1, 2}));
  EXPECT_EQ(Summary(info["history"], "description"),
            json({"Combine (33:37-(23:26)x1)", "Smooth (Mean,1x2)", "Center"}));

  const std::string text = Output({"info", "run.raw"});
  EXPECT_THAT(text, HasSubstr("  Conditions     2.1 x 50 mm, 0.4 mL/min, 40 \u00B0C\n"));
  EXPECT_THAT(text, HasSubstr("  3  SIR of 7 channels  ES+   SIR or MRM data "));
}

TEST_F(SimulatedRun, HoldsTheFirstCompoundWithItsIsotopes) {
  // C8H10N4O2 with a proton, at 16 % of the run: 8.6 % of its molecules have one 13C, and some a
  // 15N.
  const json scan = Json({"spectrum", "run.raw", "-f", "1", "-t", "0.48", "--top", "2"});
  const json& points = scan["points"];
  ASSERT_EQ(points["mass"].size(), 2U);
  EXPECT_NEAR(points["mass"][0].get<double>(), 195.08765, 0.001);
  EXPECT_NEAR(points["mass"][1].get<double>(), 196.0905, 0.002);
  const double ratio = points["intensity"][1].get<double>() / points["intensity"][0].get<double>();
  EXPECT_NEAR(ratio, 0.102, 0.02);

  const json trace = Json({"chrom", "run.raw", "-f", "1", "--mass", "195.07-195.11"});
  const auto values = trace["chromatogram"]["mass_195.07-195.11"].get<std::vector<float>>();
  const auto apex = std::max_element(values.begin(), values.end()) - values.begin();
  const auto apex_time = trace["chromatogram"]["time"][static_cast<size_t>(apex)].get<double>();
  EXPECT_NEAR(apex_time, 0.5, 0.06);  // a little late: peaks tail
  EXPECT_LT(values.back(), values[static_cast<size_t>(apex)] / 100);
}

TEST_F(SimulatedRun, ProcessingFindsTheStrongestCompound) {
  // Of another data type than its function, which the history names.
  const json scan = Json({"spectrum", "run.raw", "-p", "3", "-s", "1", "--top", "1"});
  EXPECT_NEAR(scan["points"]["mass"][0].get<double>(), 455.29, 0.02);  // C27H38N2O4, protonated
  EXPECT_EQ(Json({"spectrum", "run.raw", "-f", "2", "-p", "3", "--data-type", "1", "-s", "1",
                  "--top", "1"}),
            scan);
  EXPECT_EQ(Json({"chrom", "run.raw", "-p", "3"})["chromatogram"]["tic"][0], scan["tic"]);
  ExpectFailure({"plot", "run.raw", "-f", "1", "-p", "3", "-s", "1"}, 1,
                "made from function 2, not 1");

  std::filesystem::remove(NativePath("run.raw\\_HISTORY.INF"));
  ExpectFailure({"spectrum", "run.raw", "-p", "3", "-s", "1"}, 1, "which function it was made");
  EXPECT_EQ(Json({"spectrum", "run.raw", "-f", "2", "-p", "3", "-s", "1", "--top", "1"}), scan);
  auto index = ReadFile(Path("run.raw\\_PROC003.IDX"));
  index[11] ^= 0x40;  // of the total ion current
  WriteFile(Path("run.raw\\_PROC003.IDX"), index);
  ExpectFailure({"spectrum", "run.raw", "-f", "2", "-p", "3", "-s", "1"}, 1,
                "does not tell the data type");
}

TEST_F(SimulatedRun, ChromatogramsAgreeWithSpectra) {
  for (const std::string function : {"1", "2", "3"}) {
    SCOPED_TRACE("function " + function);
    const json total = Json({"chrom", "run.raw", "-f", function})["chromatogram"];
    const json base = Json({"chrom", "run.raw", "-f", function, "--bpi"})["chromatogram"];
    const json masses = Json({"chrom", "run.raw", "-f", function, "--mass", "0-1e4", "--mass",
                              "150-400"})["chromatogram"];
    ASSERT_EQ(total["tic"].size(), 60U);
    EXPECT_EQ(total["time"], masses["time"]);
    EXPECT_EQ(total["tic"], masses["mass_0-1e4"]);
    const json traces =
        Json({"chrom", "run.raw", "-f", function, "--trace", " tic, bpi ,TIC"})["chromatogram"];
    EXPECT_EQ(traces["scan"].size(), 60U);
    EXPECT_EQ(traces["time"], total["time"]);
    EXPECT_EQ(traces["tic"], total["tic"]);
    EXPECT_EQ(traces["bpi"], base["bpi"]);
    const json scan = Json({"spectrum", "run.raw", "-f", function, "-s", "31"});
    EXPECT_EQ(scan["time"], total["time"][30]);
    EXPECT_EQ(scan["tic"], total["tic"][30]);
    const auto mass = scan["points"]["mass"].get<std::vector<float>>();
    const auto intensity = scan["points"]["intensity"].get<std::vector<float>>();
    EXPECT_EQ(scan["point_count"], mass.size());
    EXPECT_EQ(base["bpi"][30], *std::max_element(intensity.begin(), intensity.end()));
    double sum = 0;
    double inside = 0;
    for (size_t i = 0; i < mass.size(); ++i) {
      sum += intensity[i];
      inside += mass[i] >= 150 && mass[i] <= 400 ? intensity[i] : 0;
    }
    EXPECT_EQ(total["tic"][30], static_cast<float>(sum));
    EXPECT_EQ(masses["mass_150-400"][30], static_cast<float>(inside));
  }
}

TEST_F(SimulatedRun, MassTracesAreSumsOfTheirWindows) {
  const auto chrom = [this](const Arguments& more) {
    Arguments arguments = {"chrom", "run.raw", "-f", "1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Json(arguments)["chromatogram"];
  };
  const json sums = chrom({"--mass", "194.5-195.5", "--mass", "194.75-195.25", "--mass", "200-300",
                           "--mass", "199.5-200.5"});
  const json traces =
      Json({"chrom", "run.raw", "--trace", "195,200_300,195+200_300-194.5_195.5"})["chromatogram"];
  EXPECT_EQ(traces["mass_195"], sums["mass_194.5-195.5"]);
  EXPECT_EQ(traces["mass_200_300"], sums["mass_200-300"]);
  EXPECT_EQ(traces["mass_195+200_300-194.5_195.5"], traces["mass_200_300"]);
  EXPECT_EQ(chrom({"--trace", "195", "--tolerance", "0.25"})["mass_195"],
            sums["mass_194.75-195.25"]);
  EXPECT_EQ(chrom({"--trace", "200", "--tolerance", "2500ppm"})["mass_200"],
            sums["mass_199.5-200.5"]);
  EXPECT_THAT(Output({"chrom", "run.raw", "-f", "1", "--trace", "195,TIC", "--plot"}),
              HasSubstr("195, highest at "));
}

TEST_F(SimulatedRun, TracesKeepTheDigitsOfTheirMasses) {
  // A range from the strongest point on, and one from the next float.
  const json top = Json({"spectrum", "run.raw", "-t", "1.75", "--top", "1"});
  const auto mass = top["points"]["mass"][0].get<float>();
  const auto at = [](double value) { return json(value).dump(); };
  const std::string from = at(mass) + "_" + at(mass + 0.0003);
  const std::string above = at(std::nextafter(mass, 1e4F)) + "_" + at(mass + 0.0003);
  const json traces = Json({"chrom", "run.raw", "--trace", from + "," + above})["chromatogram"];
  const auto scan = top["scan"].get<size_t>() - 1;
  ASSERT_TRUE(traces.contains("mass_" + from)) << traces.dump().substr(0, 200);
  EXPECT_EQ(traces["mass_" + from][scan], top["points"]["intensity"][0]);
  EXPECT_EQ(traces["mass_" + above][scan], 0);
}

TEST_F(SimulatedRun, CsvAndJsonHoldTheSameFloats) {
  const json points = Json({"spectrum", "run.raw", "-f", "1", "-s", "12"})["points"];
  std::istringstream rows(Output({"spectrum", "run.raw", "-f", "1", "-s", "12", "--csv"}));
  std::string heading;
  std::getline(rows, heading);
  EXPECT_EQ(heading, "point,mass,intensity");
  size_t count = 0;
  size_t point = 0;
  char comma = 0;
  for (float mass = 0, height = 0; rows >> point >> comma >> mass >> comma >> height; ++count) {
    ASSERT_LT(count, points["mass"].size());
    EXPECT_EQ(mass, points["mass"][count].get<float>());
    EXPECT_EQ(height, points["intensity"][count].get<float>());
  }
  EXPECT_EQ(count, points["mass"].size());
  EXPECT_THAT(Output({"chrom", "run.raw", "-f", "3", "--bpi", "--csv"}),
              StartsWith("scan,time,bpi\n1,"));
  EXPECT_THAT(Output({"chrom", "run.raw", "--trace", "AN2,TIC,AN1", "--csv"}),
              AllOf(StartsWith("scan,time,an2,tic,an1\n1,0,,"), HasSubstr("\n,0,")));
  EXPECT_THAT(Output({"chrom", "run.raw", "--trace", "AN1", "--csv"}),
              StartsWith("scan,time,an1\n,0,"));
  const std::string info = Output({"info", "run.raw", "--csv"});
  EXPECT_THAT(info, StartsWith("section,row,name,value\n"));
  EXPECT_THAT(info, HasSubstr("\nfunctions,2,scans,60\n"));
}

TEST_F(SimulatedRun, DrawsPictures) {
  EXPECT_THAT(Output({"chrom", "run.raw", "-f", "1", "--plot"}),
              AllOf(HasSubstr("\u2588"), HasSubstr("2.95 min")));
  EXPECT_THAT(Output({"spectrum", "run.raw", "-f", "2", "-s", "1", "--plot"}),
              HasSubstr("650.00 m/z"));
}

TEST_F(SimulatedRun, EqualSeedsGiveEqualData) {
  Output({"simulate", "again.raw", "--scans", "60", "--duration", "3"});
  Output({"simulate", "other.raw", "--scans", "60", "--duration", "3", "--seed", "2"});
  for (const char* member : {"_FUNC001.DAT", "_FUNC002.DAT", "_FUNC003.DAT", "_FUNCTNS.INF"}) {
    const std::string name = std::string("\\") + member;
    EXPECT_EQ(ReadFile(Path("run.raw" + name)), ReadFile(Path("again.raw" + name))) << member;
  }
  EXPECT_NE(ReadFile(Path("run.raw\\_FUNC001.DAT")), ReadFile(Path("other.raw\\_FUNC001.DAT")));
}

TEST_F(SimulatedRun, ReplacesOnlyRawDataAndOnlyWhenTold) {
  const auto before = ReadFile(Path("run.raw\\_FUNC001.DAT"));
  ExpectFailure({"simulate", "run.raw"}, 1, "run.raw: exists already");
  EXPECT_EQ(ReadFile(Path("run.raw\\_FUNC001.DAT")), before);
  WriteText(Path("run.raw\\notes.txt"), "mine");
  ExpectFailure({"simulate", "run.raw", "--force"}, 1, "is not replaced");
  EXPECT_EQ(ReadText(Path("run.raw\\notes.txt")), "mine");
  WriteText(Path("plain"), "mine");
  ExpectFailure({"simulate", "plain", "--force"}, 1, "plain: ");
  EXPECT_EQ(ReadText(Path("plain")), "mine");
  EXPECT_THAT(Names(), ElementsAre("plain", "run.raw"));
}

TEST_F(SimulatedRun, ReplacesADirectoryWhole) {
  Output({"simulate", "run.raw", "--force", "--scans", "5"});
  EXPECT_EQ(Json({"info", "run.raw"})["functions"][0]["scans"], 5);
  EXPECT_THAT(Names(), ElementsAre("run.raw"));
  ExpectFailure({"simulate", "absent/run.raw"}, 1,
                "absent/run.raw: the directory cannot be created");
  EXPECT_THAT(Names(), ElementsAre("run.raw"));
}

#if !defined(_WIN32)

TEST_F(SimulatedRun, LeavesNothingBehindWhenTheDiskIsFull) {
  // A limit on the size of files fails writes as a full disk does.
  const auto before = ReadFile(Path("run.raw\\_FUNC001.DAT"));
  const std::string limited = "trap '' XFSZ; ulimit -f 8; " + ProgramPath() + " simulate ";
  for (const std::string target : {"new.raw", "run.raw --force"}) {
    const ProcessResult result = RunShell(limited + target, NativePath().string());
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the disk is full"));
    EXPECT_THAT(Names(), ElementsAre("run.raw"));
  }
  EXPECT_EQ(ReadFile(Path("run.raw\\_FUNC001.DAT")), before);
}

TEST_F(SimulatedRun, AnInterruptLeavesNothingBehind) {
  const std::string start =
      "bash -c 'set -m; " + ProgramPath() +
      " simulate new.raw --scans 100000 & until ls -d new.raw.*; do :; done; ";
  const ProcessResult result =
      RunShell(start + "kill -INT %1; wait %1; exit $?' >/dev/null 2>&1", NativePath().string());
  EXPECT_EQ(result.status, 130);
  EXPECT_THAT(Names(), ElementsAre("run.raw"));
}

TEST_F(SimulatedRun, ABrokenPipeIsQuietAndAFullOutputIsNot) {
  const std::string points = ProgramPath() + " spectrum run.raw -f 2 -s 1 --csv";
  const ProcessResult pipe = RunShell(points + " | head -n 1", NativePath().string());
  EXPECT_EQ(pipe.out, "point,mass,intensity\n");
  EXPECT_EQ(pipe.err, "");
  const ProcessResult full = RunShell(points + " >/dev/full", NativePath().string());
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err, "tervalon: standard output: cannot be written\n");
}

#endif

}  // namespace
}  // namespace tervalon::testing
