// The program on recorded acquisitions, against values computed by other means.

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Columns by name. "-" is a value that is not given: NaN.
using Table = std::map<std::string, std::vector<float>>;

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream stream(line);
  for (std::string cell; std::getline(stream, cell, '\t');) {
    cells.push_back(cell);
  }
  return cells;
}

Table ReadTable(const fs::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  Table table;
  std::string line;
  std::getline(file, line);
  const std::vector<std::string> names = Split(line);
  while (std::getline(file, line)) {
    const std::vector<std::string> cells = Split(line);
    for (size_t i = 0; i < names.size(); ++i) {
      float value = NAN;
      std::from_chars(cells[i].data(), cells[i].data() + cells[i].size(), value);
      table[names[i]].push_back(value);
    }
  }
  return table;
}

json ReadJson(const fs::path& path) {
  std::ifstream file(path);
  return json::parse(file);
}

std::string Padded(const std::string& stem, int number, int digits) {
  std::string text = std::to_string(number);
  return stem + std::string(static_cast<size_t>(digits) - text.size(), '0') + text;
}

class ExpectedValues : public ProgramTest {
 protected:
  void SetUp() override {
    const char* data = std::getenv("TERVALON_TEST_DATA");
    if (data == nullptr || *data == '\0') {
      GTEST_SKIP() << "TERVALON_TEST_DATA is not set";
    }
    for (const auto& entry : fs::directory_iterator(data)) {
      if (entry.path().extension() == ".RAW") {
        directories_.push_back(entry.path());
      }
    }
    ASSERT_FALSE(directories_.empty());
  }

  // Calls check(raw directory, expected folder and file stem, what the set's JSON says).
  template <typename Check>
  void ForEachSet(Check check) const {
    for (const fs::path& raw : directories_) {
      const fs::path folder = fs::path(raw).replace_extension(".expected");
      for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string stem = entry.path().stem().string();
        if (entry.path().extension() == ".json" && stem != "header") {
          SCOPED_TRACE(entry.path().string());
          check(raw.string(), folder / stem, ReadJson(entry.path()));
        }
      }
    }
  }

  static Arguments Command(const char* command, const std::string& raw, const json& set) {
    Arguments arguments = {command, raw, "-f", set["function"].dump()};
    if (set["process"] != 0) {
      arguments.insert(arguments.end(),
                       {"-p", set["process"].dump(), "--data-type", set["data_type"].dump()});
    }
    return arguments;
  }

  static Arguments With(Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  std::vector<fs::path> directories_;
};

// A trace of windows [low, high, subtract], from the program's sums of its windows.
std::vector<double> Combine(const json& windows, const json& chromatogram) {
  std::vector<double> trace(chromatogram["time"].size());
  for (const json& window : windows) {
    const json& sums = chromatogram["mass_" + window[0].dump() + "-" + window[1].dump()];
    for (size_t scan = 0; scan < trace.size(); ++scan) {
      trace[scan] += (window[2] != 0 ? -1 : 1) * sums[scan].get<double>();
    }
  }
  return trace;
}

TEST_F(ExpectedValues, Chromatograms) {
  ForEachSet([this](const std::string& raw, const fs::path& stem, const json& set) {
    const Table expected = ReadTable(stem.string() + "_traces.tsv");
    const Arguments chrom = Command("chrom", raw, set);
    const json total = Json(chrom)["chromatogram"];
    EXPECT_EQ(total["time"].get<std::vector<float>>(), expected.at("time"));
    EXPECT_EQ(total["tic"].get<std::vector<float>>(), expected.at("tic"));
    const json base = Json(With(chrom, {"--bpi"}))["chromatogram"];
    EXPECT_EQ(base["bpi"].get<std::vector<float>>(), expected.at("bpi"));

    const json traces = Json(With(chrom, {"--trace", "TIC,BPI"}))["chromatogram"];
    EXPECT_EQ(traces["time"], total["time"]);
    EXPECT_EQ(traces["tic"], total["tic"]);
    EXPECT_EQ(traces["bpi"], base["bpi"]);

    Arguments masses = chrom;
    for (const json& trace : set["traces"]) {
      for (const json& window : trace) {
        masses.insert(masses.end(), {"--mass", window[0].dump() + "-" + window[1].dump()});
      }
    }
    const json sums = Json(masses)["chromatogram"];
    for (size_t i = 0; i < set["traces"].size(); ++i) {
      const std::string number = std::to_string(i + 1);
      const std::vector<double> trace = Combine(set["traces"][i], sums);
      const std::vector<float>& values = expected.at("trace" + number);
      const std::vector<float>& sizes = expected.at("size" + number);
      ASSERT_EQ(trace.size(), values.size());
      for (size_t scan = 0; scan < trace.size(); ++scan) {
        EXPECT_NEAR(trace[scan], values[scan], 2e-7 * sizes[scan])
            << "trace " << number << ", scan " << scan + 1;
      }
    }
  });
}

