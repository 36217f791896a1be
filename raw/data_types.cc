#include "raw/data_types.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "platform/little_endian.h"
#include "raw/point_kernels.h"
#include "tervalon/raw_functions.h"

namespace tervalon::raw {
namespace {

// One value rounded half up to a mantissa within [lowest, highest] and the smallest exponent that
// holds it; the step of the exponent is a factor of `base`. What is stored as 0 (a NaN, a negative
// value where lowest is 0) has the exponent 0.
struct Packed {
  int32_t mantissa;
  uint32_t exponent;
};

Packed Pack(double value, double base, uint32_t largest_exponent, int32_t lowest, int32_t highest) {
  if (std::isnan(value) || (value < 0 && lowest == 0)) return {0, 0};
  const double below = lowest;
  const double above = highest + 1.0;
  const double step = 1.0 / base;
  uint32_t exponent = 0;
  while ((value + 0.5 >= above || value + 0.5 < below) && exponent < largest_exponent) {
    value *= step;
    ++exponent;
  }
  const double rounded = std::clamp(std::floor(value + 0.5), below, above - 1.0);
  return {static_cast<int32_t>(rounded), exponent};
}

// A mass in fixed point with `highest` as its largest code.
uint32_t PackFixed(float mass, double scale, uint32_t highest) {
  return static_cast<uint32_t>(
      Pack(static_cast<double>(mass) * scale, 2, 0, 0, static_cast<int32_t>(highest)).mantissa);
}

Packed PackSigned(float intensity) { return Pack(intensity, 4, 15, -32768, 32767); }

uint32_t PackEnhanced(float intensity, uint8_t flags) {
  constexpr int32_t kLimit = 1 << 21;
  const Packed packed = Pack(static_cast<double>(intensity) * kLimit, 2, 63, -kLimit, kLimit - 1);
  return (static_cast<uint32_t>(packed.mantissa) & 0x3FFFFF) | packed.exponent << 22 |
         static_cast<uint32_t>(flags & 15) << 28;
}

// Fraction and exponent of a mass: exponent in the bits above the fraction's.
Packed PackFraction(float mass, int32_t bits) {
  const int32_t limit = 1 << bits;
  return Pack(static_cast<double>(mass) * limit, 2, 31, 0, limit - 1);
}

// --- type 0: 4 bytes, mass in bits 11..31, intensity mantissa in 3..10, exponent in 0..2

void PackCompressed(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    const Packed intensity = Pack(in.intensities[i], 4, 7, 0, 255);
    const uint32_t mass = PackFixed(in.masses[i], 128, (1u << 21) - 1);
    Store(bytes + 4 * i,
          mass << 11 | static_cast<uint32_t>(intensity.mantissa) << 3 | intensity.exponent);
  }
}

// --- type 1: pairs of 10 bytes, two intensity words, then two 24-bit masses

void PackCentroid(const PointArrays& in, size_t points, uint8_t* bytes) {
  Kernels().packing->pairs(in.masses, in.intensities, points, bytes);
}

// --- types 2 and 3: 2 bytes, an intensity word

void PackWords(const PointArrays& in, size_t points, uint8_t* bytes) {
  Kernels().packing->words(in.intensities, points, bytes);
}

// --- types 4 and 6: groups of 10 bytes, four signed mantissas, then four 4-bit exponents

void PackGroups(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    uint8_t* unit = bytes + 10 * (i / 4);
    if (i % 4 == 0) std::memset(unit, 0, 10);
    const Packed packed = PackSigned(in.intensities[i]);
    Store(unit + 2 * (i % 4), static_cast<int16_t>(packed.mantissa));
    const uint32_t exponents = Load<uint16_t>(unit + 8) | packed.exponent << (4 * (i % 4));
    Store(unit + 8, static_cast<uint16_t>(exponents));
  }
}

// --- types 8 and 9: 6 bytes, a signed mantissa, then a word with the exponent in bits 0..3

void PackWeight(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    const Packed intensity = PackSigned(in.intensities[i]);
    const uint32_t mass = PackFixed(in.masses[i], 128, (1u << 28) - 1);
    Store(bytes + 6 * i, static_cast<int16_t>(intensity.mantissa));
    Store(bytes + 6 * i + 2, mass << 4 | intensity.exponent);
  }
}

