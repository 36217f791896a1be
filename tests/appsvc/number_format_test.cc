#include "tervalon/number_format.h"

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "appsvc/text_number.h"
#include "tests/support/special_values.h"

namespace {

using tervalon::appsvc::ParseDouble;
using tervalon::appsvc::ParseInt;
using tervalon::testing::kInfinity;
using tervalon::testing::kNan;

constexpr double kDenormal = std::numeric_limits<double>::denorm_min();

// Numbers with few decimals or few binary places, their neighbours and what lies between two.
double RoundDouble(std::mt19937_64& random) {
  const auto digits = static_cast<double>(static_cast<int64_t>(random()) >> random() % 64);
  const auto places = static_cast<int>(random() % 12);
  const double value =
      random() % 2 == 0 ? digits / std::pow(10, places) : std::ldexp(digits, -places);
  switch (random() % 4) {
    case 0:
      return std::nextafter(value, kInfinity);
    case 1:
      return value + 0.5 / std::pow(10, places);
    case 2:
      return static_cast<double>(static_cast<float>(value));
    default:
      return value;
  }
}

// Formats into a buffer of the documented size and checks that nothing behind it is touched.
template <typename Format>
std::string Formatted(size_t size, Format&& format) {
  char text[64];
  std::memset(text, '#', sizeof(text));
  EXPECT_EQ(format(text), text);
  EXPECT_LT(std::strlen(text), size);
  for (size_t i = size; i < sizeof(text); ++i) EXPECT_EQ(text[i], '#');
  return text;
}
std::string F(double value, int32_t decimals) {
  return Formatted(32, [&](char* text) { return ftoa(value, text, decimals); });
}
std::string E(double value, int32_t decimals) {
  return Formatted(40, [&](char* text) { return etoa(value, text, decimals); });
}
std::string G(double value, int32_t digits) {
  return Formatted(40, [&](char* text) { return gtoa(value, digits, text); });
}

// Random doubles of all magnitudes, and numbers of everyday size.
double RandomDouble(std::mt19937_64& random) {
  const uint64_t bits = random();
  const double value = std::bit_cast<double>(bits);
  if (bits % 2 == 0 || !std::isfinite(value)) {
    return static_cast<double>(static_cast<int64_t>(random())) /
           static_cast<double>(uint64_t{1} << (random() % 60));
  }
  return value;
}

TEST(NumberFormat, Fixed) {
  EXPECT_EQ(F(12.0, 0), "12");
  EXPECT_EQ(F(1.5, -1), "1.500000");
  EXPECT_EQ(F(0.5, 0), "0");  // ties to even
  EXPECT_EQ(F(2.5, 0), "2");
  EXPECT_EQ(F(1.005, 2), "1.00");  // its binary value is below the tie
  EXPECT_EQ(F(-0.0, 1), "-0.0");
  EXPECT_EQ(F(-0.001, 0), "-0");
  EXPECT_EQ(F(1e40, 6), "1000000000000000030378602842700");
  EXPECT_EQ(F(1e31, 0), "9999999999999999635896294965248");  // 31 digits: uncut without the point
  EXPECT_EQ(F(-DBL_MAX, INT_MAX), "-179769313486231570814527423731");
  EXPECT_EQ(F(0.1, INT_MAX), "0.10000000000000000555111512312");
  EXPECT_EQ(F(kDenormal, INT_MAX), "0.00000000000000000000000000000");
  for (const int32_t decimals : {-1, 0, 3}) {
    EXPECT_EQ(F(kInfinity, decimals), "inf");
    EXPECT_EQ(F(-kInfinity, decimals), "-inf");
    EXPECT_EQ(F(-kNan, decimals), "nan");
  }
  EXPECT_EQ(ftoa(1.0, nullptr, 1), nullptr);
}

TEST(NumberFormat, FixedIsTheStandardPrintout) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 200000; ++i) {
    const double value = i % 8 == 0 ? RandomDouble(random) : RoundDouble(random);
    const auto decimals = static_cast<int32_t>(random() % (i % 8 == 0 ? 40 : 11));
    char expected[512];
    std::snprintf(expected, sizeof(expected), "%.*f", decimals, value);
    expected[31] = '\0';
    ASSERT_EQ(F(value, decimals), expected) << value << " " << decimals;
  }
}

