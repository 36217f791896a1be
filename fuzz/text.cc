#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "appsvc/messages.h"
#include "appsvc/text_number.h"
#include "fuzz/targets.h"
#include "tervalon/database_fields.h"
#include "tervalon/messages.h"
#include "tervalon/number_format.h"
#include "tervalon/paths.h"
#include "tervalon/raw_calibration.h"
#include "tervalon/trace_strings.h"

namespace tervalon::fuzz {
namespace {

// The text stands in a block of its own, which the sanitizer watches.
struct Text {
  std::vector<char> bytes;

  explicit Text(const std::string& text) : bytes(text.begin(), text.end()) { bytes.push_back(0); }
  char* get() { return bytes.data(); }
  std::string str() const { return bytes.data(); }
};

// What an export writes to a buffer of `size` bytes ends in it.
struct Room {
  std::vector<char> bytes;

  explicit Room(int32_t size) : bytes(static_cast<size_t>(size), 'x') {}
  char* get() { return bytes.data(); }
  int32_t size() const { return static_cast<int32_t>(bytes.size()); }
  std::string str() const {
    const auto end = std::find(bytes.begin(), bytes.end(), '\0');
    FUZZ_CHECK(end != bytes.end());
    return {bytes.begin(), end};
  }
};

void Numbers(Text text, Options* options) {
  const double value = appsvc::ParseDouble(text.get());
  const int32_t whole = appsvc::ParseInt(text.get());
  FUZZ_CHECK(std::isfinite(value));
  // In the range of 32 bits both agree but for the point and the exponent.
  if (text.str().find_first_of(".eE") == std::string::npos && std::fabs(value) < 2e9) {
    FUZZ_CHECK(static_cast<int32_t>(value) == whole);
  }
  const double any = options->Take<double>();
  const int32_t digits = options->Take<int8_t>();
  Room fixed(32);
  Room exponent(40);
  Room general(40);
  ftoa(any, fixed.get(), digits);
  etoa(any, exponent.get(), digits);
  gtoa(any, digits, general.get());
  const std::string shown = fixed.str() + exponent.str() + general.str();
  FUZZ_CHECK(!shown.empty());
  if (std::fabs(any) < 1e9 && digits >= 6) {
    FUZZ_CHECK(std::fabs(appsvc::ParseDouble(fixed.get()) - any) <= 1e-5);
  }
}

void Traces(Text text, Options* options) {
  const int32_t most = options->Pick(40);
  std::vector<float> list(static_cast<size_t>(most) + 1);
  const char* next = nullptr;
  const int32_t values = DmRawStrToMassMRM(text.get(), list.data(), most, &next, options->Pick(2));
  FUZZ_CHECK(values >= -1 && values <= most);
  const char* error_at = nullptr;
  const int32_t traces = DmRawValidateMassStr(text.get(), &error_at);
  FUZZ_CHECK(traces >= -1);
  FUZZ_CHECK(DmRawAnalogChannelNumber(text.get()) < 4);
  DmRawIsAnalogTraceDesc(text.get());
  Room described(1 + options->Pick(64));
  ChannelToDesc(nullptr, text.get(), described.get(), described.size());
  if (values < 0) {  // any list
    for (float& value : list) value = options->Take<float>();
    list.back() = 0;
  }
  Room shown(33 * static_cast<int32_t>(list.size()) + 1);
  const int32_t length = DmRawMassToStr(list.data(), shown.get());
  FUZZ_CHECK(shown.str().size() == static_cast<size_t>(length));
  // Masses are below 32000, to which a few digits are enough.
  int32_t run = 0;
  int32_t longest = 0;
  for (const char c : text.str())
    longest = std::max(longest, run = c >= '0' && c <= '9' ? run + 1 : 0);
  if (values > 0 && longest <= 4) {
    std::vector<float> again(list.size() + 3);
    FUZZ_CHECK(DmRawStrToMass(shown.get(), again.data(), most + 2, nullptr) >= 0);
  }
  DmRawSortMassList(list.data());
  std::vector<RawTraceWindow> windows((list.size() + 1) * (list.size() + 1));
  std::vector<RawTrace> made(list.size() + 1);
  for (size_t i = 0; i < made.size(); ++i) made[i] = {0, 0, &windows[i * (list.size() + 1)]};
  const int32_t count =
      DmRawSetupLoHiMass(list.data(), options->Take<float>(), made.data(), options->Pick(2));
  FUZZ_CHECK(count >= 0 && static_cast<size_t>(count) < made.size());
  DmTraceRecord trace = {};
  trace.type = static_cast<uint32_t>(options->Pick(10));
  std::copy_n(list.begin(), std::min<size_t>(list.size(), DM_TRACE_LIST_SIZE), trace.masses);
  trace.masses[DM_MAX_TRACE_MASSES] = 0;
  trace.analog_channel = options->Take<int16_t>();
  DmRawGetTraceTypeDescription(nullptr, &trace, described.get(), 1, described.size());
  described.str();
  Room mass(32);
  DmRawFormatMass(options->Take<float>(), mass.get());
  mass.str();
}

std::string Expand(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = appsvc::ExpandFormat(format, arguments, 255);
  va_end(arguments);
  return text;
}

void Messages(Text text, Options* options) {
  const std::string format = text.str();
  const auto uses =
      std::count_if(format.begin(), format.end(), [](char c) { return c == '%' || c == '*'; });
  if (uses <= 10) {
    const std::string given = options->TakeText();
    const char* const p = given.c_str();
    const std::string shown =
        Expand(format.c_str(), 1.0, -2e300, 3e-5, 4.0, 0.5, 1e9, -0.0, 8.0, p, p, p, p, p, p, p, p,
               p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p);
    FUZZ_CHECK(shown.size() <= 255);
  }
  const appsvc::MessageHeader header = appsvc::ParseMessageHeader(format);
  FUZZ_CHECK((header.style & 0xFu) <= 5);
  int16_t style = -1;
  int16_t level = -1;
  const char* const rest = MsgGetErrorLevel(text.get(), &style, &level);
  FUZZ_CHECK(rest >= text.get() && rest <= text.get() + format.size());
  FUZZ_CHECK(level >= 0 && level <= 3);
  GenMessage(nullptr, text.get(), text.get(), header.style, nullptr, text.get());
}

void Paths(Text text, Options* options) {
  const std::string path = text.str();
  const int32_t size = 1 + options->Take<uint16_t>() % 1200;
  Room directory(size);
  Room name(size);
  Room extension(size);
  const bool whole = GetPathDirectory(text.get(), directory.get(), size) != 0 &&
                     GetPathName(text.get(), name.get(), size) != 0 &&
                     GetPathExtension(text.get(), extension.get(), size) != 0;
  if (whole) {
    const std::string joined = directory.str() + name.str();
    FUZZ_CHECK(path.starts_with(joined) && path.ends_with(extension.str()));
    FUZZ_CHECK(path.size() - joined.size() - extension.str().size() <= 1);
  }
  Text other(options->TakeText());
  Room made(size);
  CreatePathName(text.get(), options->Pick(2) != 0 ? other.get() : nullptr,
                 options->Pick(2) != 0 ? other.get() : nullptr, made.get(), size);
  made.str();
  SystemFile file = {};
  const bool fits = StringToFile(text.get(), &file) != 0;
  Room again(size);
  if (ConvertKXFileToPath(again.get(), size, &file) != 0 && fits && !path.ends_with('.')) {
    SystemFile second = {};
    ConvertPathToKXFile(&second, again.get());
    FUZZ_CHECK(std::strcmp(second.name, file.name) == 0);
  }
  CreateKXFilePathName(other.get(), &file, options->Pick(2), made.get(), size);
  IsFileOfType(text.get(), other.get());
  IsValidFilename(text.get());
  IsValidPath(text.get());
  DirectoryExists(text.get());
}

void Calibrations(Text text, Options*) {
  RawCaliCoeffs set = {};
  RawParseCaliCoeffs(&set, text.get());
  FUZZ_CHECK(set.order >= -1 && set.order <= 5);
  RawParseCaliStdDevs(&set, text.get());
  Room shown(256);
  Room deviation(64);
  RawFormatCaliCoeffs(&set, shown.get());
  RawFormatCaliStdDevs(&set, deviation.get());
  RawCaliCoeffs again = {};
  RawParseCaliCoeffs(&again, shown.str().c_str());
  RawParseCaliStdDevs(&again, deviation.str().c_str());
  FUZZ_CHECK(again.order == set.order && again.type == set.type);
  for (int32_t i = 0; i <= set.order; ++i) {
    const double was = set.coefficients[i];
    FUZZ_CHECK(std::fabs(again.coefficients[i] - was) <= std::fabs(was) * 1e-14);
  }
}

void Fields(Text text, Options* options) {
  const int32_t conversion = options->Pick(13) - 1;
  const auto width = static_cast<int32_t>(text.bytes.size() - 1);
  const int32_t decimals = options->Pick(16);
  const DB3FieldOffsetWidth entry = {0, width, decimals};
  const char* const mnemonics[] = {"T", "", nullptr};
  std::array<char, 256> member = {};
  const int32_t position = DB3ConvertMnemonicToOffset(0, text.get(), mnemonics, nullptr);
  FUZZ_CHECK(position == 0 && DB3ConvertOffsetToMnemonic(decimals, mnemonics, member.data()));
  member = {};
  if (DB3ConvertFldToInternalFmt(text.get(), member.data(), &entry, conversion) != 0) return;
  // The member's text has the field's width, and reads as the same member again, unless it is a
  // number that lost decimals, or does not fit.
  std::vector<char> record(static_cast<size_t>(width), 'x');
  const int32_t cause =
      DB3ConvertFldToDBFmt(member.data(), record.data(), &entry, nullptr, 0, conversion);
  FUZZ_CHECK(cause == 0 || cause == 7);
  if (cause == 0 && (conversion == DB3_TEXT || conversion == DB3_LOGICAL ||
                     (conversion >= DB3_INT16 && conversion <= DB3_UINT32 && decimals == 0))) {
    std::array<char, 256> again = {};
    DB3ConvertFldToInternalFmt(record.data(), again.data(), &entry, conversion);
    const bool cut = conversion == DB3_TEXT && std::memchr(text.get(), 0, text.bytes.size() - 1);
    FUZZ_CHECK(cut || again == member);
  }
}

void RunText(Options* options, MemoryFileSystem*) {
  using Operation = void (*)(Text, Options*);
  constexpr Operation kOperations[] = {Numbers, Traces, Messages, Paths, Calibrations, Fields};
  const auto which =
      static_cast<size_t>(options->Pick(static_cast<int32_t>(std::size(kOperations))));
  const Text text(options->TakeText());
  kOperations[which](text, options);
}

}  // namespace

const Target kText = {"text", {}, RunText};

}  // namespace tervalon::fuzz
