// The example directories against the values that lie beside them, where TERVALON_TEST_DATA names
// their folder.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tervalon/raw_analog.h"
#include "tervalon/raw_header.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::raw {
namespace {

using nlohmann::json;
using testing::Get;
using testing::Spectrum;

// A table of numbers with named columns; "-" is not given.
class Table {
 public:
  explicit Table(const std::filesystem::path& path) {
    std::ifstream in(path);
    if (!in) ADD_FAILURE() << "cannot read " << path;
    std::string line;
    std::getline(in, line);
    std::vector<std::string> names = Split(line);
    for (size_t i = 0; i < names.size(); ++i) columns_[names[i]] = i;
    while (std::getline(in, line)) rows_.push_back(Split(line));
  }

  size_t size() const { return rows_.size(); }
  bool Has(size_t row, const std::string& column) const { return Text(row, column) != "-"; }
  double Number(size_t row, const std::string& column) const {
    return json::parse(Text(row, column));
  }
  float Float(size_t row, const std::string& column) const {
    return static_cast<float>(Number(row, column));
  }
  int32_t Int(size_t row, const std::string& column) const {
    return static_cast<int32_t>(Float(row, column));
  }

 private:
  static std::vector<std::string> Split(std::string line) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::vector<std::string> parts;
    std::istringstream in(line);
    for (std::string part; std::getline(in, part, '\t');) parts.push_back(part);
    return parts;
  }

  const std::string& Text(size_t row, const std::string& column) const {
    return rows_[row].at(columns_.at(column));
  }

  std::map<std::string, size_t> columns_;
  std::vector<std::vector<std::string>> rows_;
};

json ReadJson(const std::filesystem::path& path) {
  std::ifstream in(path);
  return json::parse(in);
}

// One function or processed data set of a directory, open for reading.
class ExpectedFunction {
 public:
  ExpectedFunction(int32_t handle, const std::filesystem::path& expected, const std::string& name)
      : handle_(handle), expected_(expected / name), info_(ReadJson(File(".json"))) {}

  void Check() {
    SCOPED_TRACE(expected_.string());
    function_ = info_["function"];
    process_ = info_["process"];
    CheckRecord();
    Open();
    if (::testing::Test::HasFatalFailure()) return;
    CheckScans();
    for (const int32_t scan : info_["scans_in_full"]) CheckPoints(scan);
    CheckTraces();
    if (process_ == 0) CheckTimes();
    EXPECT_EQ(RawReadFuncEnd(handle_, function_, process_), RAW_OK);
  }

 private:
  std::filesystem::path File(const std::string& suffix) const {
    return expected_.string() + suffix;
  }

  void CheckRecord() {
    ASSERT_EQ(RawReadFuncInfo(handle_, function_, &record_, nullptr), RAW_OK);
    if (process_ != 0) {
      const auto word = Get<uint16_t>(record_, 0);
      const auto type = static_cast<uint16_t>(info_["data_type"].get<int>() << 10);
      testing::Put(&record_, 0, static_cast<uint16_t>((word & ~(15 << 10)) | type));
    } else {
      EXPECT_EQ(Get<uint32_t>(record_, 18), info_["complete_scans"]);
    }
    const auto word = Get<uint16_t>(record_, 0);
    EXPECT_EQ(word & 31, info_["type"]);
    EXPECT_EQ(word >> 5 & 31, info_["mode"]);
    EXPECT_EQ(word >> 10 & 15, info_["data_type"]);
    char text[32];
    RawGetDataTypeDesc(&record_, text);
    EXPECT_EQ(text, info_["data_type_name"]);
    RawGetIonModeDesc(info_["mode"], text);
    EXPECT_EQ(text, info_["mode_name"]);
    float low = 0;
    float high = 0;
    float duration = 0;
    const bool has_range = RawReadGetFuncMassRange(&record_, -1, &low, &high, &duration) != 0;
    ASSERT_EQ(has_range, !info_["range"].is_null());
    if (!has_range) return;
    EXPECT_EQ(low, info_["range"][0].get<float>());
    EXPECT_EQ(high, info_["range"][1].get<float>());
    EXPECT_EQ(duration, info_["duration"].get<float>());
  }

