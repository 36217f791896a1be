// Processing steps as one line of text.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "platform/little_endian.h"
#include "platform/local_time.h"
#include "tervalon/number_format.h"
#include "tervalon/raw_history.h"

using namespace tervalon;  // NOLINT(google-build-using-namespace)

namespace {

// By type. The spelling of type 14 is what applications know.
constexpr const char* kTypeNames[] = {"None",
                                      "Refine",
                                      "Combine",
                                      "Smooth",
                                      "Center",
                                      "Peak top",
                                      "Modify",
                                      "Transform",
                                      "DBase",
                                      "Full file refine",
                                      "Full file filter",
                                      "MaxEnt",
                                      "Subtract",
                                      "MockData",
                                      "MaxEnt Recontruct",
                                      "MockData",
                                      "Isotope model",
                                      "Isotope continuum model",
                                      "MaxEnt Sequence",
                                      "MockData",
                                      "Accurate Mass"};

constexpr const char* kSmoothMethods[] = {"Mean", "SG"};
constexpr const char* kPeakModels[] = {"Gauss", "Measured"};

constexpr int32_t kAlways = -1;

// How a type with parameters of its own is described. A "%" in the pattern is followed by a kind
// and the number (hexadecimal) of the 32-bit field that it shows: i an integer; n, 1 and 2 a float,
// with the decimals that it needs, one or two; r a further run of scans, in two fields, if there is
// one; s a smoothing method; m a peak model; t a text.
struct Describer {
  uint16_t type;
  int32_t condition;  // the row is for steps where this field is not zero
  const char* name;
  const char* pattern;
};

// The first row that fits a step counts. Pairs of types share their patterns.
constexpr Describer kDescribers[] = {
    {RAW_STEP_REFINE, kAlways, "Refine", "(%i0,%n1)"},
    {RAW_STEP_COMBINE, 4, "Combine", "(%i0:%i1%ra%rc%re-(%i2:%i3+%i4:%i5)x%n6)"},
    {RAW_STEP_COMBINE, 2, "Combine", "(%i0:%i1%ra%rc%re-(%i2:%i3)x%n6)"},
    {RAW_STEP_COMBINE, kAlways, "Combine", "(%i0:%i1%ra%rc%re)"},
    {RAW_STEP_SMOOTH, kAlways, "Smooth", "(%s0,%i1x%i2)"},
    {RAW_STEP_CENTER, kAlways, "Center", ""},
    {RAW_STEP_TRANSFORM, kAlways, "Transform", "(%i0:%i1,%n2,%n3)"},
    {RAW_STEP_MAXENT_1, kAlways, "MaxEnt 1", "[Ev%i0,It%i1] (%m2,%n3,%i4:%i5,%n6,L%i7,R%i8)"},
    {RAW_STEP_MOCK_DATA_1, kAlways, "MockData", "[Ev%i0,It%i1] (%m2,%n3,%i4:%i5,%n6,L%i7,R%i8)"},
    {RAW_STEP_SUBTRACT, kAlways, "Subtract", "(%i0,%n1,%n2)"},
    {RAW_STEP_MAXENT_2, kAlways, "MaxEnt 2", "[Ev%i0,It%i1] (%n2,%i3:%i4)"},
    {RAW_STEP_MOCK_DATA_2, kAlways, "MockData", "[Ev%i0,It%i1] (%n2,%i3:%i4)"},
    {RAW_STEP_ISOTOPE_MODEL, kAlways, "Isotope", "(%t0)"},
    {RAW_STEP_CONTINUUM_MODEL, kAlways, "Continuum", "(%t0,%nc)"},
    {RAW_STEP_MAXENT_3, 2, "MaxEnt 3", "[Ev%i0,It%i1,En%i2]"},
    {RAW_STEP_MAXENT_3, kAlways, "MaxEnt 3", "[Ev%i0,It%i1]"},
    {RAW_STEP_MOCK_DATA_3, 2, "MockData", "[Ev%i0,It%i1,En%i2]"},
    {RAW_STEP_MOCK_DATA_3, kAlways, "MockData", "[Ev%i0,It%i1]"},
    {RAW_STEP_ACCURATE_MASS, kAlways, "Accurate Mass", "%10,%21"},
    {RAW_STEP_COMBINED, kAlways, "Combine", ""},
};

constexpr size_t kFormulaSize = 48;

class Parameters {
 public:
  explicit Parameters(const uint8_t* bytes) : bytes_(bytes) {}

  // Steps written without parameters have zeros.
  bool Known() const {
    return std::any_of(bytes_, bytes_ + RAW_STEP_PARAMETERS_SIZE, [](uint8_t b) { return b != 0; });
  }