void PackAccurate(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    const Packed intensity = PackSigned(in.intensities[i]);
    const Packed mass = PackFraction(in.masses[i], 23);
    Store(bytes + 6 * i, static_cast<int16_t>(intensity.mantissa));
    Store(bytes + 6 * i + 2,
          static_cast<uint32_t>(mass.mantissa) << 9 | mass.exponent << 4 | intensity.exponent);
  }
}

// --- type 10: 8 bytes, two floats

void PackFloats(const PointArrays& in, size_t points, uint8_t* bytes) {
  const auto numeric = [](float value) { return std::isnan(value) ? 0.0f : value; };
  for (size_t i = 0; i < points; ++i) {
    Store(bytes + 8 * i, numeric(in.intensities[i]));
    Store(bytes + 8 * i + 4, numeric(in.masses[i]));
  }
}

// --- types 11 and 12: a word with intensity and flags; type 12 adds a word with the mass

uint8_t FlagsOf(const PointArrays& in, size_t point) {
  return in.flags != nullptr ? in.flags[point] : uint8_t{0};
}

void PackEnhancedSir(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    Store(bytes + 4 * i, PackEnhanced(in.intensities[i], FlagsOf(in, i)));
  }
}

void PackEnhancedMass(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    const Packed mass = PackFraction(in.masses[i], 27);
    Store(bytes + 8 * i, PackEnhanced(in.intensities[i], FlagsOf(in, i)));
    Store(bytes + 8 * i + 4, static_cast<uint32_t>(mass.mantissa) | mass.exponent << 27);
  }
}

// --- base peak fields

// The intensity of a field that begins like a point of data type `code`.
float IntensityAs(int32_t code, const uint8_t* bytes) {
  float intensity = 0;
  Kernels().decoders[code].intensities(bytes, 1, &intensity);
  return intensity;
}

// The intensity word, then the point's index in 28 bits.
BasePeak DecodeWordPeak(const DataType& /*type*/, const uint8_t* bytes) {
  return {IntensityAs(RAW_DATA_CONTINUUM, bytes), 0, Load<uint32_t>(bytes + 2) & 0xFFFFFFF};
}

void EncodeWordPeak(const DataType& /*type*/, const PackedPoint& point, uint8_t* bytes) {
  std::copy_n(point.unit, 2, bytes);
  Store(bytes + 2, point.index & 0xFFFFFFF);
}

// The signed mantissa, then a word with the exponent in bits 0..3 and the index above.
BasePeak DecodeSignedPeak(const DataType& /*type*/, const uint8_t* bytes) {
  const auto word = Load<uint32_t>(bytes + 2);
  return {IntensityAs(RAW_DATA_MOLECULAR_WEIGHT, bytes), 0, word >> 4};
}

void EncodeSignedPeak(const DataType& /*type*/, const PackedPoint& point, uint8_t* bytes) {
  std::copy_n(point.unit + 2 * point.place, 2, bytes);
  Store(bytes + 2, point.index << 4 | (Load<uint16_t>(point.unit + 8) >> (4 * point.place) & 15u));
}

// The intensity word, then the 24-bit mass.
BasePeak DecodePairPeak(const DataType& /*type*/, const uint8_t* bytes) {
  return {IntensityAs(RAW_DATA_CONTINUUM, bytes),
          static_cast<float>(Load<uint32_t>(bytes + 2) & 0xFFFFFF) * (1.0f / 1024), 0};
}

void EncodePairPeak(const DataType& /*type*/, const PackedPoint& point, uint8_t* bytes) {
  std::copy_n(point.unit + 2 * point.place, 2, bytes);
  std::copy_n(point.unit + 4 + 3 * point.place, 3, bytes + 2);
}

// The point itself. Of 8 bytes the intensity and the upper half of the mass are kept; the lower
// half reads as zero.
BasePeak DecodePointPeak(const DataType& type, const uint8_t* bytes) {
  std::array<uint8_t, 8> point = {};
  const bool cut = type.unit_bytes == point.size();
  std::copy_n(bytes, 4, point.begin());
  std::copy_n(bytes + 4, 2, point.begin() + (cut ? 6 : 4));
  BasePeak peak;
  peak.intensity = IntensityAs(type.code, point.data());
  if (type.stores_masses()) type.decoder().masses(point.data(), 1, &peak.mass);
  return peak;
}

