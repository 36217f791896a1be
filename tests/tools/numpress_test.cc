#include "tools/exchange/numpress.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace tervalon::tools::numpress {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;
using Values = std::vector<double>;

// Worked out by hand from the published description. The scaling 100,000 is 40 F8 6A 00 ....
TEST(Numpress, LinearAsDescribed) {
  const struct {
    Values values;
    Bytes halves;  // behind the first two integers
  } kCases[] = {
      // Behind 100 and 200 at 300.00005: 5 off the line (7 leading zeros), then on it (8).
      {{100, 200, 300.00005, 400.0001}, {0x75, 0x80}},
      // 1 below the line: 7 leading ones; 0x10 below: FFFFFFF0 keeps 0.
      {{100, 200, 299.99999}, {0xFF}},
      {{100, 200, 299.99984}, {0xF0}},
      // FFFFFEDC has 5 leading ones, the other halves follow from the lowest.
      {{100, 200, 299.99708}, {0xDC, 0xDE}},
      // 0x12345678 has neither.
      {{100, 200, 300 + 0x12345678 / 1e5}, {0x08, 0x76, 0x54, 0x32, 0x10}},
  };
  for (const auto& [values, halves] : kCases) {
    Bytes expected = {0x40, 0xF8, 0x6A, 0, 0, 0, 0, 0, 0x80, 0x96, 0x98, 0, 0, 0x2D, 0x31, 0x01};
    expected.insert(expected.end(), halves.begin(), halves.end());
    Bytes bytes;
    ASSERT_TRUE(EncodeLinear(values, 100000, bytes));
    EXPECT_THAT(bytes, ElementsAreArray(expected));
    Values decoded;
    ASSERT_TRUE(DecodeLinear(bytes, values.size(), decoded));
    ASSERT_EQ(decoded.size(), values.size());
    for (size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(decoded[i], values[i], 0.5e-5);
  }
}

TEST(Numpress, SlofAndPicAsDescribed) {
  Bytes bytes;
  // ln(1) = 0, ln(101) x 10,000 = 46151.2.
  ASSERT_TRUE(EncodeSlof(Values{0, 100}, 10000, bytes));
  EXPECT_THAT(bytes, ElementsAre(0x40, 0xC3, 0x88, 0, 0, 0, 0, 0, 0, 0, 0x47, 0xB4));
  Values decoded;
  ASSERT_TRUE(DecodeSlof(bytes, 2, decoded));
  EXPECT_THAT(decoded, ElementsAre(0, ::testing::DoubleNear(100, 101 * 0.5e-4)));

  decoded.clear();
  ASSERT_TRUE(DecodePic(Bytes{0x71, 0x85, 0xFF, 0x10}, 9, decoded));
  EXPECT_THAT(decoded, ElementsAre(1, 0, 0x1FF));
}

TEST(Numpress, EveryLengthOfManyValuesComesBack) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> step(0, 2);
  std::exponential_distribution<double> height(1e-4);
  Values masses;
  Values heights;
  for (size_t count = 0; count < 70; ++count) {
    Bytes linear;
    Bytes slof;
    const double scaling = LinearScaling(masses);
    const double log_scaling = SlofScaling(heights);
    ASSERT_TRUE(EncodeLinear(masses, scaling, linear));
    ASSERT_TRUE(EncodeSlof(heights, log_scaling, slof));
    Values masses_back;
    Values heights_back;
    ASSERT_TRUE(DecodeLinear(linear, count, masses_back));
    ASSERT_TRUE(DecodeSlof(slof, count, heights_back));
    ASSERT_EQ(masses_back.size(), count);
    ASSERT_EQ(heights_back.size(), count);
    for (size_t i = 0; i < count; ++i) {
      EXPECT_NEAR(masses_back[i], masses[i], 0.5000001 / scaling);
      EXPECT_NEAR(std::log(heights_back[i] + 1), std::log(heights[i] + 1), 0.5000001 / log_scaling);
    }
    if (count > 0) {
      masses_back.clear();
      EXPECT_FALSE(DecodeLinear(linear, count - 1, masses_back)) << "one more than wanted";
      EXPECT_FALSE(DecodeSlof(slof, count - 1, heights_back));
    }
    masses.push_back((masses.empty() ? 100 : masses.back()) + step(random));
    heights.push_back(height(random));
  }
}

TEST(Numpress, WhatDoesNotFitOrIsNoneIsRefused) {
  Bytes bytes;
  for (const Values& values : {Values{30000}, Values{1, 2, 30000}, Values{-1}, Values{NAN},
                               Values{1, 2, INFINITY}, Values{1, 2, 1e300}}) {
    EXPECT_FALSE(EncodeLinear(values, 100000, bytes));
  }
  for (const Values& values : {Values{-2}, Values{NAN}, Values{INFINITY}, Values{1e9}}) {
    EXPECT_FALSE(EncodeSlof(values, 10000, bytes));
  }
  EXPECT_FALSE(EncodeLinear(Values{1}, 0, bytes));
  EXPECT_THAT(bytes, IsEmpty());

  ASSERT_TRUE(EncodeLinear(Values{100, 200, 300 + 0x12345678 / 1e5}, 100000, bytes));
  for (size_t size = 0; size < bytes.size(); ++size) {
    if (size == 8 || size == 12 || size == 16) continue;  // whole with fewer values
    Values decoded;
    EXPECT_FALSE(DecodeLinear(std::span(bytes).first(size), 9, decoded)) << size;
  }
  Values decoded;
  EXPECT_FALSE(DecodeLinear(Bytes(12), 9, decoded)) << "a scaling of 0";
  EXPECT_FALSE(DecodeSlof(Bytes(9), 9, decoded));
  EXPECT_FALSE(DecodePic(Bytes{0x01}, 9, decoded));
}

}  // namespace
}  // namespace tervalon::tools::numpress
