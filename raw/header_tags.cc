#include "raw/header_tags.h"

#include <cstring>

static_assert(sizeof(RawHeader) == 1620);

namespace tervalon::raw {
namespace {

// A tag, or `count` tags in a row that differ in their number only: "%i" in front of the value.
struct TagRow {
  HeaderValue value;
  const char* pattern;
  size_t offset = 0;
  size_t size = 0;
  bool written = true;
  int count = 1;
};

constexpr bool kReadOnly = false;

// NOLINTBEGIN(cppcoreguidelines-macro-usage): offset and size of a member have no other short form.
#define HEADER_TEXT(member) offsetof(RawHeader, member), sizeof(RawHeader::member)
#define CALIBRATION_TEXT(member) offsetof(RawCalibration, member), sizeof(RawCalibration::member)
#define CALIBRATION_FIELD(member) offsetof(RawCalibration, member), 0
// NOLINTEND(cppcoreguidelines-macro-usage)

constexpr TagRow kRows[] = {
    {HeaderValue::kVersion, "Version: %2.2i.%2.2i"},
    {HeaderValue::kHeaderText, "Acquired Name: %s", HEADER_TEXT(acquired_name)},
    {HeaderValue::kHeaderText, "Acquired Date: %s", HEADER_TEXT(acquired_date)},
    {HeaderValue::kHeaderText, "Acquired Time: %s", HEADER_TEXT(acquired_time)},
    {HeaderValue::kHeaderText, "Job Code: %s", HEADER_TEXT(job_code)},
    {HeaderValue::kHeaderText, "Task Code: %s", HEADER_TEXT(task_code)},
    {HeaderValue::kHeaderText, "User Name: %s", HEADER_TEXT(user_name)},
    {HeaderValue::kHeaderText, "Instrument: %s", HEADER_TEXT(instrument)},
    {HeaderValue::kHeaderText, "Conditions: %s", HEADER_TEXT(conditions)},
    {HeaderValue::kHeaderText, "Laboratory Name: %s", HEADER_TEXT(laboratory_name)},
    {HeaderValue::kHeaderText, "Sample Description: %s", HEADER_TEXT(sample_description)},
    {HeaderValue::kSolventDelay, "Solvent Delay: %1li.%4.4li"},
    {HeaderValue::kHeaderText, "Submitter: %s", HEADER_TEXT(submitter)},
    {HeaderValue::kHeaderText, "SampleID: %s", HEADER_TEXT(sample_id)},
    {HeaderValue::kHeaderText, "Bottle Number: %s", HEADER_TEXT(bottle_number)},
    {HeaderValue::kHeaderText, "Plate Desc: %s", HEADER_TEXT(plate_description)},
    {HeaderValue::kLag, "Cal MS1 Lag: %1i", CALIBRATION_FIELD(ms1_lag), kReadOnly},
    {HeaderValue::kCoefficients, "Cal MS1 Static: %s", CALIBRATION_FIELD(ms1_static)},
    {HeaderValue::kCoefficients, "Cal MS1 Dynamic: %s", CALIBRATION_FIELD(ms1_dynamic), kReadOnly},
    {HeaderValue::kLag, "Cal MS2 Lag: %1i", CALIBRATION_FIELD(ms2_lag), kReadOnly},
    {HeaderValue::kCoefficients, "Cal MS2 Static: %s", CALIBRATION_FIELD(ms2_static)},
    {HeaderValue::kCoefficients, "Cal MS2 Dynamic: %s", CALIBRATION_FIELD(ms2_dynamic), kReadOnly},
    {HeaderValue::kResolved, "Resolved: "},
    {HeaderValue::kHeaderText, "Associated Datafile: %s", HEADER_TEXT(associated_datafile)},
    {HeaderValue::kCalibrationText, "Cal MS1 Static Params: %s",
     CALIBRATION_TEXT(ms1_static_params)},
    {HeaderValue::kCalibrationText, "Cal MS1 Dynamic Params: %s",
     CALIBRATION_TEXT(ms1_dynamic_params)},
    {HeaderValue::kCalibrationText, "Cal MS1 Fast Params: %s", CALIBRATION_TEXT(ms1_fast_params)},
    {HeaderValue::kCalibrationText, "Cal MS2 Static Params: %s",
     CALIBRATION_TEXT(ms2_static_params)},
    {HeaderValue::kCalibrationText, "Cal MS2 Dynamic Params: %s",
     CALIBRATION_TEXT(ms2_dynamic_params)},
    {HeaderValue::kCalibrationText, "Cal MS2 Fast Params: %s", CALIBRATION_TEXT(ms2_fast_params)},
    {HeaderValue::kCalibrationText, "Cal Time: %s", CALIBRATION_TEXT(time)},
    {HeaderValue::kCalibrationText, "Cal Date: %s", CALIBRATION_TEXT(date)},
    {HeaderValue::kProcessed, "Processed: %s", HEADER_TEXT(processed)},
    {.value = HeaderValue::kAnalogOffset, .pattern = "Analog Channel %i Offset: %.3f", .count = 4},
    {.value = HeaderValue::kFunctionCoefficients, .pattern = "Cal Function %i: %s", .count = 16},
    {.value = HeaderValue::kFunctionDeviation,
     .pattern = "Cal StdDev Function %i: %s",
     .count = 16},
    {.value = HeaderValue::kFunctionModification,
     .pattern = "Cal Modification %i: %s",
     .count = 16},
    {.value = HeaderValue::kSegmentCoefficients, .pattern = "Cal Segment %i: %s", .count = 12},
};

// The line's pattern, with the first "%i" of a numbered tag filled in.
consteval std::array<char, 48> LinePattern(const TagRow& row, int number) {
  std::array<char, 48> line = {'$', '$', ' '};
  size_t length = 3;
  bool fill = row.count > 1;
  for (const char* p = row.pattern; *p != '\0'; ++p) {
    if (fill && p[0] == '%' && p[1] == 'i') {
      if (number >= 10) line[length++] = static_cast<char>('0' + number / 10);
      line[length++] = static_cast<char>('0' + number % 10);
      fill = false;
      ++p;
    } else {
      line[length++] = *p;
    }
  }
  line[length++] = '\r';
  line[length++] = '\n';
  return line;
}

consteval std::array<HeaderTag, RAW_HEADER_TAG_COUNT> BuildTags() {
  std::array<HeaderTag, RAW_HEADER_TAG_COUNT> tags = {};
  size_t tag = 0;
  for (const TagRow& row : kRows) {
    for (int number = 1; number <= row.count; ++number) {
      tags.at(tag++) = {LinePattern(row, number),
                        row.value,
                        row.written,
                        static_cast<uint8_t>(number),
                        static_cast<uint16_t>(row.offset),
                        static_cast<uint16_t>(row.size)};
    }
  }
  return tags;
}

}  // namespace

constexpr std::array<HeaderTag, RAW_HEADER_TAG_COUNT> kHeaderTags = BuildTags();
static_assert(kHeaderTags.back().number == 12);

std::string_view HeaderTag::Front() const {
  const std::string_view line = pattern.data();
  return line.substr(0, line.find_first_of("%\r"));
}

}  // namespace tervalon::raw

extern "C" int32_t TERVALON_CALL RawGetHeaderTag(int32_t tag, char* text) {
  if (tag < 0 || tag > RAW_HEADER_TAG_COUNT || text == nullptr) return 0;
  if (tag == RAW_HEADER_TAG_COUNT) return 1;
  std::strcpy(text, tervalon::raw::kHeaderTags[static_cast<size_t>(tag)].pattern.data());
  return 1;
}