void EncodePointPeak(const DataType& type, const PackedPoint& point, uint8_t* bytes) {
  std::copy_n(point.unit, 4, bytes);
  if (type.unit_bytes == 8) std::copy_n(point.unit + 6, 2, bytes + 4);
  if (type.unit_bytes == 6) std::copy_n(point.unit + 4, 2, bytes + 4);
}

struct PeakCodec {
  BasePeak (*decode)(const DataType& type, const uint8_t* bytes);
  void (*encode)(const DataType& type, const PackedPoint& point, uint8_t* bytes);
  int32_t begins_as;  // the data type like a point of which the field begins; -1: its own
};

constexpr PeakCodec kWordPeak = {DecodeWordPeak, EncodeWordPeak, RAW_DATA_CONTINUUM};
constexpr PeakCodec kSignedPeak = {DecodeSignedPeak, EncodeSignedPeak, RAW_DATA_MOLECULAR_WEIGHT};
constexpr PeakCodec kPairPeak = {DecodePairPeak, EncodePairPeak, RAW_DATA_CONTINUUM};
constexpr PeakCodec kPointPeak = {DecodePointPeak, EncodePointPeak, -1};

struct DataTypeRow {
  const char* name;
  DataType type;
  PeakCodec peak;
};

// By data type code.
constexpr DataTypeRow kDataTypes[PointKernels::kTypes] = {
    {"Compressed centroid", {0, 4, 1, PackCompressed, 128, &PointKernels::compressed}, kPointPeak},
    {"Standard centroid", {1, 10, 2, PackCentroid, 1024, &PointKernels::centroid}, kPairPeak},
    {"SIR or MRM data", {2, 2, 1, PackWords}, kWordPeak},
    {"Continuum", {3, 2, 1, PackWords}, kWordPeak},
    {"MCA", {4, 10, 4, PackGroups}, kSignedPeak},
    {"MCA with SD", {}, {}},
    {"MCB", {6, 10, 4, PackGroups}, kSignedPeak},
    {"MCB with SD", {}, {}},
    {"Molecular weight", {8, 6, 1, PackWeight}, kPointPeak},
    {"Accurate Mass", {9, 6, 1, PackAccurate}, kPointPeak},
    {"", {10, 8, 1, PackFloats}, kPointPeak},
    {"Enhanced SIR or MRM", {11, 4, 1, PackEnhancedSir}, kPointPeak},
    {"Enhanced Mass", {12, 8, 1, PackEnhancedMass}, kPointPeak},
};

const DataTypeRow* FindRow(int32_t code) {
  return code >= 0 && code < static_cast<int32_t>(std::size(kDataTypes)) ? &kDataTypes[code]
                                                                         : nullptr;
}

}  // namespace

const DataType* FindDataType(int32_t code) {
  const DataTypeRow* row = FindRow(code);
  return row != nullptr && row->type.unit_bytes != 0 ? &row->type : nullptr;
}

const char* DataTypeName(int32_t code) {
  const DataTypeRow* row = FindRow(code);
  return row != nullptr ? row->name : "";
}

BasePeak DecodeBasePeak(int32_t code, const uint8_t* bytes) {
  return FindDataType(code) != nullptr ? kDataTypes[code].peak.decode(kDataTypes[code].type, bytes)
                                       : BasePeak{};
}

void DecodeBasePeakIntensities(int32_t code, const uint8_t* fields, size_t stride, size_t count,
                               float* intensities) {
  if (FindDataType(code) == nullptr) {
    std::fill_n(intensities, count, 0.0f);
    return;
  }
  constexpr size_t kPart = 128;
  const int32_t begins_as = kDataTypes[code].peak.begins_as;
  const DataType& type = kDataTypes[begins_as >= 0 ? begins_as : code].type;
  uint8_t bytes[8 * kPart + BasePeak::kSize];  // what is copied too much, the next covers
  for (size_t begin = 0; begin < count; begin += kPart) {
    const size_t units = std::min(kPart, count - begin);
    for (size_t i = 0; i < units; ++i) {
      std::memcpy(bytes + type.unit_bytes * i, fields + stride * (begin + i), BasePeak::kSize);
    }
    type.decoder().intensities(bytes, units, intensities + begin);
  }
}

void EncodeBasePeak(int32_t code, const PackedPoint& point, uint8_t* bytes) {
  std::memset(bytes, 0, BasePeak::kSize);
  if (FindDataType(code) != nullptr) {
    kDataTypes[code].peak.encode(kDataTypes[code].type, point, bytes);
  }
}

}  // namespace tervalon::raw
