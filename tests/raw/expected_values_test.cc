// Recorded acquisitions against values that another program took from them.

#include "tests/support/expected_values.h"

#include <algorithm>
#include <utility>

#include "tervalon/raw_analog.h"
#include "tervalon/raw_header.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;

// One function or processed data set of a directory.
class ExpectedSet {
 public:
  ExpectedSet(int32_t handle, std::string files, json info)
      : handle_(handle),
        files_(std::move(files)),
        info_(std::move(info)),
        function_(info_["function"]),
        process_(info_["process"]) {}

  void Check() {
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
  void CheckRecord() {
    ASSERT_EQ(RawReadFuncInfo(handle_, function_, &record_, nullptr), RAW_OK);
    if (process_ != 0) {
      const auto word = Get<uint16_t>(record_, 0);
      const auto type = static_cast<uint16_t>(info_["data_type"].get<int>() << 10);
      Put(&record_, 0, static_cast<uint16_t>((word & ~(15 << 10)) | type));
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
    const Table table = ReadTable(files_ + "_scans.tsv");
    ASSERT_EQ(table.at("scan").size(), info_["index_records"]);
    for (size_t row = 0; row < table.at("scan").size(); ++row) {
      const auto given = [&](const char* column) {
        return static_cast<float>(table.at(column)[row]);
      };
      const auto scan = static_cast<int32_t>(given("scan"));
      SCOPED_TRACE(scan);
      RawScanHeader header = {};
      ASSERT_EQ(RawReadSpectrum(handle_, function_, process_, scan, 1, nullptr, &header, nullptr,
                                nullptr, nullptr, 0),
                RAW_OK);
      EXPECT_EQ(header.retention_time, given("time"));
      EXPECT_EQ(header.total_ion_current, given("tic"));
      EXPECT_EQ(header.base_peak_intensity, given("base_intensity"));
      EXPECT_TRUE(header.base_peak_mass == given("base_mass") || std::isnan(given("base_mass")));
      EXPECT_EQ(header.points & RAW_SCAN_POINTS_MASK, given("points"));
      EXPECT_EQ(header.points >> 31, given("flag_d"));
      EXPECT_EQ(header.segment, given("segment"));
      EXPECT_EQ(header.flags >> 2 & 1, given("flag_a"));
      EXPECT_EQ(header.flags >> 1 & 1, given("flag_e"));
      EXPECT_EQ(header.flags & 1, has_calibration_ ? 1 : given("flag_b"));
      EXPECT_EQ(header.flag_c, given("flag_c"));
      EXPECT_EQ(header.low_mass, info_["reader_range"][0].get<float>());
      EXPECT_EQ(header.high_mass, info_["reader_range"][1].get<float>());
    }
  }

  void CheckPoints(int32_t scan) {
    const std::string number = std::to_string(scan);
    const Table table =
        ReadTable(files_ + "_scan_" + std::string(4 - number.size(), '0') + number + ".tsv");
    const Spectrum spectrum = Read(handle_, function_, process_, scan);
    EXPECT_EQ(spectrum.error, RAW_OK);
    EXPECT_EQ(spectrum.masses, Floats(table.at("mass"))) << scan;
    EXPECT_EQ(spectrum.intensities, Floats(table.at("intensity"))) << scan;
    EXPECT_EQ(std::vector<double>(spectrum.flags.begin(), spectrum.flags.end()), table.at("flags"));
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
    const Table table = ReadTable(files_ + "_traces.tsv");
    const size_t size = table.at("scan").size();
    const auto scans = static_cast<int32_t>(size);
    std::vector<RawTrace> traces;
    std::vector<std::vector<float>> values(windows.size(), std::vector<float>(size));
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
    const char* const kNames[][2] = {
        {"trace1", "size1"}, {"trace2", "size2"}, {"trace3", "size3"}, {"points", "size_points"}};
    ASSERT_EQ(windows.size(), std::size(kNames));
    for (size_t t = 0; t < windows.size(); ++t) {
      const auto& [name, size_name] = kNames[t];
      for (size_t row = 0; row < size; ++row) {
        // The sums in the table were not rounded to float.
        EXPECT_NEAR(values[t][row], table.at(name)[row], table.at(size_name)[row] * 1e-7)
            << name << " of scan " << row + 1;
      }
    }
    std::vector<float> totals(size);
    std::vector<float> peaks(size);
    std::vector<float> times(size);
    ASSERT_EQ(RawReadChrom(handle_, function_, process_, 1, scans, totals.data(), times.data(), 1),
              RAW_OK);
    ASSERT_EQ(RawReadChrom(handle_, function_, process_, 1, scans, peaks.data(), nullptr, 2),
              RAW_OK);
    EXPECT_EQ(times, Floats(table.at("time")));
    EXPECT_EQ(totals, Floats(table.at("tic")));
    EXPECT_EQ(peaks, Floats(table.at("bpi")));
  }

  void CheckTimes() {
    const Table table = ReadTable(files_ + "_times.tsv");
    const std::vector<float> times = Floats(table.at("time"));
    for (size_t row = 0; row < times.size(); ++row) {
      int32_t scan = -1;
      ASSERT_EQ(RawReadTimeScan(handle_, function_, process_, &record_, times[row], &scan), RAW_OK);
      EXPECT_EQ(scan, table.at("scan")[row]) << "time " << times[row];
    }
  }

  int32_t handle_;
  std::string files_;
  json info_;
  int16_t function_;
  int16_t process_;
  RawFunctionRecord record_ = {};
  bool has_calibration_ = false;
  std::unique_ptr<RawCalibration> calibration_ = std::make_unique<RawCalibration>();
};

class ExpectedValuesTest : public RawTest {
 protected:
  void Open(const std::string& directory) {
    CloseRun();
    ASSERT_EQ(RawReadOpen(directory.c_str(), &handle_), RAW_OK) << directory;
  }
};

TEST_F(ExpectedValuesTest, OfFunctionsAndProcessedSets) {
  ForEachSet([this](const std::string& raw, const std::string& files, const json& info) {
    Open(raw);
    ExpectedSet(handle_, files, info).Check();
  });
}

TEST_F(ExpectedValuesTest, OfAnalogChannels) {
  ForEachAcquisition([this](const std::string& raw, const std::filesystem::path& expected) {
    if (!exists(expected / "analog.tsv")) return;
    const Table table = ReadTable(expected / "analog.tsv");
    Open(raw);
    int16_t channels = 0;
    ASSERT_EQ(RawReadHeader(handle_, nullptr, nullptr, nullptr, &channels), RAW_OK);
    int32_t records = 0;
    ASSERT_EQ(RawReadAnalogSize(handle_, channels, &records), RAW_OK);
    ASSERT_EQ(static_cast<size_t>(records), table.at("time").size());
    for (int16_t channel = 0; channel < channels; ++channel) {
      std::vector<float> times(table.at("time").size());
      std::vector<float> values(times.size());
      ASSERT_EQ(
          RawReadAnalogChrom(handle_, channel, channels, 1, records, values.data(), times.data()),
          RAW_OK);
      EXPECT_EQ(times, Floats(table.at("time")));
      EXPECT_EQ(values, Floats(table.at("channel_" + std::to_string(channel + 1))));
    }
  });
}

std::string Utf8(const char* latin1) {
  std::string text;
  for (; *latin1 != '\0'; ++latin1) {
    const auto byte = static_cast<unsigned char>(*latin1);
    if (byte >= 0x80) text += static_cast<char>(0xC0 | byte >> 6);
    text += byte < 0x80 ? *latin1 : static_cast<char>(0x80 | (byte & 0x3F));
  }
  return text;
}

void ExpectCoefficients(const json& expected, const RawCaliCoeffs& set) {
  EXPECT_EQ(set.order, expected["order"]);
  EXPECT_EQ(set.type, expected["type"]);
  EXPECT_EQ(set.standard_deviation, expected["standard_deviation"]);
  for (size_t i = 0; i < expected["coefficients"].size(); ++i) {
    EXPECT_EQ(set.coefficients[i], expected["coefficients"][i]);
  }
}

void ExpectFields(const json& fields, const RawHeader& header) {
  EXPECT_EQ(+header.version_major, fields["version_major"]);
  EXPECT_EQ(+header.version_minor, fields["version_minor"]);
  EXPECT_EQ(+header.solvent_delay, fields["solvent_delay"]);
  EXPECT_EQ(+header.resolved, fields["resolved"]);
  EXPECT_EQ(+header.encrypted, fields["encrypted"]);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(+header.analog_offsets[i], fields["analog_offsets"][i].get<float>());
  }
  const std::pair<const char*, const char*> texts[] = {
      {"acquired_name", header.acquired_name},
      {"acquired_date", header.acquired_date},
      {"acquired_time", header.acquired_time},
      {"job_code", header.job_code},
      {"task_code", header.task_code},
      {"user_name", header.user_name},
      {"laboratory_name", header.laboratory_name},
      {"instrument", header.instrument},
      {"conditions", header.conditions},
      {"sample_description", header.sample_description},
      {"submitter", header.submitter},
      {"sample_id", header.sample_id},
      {"bottle_number", header.bottle_number},
      {"associated_datafile", header.associated_datafile},
      {"processed", header.processed},
      {"plate_desc", header.plate_description},
  };
  for (const auto& [name, text] : texts) EXPECT_EQ(Utf8(text), fields[name]) << name;
}

TEST_F(ExpectedValuesTest, OfHeadersWhichAreWrittenAsTheyWere) {
  ForEachAcquisition([this](const std::string& raw, const std::filesystem::path& folder) {
    const json expected = ReadJson(folder / "header.json");
    Open(raw);
    RawHeader header;
    RawCalibration calibration;
    int16_t functions = 0;
    int16_t channels = 0;
    ASSERT_EQ(RawReadHeader(handle_, &header, &calibration, &functions, &channels), RAW_OK);
    EXPECT_EQ(functions, expected["functions"]);
    EXPECT_EQ(channels, expected["analog_channels"]);
    ExpectFields(expected["header"], header);
    EXPECT_EQ(calibration.date, expected["calibration_date"]);
    EXPECT_EQ(calibration.time, expected["calibration_time"]);
    ExpectCoefficients(expected["instrument_sets"]["MS1 Static"], calibration.ms1_static);
    ExpectCoefficients(expected["instrument_sets"]["MS2 Static"], calibration.ms2_static);
    const json& params = expected["instrument_parameters"];
    EXPECT_EQ(params["MS1 Static Params"], calibration.ms1_static_params);
    EXPECT_EQ(params["MS2 Fast Params"], calibration.ms2_fast_params);
    for (int i = 0; i < functions; ++i) {
      const json given =
          ReadJson(folder / ("function_0" + std::to_string(i + 1) + ".json"))["calibration"];
      if (given.is_null()) continue;
      const RawFunctionCalibration& read = calibration.functions[i];
      ExpectCoefficients(given["segments"][0], read.segments[0]);
      EXPECT_EQ(read.has_modification != 0, !given["modification"].is_null());
      if (read.has_modification != 0) ExpectCoefficients(given["modification"], read.modification);
    }

    // Functions without calibration lines got one on reading; the file has none.
    const std::string original = ReadText(raw + "/_HEADER.TXT");
    if (original.find("Cal Function") == std::string::npos) calibration.function_count = 0;
    MakeRun({}, {});
    OpenRun(0);
    ASSERT_EQ(RawCreateHeader(handle_, &header, &calibration), RAW_OK);
    EXPECT_EQ(ReadText(Path("_HEADER.TXT")), original);
  });
}

}  // namespace
}  // namespace tervalon::testing
