#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <utility>

#include "raw/calibration.h"
#include "tervalon/raw_header.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

// The header record is packed: a "+" in an expectation makes a copy of a number, to which a
// reference may be bound.

// A raw directory with an empty function table.
class HeaderTest : public RawTest {
 protected:
  HeaderTest() {
    MakeRun({}, {});
    OpenRun(0);
    // What reading does not set must come out cleared.
    std::memset(&header_, 0x5A, sizeof(header_));
    std::memset(&calibration_, 0x5A, sizeof(calibration_));
  }

  int32_t Read() {
    return RawReadHeader(handle_, &header_, &calibration_, &functions_, &channels_);
  }

  void ReadFrom(const std::string& text) {
    WriteText(Path("_HEADER.TXT"), text);
    ASSERT_EQ(Read(), RAW_OK);
  }

  // Writes empty records changed by `fill` and returns the file's text.
  template <typename Fill>
  std::string Written(Fill&& fill) {
    RawHeader header = {};
    RawCalibration calibration;
    raw::ResetCalibration(&calibration);
    fill(header, calibration);
    EXPECT_EQ(RawCreateHeader(handle_, &header, &calibration), RAW_OK);
    return ReadText(Path("_HEADER.TXT"));
  }

  RawHeader header_;
  RawCalibration calibration_;
  int16_t functions_ = -1;
  int16_t channels_ = -1;
};

// The line of a tag, empty when the text has none.
std::string Line(const std::string& text, const std::string& name) {
  const size_t start = text.find("$$ " + name + ": ");
  return start == std::string::npos ? "" : text.substr(start, text.find("\r\n", start) - start);
}

// Everything in a calibration record, for comparing two of them.
std::vector<std::string> Members(const RawCalibration& calibration) {
  std::vector<std::string> members = {
      calibration.ms1_static_params,
      calibration.ms1_dynamic_params,
      calibration.ms1_fast_params,
      calibration.ms2_static_params,
      calibration.ms2_dynamic_params,
      calibration.ms2_fast_params,
      calibration.date,
      calibration.time,
      std::to_string(calibration.function_count),
  };
  const auto add = [&members](const RawCaliCoeffs& set) {
    char text[RAW_CALIBRATION_TEXT_SIZE];
    members.emplace_back(RawFormatCaliCoeffs(&set, text));
    members.emplace_back(RawFormatCaliStdDevs(&set, text));
  };
  add(calibration.ms1_static);
  add(calibration.ms2_static);
  for (const RawFunctionCalibration& function : calibration.functions) {
    members.push_back(std::to_string(function.segment_count));
    members.push_back(std::to_string(function.has_modification));
    for (const RawCaliCoeffs& set : function.segments) add(set);
    add(function.modification);
  }
  return members;
}

RawCaliCoeffs Set(const char* text) {
  RawCaliCoeffs set;
  return *RawParseCaliCoeffs(&set, text);
}

TEST(HeaderTags, PatternsByNumber) {
  char text[64] = "untouched";
  EXPECT_EQ(RawGetHeaderTag(97, text), 1);
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(RawGetHeaderTag(98, text), 0);
  EXPECT_EQ(RawGetHeaderTag(-1, text), 0);
  EXPECT_EQ(RawGetHeaderTag(0, nullptr), 0);
  const std::pair<int32_t, const char*> patterns[] = {
      {0, "$$ Version: %2.2i.%2.2i\r\n"},
      {11, "$$ Solvent Delay: %1li.%4.4li\r\n"},
      {13, "$$ SampleID: %s\r\n"},
      {19, "$$ Cal MS2 Lag: %1i\r\n"},
      {22, "$$ Resolved: \r\n"},
      {29, "$$ Cal MS2 Fast Params: %s\r\n"},
      {32, "$$ Processed: %s\r\n"},
      {33, "$$ Analog Channel 1 Offset: %.3f\r\n"},
      {36, "$$ Analog Channel 4 Offset: %.3f\r\n"},
      {40, "$$ Cal Function 4: %s\r\n"},
      {52, "$$ Cal Function 16: %s\r\n"},
      {53, "$$ Cal StdDev Function 1: %s\r\n"},
      {84, "$$ Cal Modification 16: %s\r\n"},
      {85, "$$ Cal Segment 1: %s\r\n"},
      {96, "$$ Cal Segment 12: %s\r\n"},
  };
  for (const auto& [tag, pattern] : patterns) {
    EXPECT_EQ(RawGetHeaderTag(tag, text), 1);
    EXPECT_STREQ(text, pattern);
  }
}