TEST(NumberFormat, Exponential) {
  EXPECT_EQ(E(1234.5, 2), "1.23e3");
  EXPECT_EQ(E(0.05, 1), "5.0e-2");
  EXPECT_EQ(E(0.0, -1), "0.000000e0");
  EXPECT_EQ(E(-0.0, 1), "-0.0e0");
  EXPECT_EQ(E(-1e-300, 0), "-1e-300");
  EXPECT_EQ(E(9.96, 1), "10.0e0");  // no new exponent after rounding
  EXPECT_EQ(E(0.00125, 1), "1.2e-3");
  EXPECT_EQ(E(1e22, 15), "1.000000000000000e22");
  EXPECT_EQ(E(1e23, 15), "1.000000000000000e23");  // though the nearest double lies below it
  EXPECT_EQ(E(1e-6, 15), "1.000000000000000e-6");
  EXPECT_EQ(E(0.99994, 15), "9.999400000000000e-1");
  EXPECT_EQ(E(std::nextafter(1000.0, 0.0), 3), "10.000e2");
  EXPECT_EQ(E(kDenormal, 15), "4.940656458412465e-324");
  EXPECT_EQ(E(DBL_MAX, 15), "1.797693134862316e308");
  EXPECT_EQ(E(-DBL_MIN, INT_MAX), "-2.2250738585072014075194601900e-308");
  EXPECT_EQ(E(-kInfinity, 3), "-inf");
  EXPECT_EQ(E(kNan, 3), "nan");
  EXPECT_EQ(etoa(1.0, nullptr, 1), nullptr);
}

TEST(NumberFormat, ExponentialKeepsTheMantissaInRangeAndTheValue) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 20000; ++i) {
    const double value = RandomDouble(random);
    if (value == 0.0) continue;
    const std::string text = E(value, 28);
    const double mantissa = std::fabs(ParseDouble(text.substr(0, text.find('e')).c_str()));
    ASSERT_GE(mantissa, 1.0) << text;
    ASSERT_LT(mantissa, 10.0) << text;
    if (std::fabs(value) < DBL_MIN) continue;
    ASSERT_NEAR(ParseDouble(text.c_str()) / value, 1.0, 2 * DBL_EPSILON) << text;
  }
}

TEST(NumberFormat, GeneralChoosesByMagnitude) {
  EXPECT_EQ(G(123.456, 5), "123.46");
  EXPECT_EQ(G(0.00123, 3), "0.00123");
  EXPECT_EQ(G(0.00001234, 3), "1.23e-5");
  EXPECT_EQ(G(1234567.0, 3), "1.23e6");
  EXPECT_EQ(G(250.0, 3), "250");
  EXPECT_EQ(G(250.0, 30), "250");
  EXPECT_EQ(G(12.5, 1), "1e1");
  EXPECT_EQ(G(1000.0, 3), "1000");  // the logarithm equals the digits
  EXPECT_EQ(G(1000.5, 3), "1.00e3");
  EXPECT_EQ(G(999.5, 3), "1000");  // rounding does not change the form; ties to even
  EXPECT_EQ(G(9.5, 0), "10e0");
  EXPECT_EQ(G(1e-4, 3), "0.000100");
  EXPECT_EQ(G(std::nextafter(1e-4, 0.0), 3), "10.00e-5");
  EXPECT_EQ(G(1e23, 22), "1.000000000000000000000e23");
  EXPECT_EQ(G(0.0, 0), "0");
  EXPECT_EQ(G(0.0, -1), "0e0");
  EXPECT_EQ(G(-0.0, 4), "-0");
  EXPECT_EQ(G(0.001, -2), "0");
  EXPECT_EQ(G(0.5, INT_MIN), "5e-1");
  EXPECT_EQ(G(0.0005, INT_MAX), "0.00050000000000000001040834085");
  EXPECT_EQ(G(kInfinity, 3), "inf");
  EXPECT_EQ(gtoa(1.0, 3, nullptr), nullptr);
}

TEST(TextNumber, IntegersStopAtTheFirstOtherCharacter) {
  for (const char* none : {"", "-", "+", "+-5", "- 5", "0x10", ".5"}) EXPECT_EQ(ParseInt(none), 0);
  EXPECT_EQ(ParseInt(nullptr), 0);
  for (const char* twelve : {"12", "\t\n\v\f\r 12", "+12", "012", "12x", "12 3"}) {
    EXPECT_EQ(ParseInt(twelve), 12) << twelve;
  }
  EXPECT_EQ(ParseInt("-12."), -12);
  EXPECT_EQ(ParseInt("2147483647"), INT_MAX);
  EXPECT_EQ(ParseInt("2147483648"), INT_MAX);
  EXPECT_EQ(ParseInt("-2147483648"), INT_MIN);
  EXPECT_EQ(ParseInt("-99999999999999999999"), INT_MIN);
}

