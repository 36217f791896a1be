#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "raw/calibration.h"
#include "raw/header_file.h"
#include "raw/header_tags.h"
#include "tervalon/raw_header.h"

namespace tervalon::raw {
namespace {

constexpr size_t kShortestProcessedText = 2;

// Appends an integer with at least `digits` digits, as "%i" with a precision does.
void AppendInteger(int32_t value, size_t digits, std::string* line) {
  char text[16];
  const char* const end = std::to_chars(text, std::end(text), value).ptr;
  const char* first = text;
  if (value < 0) *line += *first++;
  const auto length = static_cast<size_t>(end - first);
  line->append(digits - std::min(digits, length), '0').append(first, length);
}

// A text field, up to its end when it is not terminated. A line end inside would end the header's
// line and let the rest pass for lines of their own; it becomes a space.
std::string FieldText(const HeaderTag& tag, const char* field) {
  std::string text(field, strnlen(field, tag.size));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return text;
}

int32_t TruncatedToInteger(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<int32_t>(std::clamp(value, -double{std::numeric_limits<int32_t>::max()},
                                         double{std::numeric_limits<int32_t>::max()}));
}

// Whole minutes and ten-thousandths, each on its own: a fraction that rounds up to 10000 prints as
// five digits, and files hold it so.
void AppendSolventDelay(double delay, std::string* line) {
  const double whole = std::trunc(delay);
  AppendInteger(TruncatedToInteger(whole), 1, line);
  *line += '.';
  AppendInteger(TruncatedToInteger((delay - whole) * 10000.0 + 0.5), 4, line);
}

void AppendOffset(float offset, std::string* line) {
  char text[64];
  line->append(
      text, std::to_chars(text, std::end(text), double{offset}, std::chars_format::fixed, 3).ptr);
}

void AppendCoefficients(const RawCaliCoeffs& set, std::string* line) {
  char text[RAW_CALIBRATION_TEXT_SIZE];
  *line += RawFormatCaliCoeffs(&set, text);
}

void AppendDeviation(const RawCaliCoeffs& set, std::string* line) {
  char text[64];
  *line += RawFormatCaliStdDevs(&set, text);
}

// Appends the value of a line of a function's calibration; false when there is no such line.
bool AppendFunctionValue(const HeaderTag& tag, const RawCalibration& calibration,
                         std::string* line) {
  const bool is_segment = tag.value == HeaderValue::kSegmentCoefficients;
  RawFunctionCalibration function;
  if (RawGetFuncCalib(&calibration, is_segment ? 1 : tag.number, &function) == 0) return false;
  RawCaliCoeffs set = function.modification;
  if (tag.value == HeaderValue::kFunctionModification) {
    if (function.has_modification == 0) return false;
  } else {
    if ((function.segment_count > 1) != is_segment) return false;
    const bool exists = RawGetFuncSegCoeffs(&function, is_segment ? tag.number - 1 : 0, &set) != 0;
    if (is_segment && !exists) return false;
  }
  if (tag.value == HeaderValue::kFunctionDeviation) {
    AppendDeviation(set, line);
  } else {
    AppendCoefficients(set, line);
  }
  return true;
}

// Appends the value of a tag's line; false when the tag has no line.
bool AppendValue(const HeaderTag& tag, const RawHeader& header, const RawCalibration& calibration,
                 std::string* line) {
  switch (tag.value) {
    case HeaderValue::kVersion:
      AppendInteger(header.version_major, 2, line);
      *line += '.';
      AppendInteger(header.version_minor, 2, line);
      return true;
    case HeaderValue::kSolventDelay:
      AppendSolventDelay(header.solvent_delay, line);
      return true;
    case HeaderValue::kResolved:
      return header.resolved != 0;
    case HeaderValue::kHeaderText:
    case HeaderValue::kProcessed: {
      const std::string text = FieldText(tag, tag.FieldOf<char>(&header));
      *line += text;
      return tag.value == HeaderValue::kHeaderText || text.size() >= kShortestProcessedText;
    }
    case HeaderValue::kAnalogOffset:
      AppendOffset(header.analog_offsets[tag.number - 1], line);
      return true;
    case HeaderValue::kCalibrationText:
      *line += FieldText(tag, tag.FieldOf<char>(&calibration));
      return true;
    case HeaderValue::kLag:
      AppendInteger(*tag.FieldOf<int32_t>(&calibration), 1, line);
      return true;
    case HeaderValue::kCoefficients:
      AppendCoefficients(*tag.FieldOf<RawCaliCoeffs>(&calibration), line);
      return true;
    case HeaderValue::kFunctionCoefficients:
    case HeaderValue::kFunctionDeviation:
    case HeaderValue::kFunctionModification:
    case HeaderValue::kSegmentCoefficients:
      return AppendFunctionValue(tag, calibration, line);
  }
  return false;
}

// The lines of a header's text, of which only those count that a writer can write.
MemberParts SplitHeader(const std::vector<uint8_t>& text) {
  RawHeader header = {};
  const auto calibration = std::make_unique<RawCalibration>();
  ResetCalibration(calibration.get());
  ParseHeader(text, &header, calibration.get());
  return FormatHeader(header, *calibration);
}

int32_t CreateHeader(int32_t handle, const RawHeader* header, const RawCalibration* calibration) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (header == nullptr || calibration == nullptr) return RAW_BAD_ARGUMENT;
  return WriteParts(handle, kHeaderText, kMaxHeaderSize, FormatHeader(*header, *calibration),
                    SplitHeader);
}

}  // namespace

MemberParts FormatHeader(const RawHeader& header, const RawCalibration& calibration) {
  MemberParts lines;
  for (const HeaderTag& tag : kHeaderTags) {
    std::string line(tag.Front());
    const bool written = tag.written && AppendValue(tag, header, calibration, &line);
    lines.push_back(written ? line + "\r\n" : "");
  }
  return lines;
}

}  // namespace tervalon::raw

extern "C" int32_t TERVALON_CALL RawCreateHeader(int32_t handle, const RawHeader* header,
                                                 const RawCalibration* calibration) {
  return tervalon::Guarded(RAW_NO_MEMORY_FOR_MEMBER, [&] {
    return tervalon::raw::CreateHeader(handle, header, calibration);
  });
}
