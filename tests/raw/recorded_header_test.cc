#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "tervalon/raw_directory.h"
#include "tervalon/raw_header.h"
#include "tests/support/temp_directory.h"

namespace {

using tervalon::testing::ReadText;
using tervalon::testing::TempDirectory;

// Recorded headers, against values that another program took from them.
class RecordedHeader : public ::testing::TestWithParam<const char*> {};

std::string Utf8(const char* latin1) {
  std::string text;
  for (; *latin1 != '\0'; ++latin1) {
    const auto byte = static_cast<unsigned char>(*latin1);
    if (byte < 0x80) {
      text += *latin1;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

void ExpectSet(const nlohmann::json& expected, const RawCaliCoeffs& set) {
  EXPECT_EQ(set.order, expected["order"]);
  EXPECT_EQ(set.type, expected["type"]);
  EXPECT_EQ(set.standard_deviation, expected["standard_deviation"]);
  for (size_t i = 0; i < expected["coefficients"].size(); ++i) {
    EXPECT_EQ(set.coefficients[i], expected["coefficients"][i]);
  }
}

TEST_P(RecordedHeader, ReadsAsExpectedAndWritesTheSameBytes) {
  const char* data = std::getenv("TERVALON_TEST_DATA");
  if (data == nullptr) GTEST_SKIP() << "TERVALON_TEST_DATA is not set";
  const std::string base = std::string(data) + "/" + GetParam();
  std::ifstream json_file(base + ".expected/header.json");
  const nlohmann::json expected = nlohmann::json::parse(json_file);

  RawHandlesInit();
  int32_t handle = -1;
  ASSERT_EQ(RawReadOpen((base + ".RAW").c_str(), &handle), RAW_OK);
  RawHeader header;
  RawCalibration calibration;
  int16_t functions = 0;
  int16_t channels = 0;
  ASSERT_EQ(RawReadHeader(handle, &header, &calibration, &functions, &channels), RAW_OK);
  EXPECT_EQ(functions, expected["functions"]);
  EXPECT_EQ(channels, expected["analog_channels"]);

  const nlohmann::json& fields = expected["header"];
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

  EXPECT_STREQ(calibration.date, expected["calibration_date"].get<std::string>().c_str());
  EXPECT_STREQ(calibration.time, expected["calibration_time"].get<std::string>().c_str());
  ExpectSet(expected["instrument_sets"]["MS1 Static"], calibration.ms1_static);
  ExpectSet(expected["instrument_sets"]["MS2 Static"], calibration.ms2_static);
  const nlohmann::json& params = expected["instrument_parameters"];
  EXPECT_EQ(params["MS1 Static Params"], calibration.ms1_static_params);
  EXPECT_EQ(params["MS2 Fast Params"], calibration.ms2_fast_params);
  for (int16_t function = 1; function <= functions; ++function) {
    std::ifstream function_file(base + ".expected/function_0" + std::to_string(function) + ".json");
    const nlohmann::json of_function = nlohmann::json::parse(function_file)["calibration"];
    if (of_function.is_null()) continue;
    const RawFunctionCalibration& read = calibration.functions[function - 1];
    ExpectSet(of_function["segments"][0], read.segments[0]);
    EXPECT_EQ(read.has_modification != 0, !of_function["modification"].is_null());
    if (read.has_modification != 0) ExpectSet(of_function["modification"], read.modification);
  }

  TempDirectory copy;
  int32_t copy_handle = -1;
  ASSERT_EQ(RawReadOpen(copy.Path().c_str(), &copy_handle), RAW_OK);
  // Functions without calibration lines got one on reading; the file has none.
  const std::string original = ReadText(base + ".RAW/_HEADER.TXT");
  if (original.find("Cal Function") == std::string::npos) calibration.function_count = 0;
  ASSERT_EQ(RawCreateHeader(copy_handle, &header, &calibration), RAW_OK);
  EXPECT_EQ(ReadText(copy.Path("_HEADER.TXT")), original);
  RawHandlesInit();
}

INSTANTIATE_TEST_SUITE_P(Data, RecordedHeader, ::testing::Values("LCMS", "HYBRID", "FORMATS"));

}  // namespace
