#include "appsvc/text_number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <system_error>

#include "platform/text.h"

namespace tervalon::appsvc {
namespace {

using platform::IsDigit;
using platform::IsSpace;

// Passes white space and a sign; true when the sign is a minus.
bool SkipToDigits(const char** text) {
  while (IsSpace(**text)) ++*text;
  const bool negative = **text == '-';
  if (negative || **text == '+') ++*text;
  return negative;
}

constexpr double kPowersOf10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                  1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int64_t kExactIntegers = int64_t{1} << 53;

// The value of an ordinary number: a quotient of two numbers that are exact is rounded once, and so
// is what the text says. False for any other; it starts with a digit or a point.
bool OrdinaryValue(const char* text, double* value) {
  int64_t digits = 0;
  int decimals = 0;
  const auto take = [&] {
    const char* const start = text;
    for (; IsDigit(*text) && digits <= kExactIntegers; ++text) digits = digits * 10 + (*text - '0');
    return static_cast<int>(text - start);
  };
  take();
  if (*text == '.') {
    ++text;
    decimals = take();
  }
  if (digits > kExactIntegers || decimals >= std::ssize(kPowersOf10) || IsDigit(*text) ||
      *text == 'e' || *text == 'E') {
    return false;
  }
  *value = static_cast<double>(digits) / kPowersOf10[decimals];
  return true;
}

// A decimal number of any length: 0.d1d2d3.. * 10^point, without zeros in front.
class DecimalText {
 public:
  // Reads as much of `text` as belongs to a number; it starts with one.
  explicit DecimalText(const char* text) {
    for (; IsDigit(*text); ++text) {
      if (Add(*text)) ++point_;
    }
    if (*text == '.') {
      for (++text; IsDigit(*text); ++text) {
        if (!Add(*text)) --point_;
      }
    }
    if (*text == 'e' || *text == 'E') AddExponent(text + 1);
  }

  double Value() {
    if (count_ == 0) return 0.0;
    // At least 20 digits keep from_chars from multiplying by a power of ten in floating point,
    // which the x87 of a 32-bit build rounds twice.
    while (count_ < 20) digits_[count_++] = '0';
    char* const exponent = digits_ + count_;
    *exponent = 'e';
    const int64_t power = std::clamp<int64_t>(point_ - count_, -kMaxPower, kMaxPower);
    const char* const end = std::to_chars(exponent + 1, std::end(digits_), power).ptr;
    double value = 0.0;
    const std::errc error = std::from_chars(digits_, end, value).ec;
    if (error == std::errc{} && std::isfinite(value)) return value;
    return point_ > 0 ? std::numeric_limits<double>::max() : 0.0;
  }

 private:
  // No more significant digits than these decide how a double is rounded, but for whether anything
  // follows them.
  static constexpr int kMaxDigits = 768;
  static constexpr int64_t kMaxPower = 9999;

  // Appends a digit; false for a zero in front of all others.
  bool Add(char digit) {
    if (count_ == 0 && digit == '0') return false;
    if (count_ < kMaxDigits) {
      digits_[count_++] = digit;
    } else if (digit != '0') {
      digits_[kMaxDigits] = '1';
      count_ = kMaxDigits + 1;
    }
    return true;
  }

  void AddExponent(const char* text) {
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    int64_t exponent = 0;
    for (; IsDigit(*text); ++text) {
      if (exponent < std::numeric_limits<int32_t>::max()) exponent = exponent * 10 + (*text - '0');
    }
    point_ += negative ? -exponent : exponent;
  }

  char digits_[kMaxDigits + 16];
  int count_ = 0;
  int64_t point_ = 0;
};

}  // namespace

int32_t ParseInt(const char* text) {
  if (text == nullptr) return 0;
  const bool negative = SkipToDigits(&text);
  constexpr int64_t kLimit = std::numeric_limits<int32_t>::max();
  int64_t value = 0;
  for (; IsDigit(*text) && value <= kLimit; ++text) value = value * 10 + (*text - '0');
  if (negative) return static_cast<int32_t>(value > kLimit ? -kLimit - 1 : -value);
  return static_cast<int32_t>(value > kLimit ? kLimit : value);
}

double ParseDouble(const char* text) {
  if (text == nullptr) return 0.0;
  const bool negative = SkipToDigits(&text);
  if (!IsDigit(text[*text == '.' ? 1 : 0])) return 0.0;
  double value = 0.0;
  if (!OrdinaryValue(text, &value)) value = DecimalText(text).Value();
  return negative ? -value : value;
}

double ParseDouble(std::string_view text) {
  constexpr ptrdiff_t kExactDigits = 15;  // any so many are below 2^53
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at < end && IsSpace(*at)) ++at;
  const bool negative = at < end && *at == '-';
  if (at < end && (*at == '-' || *at == '+')) ++at;
  uint64_t digits = 0;
  const auto take = [&] {
    const char* const start = at;
    for (; at < end && IsDigit(*at); ++at) digits = digits * 10 + static_cast<uint64_t>(*at - '0');
    return at - start;
  };
  ptrdiff_t count = take();
  ptrdiff_t decimals = 0;
  if (at < end && *at == '.') {
    ++at;
    decimals = take();
    count += decimals;
  }
  if (count == 0) return 0.0;
  if (count <= kExactDigits && (at == end || (*at != 'e' && *at != 'E'))) {
    const double value = static_cast<double>(static_cast<int64_t>(digits)) / kPowersOf10[decimals];
    return negative ? -value : value;
  }
  char copy[256];
  *std::copy(text.begin(), text.end(), copy) = '\0';
  return ParseDouble(copy);
}

}  // namespace tervalon::appsvc