TEST_F(HeaderTest, WritesTheLinesInTagOrder) {
  const std::string text = Written([](RawHeader& header, RawCalibration& calibration) {
    header.version_major = 1;
    header.version_minor = 123;
    std::strcpy(header.acquired_name, "Run 1");
    std::strcpy(header.sample_description, "5 \xB1 0.1 mL");
    header.solvent_delay = 3.3325;
    header.analog_offsets[1] = -0.25f;
    header.analog_offsets[3] = FLT_MAX;
    calibration.ms1_lag = 3;
    calibration.ms1_dynamic = Set("1,2,T1");
    std::strcpy(calibration.ms2_fast_params, "a, b; c");
  });
  EXPECT_EQ(text,
            "$$ Version: 01.123\r\n$$ Acquired Name: Run 1\r\n$$ Acquired Date: \r\n"
            "$$ Acquired Time: \r\n$$ Job Code: \r\n$$ Task Code: \r\n$$ User Name: \r\n"
            "$$ Instrument: \r\n$$ Conditions: \r\n$$ Laboratory Name: \r\n"
            "$$ Sample Description: 5 \xB1 0.1 mL\r\n$$ Solvent Delay: 3.3325\r\n"
            "$$ Submitter: \r\n$$ SampleID: \r\n$$ Bottle Number: \r\n$$ Plate Desc: \r\n"
            "$$ Cal MS1 Static: 0.000000000000000e0,1.000000000000000e0,T0\r\n"
            "$$ Cal MS2 Static: 0.000000000000000e0,1.000000000000000e0,T0\r\n"
            "$$ Associated Datafile: \r\n$$ Cal MS1 Static Params: \r\n"
            "$$ Cal MS1 Dynamic Params: \r\n$$ Cal MS1 Fast Params: \r\n"
            "$$ Cal MS2 Static Params: \r\n$$ Cal MS2 Dynamic Params: \r\n"
            "$$ Cal MS2 Fast Params: a, b; c\r\n$$ Cal Time: \r\n$$ Cal Date: \r\n"
            "$$ Analog Channel 1 Offset: 0.000\r\n$$ Analog Channel 2 Offset: -0.250\r\n"
            "$$ Analog Channel 3 Offset: 0.000\r\n"
            "$$ Analog Channel 4 Offset: 340282346638528859811704183484516925440.000\r\n");
}

TEST_F(HeaderTest, SolventDelayKeepsItsPrintingRule) {
  const std::pair<double, const char*> cases[] = {
      {0.0, "0.0000"},   {1.99996, "1.10000"},       {1.99994, "1.9999"},      {0.00005, "0.0001"},
      {12.5, "12.5000"}, {1e300, "2147483647.0000"}, {std::nan(""), "0.0000"}, {-1.5, "-1.-4999"},
  };
  for (const auto& [delay, value] : cases) {
    const double minutes = delay;
    const std::string text =
        Written([minutes](RawHeader& header, RawCalibration&) { header.solvent_delay = minutes; });
    EXPECT_EQ(Line(text, "Solvent Delay"), std::string("$$ Solvent Delay: ") + value);
  }
}

TEST_F(HeaderTest, WritesOptionalLinesOnlyWhenTheyApply) {
  std::string text = Written([](RawHeader& header, RawCalibration&) {
    header.resolved = 1;
    std::strcpy(header.processed, "xy");
  });
  EXPECT_EQ(Line(text, "Resolved"), "$$ Resolved: ");
  EXPECT_EQ(Line(text, "Processed"), "$$ Processed: xy");
  text = Written([](RawHeader& header, RawCalibration&) { std::strcpy(header.processed, "x"); });
  EXPECT_EQ(Line(text, "Resolved"), "");
  EXPECT_EQ(Line(text, "Processed"), "");
  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_EQ(+header_.resolved, 0);
}

