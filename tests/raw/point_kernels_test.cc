// The loops over points for every instruction set that this machine has, held against the model of
// the packed points and against plain arithmetic.

#include "raw/point_kernels.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "tests/support/point_model.h"

namespace tervalon::raw {
namespace {

using ::tervalon::testing::ModelDecode;
using ::tervalon::testing::ModelPoint;
using ::tervalon::testing::ModelType;
using ::tervalon::testing::ModelTypeOf;

class PointKernelsTest : public ::testing::TestWithParam<const PointKernels*> {
 protected:
  const PointKernels& kernels() const { return *GetParam(); }

  // Random bytes, runs of which are extremes: all bits clear or set, or but one.
  std::vector<uint8_t> Bytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count;) {
      const auto kind = random_() % 4;
      const auto extreme = static_cast<uint8_t>(kind == 1 ? 0 : 0xFF);
      for (const size_t end = std::min(count, i + random_() % 24 + 1); i < end; ++i) {
        bytes[i] = kind == 0 ? static_cast<uint8_t>(random_()) : extreme;
      }
      if (kind == 3 && i > 0) bytes[i - 1] ^= static_cast<uint8_t>(1u << random_() % 8);
    }
    return bytes;
  }

  // Bit for bit; a not-a-number may have been made quiet by being passed on.
  static bool Alike(float a, float b) {
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) ||
           (std::isnan(a) && std::isnan(b));
  }

  std::mt19937 random_{11};
};

INSTANTIATE_TEST_SUITE_P(, PointKernelsTest, ::testing::ValuesIn(KernelsHere()),
                         [](const auto& kernels) {
                           return std::string(kernels.param->instruction_set);
                         });

// Counts up to several registers' worth, in buffers with nothing behind them.
TEST_P(PointKernelsTest, Decode) {
  for (const int16_t code : testing::kStoredTypes) {
    const ModelType model = ModelTypeOf(code);
    const PointDecoder& decoder = kernels().decoders[code];
    ASSERT_EQ(decoder.masses != nullptr, model.stores_masses);
    ASSERT_EQ(decoder.flags != nullptr, model.stores_flags);
    for (size_t units = 0; units < 300; units += units < 40 ? 1 : 37) {
      const std::vector<uint8_t> bytes = Bytes(units * model.unit_bytes);
      const size_t points = units * model.unit_points;
      std::vector<float> intensities(points);
      std::vector<float> masses(points);
      std::vector<uint8_t> flags(points);
      decoder.intensities(bytes.data(), units, intensities.data());
      if (model.stores_masses) decoder.masses(bytes.data(), units, masses.data());
      if (model.stores_flags) decoder.flags(bytes.data(), units, flags.data());
      for (size_t i = 0; i < points; ++i) {
        const ModelPoint point = ModelDecode(code, bytes.data(), i);
        ASSERT_TRUE(Alike(intensities[i], point.intensity) && Alike(masses[i], point.mass) &&
                    flags[i] == point.flags)
            << "type " << code << ", point " << i << " of " << points << ": " << intensities[i]
            << " at " << masses[i] << " for " << point.intensity << " at " << point.mass;
      }
    }
  }
}

TEST_P(PointKernelsTest, ExactSums) {
  const struct {
    int16_t code;
    const CodeSums* sums;  // nullptr: of all points
    float codes_per_mass;
  } kTypes[] = {{0, &kernels().compressed, 128}, {1, &kernels().centroid, 1024}, {3, nullptr, 0}};
  for (const auto& [code, sums, codes_per_mass] : kTypes) {
    for (size_t points = 0; points < 3000; points += points < 140 ? 1 : 283) {
      const bool largest =
          points % 5 == 4;  // every intensity, so that sums become as large as can be
      std::vector<uint8_t> bytes = Bytes(ModelTypeOf(code).BytesOf(points));
      if (largest) std::fill(bytes.begin(), bytes.end(), uint8_t{0xFF});
      std::vector<uint64_t> values;
      std::vector<uint32_t> codes;
      for (size_t i = 0; i < points; ++i) {
        const ModelPoint point = ModelDecode(code, bytes.data(), i);
        values.push_back(static_cast<uint64_t>(point.intensity));
        codes.push_back(static_cast<uint32_t>(point.mass * codes_per_mass));
      }
      const auto sum_of = [&](CodeRange range) {
        uint64_t sum = 0;
        for (size_t i = 0; i < points; ++i) {
          if (codes[i] >= range.low && codes[i] <= range.high) sum += values[i];
        }
        return sum;
      };
      if (sums == nullptr) {
        ASSERT_EQ(kernels().sum_words(bytes.data(), points), sum_of({0, 0})) << points;
        continue;
      }
      constexpr size_t kRange = CodeSums::kRangePoints;
      std::vector<CodeRange> ranges((points + kRange - 1) / kRange);
      sums->find_ranges(bytes.data(), points, ranges.data());
      for (size_t i = 0; i < ranges.size(); ++i) {
        const auto begin = codes.begin() + static_cast<ptrdiff_t>(kRange * i);
        const auto end = codes.begin() + static_cast<ptrdiff_t>(std::min(kRange * (i + 1), points));
        ASSERT_EQ(ranges[i].low, *std::min_element(begin, end)) << points;
        ASSERT_EQ(ranges[i].high, *std::max_element(begin, end)) << points;
      }
      for (int round = 0; round < 6; ++round) {
        CodeRange range = {0, UINT32_MAX};
        if (round > 0 && points > 0) {  // ends that points have
          range = {codes[random_() % points], codes[random_() % points]};
          if (range.low > range.high) std::swap(range.low, range.high);
          range.high -= static_cast<uint32_t>(round == 2 && range.high > range.low);
        }
        ASSERT_EQ(sums->sum_inside(bytes.data(), points, range), sum_of(range))
            << "type " << code << ", " << points << " points from " << range.low << " to "
            << range.high;
      }
    }
  }
}

