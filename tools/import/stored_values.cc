#include "tools/import/stored_values.h"

#include <tervalon/raw_functions.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>

namespace tervalon::tools {
namespace {

// A number of `bits` bits x 2^(step x exponent - shift), the exponent being 0..largest and as small
// as holds the number.
struct Packing {
  int bits = 0;  // 0: stored as a float
  int step = 0;
  int largest = 0;
  int shift = 0;
  bool is_signed = false;
};

struct Row {
  bool stored;
  bool masses;
  Packing mass;
  Packing intensity;
};

constexpr Packing kFloat = {};
constexpr Packing kWord = {.bits = 13, .step = 2, .largest = 7};
constexpr Packing kSignedWord = {.bits = 15, .step = 2, .largest = 15, .is_signed = true};
constexpr Packing kEnhanced = {
    .bits = 21, .step = 1, .largest = 63, .shift = 21, .is_signed = true};

// By data type.
constexpr Row kRows[] = {
    {true, true, {.bits = 21, .shift = 7}, {.bits = 8, .step = 2, .largest = 7}},
    {true, true, {.bits = 24, .shift = 10}, kWord},
    {true, false, kFloat, kWord},
    {true, false, kFloat, kWord},
    {true, false, kFloat, kSignedWord},
    {false, false, kFloat, kFloat},
    {true, false, kFloat, kSignedWord},
    {false, false, kFloat, kFloat},
    {true, true, {.bits = 28, .shift = 7}, kSignedWord},
    {true, true, {.bits = 23, .step = 1, .largest = 31, .shift = 23}, kSignedWord},
    {true, true, kFloat, kFloat},
    {true, false, kFloat, kEnhanced},
    {true, true, {.bits = 27, .step = 1, .largest = 31, .shift = 27}, kEnhanced},
};

// 2^exponent of a normal number.
double PowerOf2(int exponent) {
  return std::bit_cast<double>(static_cast<uint64_t>(1023 + exponent) << 52);
}

// The smallest exponent for a number whose highest bit is worth 2^top, not limited.
int ExponentFor(const Packing& packing, int top) {
  const int excess = top + packing.shift + 1 - packing.bits;
  return excess <= 0 || packing.step == 0 ? 0 : (excess + packing.step - 1) / packing.step;
}

float Packed(const Packing& packing, float number) {
  if (std::isnan(number)) return 0;
  if (packing.bits == 0) return number;
  if (number < 0 && !packing.is_signed) return 0;
  const double size = std::abs(static_cast<double>(number));
  const int top = static_cast<int>(std::bit_cast<uint64_t>(size) >> 52) - 1023;
  const double limit = PowerOf2(packing.bits) - 1;
  const int exponent = std::min(ExponentFor(packing, top), packing.largest);
  double unit = PowerOf2(exponent * packing.step - packing.shift);
  if (size / unit + 0.5 >= limit + 1 && exponent < packing.largest) {  // carried out of it
    unit *= PowerOf2(packing.step);
  }
  const auto mantissa = static_cast<int64_t>(std::min(size / unit + 0.5, limit));
  const auto result = static_cast<float>(static_cast<double>(mantissa) * unit);
  return number < 0 ? -result : result;
}

bool Holds(const Packing& packing, float number) {
  if (!std::isfinite(number)) return false;
  if (packing.bits == 0 || number == 0) return true;
  if (number < 0 && !packing.is_signed) return false;
  constexpr int kFractionBits = 23;
  const auto bits = std::bit_cast<uint32_t>(number);
  const int top = static_cast<int>(bits >> kFractionBits & 255) - 127;
  if (top == -127) return false;  // far below every step
  const int low = top - kFractionBits + std::countr_zero(bits | 1U << kFractionBits);
  const int exponent = ExponentFor(packing, top);
  if (packing.step == 0 && top + packing.shift >= packing.bits) return false;
  return exponent <= packing.largest && low + packing.shift >= exponent * packing.step;
}

bool IsKnown(int data_type) { return data_type >= 0 && data_type < std::ssize(kRows); }

}  // namespace

bool IsStored(int data_type) { return IsKnown(data_type) && kRows[data_type].stored; }
bool StoresMasses(int data_type) { return IsKnown(data_type) && kRows[data_type].masses; }
bool IsChannelType(int data_type) {
  return data_type == RAW_DATA_SIR || data_type == RAW_DATA_ENHANCED_SIR;
}

float StoredMass(int data_type, float mass) { return Packed(kRows[data_type].mass, mass); }

bool HoldsMass(int data_type, float mass) { return Holds(kRows[data_type].mass, mass); }

bool HoldsIntensity(int data_type, float intensity) {
  return Holds(kRows[data_type].intensity, intensity);
}

float StoredIntensity(int data_type, float intensity) {
  return Packed(kRows[data_type].intensity, intensity);
}

float SpacedMass(float low, float high, size_t index, size_t count) {
  const double step =
      count < 2 ? 1 : (static_cast<double>(high) - low) / static_cast<double>(count - 1);
  return static_cast<float>(low + static_cast<double>(index) * step);
}

}  // namespace tervalon::tools
