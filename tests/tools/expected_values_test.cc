// The program on recorded acquisitions, against values computed by other means.

#include "tests/support/expected_values.h"

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;

std::vector<float> Numbers(const json& values) { return values.get<std::vector<float>>(); }

class ExpectedValues : public ProgramTest {
 protected:
  json Command(const char* command, const std::string& raw, const json& set,
               const Arguments& more) const {
    Arguments arguments = {command, raw, "-f", set["function"].dump()};
    if (set["process"] != 0) arguments.insert(arguments.end(), {"-p", set["process"].dump()});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Json(arguments);
  }
};

TEST_F(ExpectedValues, OfFunctionsAndProcessedSets) {
  ForEachSet([this](const std::string& raw, const std::string& files, const json& set) {
    const Table traces = ReadTable(files + "_traces.tsv");
    const json trace = Command("chrom", raw, set, {"--trace", "TIC,BPI"})["chromatogram"];
    EXPECT_EQ(Numbers(trace["time"]), Floats(traces.at("time")));
    EXPECT_EQ(Numbers(trace["tic"]), Floats(traces.at("tic")));
    EXPECT_EQ(Numbers(trace["bpi"]), Floats(traces.at("bpi")));

    const Table scans = ReadTable(files + "_scans.tsv");
    const std::string scan = set["scans_in_full"].back().dump();
    const size_t row = set["scans_in_full"].back().get<size_t>() - 1;
    SCOPED_TRACE("scan " + scan);
    const json spectrum = Command("spectrum", raw, set, {"-s", scan});
    EXPECT_EQ(spectrum["point_count"], scans.at("points")[row]);
    EXPECT_EQ(spectrum["segment"], scans.at("segment")[row]);
    EXPECT_EQ(Numbers({spectrum["low_mass"], spectrum["high_mass"]}), Numbers(set["reader_range"]));
    const Table points =
        ReadTable(files + "_scan_" + std::string(4 - scan.size(), '0') + scan + ".tsv");
    EXPECT_EQ(Numbers(spectrum["points"]["mass"]), Floats(points.at("mass")));
    EXPECT_EQ(Numbers(spectrum["points"]["intensity"]), Floats(points.at("intensity")));
    EXPECT_EQ(spectrum["points"].contains("flags"),
              set["data_type"] == 11 || set["data_type"] == 12);
    if (spectrum["points"].contains("flags")) {
      EXPECT_EQ(Numbers(spectrum["points"]["flags"]), Floats(points.at("flags")));
    }
  });
}

TEST_F(ExpectedValues, OfAnalogChannels) {
  ForEachAcquisition([this](const std::string& raw, const std::filesystem::path& folder) {
    if (!exists(folder / "analog.tsv")) return;
    const Table expected = ReadTable(folder / "analog.tsv");
    const json traces = Json({"chrom", raw, "-f", "1", "--trace", "AN1,an2,AN3,TIC"});
    for (const std::string channel : {"1", "2", "3"}) {
      const json& trace = traces["an" + channel];
      EXPECT_EQ(Numbers(trace["time"]), Floats(expected.at("time")));
      EXPECT_EQ(Numbers(trace["intensity"]), Floats(expected.at("channel_" + channel)));
    }
    EXPECT_FALSE(traces["chromatogram"]["tic"].empty());
  });
}

}  // namespace
}  // namespace tervalon::testing