TEST_F(HeaderTest, WritesCalibrationsByTheirSegments) {
  const std::string text = Written([](RawHeader&, RawCalibration& calibration) {
    calibration.function_count = 3;
    RawCaliCoeffs set = Set("1,T1");
    set.standard_deviation = 0.5;
    RawSetFuncSegCoeffs(&calibration.functions[0], 0, &set);
    RawSetFuncSegCoeffs(&calibration.functions[0], 1, &set);
    RawSetFuncSegCoeffs(&calibration.functions[1], 0, &set);
    RawSetFuncSegCoeffs(&calibration.functions[2], 0, &set);
    RawSetFuncSegCoeffs(&calibration.functions[2], 1, &set);
    calibration.functions[2].has_modification = 1;
    calibration.functions[2].modification = Set("4");
    calibration.functions[3] = calibration.functions[1];
  });
  EXPECT_EQ(text.substr(text.find("$$ Cal Function")),
            "$$ Cal Function 2: 1.000000000000000e0,T1\r\n"
            "$$ Cal StdDev Function 2: 5.000000000000000e-1\r\n"
            "$$ Cal Modification 3: 4.000000000000000e0,T0\r\n"
            "$$ Cal Segment 1: 1.000000000000000e0,T1\r\n"
            "$$ Cal Segment 2: 1.000000000000000e0,T1\r\n");
}

TEST_F(HeaderTest, HostileRecordsAreWrittenWithinTheirFields) {
  RawHeader header;
  std::memset(&header, 'A', sizeof(header));
  auto calibration = std::make_unique<RawCalibration>();
  std::memset(calibration.get(), 'A', sizeof(*calibration));
  ASSERT_EQ(RawCreateHeader(handle_, &header, calibration.get()), RAW_OK);
  const std::string text = ReadText(Path("_HEADER.TXT"));
  EXPECT_EQ(Line(text, "Acquired Time"), "$$ Acquired Time: AAAAAAAAA");
  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_STREQ(header_.acquired_time, "AAAAAAAA");

  const std::string lines = Written([](RawHeader& record, RawCalibration&) {
    std::strcpy(record.conditions, "hot\r\n$$ Job Code: forged");
  });
  EXPECT_EQ(Line(lines, "Conditions"), "$$ Conditions: hot  $$ Job Code: forged");
}

TEST_F(HeaderTest, EveryFieldComesBack) {
  std::mt19937 random(5);
  const auto fill = [&random](char* field, size_t size) {
    for (size_t i = 0; i + 1 < size; ++i) field[i] = static_cast<char>('!' + random() % 94);
    field[size - 1] = '\0';
  };
  RawHeader header = {};
  header.version_major = SHRT_MAX;
  header.version_minor = 7;
  const auto texts = [&fill](auto&... field) { (fill(field, sizeof(field)), ...); };
  texts(header.acquired_name, header.acquired_date, header.acquired_time, header.job_code,
        header.task_code, header.user_name, header.laboratory_name, header.instrument,
        header.conditions, header.sample_description, header.submitter, header.sample_id,
        header.bottle_number, header.associated_datafile, header.processed,
        header.plate_description);
  header.solvent_delay = 12.0625;
  header.resolved = 1;
  const float offsets[4] = {0.125f, -3.5f, 1000.0f, 0.0f};
  std::copy(offsets, offsets + 4, header.analog_offsets);

  RawCalibration calibration;
  raw::ResetCalibration(&calibration);
  calibration.ms1_static = Set("1.5,2.5,T1");
  calibration.ms2_static = Set("1,2,3,4,5,6,T1");
  texts(calibration.ms1_static_params, calibration.ms1_dynamic_params, calibration.ms1_fast_params,
        calibration.ms2_static_params, calibration.ms2_dynamic_params, calibration.ms2_fast_params,
        calibration.date, calibration.time);
  calibration.function_count = 16;
  for (int i = 0; i < 16; ++i) {
    RawCaliCoeffs set = Set("1,-0.5,T1");
    set.coefficients[0] = i;
    set.standard_deviation = i / 4.0;
    RawSetFuncSegCoeffs(&calibration.functions[i], 0, &set);
    calibration.functions[i].has_modification = 1;
    calibration.functions[i].modification = Set("0,0.25");
  }
  for (int i = 0; i < 12; ++i) {
    const RawCaliCoeffs set = Set(i % 2 == 0 ? "7,8" : "9,T1");
    RawSetFuncSegCoeffs(&calibration.functions[0], i, &set);
  }
  ASSERT_EQ(RawCreateHeader(handle_, &header, &calibration), RAW_OK);
  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_EQ(std::memcmp(&header, &header_, sizeof(header)), 0);
  EXPECT_EQ(Members(calibration), Members(calibration_));
}