  int32_t Int(int32_t field) const { return Load<int32_t>(bytes_ + 4 * field); }
  float Float(int32_t field) const { return Load<float>(bytes_ + 4 * field); }

  std::string Text(int32_t field) const {
    const char* const begin = reinterpret_cast<const char*>(bytes_ + 4 * field);
    return {begin, std::find(begin, begin + kFormulaSize, '\0')};
  }

 private:
  const uint8_t* bytes_;
};

std::string NumberText(float value, int32_t decimals) {
  char text[32];
  return ftoa(static_cast<double>(value), text, decimals);
}

// With the decimals that it needs, at most four.
std::string ShortNumberText(float value) {
  std::string text = NumberText(value, 4);
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string RunText(int32_t first, int32_t last) {
  return first != 0 ? '+' + std::to_string(first) + ':' + std::to_string(last) : "";
}

template <size_t kSize>
std::string NameOrNumber(const char* const (&names)[kSize], int32_t value) {
  const bool named = value >= 0 && static_cast<size_t>(value) < kSize;
  return named ? names[value] : std::to_string(value);
}

std::string FieldText(const Parameters& parameters, char kind, int32_t field) {
  switch (kind) {
    case 'n':
      return ShortNumberText(parameters.Float(field));
    case '1':
    case '2':
      return NumberText(parameters.Float(field), kind - '0');
    case 'r':
      return RunText(parameters.Int(field), parameters.Int(field + 1));
    case 's':
      return NameOrNumber(kSmoothMethods, parameters.Int(field));
    case 'm':
      return NameOrNumber(kPeakModels, parameters.Int(field));
    case 't':
      return parameters.Text(field);
    default:
      return std::to_string(parameters.Int(field));
  }
}

std::string ParameterText(const Parameters& parameters, std::string_view pattern) {
  std::string text;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') {
      text += pattern[i];
      continue;
    }
    const char digit = pattern[i + 2];
    const int32_t field = digit >= 'a' ? digit - 'a' + 10 : digit - '0';
    text += FieldText(parameters, pattern[i + 1], field);
    i += 2;
  }
  return text;
}

const Describer* FindDescriber(uint16_t type, const Parameters& parameters) {
  const auto* const found =
      std::find_if(std::begin(kDescribers), std::end(kDescribers), [&](const Describer& row) {
        return row.type == type && (row.condition == kAlways || parameters.Int(row.condition) != 0);
      });
  return found != std::end(kDescribers) ? found : nullptr;
}

std::string StepText(const RawHistoryProcess& process, bool with_name) {
  const Parameters parameters(process.parameters);
  const Describer* const describer = FindDescriber(process.type, parameters);
  if (describer == nullptr) {
    const bool named = process.type < std::size(kTypeNames);
    return with_name ? (named ? kTypeNames[process.type] : "Unknown") : "";
  }
  std::string text = with_name ? describer->name : "";
  if (describer->pattern[0] != '\0' && parameters.Known()) {
    if (with_name) text += ' ';
    text += ParameterText(parameters, describer->pattern);
  }
  return text;
}

std::string TwoDigits(int value) {
  const std::string digits = std::to_string(value);
  return digits.size() < 2 ? '0' + digits : digits;
}

std::string TimeText(uint32_t created, uint16_t flags) {
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm time = {};
  std::string text;
  if (!platform::LocalTime(created, &time)) return text;
  if ((flags & RAW_DESCRIBE_DATE) != 0) {
    text += ' ' + TwoDigits(time.tm_mday) + '-' + kMonths[time.tm_mon] + '-' +
            TwoDigits(time.tm_year % 100);
  }
  if ((flags & RAW_DESCRIBE_TIME) != 0) {
    text += ' ' + TwoDigits(time.tm_hour) + ':' + TwoDigits(time.tm_min);
  }
  return text;
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawHistDescription(const RawHistoryProcess* process,
                                                    uint16_t flags, char* text, int32_t capacity) {
  if (process == nullptr || text == nullptr || capacity < 1) return 0;
  text[0] = '\0';
  return Guarded<int32_t>(0, [&] {
    std::string line = StepText(*process, (flags & RAW_DESCRIBE_NAME) != 0);
    if ((flags & (RAW_DESCRIBE_DATE | RAW_DESCRIBE_TIME)) != 0) {
      line += TimeText(process->created, flags);
    }
    line.resize(std::min(line.size(), static_cast<size_t>(capacity) - 1));
    std::memcpy(text, line.c_str(), line.size() + 1);
    return 1;
  });
}
