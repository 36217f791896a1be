// Every packing kernel against the model of a single point, on values at every boundary.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "raw/point_kernels.h"
#include "tests/support/point_model.h"

namespace tervalon::raw {
namespace {

constexpr int32_t kWordType = 3;
constexpr int32_t kPairType = 1;

// Values around all at which a mantissa or an exponent changes, special ones, and any others.
std::vector<float> ValuesToPack() {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  std::vector<float> values = {0.0f,
                               -0.0f,
                               -1.0f,
                               -kInfinity,
                               kInfinity,
                               std::nanf(""),
                               -std::nanf(""),
                               std::numeric_limits<float>::denorm_min(),
                               std::numeric_limits<float>::max()};
  for (int exponent = -1; exponent < 30; ++exponent) {
    for (const double mantissa : {1.0, 0.5, 1.5, 2047.5, 2048.0, 4095.75, 8191.0, 8191.5, 8192.0}) {
      const auto edge = static_cast<float>(std::ldexp(mantissa, exponent));
      values.insert(values.end(), {std::nextafterf(edge, 0), edge, std::nextafterf(edge, 1e30f)});
    }
  }
  std::mt19937 random(5);
  for (int i = 0; i < 30000; ++i)
    values.push_back(std::bit_cast<float>(static_cast<uint32_t>(random())));
  for (int i = 0; i < 30000; ++i) values.push_back(static_cast<float>(random() >> random() % 32));
  std::shuffle(values.begin(), values.end(), random);
  return values;
}

double StoredMass(float mass) {
  if (!(mass > 0)) return 0;
  constexpr double kLargestCode = (1 << 24) - 1;
  return std::min(std::floor(static_cast<double>(mass) * 1024 + 0.5), kLargestCode) / 1024;
}

void ExpectSummary(const PackedRun& run, const std::vector<float>& stored) {
  uint64_t total = 0;
  for (const float value : stored) total += static_cast<uint64_t>(value);
  EXPECT_EQ(run.total, total);
  const auto highest = std::max_element(stored.begin(), stored.end());
  if (stored.empty()) return;
  EXPECT_EQ(static_cast<float>(run.highest), *highest);
  EXPECT_EQ(run.place, static_cast<size_t>(highest - stored.begin()));
}

// Packs values as intensities, and in reverse order as masses.
void ExpectPacked(const PackKernels& kernels, const std::vector<float>& values) {
  const std::vector<float> masses(values.rbegin(), values.rend());
  const size_t count = values.size();
  for (const int32_t type : {kWordType, kPairType}) {
    const size_t size = testing::ModelTypeOf(type).BytesOf(count);
    std::vector<uint8_t> bytes(size + 1, 0xEE);
    const PackedRun run = type == kWordType
                              ? kernels.words(values.data(), count, bytes.data())
                              : kernels.pairs(masses.data(), values.data(), count, bytes.data());
    EXPECT_EQ(bytes[size], 0xEE);
    std::vector<float> stored;
    int wrong = 0;
    for (size_t i = 0; i < count; ++i) {
      const testing::ModelPoint point = testing::ModelDecode(type, bytes.data(), i);
      stored.push_back(point.intensity);
      wrong += point.intensity != testing::ModelStoredIntensity(type, values[i]);
      if (type == kPairType) wrong += static_cast<double>(point.mass) != StoredMass(masses[i]);
    }
    EXPECT_EQ(wrong, 0) << "type " << type;
    ExpectSummary(run, stored);
    if (type == kPairType && count % 2 != 0) {
      const testing::ModelPoint missing = testing::ModelDecode(type, bytes.data(), count);
      EXPECT_EQ(missing.intensity, 0);
      EXPECT_EQ(missing.mass, 0);
    }
  }
}

TEST(PackKernelsTest, AllPackAsOnePointIsPacked) {
  const std::vector<float> values = ValuesToPack();
  for (const PointKernels* kernels : KernelsHere()) {
    SCOPED_TRACE(kernels->instruction_set);
    ExpectPacked(*kernels->packing, values);
    // Whole registers, parts and what is left of them.
    auto from = values.begin();
    for (size_t count = 0; count < 520; count += count < 70 ? 1 : 37) {
      ExpectPacked(*kernels->packing,
                   std::vector<float>(from, from + static_cast<ptrdiff_t>(count)));
      from += static_cast<ptrdiff_t>(count);
    }
  }
}

TEST(PackKernelsTest, AllPackTheSameBytes) {
  const std::vector<float> values = ValuesToPack();
  const auto words = [&](const PackKernels& kernels) {
    std::vector<uint8_t> bytes(2 * values.size());
    kernels.words(values.data(), values.size(), bytes.data());
    return bytes;
  };
  for (const PointKernels* kernels : KernelsHere()) {
    EXPECT_EQ(words(*kernels->packing), words(kBaselinePacking)) << kernels->instruction_set;
  }
  // The smallest exponent that holds a value.
  std::vector<uint8_t> word(2);
  const float edges[] = {8191.25f, 8191.5f};
  for (const auto& [value, code] : {std::pair(&edges[0], 8191 << 3), {&edges[1], 2048 << 3 | 1}}) {
    kBaselinePacking.words(value, 1, word.data());
    EXPECT_EQ(word[0] | word[1] << 8, code);
  }
}

}  // namespace
}  // namespace tervalon::raw
