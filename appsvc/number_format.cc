#include "tervalon/number_format.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace {

constexpr ptrdiff_t kMaxFixedLength = 31;
constexpr int32_t kDefaultDecimals = 6;

// No double has more decimals or more digits before the point: with them every printout is exact.
constexpr int32_t kAllDecimals = 1074;
constexpr int32_t kMaxWholeDigits = 309;

// |value| = mantissa * 10^exponent, with the mantissa in [1, 10); all 0 for 0.
struct Decimal {
  double mantissa = 0.0;
  int32_t exponent = 0;
};

// Takes both from the shortest digits that name the value (of subnormals, which have few, from 17):
// a logarithm can be off by one next to a power of ten and differs between C libraries, and 1e-6 is
// to print as such although its nearest double lies below it.
Decimal ToDecimal(double value) {
  Decimal decimal;
  if (value == 0.0) return decimal;

  char digits[32];
  const double magnitude = std::fabs(value);
  const char* const end =
      std::isnormal(value)
          ? std::to_chars(digits, std::end(digits), magnitude, std::chars_format::scientific).ptr
          : std::to_chars(digits, std::end(digits), magnitude, std::chars_format::scientific, 16)
                .ptr;
  const char* const exponent =
      std::from_chars(digits, end, decimal.mantissa, std::chars_format::fixed).ptr + 1;
  std::from_chars(*exponent == '+' ? exponent + 1 : exponent, end, decimal.exponent);
  // 17 digits may be nearest to 10, which would be the next exponent's.
  decimal.mantissa = std::min(decimal.mantissa, std::nextafter(10.0, 0.0));
  return decimal;
}

// What products of a mantissa and a power of ten have room in.
#ifdef __SIZEOF_INT128__
__extension__ using Product = unsigned __int128;
#else
using Product = uint64_t;
#endif

// |value| x 10^decimals, exact and rounded half to even; false where it takes more room than that.
bool ScaleExactly(double value, int32_t decimals, uint64_t* scaled) {
  constexpr uint64_t kPowers[] = {1,      10,      100,      1000,      10000,
                                  100000, 1000000, 10000000, 100000000, 1000000000};
  constexpr int kProductBits = sizeof(Product) * 8;
  constexpr int kMantissaBits = 53;
  if (decimals >= std::ssize(kPowers)) return false;
  const auto bits = std::bit_cast<uint64_t>(value) & ~(uint64_t{1} << 63);
  const auto biased = static_cast<int>(bits >> (kMantissaBits - 1));
  if (biased == 0) {
    *scaled = 0;
    return bits == 0;
  }
  uint64_t mantissa = (bits & ((uint64_t{1} << 52) - 1)) | uint64_t{1} << 52;
  int shift = 1023 + kMantissaBits - 1 - biased;  // value = mantissa / 2^shift
  const int zeros = std::countr_zero(mantissa);
  mantissa >>= zeros;
  shift -= zeros;
  const uint64_t power = kPowers[decimals];
  const auto product_bits = static_cast<int>(std::bit_width(mantissa) + std::bit_width(power));
  // The result has less than 63 bits.
  if (product_bits > kProductBits || product_bits - shift > 63) return false;
  if (shift <= 0) {
    *scaled = (mantissa * power) << -shift;
    return true;
  }
  if (shift >= kProductBits) return false;
  const Product product = Product{mantissa} * power;
  const Product rest = product & ((Product{1} << shift) - 1);
  const Product half = Product{1} << (shift - 1);
  *scaled = static_cast<uint64_t>(product >> shift);
  if (rest > half || (rest == half && *scaled % 2 != 0)) ++*scaled;
  return true;
}

// Writes a number of so many decimals and returns its end.
char* PutDecimal(uint64_t scaled, int32_t decimals, char* text) {
  char digits[24];
  const ptrdiff_t count = std::to_chars(digits, std::end(digits), scaled).ptr - digits;
  const ptrdiff_t whole = std::max<ptrdiff_t>(count - decimals, 0);
  if (whole == 0) *text++ = '0';
  text = std::copy_n(digits, whole, text);
  if (decimals == 0) return text;
  *text++ = '.';
  text = std::fill_n(text, decimals - (count - whole), '0');
  return std::copy_n(digits + whole, count - whole, text);
}

void FormatExponential(double value, const Decimal& decimal, char* text, int32_t decimals) {
  ftoa(std::copysign(decimal.mantissa, value), text, decimals);
  char* out = text + std::strlen(text);
  *out++ = 'e';
  *std::to_chars(out, out + 5, decimal.exponent).ptr = '\0';
}

}  // namespace

extern "C" char* TERVALON_CALL ftoa(double value, char* text, int32_t decimals) {
  if (text == nullptr) return nullptr;
  if (std::isnan(value)) value = std::fabs(value);  // printed without a sign

  // More decimals than a double can have would only add zeros behind the cut.
  const int32_t precision = decimals < 0 ? kDefaultDecimals : std::min(decimals, kAllDecimals);
  uint64_t scaled = 0;
  if (ScaleExactly(value, precision, &scaled)) {
    *text = '-';
    *PutDecimal(scaled, precision, std::signbit(value) ? text + 1 : text) = '\0';
    return text;
  }
  char printout[kMaxWholeDigits + kAllDecimals + 3];
  const char* const end =
      std::to_chars(printout, std::end(printout), value, std::chars_format::fixed, precision).ptr;
  const ptrdiff_t length = std::min(end - printout, kMaxFixedLength);
  std::memcpy(text, printout, static_cast<size_t>(length));
  text[length] = '\0';
  return text;
}

extern "C" char* TERVALON_CALL etoa(double value, char* text, int32_t decimals) {
  if (text == nullptr || !std::isfinite(value)) return ftoa(value, text, decimals);
  FormatExponential(value, ToDecimal(value), text, decimals);
  return text;
}

extern "C" char* TERVALON_CALL gtoa(double value, int32_t digits, char* text) {
  if (text == nullptr || !std::isfinite(value)) return ftoa(value, text, digits);
  const Decimal decimal = ToDecimal(value);
  // The digits are compared with the logarithm itself, which exceeds the exponent except for powers
  // of ten (and 0, whose logarithm counts as 0).
  const bool above = decimal.exponent > digits ||
                     (decimal.exponent == digits && value != 0.0 && decimal.mantissa != 1.0);
  if (decimal.exponent < -4 || above) {
    FormatExponential(value, decimal, text, digits > 0 ? digits - 1 : 0);
    return text;
  }
  if (std::floor(value) == value) return ftoa(value, text, 0);
  return ftoa(value, text, std::max(std::min(digits, kAllDecimals) - (decimal.exponent + 1), 0));
}