TEST_F(HeaderTest, MatchesNamesLoosely) {
  ReadFrom(
      "rubbish $ x $JOB_CO\bde : X\r\n"  // what stands between the dollars does not matter
      "$$TaskCode:\b  T  \r\n"           // blanks behind the value are its own
      "$$ Unknown: $$ User Name: U\n"    // a name without match ends the line's tag
      "$$ Cal MS1 Static Params: 1,2\r\n"
      "$$ Acquired\tName: no\r\n$$$ Instrument: no\r\n"
      "$$ Instrument: $$ Conditions: no\r\n"
      "$$ Resolved: whatever\r\n$$ Cal MS2 Lag: 12 h\r\n"
      "$$ Submitter: last");
  EXPECT_STREQ(header_.job_code, "X");
  EXPECT_STREQ(header_.task_code, "T  ");
  EXPECT_STREQ(header_.user_name, "U");
  EXPECT_STREQ(calibration_.ms1_static_params, "1,2");
  EXPECT_EQ(calibration_.ms1_static.coefficients[1], 1.0);
  EXPECT_STREQ(header_.acquired_name, "");
  EXPECT_STREQ(header_.instrument, "$$ Conditions: no");
  EXPECT_STREQ(header_.conditions, "");
  EXPECT_EQ(+header_.resolved, 1);
  EXPECT_EQ(calibration_.ms2_lag, 12);
  EXPECT_STREQ(header_.submitter, "last");
  EXPECT_EQ(+header_.encrypted, 0);
}

TEST_F(HeaderTest, BoundsValues) {
  std::string text = "$$ Version: 99999.-99999\r\n$$ Acquired Date: ";
  text.append(5000, 'd').append(
      "\r\n$$ Solvent Delay: 1e999\r\n$$ Analog Channel 1 Offset: -1e300");
  ReadFrom(text);
  EXPECT_EQ(+header_.version_major, SHRT_MAX);
  EXPECT_EQ(+header_.version_minor, SHRT_MIN);
  EXPECT_STREQ(header_.acquired_date, "ddddddddddd");
  EXPECT_STREQ(header_.acquired_time, "");
  EXPECT_EQ(+header_.solvent_delay, DBL_MAX);
  EXPECT_EQ(+header_.analog_offsets[0], -FLT_MAX);
  ReadFrom("$$ Version: 3\r\n");
  EXPECT_EQ(+header_.version_major, 3);
  EXPECT_EQ(+header_.version_minor, 0);
}