  void Open() {
    ASSERT_EQ(RawReadHeader(handle_, nullptr, calibration_.get(), nullptr, nullptr), RAW_OK);
    RawFunctionCalibration function;
    has_calibration_ = RawGetFuncCalib(calibration_.get(), function_, &function) != 0 &&
                       function.segment_count > 0;
    ASSERT_EQ(RawReadFuncInit(handle_, function_, process_, &record_, calibration_.get()), RAW_OK);
  }

  void CheckScans() {
    const Table table(File("_scans.tsv"));
    ASSERT_EQ(table.size(), info_["index_records"]);
    for (size_t row = 0; row < table.size(); ++row) {
      const int32_t scan = table.Int(row, "scan");
      RawScanHeader header = {};
      ASSERT_EQ(RawReadSpectrum(handle_, function_, process_, scan, 1, nullptr, &header, nullptr,
                                nullptr, nullptr, 0),
                RAW_OK);
      SCOPED_TRACE(scan);
      EXPECT_EQ(header.retention_time, table.Float(row, "time"));
      EXPECT_EQ(header.total_ion_current, table.Float(row, "tic"));
      EXPECT_EQ(header.base_peak_intensity, table.Float(row, "base_intensity"));
      if (table.Has(row, "base_mass")) {
        EXPECT_EQ(header.base_peak_mass, table.Float(row, "base_mass"));
      }
      EXPECT_EQ(header.points & RAW_SCAN_POINTS_MASK, table.Int(row, "points"));
      EXPECT_EQ(header.points >> 31, table.Int(row, "flag_d"));
      EXPECT_EQ(header.segment, table.Int(row, "segment"));
      EXPECT_EQ(header.flags >> 2 & 1, table.Int(row, "flag_a"));
      EXPECT_EQ(header.flags >> 1 & 1, table.Int(row, "flag_e"));
      EXPECT_EQ(header.flags & 1, has_calibration_ ? 1 : table.Int(row, "flag_b"));
      EXPECT_EQ(header.flag_c, table.Int(row, "flag_c"));
      EXPECT_EQ(header.low_mass, info_["reader_range"][0].get<float>());
      EXPECT_EQ(header.high_mass, info_["reader_range"][1].get<float>());
    }
  }

  void CheckPoints(int32_t scan) {
    const std::string number = std::to_string(scan);
    const Table table(File("_scan_" + std::string(4 - number.size(), '0') + number + ".tsv"));
    const Spectrum spectrum = testing::Read(handle_, function_, process_, scan);
    ASSERT_EQ(spectrum.error, RAW_OK);
    ASSERT_EQ(spectrum.masses.size(), table.size());
    for (size_t row = 0; row < table.size(); ++row) {
      ASSERT_EQ(spectrum.masses[row], table.Float(row, "mass")) << "point " << row + 1;
      ASSERT_EQ(spectrum.intensities[row], table.Float(row, "intensity")) << "point " << row + 1;
      ASSERT_EQ(spectrum.flags[row], table.Int(row, "flags")) << "point " << row + 1;
    }
  }

  void CheckTraces() {
    std::vector<std::vector<RawTraceWindow>> windows;
    std::vector<json> given = info_["traces"];
    given.push_back(info_["point_trace"]);
    for (const json& trace : given) {
      windows.emplace_back();
      for (const json& window : trace) {
        windows.back().push_back({window[0], window[1], window[2], 0, 0});
      }
    }
    const Table table(File("_traces.tsv"));
    const auto scans = static_cast<int32_t>(table.size());
    std::vector<RawTrace> traces;
    std::vector<std::vector<float>> values(windows.size(), std::vector<float>(table.size()));
    std::vector<float*> arrays;
    for (size_t t = 0; t < windows.size(); ++t) {
      const bool points = t + 1 == windows.size();
      traces.push_back({points ? RAW_TRACE_POINTS : RAW_TRACE_MASSES,
                        static_cast<int16_t>(windows[t].size()), windows[t].data()});
      arrays.push_back(values[t].data());
    }
    ASSERT_EQ(RawReadChromTraces(handle_, function_, process_, 1, scans,
                                 static_cast<int16_t>(traces.size()), traces.data(), arrays.data(),
                                 nullptr),
              RAW_OK);
    std::vector<float> totals(table.size());
    std::vector<float> peaks(table.size());
    std::vector<float> times(table.size());
    ASSERT_EQ(RawReadChrom(handle_, function_, process_, 1, scans, totals.data(), times.data(), 1),
              RAW_OK);
    ASSERT_EQ(RawReadChrom(handle_, function_, process_, 1, scans, peaks.data(), nullptr, 2),
              RAW_OK);
    const char* const kNames[][2] = {
        {"trace1", "size1"}, {"trace2", "size2"}, {"trace3", "size3"}, {"points", "size_points"}};
    ASSERT_EQ(windows.size(), std::size(kNames));
    for (size_t row = 0; row < table.size(); ++row) {
      EXPECT_EQ(times[row], table.Float(row, "time"));
      EXPECT_EQ(totals[row], table.Float(row, "tic"));
      EXPECT_EQ(peaks[row], table.Float(row, "bpi"));
      for (size_t t = 0; t < windows.size(); ++t) {
        // The sums in the table were not rounded to float.
        const double tolerance = table.Number(row, kNames[t][1]) * 1e-7;
        EXPECT_NEAR(values[t][row], table.Number(row, kNames[t][0]), tolerance)
            << kNames[t][0] << " of scan " << row + 1;
      }
    }
  }

