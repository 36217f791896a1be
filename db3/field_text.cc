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
#include "tervalon/database_fields.h"
#include "tervalon/number_format.h"

namespace tervalon::db3 {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

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

// A field read up to the first character that cannot belong to its number.
struct NumberText {
  // All digits as one number, which holds up to 19 of them.
  uint64_t digits = 0;
  int significant = 0;  // digits from the first that is not 0
  int decimals = 0;     // digits behind the point
  int end = 0;          // where the reading stopped
  bool negative = false;
  bool any = false;    // there is a digit
  bool point = false;  // a point follows or is passed
  bool plain = false;  // no plus sign and no needless zeros in front
};

// Adds digits from `at` on; the position behind them.
int TakeDigits(const char* field, int width, int at, NumberText* number) {
  for (; at < width && IsDigit(field[at]); ++at) {
    if (number->significant < 19)
      number->digits = number->digits * 10 + static_cast<uint64_t>(field[at] - '0');
    if (number->digits != 0) ++number->significant;
  }
  return at;
}

NumberText ScanNumber(const char* field, int width, bool with_decimals) {
  NumberText number;
  int at = 0;
  while (at < width && IsSpace(field[at])) ++at;
  if (at < width && (field[at] == '-' || field[at] == '+')) number.negative = field[at++] == '-';
  number.plain = at == 0 || field[at - 1] != '+';
  const int start = at;
  at = TakeDigits(field, width, at, &number);
  const int whole = at - start;
  if (whole > 1 && field[start] == '0') number.plain = false;
  number.point = at < width && field[at] == '.';
  if (with_decimals && number.point) {
    const int point = at;
    at = TakeDigits(field, width, at + 1, &number);
    number.decimals = at - point - 1;
    number.plain = number.plain && whole > 0;
  }
  number.any = whole + number.decimals > 0;
  number.end = at;
  return number;
}

constexpr double kPowersOf10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                  1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr uint64_t kExactIntegers = uint64_t{1} << 53;

bool HasExponent(const NumberText& number, const char* field, int width) {
  return number.end < width && (field[number.end] == 'e' || field[number.end] == 'E');
}

double RealOf(const NumberText& number, const char* field, int width) {
  if (!number.any) return 0.0;
  // A quotient of two numbers that are exact is rounded once, and so is what the text says.
  if (number.significant <= 19 && number.digits <= kExactIntegers &&
      number.decimals < static_cast<int>(std::size(kPowersOf10)) &&
      !HasExponent(number, field, width)) {
    const double value =
        static_cast<double>(static_cast<int64_t>(number.digits)) / kPowersOf10[number.decimals];
    return number.negative ? -value : value;
  }
  char text[256];
  std::memcpy(text, field, static_cast<size_t>(width));
  text[width] = '\0';
  return appsvc::ParseDouble(text);
}

template <typename Real>
Real RealAs(const NumberText& number, const char* field, int width) {
  constexpr double kMost = std::numeric_limits<Real>::max();
  return static_cast<Real>(std::clamp(RealOf(number, field, width), -kMost, kMost));
}

template <typename Integer>
Integer WholeOf(const NumberText& number) {
  using Limits = std::numeric_limits<Integer>;
  const uint64_t most = static_cast<uint64_t>(Limits::max());
  const uint64_t least = Limits::is_signed ? most + 1 : 0;
  const uint64_t limit = number.negative ? least : most;
  const uint64_t magnitude =
      number.significant > 19 ? limit : std::min<uint64_t>(number.digits, limit);
  return static_cast<Integer>(number.negative ? 0 - magnitude : magnitude);
}

template <typename Integer>
bool SaysWhole(const void* member, const char* field, int width) {
  const NumberText number = ScanNumber(field, width, /*with_decimals=*/false);
  if (!number.any || WholeOf<Integer>(number) != Load<Integer>(member)) return false;
  const bool more =
      number.point || number.significant >= std::numeric_limits<Integer>::digits10 + 1;
  const bool as_written =
      number.end == width && number.plain && !(number.negative && number.digits == 0);
  return as_written || more;
}

template <typename Real>
bool SaysReal(const void* member, const char* field, int width, int decimals) {
  const NumberText number = ScanNumber(field, width, /*with_decimals=*/true);
  if (!number.any) return false;
  const Real value = RealAs<Real>(number, field, width);
  const Real held = Load<Real>(member);
  if (value != held || std::signbit(value) != std::signbit(held)) return false;
  const bool as_written = number.end == width && number.plain && number.decimals == decimals &&
                          number.point == (decimals > 0);
  const bool more =
      number.significant > std::numeric_limits<Real>::digits10 || number.decimals > decimals;
  return as_written || more;
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

// Fills a field from its end to its beginning.
class FieldWriter {
 public:
  FieldWriter(char* field, int width) : field_(field), width_(width), at_(width) {}

  void Put(char c) {
    if (at_ > 0) {
      field_[--at_] = c;
    } else {
      overflow_ = true;
    }
  }

  void PutDigits(uint32_t value, int count) {
    for (; count > 0; --count, value /= 10) Put(static_cast<char>('0' + value % 10));
  }

  void PutWhole(uint64_t value) {
    // In a 32-bit build, dividing 64 bits takes several times as long.
    for (; value > std::numeric_limits<uint32_t>::max(); value /= 1'000'000'000) {
      PutDigits(static_cast<uint32_t>(value % 1'000'000'000), 9);
    }
    uint32_t rest = static_cast<uint32_t>(value);
    do {
      Put(static_cast<char>('0' + rest % 10));
      rest /= 10;
    } while (rest != 0);
  }

  // The sign of a zero is given up before the field is.
  void PutSign(bool negative, bool zero) {
    if (negative && !(zero && at_ == 0)) Put('-');
  }

  bool Finish() {
    if (overflow_) return Overflow(field_, width_);
    std::memset(field_, ' ', static_cast<size_t>(at_));
    return true;
  }

 private:
  char* field_;
  int width_;
  int at_;
  bool overflow_ = false;
};

bool PutWhole(int64_t value, char* field, int width) {
  FieldWriter writer(field, width);
  writer.PutWhole(static_cast<uint64_t>(value < 0 ? -value : value));
  writer.PutSign(value < 0, false);
  return writer.Finish();
}

bool PutPrintout(double value, int decimals, char* field, int width) {
  char printout[40];
  std::string_view text = ftoa(value, printout, decimals);
  const bool minus_zero = text[0] == '-' && text.find_first_not_of("-0.") == std::string_view::npos;
  if (minus_zero && text.size() > static_cast<size_t>(width)) text.remove_prefix(1);
  // ftoa cuts what is longer, which would be another number.
  constexpr size_t kCutLength = 31;
  return text.size() < kCutLength ? PutRight(text, field, width) : Overflow(field, width);
}

// What ftoa prints, several times as fast for the numbers of records.
bool PutReal(double value, int decimals, char* field, int width) {
  if (!std::isfinite(value)) return Overflow(field, width);
  const double magnitude = std::fabs(value);
  if (decimals > 9 || magnitude >= static_cast<double>(kExactIntegers)) {
    return PutPrintout(value, decimals, field, width);
  }
  int64_t whole = static_cast<int64_t>(magnitude);
  const double scale = kPowersOf10[decimals];
  // Below 10^9, so its error is below 2^-23: only next to a tie could it decide the rounding.
  const double scaled = (magnitude - static_cast<double>(whole)) * scale;
  uint32_t fraction = static_cast<uint32_t>(scaled);
  const double rest = scaled - fraction;
  if (std::fabs(rest - 0.5) < 1e-6) return PutPrintout(value, decimals, field, width);
  if (rest > 0.5) ++fraction;
  if (fraction >= static_cast<uint32_t>(scale)) {
    fraction = 0;
    ++whole;
  }
  FieldWriter writer(field, width);
  if (decimals > 0) {
    writer.PutDigits(fraction, decimals);
    writer.Put('.');
  }
  writer.PutWhole(static_cast<uint64_t>(whole));
  writer.PutSign(std::signbit(value), whole == 0 && fraction == 0);
  return writer.Finish();
}

bool PutExponent(double value, int decimals, char* field, int width) {
  if (!std::isfinite(value)) return Overflow(field, width);
  char text[40];
  return PutRight(etoa(value, text, decimals), field, width);
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

void ReadCompound(const char* field, int width, void* member) {
  const NumberText first = ScanNumber(field, width, /*with_decimals=*/false);
  const NumberText second = ScanNumber(field + first.end, width - first.end, false);
  Store(WholeOf<int32_t>(first), member);
  Store(WholeOf<int32_t>(second), static_cast<char*>(member) + sizeof(int32_t));
}

template <typename Integer>
void ReadWhole(const char* field, int width, void* member) {
  Store(WholeOf<Integer>(ScanNumber(field, width, /*with_decimals=*/false)), member);
}

template <typename Real>
void ReadReal(const char* field, int width, void* member) {
  Store(RealAs<Real>(ScanNumber(field, width, /*with_decimals=*/true), field, width), member);
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

bool FieldSaysMember(int conversion, const void* member, const char* field, int width,
                     int decimals) {
  switch (conversion) {
    case DB3_INT32:
      return SaysWhole<int32_t>(member, field, width);
    case DB3_FLOAT:
      return SaysReal<float>(member, field, width, decimals);
    case DB3_DOUBLE:
      return SaysReal<double>(member, field, width, decimals);
    default:
      return false;
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
