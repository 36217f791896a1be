// The commands that process spectra and chromatograms and calculate with them, against plain
// arithmetic over what the other commands print, and against the simulated acquisition.

#include <algorithm>
#include <numeric>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;

class ProcessingCommands : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "120", "--duration", "8"}); }

  json Points(const Arguments& arguments) const { return Json(arguments)["points"]; }
};

double SumOf(const json& values) {
  return std::accumulate(values.begin(), values.end(), 0.0, [](double sum, const json& value) {
    return sum + std::max(value.get<double>(), 0.0);
  });
}

TEST_F(ProcessingCommands, CombinedScansAreTheirPointsSums) {
  const json seventh = Points({"spectrum", "run.raw", "-f", "2", "-s", "7"});
  const json one = Points({"combine", "run.raw", "-f", "2", "-s", "7"});
  EXPECT_EQ(one["mass"], seventh["mass"]);
  EXPECT_EQ(one["intensity"], seventh["intensity"]);
  const json eighth = Points({"spectrum", "run.raw", "-f", "2", "-s", "8"});
  const json both = Json({"combine", "run.raw", "-f", "2", "-s", "7,7-8", "--sum"});
  EXPECT_EQ(both["scan_count"], 2);
  EXPECT_EQ(both["points_are"], "profile");
  for (size_t i = 0; i < seventh["mass"].size(); ++i) {
    ASSERT_EQ(both["points"]["intensity"][i].get<float>(),
              seventh["intensity"][i].get<float>() + eighth["intensity"][i].get<float>());
  }
  // Itself less itself; and its scans by their times, as they are printed.
  const json nothing =
      Points({"combine", "run.raw", "-f", "2", "-s", "7-8", "--background", "7-8"});
  EXPECT_EQ(SumOf(nothing["intensity"]), 0);
  const std::string from = Json({"spectrum", "run.raw", "-f", "2", "-s", "7"})["time"].dump();
  const std::string to = Json({"spectrum", "run.raw", "-f", "2", "-s", "8"})["time"].dump();
  std::string range = from;
  range.append("-").append(to);
  EXPECT_EQ(Json({"combine", "run.raw", "-f", "2", "-t", range})["scans"], "7 to 8");
  const json centroids = Json({"combine", "run.raw", "-s", "65-75", "--tolerance", "50ppm"});
  EXPECT_EQ(centroids["points_are"], "centroids");
  EXPECT_GT(centroids["point_count"], 10);
}

TEST_F(ProcessingCommands, SmoothedTracesAndSpectra) {
  const json trace = Json({"chrom", "run.raw"})["chromatogram"]["tic"];
  const json mean = Points({"smooth", "run.raw", "--method", "mean", "--window", "3"})["intensity"];
  ASSERT_EQ(mean.size(), trace.size());
  for (size_t i = 1; i + 1 < trace.size(); ++i) {
    const double sum =
        trace[i - 1].get<double>() + trace[i].get<double>() + trace[i + 1].get<double>();
    ASSERT_FLOAT_EQ(mean[i].get<float>(), static_cast<float>(sum / 3));
  }
  const json spectrum = Points({"spectrum", "run.raw", "-f", "2", "-s", "70"})["intensity"];
  const json smoothed =
      Points({"smooth", "run.raw", "-f", "2", "-s", "70", "--window", "11", "--passes", "2"});
  EXPECT_NEAR(SumOf(smoothed["intensity"]), SumOf(spectrum), SumOf(spectrum) / 20);
  EXPECT_NE(smoothed["intensity"], spectrum);
  const json grid = Points({"smooth", "run.raw", "-s", "70", "--resample", "0.5"});
  EXPECT_NEAR(grid["mass"][1].get<double>() - grid["mass"][0].get<double>(), 0.5, 1e-4);
}