  void CheckTimes() {
    const Table table(File("_times.tsv"));
    for (size_t row = 0; row < table.size(); ++row) {
      int32_t scan = -1;
      ASSERT_EQ(
          RawReadTimeScan(handle_, function_, process_, &record_, table.Float(row, "time"), &scan),
          RAW_OK);
      EXPECT_EQ(scan, table.Int(row, "scan")) << "time " << table.Float(row, "time");
    }
  }

  int32_t handle_;
  std::filesystem::path expected_;
  json info_;
  int16_t function_ = 0;
  int16_t process_ = 0;
  RawFunctionRecord record_ = {};
  bool has_calibration_ = false;
  std::unique_ptr<RawCalibration> calibration_ = std::make_unique<RawCalibration>();
};

// The analog records, which are all of a directory's.
void CheckAnalog(int32_t handle, const std::filesystem::path& path) {
  const Table table(path);
  int16_t channels = 0;
  ASSERT_EQ(RawReadHeader(handle, nullptr, nullptr, nullptr, &channels), RAW_OK);
  int32_t records = 0;
  ASSERT_EQ(RawReadAnalogSize(handle, channels, &records), RAW_OK);
  ASSERT_EQ(static_cast<size_t>(records), table.size());
  for (int16_t channel = 0; channel < channels; ++channel) {
    std::vector<float> times(table.size());
    std::vector<float> values(table.size());
    ASSERT_EQ(
        RawReadAnalogChrom(handle, channel, channels, 1, records, values.data(), times.data()),
        RAW_OK);
    const std::string column = "channel_" + std::to_string(channel + 1);
    for (size_t row = 0; row < table.size(); ++row) {
      EXPECT_EQ(values[row], table.Float(row, column)) << column << " of record " << row + 1;
      EXPECT_EQ(times[row], table.Float(row, "time"));
    }
  }
}

using ExpectedValuesTest = testing::RawTest;

TEST_F(ExpectedValuesTest, OfEveryExampleDirectory) {
  const char* folder = std::getenv("TERVALON_TEST_DATA");
  if (folder == nullptr) GTEST_SKIP() << "TERVALON_TEST_DATA does not name the example directories";
  int32_t checked = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".expected") continue;
    std::filesystem::path raw = entry.path();
    std::string directory = raw.replace_extension(".RAW").string();
    std::replace(directory.begin(), directory.end(), '/', '\\');
    int32_t handle = -1;
    ASSERT_EQ(RawReadOpen(directory.c_str(), &handle), RAW_OK) << directory;
    for (const auto& file : std::filesystem::directory_iterator(entry.path())) {
      const std::string name = file.path().stem().string();
      if (name == "analog") CheckAnalog(handle, file.path());
      if (file.path().extension() != ".json" || name == "header") continue;
      ExpectedFunction(handle, entry.path(), name).Check();
      ++checked;
    }
    EXPECT_EQ(RawReadClose(handle), RAW_OK);
  }
  EXPECT_GT(checked, 0) << "no example directories in " << folder;
}

}  // namespace
}  // namespace tervalon::raw