TEST_F(ExpectedValues, AnalogTraces) {
  for (const fs::path& raw : directories_) {
    const fs::path path = fs::path(raw).replace_extension(".expected") / "analog.tsv";
    if (!fs::exists(path)) {
      continue;
    }
    const Table expected = ReadTable(path);
    const json traces = Json({"chrom", raw.string(), "-f", "1", "--trace", "AN1,an2,AN3,TIC"});
    for (const char* channel : {"1", "2", "3"}) {
      const json& trace = traces[std::string("an") + channel];
      EXPECT_EQ(trace["time"].get<std::vector<float>>(), expected.at("time"));
      EXPECT_EQ(trace["intensity"].get<std::vector<float>>(),
                expected.at(std::string("channel_") + channel));
    }
    EXPECT_EQ(traces["chromatogram"]["tic"],
              Json({"chrom", raw.string(), "-f", "1"})["chromatogram"]["tic"]);
  }
}

TEST_F(ExpectedValues, Spectra) {
  ForEachSet([this](const std::string& raw, const fs::path& stem, const json& set) {
    const Table scans = ReadTable(stem.string() + "_scans.tsv");
    for (const json& scan : set["scans_in_full"]) {
      SCOPED_TRACE("scan " + scan.dump());
      const Table expected =
          ReadTable(Padded(stem.string() + "_scan_", scan.get<int>(), 4) + ".tsv");
      const json spectrum = Json(With(Command("spectrum", raw, set), {"-s", scan.dump()}));
      const auto row = scan.get<size_t>() - 1;
      EXPECT_EQ(spectrum["point_count"].get<float>(), scans.at("points")[row]);
      EXPECT_EQ(spectrum["time"].get<float>(), scans.at("time")[row]);
      EXPECT_EQ(spectrum["tic"].get<float>(), scans.at("tic")[row]);
      EXPECT_EQ(spectrum["base_peak_intensity"].get<float>(), scans.at("base_intensity")[row]);
      EXPECT_EQ(spectrum["segment"].get<float>(), scans.at("segment")[row]);
      EXPECT_EQ(spectrum["low_mass"].get<float>(), set["reader_range"][0].get<float>());
      EXPECT_EQ(spectrum["high_mass"].get<float>(), set["reader_range"][1].get<float>());
      const json& points = spectrum["points"];
      if (scans.at("points")[row] == 0) {
        EXPECT_TRUE(points["mass"].empty());
        continue;
      }
      EXPECT_EQ(points["mass"].get<std::vector<float>>(), expected.at("mass"));
      EXPECT_EQ(points["intensity"].get<std::vector<float>>(), expected.at("intensity"));
      if (points.contains("flags")) {
        EXPECT_EQ(points["flags"].get<std::vector<float>>(), expected.at("flags"));
      }
      EXPECT_EQ(points.contains("flags"), set["data_type"] == 11 || set["data_type"] == 12);
    }
  });
}

TEST_F(ExpectedValues, ScansOfTimes) {
  ForEachSet([this](const std::string& raw, const fs::path& stem, const json& set) {
    const std::string path = stem.string() + "_times.tsv";
    if (!fs::exists(path)) {
      return;  // processed data sets have none
    }
    const Table expected = ReadTable(path);
    // Each takes a process: some of them, from all over the run.
    const size_t count = expected.at("time").size();
    for (size_t i = 0; i < count; i += 1 + count / 10) {
      const float time = expected.at("time")[i];
      if (time >= 0) {
        const json spectrum =
            Json(With(Command("spectrum", raw, set), {"-t", json(time).dump(), "--top", "1"}));
        EXPECT_EQ(spectrum["scan"].get<float>(), expected.at("scan")[i]) << time;
      }
    }
  });
}

TEST_F(ExpectedValues, Information) {
  ForEachSet([this](const std::string& raw, const fs::path&, const json& set) {
    const json info = Json({"info", raw});
    if (set["process"] != 0) {
      EXPECT_EQ(info["processed_sets"][0]["process"], set["process"]);
      return;
    }
    const json& function = info["functions"][set["function"].get<size_t>() - 1];
    EXPECT_EQ(function["type"], set["type"]);
    EXPECT_EQ(function["ion_mode_name"], set["mode_name"]);
    EXPECT_EQ(function["data_type"], set["data_type"]);
    EXPECT_EQ(function["scans"], set["complete_scans"]);
    if (set["range"].is_null()) {
      EXPECT_TRUE(function["low_mass"].is_null());
    } else {
      EXPECT_EQ(function["low_mass"].get<float>(), set["range"][0].get<float>());
      EXPECT_EQ(function["high_mass"].get<float>(), set["range"][1].get<float>());
    }
  });
}

}  // namespace
}  // namespace tervalon::testing