TEST_F(ProcessingCommands, CentroidsOfAProfile) {
  const json profile = Points({"spectrum", "run.raw", "-f", "2", "-s", "70"});
  const json areas = Points({"centroid", "run.raw", "-f", "2", "-s", "70", "--threshold", "0",
                             "--rise", "0", "--top", "1", "--area"});
  EXPECT_NEAR(SumOf(areas["intensity"]), SumOf(profile["intensity"]),
              1e-4 * SumOf(areas["intensity"]));
  const json strong =
      Points({"centroid", "run.raw", "-f", "2", "-t", "4.67", "--threshold", "20%"});
  ASSERT_GE(strong["mass"].size(), 1U);
  EXPECT_NEAR(strong["mass"][0].get<double>(), 455.29, 0.01);
}

TEST_F(ProcessingCommands, PeaksOfTracesInATableAndADatabase) {
  const json peaks =
      Json({"peaks", "run.raw", "--trace", "TIC,AN1", "--database", "P1.DBF"})["peaks"];
  ASSERT_GE(peaks.size(), 14U) << "seven compounds in either";
  EXPECT_TRUE(peaks[0]["retention_index"].is_null());
  const json records = Json({"db", "export", "P1.DBF"});
  ASSERT_EQ(records["title"], "Peak List");
  ASSERT_EQ(records["records"].size(), peaks.size());
  for (size_t i = 0; i < peaks.size(); ++i) {
    const json& record = records["records"][i];
    EXPECT_EQ(record["RAW_NAME"], "run.raw");
    EXPECT_EQ(record["QUAN_TRACE"], peaks[i]["trace"]);
    EXPECT_EQ(record["FOUND_SCAN"], peaks[i]["scan"].is_null() ? 0 : peaks[i]["scan"].get<int>());
    EXPECT_NEAR(record["FOUND_RT"].get<double>(), peaks[i]["time"].get<double>(), 5e-4);
    EXPECT_NEAR(record["AREA"].get<double>(), peaks[i]["area"].get<double>(), 1e-3);
    EXPECT_NEAR(record["HEIGHT"].get<double>(), peaks[i]["height"].get<double>(), 0.51);
  }
  // Other traces are added, and a calibration gives indices.
  Output({"retention", "set", "1:100", "7:700"});
  const json indexed = Json({"peaks", "run.raw", "--database", "P1.DBF"})["peaks"];
  EXPECT_EQ(Json({"db", "list", "P1.DBF"})["count"], peaks.size() + indexed.size());
  for (const json& peak : indexed) {
    EXPECT_NEAR(peak["retention_index"].get<double>(), 100 * peak["time"].get<double>(), 1);
  }
}

TEST_F(ProcessingCommands, TargetsOfSeveralRuns) {
  Output({"simulate", "two.raw", "--scans", "120", "--duration", "8", "--seed", "5"});
  WriteText(Path("targets.csv"),
            "name,mz,tolerance,time\ncaffeine,195.0876,0.3,1.3\nverapamil,455.2907,,4.67\n"
            "too late,455.2907,50ppm,6\nlargest,455.2907,,\n");
  const Arguments arguments = {"peaks", "run.raw", "two.raw", "--targets", "targets.csv", "--csv"};
  const std::string table = Output(arguments);
  Arguments side_by_side = arguments;
  side_by_side.insert(side_by_side.end(), {"--jobs", "2"});
  EXPECT_EQ(Output(side_by_side), table);
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 2 * 4);
  EXPECT_EQ(table.find("directory,function,name,mz,expected,time,"), 0U);
  const json found = Json({"peaks", "two.raw", "--targets", "targets.csv"})["peaks"];
  ASSERT_EQ(found.size(), 4U);
  EXPECT_NEAR(found[0]["time"].get<double>(), 1.32, 0.05);
  EXPECT_TRUE(found[2]["time"].is_null());
  EXPECT_EQ(found[3]["area"], found[1]["area"]);
}

