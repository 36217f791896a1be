#include "tests/support/point_model.h"

#include <bit>
#include <cmath>
#include <limits>

namespace tervalon::testing {
namespace {

// `width` bits from bit `first` on, counted from bit 0 of the first byte.
uint32_t Bits(const uint8_t* bytes, size_t first, uint32_t width) {
  uint32_t value = 0;
  for (uint32_t i = 0; i < width; ++i) {
    const size_t bit = first + i;
    value |= static_cast<uint32_t>(bytes[bit / 8] >> (bit % 8) & 1) << i;
  }
  return value;
}

double SignedBits(const uint8_t* bytes, size_t first, uint32_t width) {
  const double value = Bits(bytes, first, width);
  return value >= std::ldexp(1, static_cast<int>(width) - 1)
             ? value - std::ldexp(1, static_cast<int>(width))
             : value;
}

double Power(double base, uint32_t exponent) { return std::pow(base, exponent); }

// What a type's points are packed in.
struct Packing {
  ModelType layout;
  double base;
  uint32_t exponents;  // 0 .. exponents - 1
  double lowest;
  double highest;
  double divisor;
  double mass_step;  // or, of the types that store a mantissa, its smallest part
  double largest_mass;
};

const Packing& PackingOf(int32_t type) {
  constexpr double kAny = std::numeric_limits<float>::max();
  static const Packing kPackings[] = {
      {{4, 1, true, false}, 4, 8, 0, 255, 1, 0x1p-7, 0x1FFFFF * 0x1p-7},
      {{10, 2, true, false}, 4, 8, 0, 8191, 1, 0x1p-10, 0xFFFFFF * 0x1p-10},
      {{2, 1, false, false}, 4, 8, 0, 8191, 1, 0, kAny},
      {{2, 1, false, false}, 4, 8, 0, 8191, 1, 0, kAny},
      {{10, 4, false, false}, 4, 16, -32768, 32767, 1, 0, kAny},
      {},
      {{10, 4, false, false}, 4, 16, -32768, 32767, 1, 0, kAny},
      {},
      {{6, 1, true, false}, 4, 16, -32768, 32767, 1, 0x1p-7, 0xFFFFFFF * 0x1p-7},
      {{6, 1, true, false}, 4, 16, -32768, 32767, 1, 0x1p-23, 0x7FFFFF * 0x1p8},
      {{8, 1, true, false}, 4, 16, -32768, 32767, 1, 0, kAny},
      {{4, 1, false, true}, 2, 64, -2097152, 2097151, 2097152, 0, kAny},
      {{8, 1, true, true}, 2, 64, -2097152, 2097151, 2097152, 0x1p-27, 0x7FFFFFF * 0x1p4},
  };
  return kPackings[type];
}

}  // namespace

ModelType ModelTypeOf(int32_t type) { return PackingOf(type).layout; }

ModelPoint ModelDecode(int32_t type, const uint8_t* bytes, size_t point) {
  const ModelType layout = ModelTypeOf(type);
  const uint8_t* unit = bytes + point / layout.unit_points * layout.unit_bytes;
  const size_t k = point % layout.unit_points;
  double intensity = 0;
  double mass = 0;
  ModelPoint decoded;
  switch (type) {
    case 0:
      intensity = Bits(unit, 3, 8) * Power(4, Bits(unit, 0, 3));
      mass = Bits(unit, 11, 21) / 128.0;
      break;
    case 1:
      mass = Bits(unit, 32 + 24 * k, 24) / 1024.0;
      [[fallthrough]];
    case 2:
    case 3:
      intensity = Bits(unit, 16 * k + 3, 13) * Power(4, Bits(unit, 16 * k, 3));
      break;
    case 4:
    case 6:
      intensity = SignedBits(unit, 16 * k, 16) * Power(4, Bits(unit, 64 + 4 * k, 4));
      break;
    case 8:
      intensity = SignedBits(unit, 0, 16) * Power(4, Bits(unit, 16, 4));
      mass = Bits(unit, 20, 28) / 128.0;
      break;
    case 9:
      intensity = SignedBits(unit, 0, 16) * Power(4, Bits(unit, 16, 4));
      mass = Bits(unit, 25, 23) / 8388608.0 * Power(2, Bits(unit, 20, 5));
      break;
    case 10:
      decoded.intensity = std::bit_cast<float>(Bits(unit, 0, 32));
      decoded.mass = std::bit_cast<float>(Bits(unit, 32, 32));
      return decoded;
    case 12:
      mass = Bits(unit, 32, 27) / 134217728.0 * Power(2, Bits(unit, 59, 5));
      [[fallthrough]];
    default:
      intensity = SignedBits(unit, 0, 22) / 2097152.0 * Power(2, Bits(unit, 22, 6));
      decoded.flags = static_cast<uint8_t>(Bits(unit, 28, 4));
  }
  decoded.intensity = static_cast<float>(intensity);
  decoded.mass = static_cast<float>(mass);
  return decoded;
}

float ModelStoredIntensity(int32_t type, float intensity) {
  if (std::isnan(intensity)) return 0;
  if (type == 10) return intensity;
  const Packing packing = PackingOf(type);
  double scale = 1 / packing.divisor;
  for (uint32_t e = 0; e < packing.exponents; ++e, scale *= packing.base) {
    const double mantissa = std::floor(intensity / scale + 0.5);
    if (mantissa >= packing.lowest && mantissa <= packing.highest) {
      return static_cast<float>(mantissa * scale);
    }
  }
  const double limit = intensity < 0 ? packing.lowest : packing.highest;
  return static_cast<float>(limit * scale / packing.base);
}

double ModelMassTolerance(int32_t type, float mass) {
  const double step = PackingOf(type).mass_step;
  const double rounded_once = type == 8 || type == 12 ? mass * 6e-8 : 0;  // to a float
  return rounded_once + step * (type == 9 || type == 12 ? std::fmax(mass, 1) : 0.5);
}

double ModelLargestMass(int32_t type) { return PackingOf(type).largest_mass; }

}  // namespace tervalon::testing
