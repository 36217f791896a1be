// The commands that calculate, on a simulated acquisition and against plain sums over its points.

#include <algorithm>
#include <numeric>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;

class NumericCommands : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "40", "--duration", "2"}); }

  static double Sum(const json& values) {
    return std::accumulate(values.begin(), values.end(), 0.0,
                           [](double sum, const json& value) { return sum + value.get<double>(); });
  }
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
  const double total = Sum(points["intensity"]);
  EXPECT_NEAR(Sum(grid["intensity"]), total, total * 0.01);

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