TEST_F(ProcessingCommands, SavedResultsStandInTheHistoryAndAreMadeAgain) {
  const json steps_before = Json({"history", "run.raw"})["history"];
  const json combined = Json({"combine", "run.raw", "-f", "2", "-s", "60-80", "--save"});
  const std::string set = combined["process"].dump();
  const json stored = Points({"spectrum", "run.raw", "-p", set, "-s", "1"});
  ASSERT_EQ(stored["mass"], combined["points"]["mass"]);
  for (size_t i = 0; i < stored["mass"].size(); ++i) {
    const double value = combined["points"]["intensity"][i];
    ASSERT_NEAR(stored["intensity"][i].get<double>(), value, 1e-5 * value + 1e-3);
  }
  const json centroids = Json({"centroid", "run.raw", "-p", set, "--save"});
  const json trace = Json({"smooth", "run.raw", "--trace", "455.29", "--save"});
  EXPECT_EQ(Json({"chrom", "run.raw", "-p", trace["process"].dump()})["chromatogram"]["tic"],
            trace["points"]["intensity"]);
  const json again = Json({"history", "run.raw", "--repeat", centroids["process"].dump()});
  EXPECT_EQ(Points({"spectrum", "run.raw", "-p", again["process"].dump(), "-s", "1"}),
            Points({"spectrum", "run.raw", "-p", centroids["process"].dump(), "-s", "1"}));
  const json steps = Json({"history", "run.raw"})["history"];
  ASSERT_EQ(steps.size(), steps_before.size() + 4);
  std::vector<std::string> names;
  for (const json& step : steps) names.push_back(step["description"]);
  EXPECT_EQ(std::ranges::count(names, "Combine (60:80)"), 1);
  ExpectFailures({
      {{"history", "run.raw", "--repeat", "99"}, 1, "processed data set 99: "},
      {{"smooth", "run.raw", "--trace", "AN1", "--save"}, 1, "cannot be saved"},
      {{"combine", "run.raw", "-s", "1-999", "--save"}, 1, "no scan 999"},
  });
  EXPECT_EQ(Json({"history", "run.raw"})["history"], steps);
}

TEST_F(ProcessingCommands, FailWithoutATrace) {
  WriteText(Path("bad.csv"), "name,mz,colour\na,1,red\n");
  WriteText(Path("short.csv"), "name,mz\na\n");
  WriteText(Path("number.csv"), "name,mz\na,1\nb,soon\n");
  const auto before = Names();
  ExpectFailures({
      {{"combine", "run.raw"}, 2, "1 option from"},
      {{"combine", "run.raw", "-s", "9-4"}, 2, "--scan: '9-4' begins above its end"},
      {{"combine", "run.raw", "-s", "0"}, 2, "'0' is no scan such as 12"},
      {{"combine", "run.raw", "-s", "1,2,3,4,5"}, 2, "--scan: more than 4 ranges"},
      {{"combine", "run.raw", "-s", "1", "--background", "1,2,3"}, 2, "more than 2 ranges"},
      {{"combine", "run.raw", "-s", "1", "--factor", "much"}, 2, "'much' is not a number"},
      {{"combine", "run.raw", "-s", "1-999"}, 1, "no scan 999: it has scans 1 to 120"},
      {{"combine", "run.raw", "-t", "20-30"}, 1, "20 to 30 min: there are no scans"},
      {{"smooth", "run.raw", "--window", "4"}, 2, "--window: 4 is not odd"},
      {{"smooth", "run.raw", "--window", "3", "--degree", "3"}, 2, "not below the window"},
      {{"smooth", "run.raw", "--window", "501"}, 1, "there are too few points"},
      {{"smooth", "run.raw", "-s", "70"}, 1, "not evenly spaced ('--resample STEP'"},
      {{"smooth", "run.raw", "--resample", "0"}, 2, "--resample: 0 is not above 0"},
      {{"centroid", "run.raw", "-f", "2"}, 1, "has 120 scans ('--scan' or '--time' says"},
      {{"centroid", "run.raw", "-s", "1", "--top", "0"}, 2, "--top: 0 is not above 0"},
      {{"centroid", "run.raw", "-s", "1", "--rise", "2"}, 2, "--rise: 2 is not between 0 and 1"},
      {{"peaks", "run.raw", "--threshold", "5y"}, 2, "'5y' is no threshold such as 5x, 2% or"},
      {{"peaks", "run.raw", "--baseline", "none"}, 2, "--baseline"},
      {{"peaks", "run.raw", "--trace", "5000"}, 1, "no trace 5000"},
      {{"peaks", "run.raw", "--calibration", "No"}, 1, "no retention calibration in section 'No'"},
      {{"peaks", "run.raw", "--database", "run.raw"}, 1, "run.raw"},
      {{"peaks", "run.raw", "--database", "new.dbf", "--jobs", "2"}, 2, "without --jobs"},
      {{"peaks", "run.raw", "--database", "new.dbf", "--window", "999"}, 1, "too few points"},
      {{"peaks", "run.raw", "--targets", "none.csv"}, 1, "none.csv: cannot be read"},
      {{"peaks", "run.raw", "--targets", "bad.csv"}, 1, "bad.csv: no column 'colour'"},
      {{"peaks", "run.raw", "--targets", "short.csv"}, 1, "short.csv, line 2: has 1 values for 2"},
      {{"peaks", "run.raw", "--targets", "number.csv"}, 1, "line 3: mz: 'soon' is no such value"},
      {{"plot", "run.raw", "-s", "3", "--peaks"}, 2, "--peaks: there is no chromatogram"},
      {{"plot", "run.raw", "--centroids"}, 2, "--centroids: there is no spectrum"},
  });
  EXPECT_EQ(Names(), before);
}