TEST_F(HeaderTest, CalibrationLinesRaiseTheFunctionCount) {
  ReadFrom(
      "$$ Cal Function 2: 1,2,3,T1\r\n$$ Cal StdDev Function 2: 0.25\r\n"
      "$$ Cal Modification 5: 7\r\n$$ Cal Segment 3: 8,9\r\n$$ Cal MS1 Dynamic: 4,5\r\n");
  EXPECT_EQ(calibration_.function_count, 5);
  EXPECT_EQ(calibration_.functions[0].segment_count, 3);
  EXPECT_EQ(calibration_.functions[0].segments[1].order, 1);
  EXPECT_EQ(calibration_.functions[0].segments[2].coefficients[1], 9.0);
  EXPECT_EQ(calibration_.functions[1].segments[0].order, 2);
  EXPECT_EQ(calibration_.functions[1].segments[0].standard_deviation, 0.25);
  EXPECT_EQ(calibration_.functions[3].segment_count, 0);
  EXPECT_EQ(calibration_.functions[4].segment_count, 0);
  EXPECT_EQ(calibration_.functions[4].has_modification, 1);
  EXPECT_EQ(calibration_.functions[4].modification.coefficients[0], 7.0);
  EXPECT_EQ(calibration_.ms1_dynamic.coefficients[1], 5.0);
}

TEST_F(HeaderTest, FunctionsWithoutCalibrationGetTheirAnalysersDynamicOne) {
  Bytes table(20 * RAW_FUNCTION_RECORD_SIZE + 100, 0);
  table[2 * RAW_FUNCTION_RECORD_SIZE] = RAW_TYPE_DAUGHTERS;
  WriteFile(Path("_FUNCTNS.INF"), table);
  ReadFrom("$$ Cal Function 1: 1\n$$ Cal MS1 Dynamic: 2\n$$ Cal MS2 Dynamic: 3\n");
  EXPECT_EQ(functions_, 20);
  EXPECT_EQ(calibration_.function_count, 16);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(calibration_.functions[i].segment_count, 1);
    EXPECT_EQ(calibration_.functions[i].segments[0].coefficients[0], i == 0 ? 1 : i == 2 ? 3 : 2);
  }
  EXPECT_EQ(RawReadHeader(handle_, nullptr, nullptr, nullptr, nullptr), RAW_OK);

  table.resize(2 * RAW_FUNCTION_RECORD_SIZE + 415);
  WriteFile(Path("_FUNCTNS.INF"), table);
  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_EQ(functions_, 2);
  table.resize(40 * RAW_FUNCTION_RECORD_SIZE);
  WriteFile(Path("_FUNCTNS.INF"), table);
  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_EQ(functions_, RAW_MAX_FUNCTIONS);
}

TEST_F(HeaderTest, TheInvertedHeaderWins) {
  WriteText(Path("_HEADER.TXT"), "$$ Job Code: plain\r\n");
  std::string inverted = "$$ Job Code: inverted";
  for (char& c : inverted) c = static_cast<char>(~c);
  WriteText(Path("_HEADER.INF"), inverted);
  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_STREQ(header_.job_code, "inverted");
  EXPECT_NE(+header_.encrypted, 0);
}

TEST_F(HeaderTest, ReportsWhatIsMissing) {
  EXPECT_EQ(Read(), RAW_MEMBER_NOT_OPENED);
  EXPECT_EQ(+header_.resolved, 0);  // cleared all the same
  EXPECT_EQ(calibration_.ms1_static.order, 1);
  EXPECT_EQ(functions_, 0);
  WriteText(Path("_HEADER.TXT"), "");
  EXPECT_EQ(Read(), RAW_OK);
  platform::Files().Remove(Path("_FUNCTNS.INF"));
  EXPECT_EQ(Read(), RAW_MEMBER_NOT_OPENED);

  RawHeader header = {};
  RawCalibration calibration = {};
  for (const auto& [handle, error] : {std::pair<int32_t, int32_t>{-1, RAW_HANDLE_OUT_OF_RANGE},
                                      {20, RAW_HANDLE_OUT_OF_RANGE},
                                      {19, RAW_HANDLE_NOT_OPEN}}) {
    EXPECT_EQ(RawReadHeader(handle, &header, nullptr, nullptr, nullptr), error);
    EXPECT_EQ(RawCreateHeader(handle, &header, &calibration), error);
  }
  EXPECT_EQ(RawCreateHeader(handle_, nullptr, &calibration), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawCreateHeader(handle_, &header, nullptr), RAW_BAD_ARGUMENT);
}

}  // namespace
}  // namespace tervalon::testing
