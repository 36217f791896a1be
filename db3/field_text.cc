#include "db3/field_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

#include "appsvc/text_number.h"
#include "platform/text.h"
#include "tervalon/database_fields.h"
#include "tervalon/number_format.h"

namespace tervalon::db3 {
namespace {

template <typename Value>
Value Load(const void* member) {
  Value value;
  std::memcpy(&value, member, sizeof(value));
  return value;
}

template <typename Value>
void Store(Value value, void* member) {
  std::memcpy(member, &value, sizeof(value));
}

// --- Reading ---

// Reads a whole number from `*at` on as atol does, but to the nearest limit, and passes it.
template <typename Integer>
Integer TakeWhole(const char* field, int width, int* at) {
  using Limits = std::numeric_limits<Integer>;
  while (*at < width && platform::IsSpace(field[*at])) ++*at;
  bool negative = false;
  if (*at < width && (field[*at] == '-' || field[*at] == '+')) negative = field[(*at)++] == '-';
  int64_t magnitude = 0;
  for (; *at < width && platform::IsDigit(field[*at]); ++*at) {
    // Beyond every member, and far from overflow.
    if (magnitude <= std::numeric_limits<uint32_t>::max()) {
      magnitude = magnitude * 10 + (field[*at] - '0');
    }
  }
  return static_cast<Integer>(
      std::clamp<int64_t>(negative ? -magnitude : magnitude, Limits::min(), Limits::max()));
}

template <typename Integer>
void ReadWhole(const char* field, int width, void* member) {
  int at = 0;
  Store(TakeWhole<Integer>(field, width, &at), member);
}

template <typename Real>
void ReadReal(const char* field, int width, void* member) {
  constexpr double kMost = std::numeric_limits<Real>::max();
  const double value = appsvc::ParseDouble({field, static_cast<size_t>(width)});
  Store(static_cast<Real>(std::clamp(value, -kMost, kMost)), member);
}

void ReadCompound(const char* field, int width, void* member) {
  int at = 0;
  Store(TakeWhole<int32_t>(field, width, &at), member);
  Store(TakeWhole<int32_t>(field, width, &at), static_cast<char*>(member) + sizeof(int32_t));
}

// --- Writing ---

bool Overflow(char* field, int width) {
  std::memset(field, '*', static_cast<size_t>(width));
  return false;
}

// Writes a text that ends at the end of the field.
bool PutRight(std::string_view text, char* field, int width) {
  const size_t room = static_cast<size_t>(width);
  if (text.size() > room) return Overflow(field, width);
  std::memset(field, ' ', room - text.size());
  std::memcpy(field + room - text.size(), text.data(), text.size());
  return true;
}

bool PutWhole(int64_t value, char* field, int width) {
  char text[24];
  const char* const end = std::to_chars(text, std::end(text), value).ptr;
  return PutRight({text, end}, field, width);
}

// ftoa cuts what is longer than 31 characters. Cut behind the point, decimals are missing, and
// before it, the text is another number.
bool IsCut(std::string_view printout, double value, int decimals) {
  constexpr size_t kLongest = 31;
  if (printout.size() < kLongest) return false;
  if (decimals == 0) return appsvc::ParseDouble(printout.data()) != value;
  const size_t point = printout.find('.');
  return point == std::string_view::npos ||
         printout.size() - point - 1 != static_cast<size_t>(decimals);
}

bool PutReal(double value, int decimals, char* field, int width) {
  char printout[40];
  std::string_view text = ftoa(value, printout, decimals);
  if (text[0] == '-' && text.find_first_not_of("-0.") == std::string_view::npos) {
    text.remove_prefix(1);
  }
  const bool cut = std::isfinite(value) && IsCut(text, value, decimals);
  return cut ? Overflow(field, width) : PutRight(text, field, width);
}

bool PutExponent(double value, int decimals, char* field, int width) {
  char text[40];
  return PutRight(etoa(value == 0 ? 0 : value, text, decimals), field, width);
}

// Two numbers from the field's beginning on, with a blank between them.
bool PutCompound(const void* member, char* field, int width) {
  char text[24];
  char* end = std::to_chars(text, text + 11, Load<int32_t>(member)).ptr;
  *end++ = ' ';
  const void* const second = static_cast<const char*>(member) + sizeof(int32_t);
  end = std::to_chars(end, std::end(text), Load<int32_t>(second)).ptr;
  *end = '\0';
  if (end - text > width) return Overflow(field, width);
  PutText(text, static_cast<int>(sizeof(text)), field, width);
  return true;
}

}  // namespace

void PutText(const char* text, int size, char* field, int width) {
  const size_t room = static_cast<size_t>(std::min(size, width));
  const void* const end = std::memchr(text, '\0', room);
  const size_t length =
      end == nullptr ? room : static_cast<size_t>(static_cast<const char*>(end) - text);
  std::memcpy(field, text, length);
  std::memset(field + length, ' ', static_cast<size_t>(width) - length);
}

bool MemberToField(int conversion, const void* member, char* field, int width, int decimals) {
  switch (conversion) {
    case DB3_TEXT:
      PutText(static_cast<const char*>(member), width, field, width);
      return true;
    case DB3_LOGICAL:
      PutText(Load<int32_t>(member) == 0 ? "F" : "T", 1, field, width);
      return true;
    case DB3_INT16:
      return PutWhole(Load<int16_t>(member), field, width);
    case DB3_UINT16:
      return PutWhole(Load<uint16_t>(member), field, width);
    case DB3_INT32:
      return PutWhole(Load<int32_t>(member), field, width);
    case DB3_UINT32:
      return PutWhole(Load<uint32_t>(member), field, width);
    case DB3_FLOAT:
      return PutReal(Load<float>(member), decimals, field, width);
    case DB3_DOUBLE:
      return PutReal(Load<double>(member), decimals, field, width);
    case DB3_COMPOUND:
      return PutCompound(member, field, width);
    case DB3_LEFT_TEXT: {
      const char* const text = static_cast<const char*>(member);
      const char* const start = std::find_if(text, text + width, [](char c) { return c != ' '; });
      PutText(start, static_cast<int>(text + width - start), field, width);
      return true;
    }
    default:
      return PutExponent(Load<double>(member), decimals, field, width);
  }
}

void FieldToMember(int conversion, const char* field, int width, void* member) {
  switch (conversion) {
    case DB3_LOGICAL:
      return Store<int32_t>(field[0] != 'F', member);
    case DB3_INT16:
      return ReadWhole<int16_t>(field, width, member);
    case DB3_UINT16:
      return ReadWhole<uint16_t>(field, width, member);
    case DB3_INT32:
      return ReadWhole<int32_t>(field, width, member);
    case DB3_UINT32:
      return ReadWhole<uint32_t>(field, width, member);
    case DB3_FLOAT:
      return ReadReal<float>(field, width, member);
    case DB3_DOUBLE:
    case DB3_EXPONENT:
      return ReadReal<double>(field, width, member);
    case DB3_COMPOUND:
      return ReadCompound(field, width, member);
    default:
      std::memcpy(member, field, static_cast<size_t>(width));
  }
}

}  // namespace tervalon::db3