class NumericCommands : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "40", "--duration", "2"}); }
};

TEST_F(NumericCommands, NoiseOfATrace) {
  const json trace = Json({"chrom", "run.raw", "-f", "1"})["chromatogram"];
  const auto times = trace["time"].get<std::vector<float>>();
  const auto values = trace["tic"].get<std::vector<float>>();
  const json noise = Json({"noise", "run.raw", "-f", "1"});
  EXPECT_EQ(noise["count"], values.size());
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  EXPECT_FLOAT_EQ(noise["range"].get<float>(), *high - *low);
  EXPECT_FLOAT_EQ(noise["largest"].get<float>(), *high);
  EXPECT_NEAR(noise["cycle_time"].get<double>(), (times.back() - times.front()) / 40, 1e-6);
  EXPECT_GT(noise["noise_level"], 0);
  EXPECT_GT(noise["extrema_rate"], 0);
  EXPECT_GE(noise["threshold"], 2500);

  const json window = Json({"noise", "run.raw", "-f", "1", "--from", "0.5", "--to", "1"});
  EXPECT_EQ(window["count"],
            std::count_if(times.begin(), times.end(), [](float t) { return t >= 0.5f && t < 1; }));
  // Orders that need more points than there are say so.
  EXPECT_TRUE(Json({"noise", "run.raw", "-f", "1", "--from", "0.5", "--to", "0.7", "--order",
                    "20"})["noise_level"]
                  .is_null());
  EXPECT_NE(Output({"noise", "run.raw", "-f", "1", "--trace", "200_300"}).find("Noise level"),
            std::string::npos);
}

TEST_F(NumericCommands, NoiseOfASpectrum) {
  const json points = Json({"spectrum", "run.raw", "-f", "2", "-s", "7"})["points"];
  const json noise = Json({"noise", "run.raw", "-f", "2", "--scan", "7"});
  EXPECT_EQ(noise["count"], points["mass"].size());
  const auto values = points["intensity"].get<std::vector<float>>();
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  EXPECT_FLOAT_EQ(noise["range"].get<float>(), *high - *low);
  EXPECT_FALSE(noise.contains("cycle_time"));
  const json packed =
      Json({"noise", "run.raw", "-f", "2", "-p", "3", "-s", "1", "--data-type", "1"});
  EXPECT_FALSE(packed.contains("range")) << "the library would read the points as continuum data";
  EXPECT_TRUE(packed.contains("noise_level"));
}