std::string Zeros(const std::string& front, size_t count, const std::string& back) {
  return front + std::string(count, '0') + back;
}

TEST(TextNumber, DoublesStopAtTheFirstOtherCharacter) {
  const auto expect = [](const std::string& text, double value) {
    EXPECT_EQ(std::bit_cast<uint64_t>(ParseDouble(text.c_str())), std::bit_cast<uint64_t>(value))
        << text;
  };
  for (const char* zero : {"", "-", "+", ".", "-.", "e5", ".e5", "+-1", "0x10", "inf", "-nan",
                           "0e999999999999", "1e-400"}) {
    expect(zero, 0.0);
  }
  EXPECT_EQ(ParseDouble(nullptr), 0.0);
  for (const char* one : {"1e", "1e+", "1e-", "1e+x", "1.", "1,5", "1d5"}) expect(one, 1.0);
  const std::pair<const char*, double> cases[] = {
      {"1.e2", 100.0},    {".5", 0.5},
      {"-.5e1", -5.0},    {"+1.5", 1.5},
      {"1.5.5", 1.5},     {" \t\r\n12.25abc", 12.25},
      {"1E-5", 1e-5},     {"1e005", 1e5},
      {"-0", -0.0},       {"2.5e-324", kDenormal},
      {"1e-320", 1e-320}, {"9007199254740993", 9007199254740992.0},
      {"1e309", DBL_MAX}, {"1.7976931348623157e308", DBL_MAX}};
  for (const auto& [text, value] : cases) expect(text, value);
  expect("-1e99999999999999999999", -DBL_MAX);
  expect("-1e-99999999999999999999", -0.0);
  // Any length.
  const std::string tie = "1.00000000000000011102230246251565404236316680908203125";
  expect(tie, 1.0);
  expect(Zeros(tie, 900, "1"), 1.0 + DBL_EPSILON);
  expect(Zeros("1", 400, ""), DBL_MAX);
  expect(Zeros("", 400, "1"), 1.0);
  expect(Zeros(".", 330, "1e331"), 1.0);
  expect(Zeros("1", 330, "e-330"), 1.0);
}

TEST(TextNumber, FieldsReadAsTextsDo) {
  std::mt19937_64 random(9);
  const auto pick = [&random](size_t count) { return static_cast<size_t>(random() % count); };
  for (int i = 0; i < 100000; ++i) {
    std::string text(pick(4), ' ');
    text += F(RoundDouble(random), static_cast<int32_t>(pick(11)));
    if (pick(8) == 0) text.insert(pick(text.size() + 1), 1, " e+-.x"[pick(6)]);
    text.resize(text.size() - pick(1 + text.size() / 4));
    const std::string_view field(text);
    ASSERT_EQ(std::bit_cast<uint64_t>(ParseDouble(field)),
              std::bit_cast<uint64_t>(ParseDouble(text.c_str())))
        << "'" << text << "'";
  }
  EXPECT_EQ(ParseDouble(std::string_view()), 0);
}

TEST(TextNumber, RandomDoublesReadBackExactly) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 20000; ++i) {
    const double value = RandomDouble(random);
    char text[64];
    std::snprintf(text, sizeof(text), "%.17g", value);
    ASSERT_EQ(ParseDouble(text), value) << text;
  }
}

// The constant holds for every build: no result may depend on the processor's floating point
// registers or on a C library.
TEST(TextNumber, EveryPlatformReadsAndPrintsTheSameBits) {
  std::mt19937_64 random(4);
  uint64_t hash = 14695981039346656037u;
  const auto add = [&hash](const std::string& bytes) {
    for (const char byte : bytes) hash = (hash ^ static_cast<uint8_t>(byte)) * 1099511628211u;
  };
  for (int i = 0; i < 20000; ++i) {
    std::string text = std::to_string(random() >> 11);
    text += 'e';
    text += std::to_string(static_cast<int>(random() % 60) - 20);
    const double value = ParseDouble(text.c_str());
    const auto bits = std::bit_cast<uint64_t>(value);
    add(std::to_string(bits));
    const auto digits = static_cast<int32_t>(random() % 18);
    add(E(value, digits) + G(RandomDouble(random), digits));
  }
  EXPECT_EQ(hash, 10353194382693283940u);
}

}  // namespace