// Doubles in the order in which the plain loops take them.
TEST_P(PointKernelsTest, LanesAndMasses) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr size_t kCount = 8 * 77;
  std::vector<float> masses;
  std::vector<float> values;
  for (size_t i = 0; i < kCount; ++i) {
    masses.push_back(i % 50 == 49 ? kNan : 100 + static_cast<float>(random_() % 5000) / 10);
    values.push_back(
        std::ldexp(static_cast<float>(random_()), static_cast<int>(random_() % 80) - 60));
  }
  for (const auto& [low, high] : {std::pair(100.0f, 1e9f), std::pair(masses[3], masses[5]),
                                  std::pair(kNan, 200.0f), std::pair(200.0f, 150.0f)}) {
    double all[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    double inside[8] = {};
    double expected_all[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    double expected_inside[8] = {};
    kernels().add_lanes(values.data(), kCount / 8, all);
    kernels().add_lanes_inside(masses.data(), values.data(), kCount / 8, low, high, inside);
    for (size_t i = 0; i < kCount; ++i) {
      expected_all[i % 8] += static_cast<double>(values[i]);
      if (masses[i] >= low && masses[i] <= high) {
        expected_inside[i % 8] += static_cast<double>(values[i]);
      }
    }
    EXPECT_EQ(std::memcmp(all, expected_all, sizeof(all)), 0);
    EXPECT_EQ(std::memcmp(inside, expected_inside, sizeof(inside)), 0);
  }

  std::vector<float> spaced(101);
  kernels().space(99.99, 0.0123456789, 77, 101, spaced.data());
  for (int32_t i = 0; i < 101; ++i) {
    ASSERT_EQ(spaced[static_cast<size_t>(i)], static_cast<float>(99.99 + (77 + i) * 0.0123456789));
  }

  const double coefficients[] = {-0.3, 1.01, -1.3e-3, 2.2e-6, -1.1e-9, 1.9e-12};
  for (size_t order = 0; order < PointKernels::kOrders; ++order) {
    for (const bool root : {false, true}) {
      std::vector<float> calibrated(masses.begin(), masses.begin() + 101);
      std::vector<double> wide(101);
      kernels().widen(calibrated.data(), 101, wide.data());
      (root ? kernels().evaluate_root : kernels().evaluate)[order](coefficients, wide.data(), 101);
      for (size_t i = 0; i < 101; ++i) {
        const double x = root ? std::sqrt(static_cast<double>(masses[i])) : masses[i];
        double y = coefficients[order];
        for (size_t k = order; k > 0; --k) y = y * x + coefficients[k - 1];
        ASSERT_TRUE(std::isnan(y) || wide[i] == (root ? y * y : y)) << order << " at " << x;
      }
      wide[1] = 1e39;
      wide[2] = -std::numeric_limits<double>::infinity();
      wide[3] = std::numeric_limits<float>::max();
      kernels().narrow(wide.data(), 101, calibrated.data());
      for (size_t i = 0; i < 101; ++i) {
        const bool fits = std::fabs(wide[i]) <= std::numeric_limits<float>::max();
        ASSERT_TRUE(Alike(calibrated[i], fits ? static_cast<float>(wide[i]) : masses[i])) << i;
      }
    }
  }
}

}  // namespace
}  // namespace tervalon::raw