TEST_F(NumericCommands, ResamplingKeepsTheSum) {
  const json points = Json({"spectrum", "run.raw", "-f", "2", "-s", "7"})["points"];
  const json grid =
      Json({"resample", "run.raw", "-f", "2", "--scan", "7", "--step", "0.5"})["resampled"];
  const double span = points["mass"].back().get<double>() - points["mass"].front().get<double>();
  EXPECT_EQ(grid["mass"].size(), static_cast<size_t>(span / 0.5) + 1);
  EXPECT_EQ(grid["mass"].front(), points["mass"].front());
  const double total = SumOf(points["intensity"]);
  EXPECT_NEAR(SumOf(grid["intensity"]), total, total * 0.01);

  const json trace = Json({"resample", "run.raw", "-f", "1", "--trace", "BPI", "--step", "0.01",
                           "--interpolate"})["resampled"];
  EXPECT_GT(trace["time"].size(), 150U);
  EXPECT_EQ(Output({"resample", "run.raw", "-f", "1", "--step", "0.1", "--csv"}).find("time,"), 0U);
}

TEST_F(NumericCommands, RetentionIndices) {
  ExpectFailure({"retention", "index", "1.5"}, 1, "no retention calibration in section");
  Output({"retention", "set", "1:100:0.5", "2:200:1.5", "3:300:4"});
  Output({"retention", "set", "1:10", "9:90", "--section", "Other"});
  const json list = Json({"retention", "list"})["retention"];
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[2]["log_p"], 4);
  const json indices = Json({"retention", "index", "1.5", "2", "3.006"})["retention"];
  EXPECT_EQ(indices[0]["index"], 150);
  EXPECT_EQ(indices[0]["log_p"], 1);
  EXPECT_EQ(indices[1]["index"], 200);
  EXPECT_TRUE(indices[2]["index"].is_null());
  EXPECT_EQ(Json({"retention", "index", "5", "--section", "Other"})["retention"][0]["index"], 50);
}

TEST_F(NumericCommands, WrongUsageAndFailures) {
  ExpectFailures({
      {{"noise", "run.raw", "-f", "1", "--order", "21"}, 2, "--order"},
      {{"noise", "run.raw", "-f", "1", "--from", "3", "--to", "2"}, 2, "ends before it begins"},
      {{"noise", "run.raw", "-f", "1", "--trace", "TIC,BPI"}, 2, "more than one trace"},
      {{"noise", "run.raw", "-f", "1", "--trace", "1--2"}, 2, "--trace"},
      {{"noise", "run.raw", "-f", "1", "--from", "50"}, 1, "nothing lies in the window"},
      {{"noise", "run.raw", "-f", "9"}, 1, "run.raw: no function 9"},
      {{"resample", "run.raw", "-f", "1", "--step", "0"}, 2, "--step: 0 is not above 0"},
      {{"resample", "run.raw", "-f", "1", "--step", "1e-12"}, 1, "cannot be put on a grid"},
      {{"resample", "run.raw", "-f", "1"}, 2, "--step is required"},
      {{"retention", "set", "1:2"}, 2, "2 to 32 points"},
      {{"retention", "set", "1.001:1", "1.004:2"}, 2, "do not ascend"},
      {{"retention", "set", "1:1", "1e99:2"}, 2, "'1e99' is not a number"},
      {{"retention", "set", "1:1", "2"}, 2, "not TIME:INDEX"},
      {{"retention", "index", "soon"}, 2, "'soon' is not a number"},
  });
}

}  // namespace
}  // namespace tervalon::testing
