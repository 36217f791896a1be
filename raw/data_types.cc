#include "raw/data_types.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/little_endian.h"
#include "raw/pack_kernels.h"

namespace tervalon::raw {
namespace {

// The decoding loops are written without branches over plain loads, so that the compiler can turn
// them into vector code. All values below are exact in a float except the masses of types 8 and 12,
// which are rounded once, when the integer is converted.

// 2^exponent, exponent in -126..127.
inline float PowerOf2(int32_t exponent) {
  return std::bit_cast<float>(static_cast<uint32_t>(127 + exponent) << 23);
}

inline float ToFloat(uint32_t value) { return static_cast<float>(static_cast<int32_t>(value)); }

// Intensity word of types 1, 2 and 3: mantissa in bits 3..15, base-4 exponent in bits 0..2.
inline float DecodeWord(uint32_t word) {
  return ToFloat(word >> 3) * PowerOf2(static_cast<int32_t>(2 * (word & 7)));
}

inline float DecodeSigned(int16_t mantissa, uint32_t exponent) {
  return static_cast<float>(mantissa) * PowerOf2(static_cast<int32_t>(2 * exponent));
}

// Intensity word of types 11 and 12: signed 22-bit fraction, base-2 exponent, flag nibble.
inline float DecodeEnhanced(uint32_t word) {
  const int32_t fraction = static_cast<int32_t>(word << 10) >> 10;
  return static_cast<float>(fraction) * PowerOf2(static_cast<int32_t>(word >> 22 & 63) - 21);
}

// Fraction of `bits` bits below a base-2 exponent, as types 9 and 12 hold masses.
inline float DecodeFraction(uint32_t fraction, uint32_t exponent, int32_t bits) {
  return ToFloat(fraction) * PowerOf2(static_cast<int32_t>(exponent) - bits);
}

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

// Units whose fields do not lie at equal distances are taken apart in small parts first: fields are
// gathered one by one, and converted in vector code.
constexpr size_t kPartUnits = 128;

template <typename Part>
void ForEachPart(size_t units, Part part) {
  for (size_t begin = 0; begin < units; begin += kPartUnits) {
    part(begin, std::min(kPartUnits, units - begin));
  }
}

void DecodeWords(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) intensities[i] = DecodeWord(Load<uint16_t>(bytes + 2 * i));
}

// Masses in fixed point, one 32-bit code each.
void DecodeFixed(const uint8_t* codes, size_t count, float step, float* masses) {
  for (size_t i = 0; i < count; ++i) masses[i] = ToFloat(Load<uint32_t>(codes + 4 * i)) * step;
}

// --- type 0: 4 bytes, mass in bits 11..31, intensity mantissa in 3..10, exponent in 0..2

void DecodeCompressedIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) {
    intensities[i] = DecodeWord(Load<uint32_t>(bytes + 4 * i) & 0x7FF);
  }
}

void DecodeCompressedMasses(const uint8_t* bytes, size_t units, float* masses) {
  for (size_t i = 0; i < units; ++i) {
    masses[i] = ToFloat(Load<uint32_t>(bytes + 4 * i) >> 11) * (1.0f / 128);
  }
}

void PackCompressed(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    const Packed intensity = Pack(in.intensities[i], 4, 7, 0, 255);
    const uint32_t mass = PackFixed(in.masses[i], 128, (1u << 21) - 1);
    Store(bytes + 4 * i,
          mass << 11 | static_cast<uint32_t>(intensity.mantissa) << 3 | intensity.exponent);
  }
}

// --- type 1: pairs of 10 bytes, two intensity words, then two 24-bit masses

// Two pairs at a time in vector registers: the compiler does not find its own way through units of
// 10 bytes, and these are the points that most acquisitions are made of.
using TwoLongs = uint64_t __attribute__((vector_size(16)));
using FourInts = int32_t __attribute__((vector_size(16)));
using FourFloats = float __attribute__((vector_size(16)));

inline void StoreFour(float* out, FourFloats values) { std::memcpy(out, &values, sizeof(values)); }

void DecodeCentroidIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  const size_t even = units & ~size_t{1};
  for (size_t i = 0; i < even; i += 2) {
    const TwoLongs words = {Load<uint32_t>(bytes + 10 * i), Load<uint32_t>(bytes + 10 * i + 10)};
    const auto both = reinterpret_cast<FourInts>((words & 0xFFFF) | words >> 16 << 32);
    const FourInts powers = (127 + 2 * (both & 7)) << 23;
    StoreFour(intensities + 2 * i, __builtin_convertvector(both >> 3, FourFloats) *
                                       reinterpret_cast<FourFloats>(powers));
  }
  if (even < units) DecodeWords(bytes + 10 * even, 2, intensities + 2 * even);
}

void DecodeCentroidMasses(const uint8_t* bytes, size_t units, float* masses) {
  const size_t even = units & ~size_t{1};
  for (size_t i = 0; i < even; i += 2) {
    const TwoLongs both = {Load<uint64_t>(bytes + 10 * i + 2), Load<uint64_t>(bytes + 10 * i + 12)};
    const TwoLongs codes = (both >> 16 & 0xFFFFFF) | both >> 40 << 32;
    StoreFour(
        masses + 2 * i,
        __builtin_convertvector(reinterpret_cast<FourInts>(codes), FourFloats) * (1.0f / 1024));
  }
  if (even < units) {
    const uint8_t* unit = bytes + 10 * even;
    masses[2 * even] = ToFloat(Load<uint32_t>(unit + 4) & 0xFFFFFF) * (1.0f / 1024);
    masses[2 * even + 1] = ToFloat(Load<uint32_t>(unit + 6) >> 8) * (1.0f / 1024);
  }
}

void PackCentroid(const PointArrays& in, size_t points, uint8_t* bytes) {
  Packing().pairs(in.masses, in.intensities, points, bytes);
}

// --- types 2 and 3: 2 bytes, an intensity word

void PackWords(const PointArrays& in, size_t points, uint8_t* bytes) {
  Packing().words(in.intensities, points, bytes);
}

// --- types 4 and 6: groups of 10 bytes, four signed mantissas, then four 4-bit exponents

// The factors of two exponents, by the byte that holds them.
constexpr auto kFactorPairs = [] {
  std::array<std::array<float, 2>, 256> pairs = {};
  for (uint32_t byte = 0; byte < pairs.size(); ++byte) {
    pairs[byte] = {static_cast<float>(1u << 2 * (byte & 15)),
                   static_cast<float>(1u << 2 * (byte >> 4))};
  }
  return pairs;
}();

void DecodeGroups(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) {
    const uint8_t* unit = bytes + 10 * i;
    float factors[4];
    std::memcpy(factors, kFactorPairs[unit[8]].data(), 8);
    std::memcpy(factors + 2, kFactorPairs[unit[9]].data(), 8);
    for (size_t k = 0; k < 4; ++k) {
      intensities[4 * i + k] = static_cast<float>(Load<int16_t>(unit + 2 * k)) * factors[k];
    }
  }
}

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

void DecodeWideIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  ForEachPart(units, [&](size_t begin, size_t count) {
    uint32_t words[kPartUnits];  // mantissa in the upper half, exponent in the lowest bits
    for (size_t i = 0; i < count; ++i) {
      const uint8_t* unit = bytes + 6 * (begin + i);
      words[i] = Load<uint32_t>(unit) << 16 | unit[2];
    }
    for (size_t i = 0; i < count; ++i) {
      intensities[begin + i] = static_cast<float>(static_cast<int32_t>(words[i]) >> 16) *
                               PowerOf2(static_cast<int32_t>(2 * (words[i] & 15)));
    }
  });
}

void DecodeWeightMasses(const uint8_t* bytes, size_t units, float* masses) {
  ForEachPart(units, [&](size_t begin, size_t count) {
    uint32_t codes[kPartUnits];
    for (size_t i = 0; i < count; ++i) codes[i] = Load<uint32_t>(bytes + 6 * (begin + i) + 2) >> 4;
    DecodeFixed(reinterpret_cast<const uint8_t*>(codes), count, 1.0f / 128, masses + begin);
  });
}

void PackWeight(const PointArrays& in, size_t points, uint8_t* bytes) {
  for (size_t i = 0; i < points; ++i) {
    const Packed intensity = PackSigned(in.intensities[i]);
    const uint32_t mass = PackFixed(in.masses[i], 128, (1u << 28) - 1);
    Store(bytes + 6 * i, static_cast<int16_t>(intensity.mantissa));
    Store(bytes + 6 * i + 2, mass << 4 | intensity.exponent);
  }
}

void DecodeAccurateMasses(const uint8_t* bytes, size_t units, float* masses) {
  ForEachPart(units, [&](size_t begin, size_t count) {
    uint32_t words[kPartUnits];
    for (size_t i = 0; i < count; ++i) words[i] = Load<uint32_t>(bytes + 6 * (begin + i) + 2);
    for (size_t i = 0; i < count; ++i) {
      masses[begin + i] = DecodeFraction(words[i] >> 9, words[i] >> 4 & 31, 23);
    }
  });
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

void DecodeFloatIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) intensities[i] = Load<float>(bytes + 8 * i);
}

void DecodeFloatMasses(const uint8_t* bytes, size_t units, float* masses) {
  for (size_t i = 0; i < units; ++i) masses[i] = Load<float>(bytes + 8 * i + 4);
}

void PackFloats(const PointArrays& in, size_t points, uint8_t* bytes) {
  const auto numeric = [](float value) { return std::isnan(value) ? 0.0f : value; };
  for (size_t i = 0; i < points; ++i) {
    Store(bytes + 8 * i, numeric(in.intensities[i]));
    Store(bytes + 8 * i + 4, numeric(in.masses[i]));
  }
}

// --- types 11 and 12: a word with intensity and flags; type 12 adds a word with the mass

template <size_t kStride>
void DecodeEnhancedIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) {
    intensities[i] = DecodeEnhanced(Load<uint32_t>(bytes + kStride * i));
  }
}

template <size_t kStride>
void DecodeEnhancedFlags(const uint8_t* bytes, size_t units, uint8_t* flags) {
  for (size_t i = 0; i < units; ++i) {
    flags[i] = static_cast<uint8_t>(Load<uint32_t>(bytes + kStride * i) >> 28);
  }
}

void DecodeEnhancedMasses(const uint8_t* bytes, size_t units, float* masses) {
  for (size_t i = 0; i < units; ++i) {
    const auto word = Load<uint32_t>(bytes + 8 * i + 4);
    masses[i] = DecodeFraction(word & 0x7FFFFFF, word >> 27, 27);
  }
}

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

// The intensity word, then the point's index in 28 bits.
BasePeak DecodeWordPeak(const DataType& /*type*/, const uint8_t* bytes) {
  return {DecodeWord(Load<uint16_t>(bytes)), 0, Load<uint32_t>(bytes + 2) & 0xFFFFFFF};
}

void EncodeWordPeak(const DataType& /*type*/, const PackedPoint& point, uint8_t* bytes) {
  std::copy_n(point.unit, 2, bytes);
  Store(bytes + 2, point.index & 0xFFFFFFF);
}

// The signed mantissa, then a word with the exponent in bits 0..3 and the index above.
BasePeak DecodeSignedPeak(const DataType& /*type*/, const uint8_t* bytes) {
  const auto word = Load<uint32_t>(bytes + 2);
  return {DecodeSigned(Load<int16_t>(bytes), word & 15), 0, word >> 4};
}

void EncodeSignedPeak(const DataType& /*type*/, const PackedPoint& point, uint8_t* bytes) {
  std::copy_n(point.unit + 2 * point.place, 2, bytes);
  Store(bytes + 2, point.index << 4 | (Load<uint16_t>(point.unit + 8) >> (4 * point.place) & 15u));
}

// The intensity word, then the 24-bit mass.
BasePeak DecodePairPeak(const DataType& /*type*/, const uint8_t* bytes) {
  return {DecodeWord(Load<uint16_t>(bytes)),
          ToFloat(Load<uint32_t>(bytes + 2) & 0xFFFFFF) * (1.0f / 1024), 0};
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
  type.decode_intensities(point.data(), 1, &peak.intensity);
  if (type.stores_masses()) type.decode_masses(point.data(), 1, &peak.mass);
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
  // The unit, one point, in whose layout the field begins; nullptr: the data type's own.
  size_t unit_bytes;
  void (*decode_intensities)(const uint8_t* bytes, size_t units, float* intensities);
};

constexpr PeakCodec kWordPeak = {DecodeWordPeak, EncodeWordPeak, 2, DecodeWords};
constexpr PeakCodec kSignedPeak = {DecodeSignedPeak, EncodeSignedPeak, 6, DecodeWideIntensities};
constexpr PeakCodec kPairPeak = {DecodePairPeak, EncodePairPeak, 2, DecodeWords};
constexpr PeakCodec kPointPeak = {DecodePointPeak, EncodePointPeak, 0, nullptr};

constexpr DataType kWords = {2, 1, DecodeWords, nullptr, nullptr, PackWords};
constexpr DataType kGroups = {10, 4, DecodeGroups, nullptr, nullptr, PackGroups};
constexpr DataType kNotStored = {};

struct DataTypeRow {
  const char* name;
  DataType type;
  PeakCodec peak;
};

// By data type code.
constexpr DataTypeRow kDataTypes[] = {
    {"Compressed centroid",
     {4, 1, DecodeCompressedIntensities, DecodeCompressedMasses, nullptr, PackCompressed},
     kPointPeak},
    {"Standard centroid",
     {10, 2, DecodeCentroidIntensities, DecodeCentroidMasses, nullptr, PackCentroid},
     kPairPeak},
    {"SIR or MRM data", kWords, kWordPeak},
    {"Continuum", kWords, kWordPeak},
    {"MCA", kGroups, kSignedPeak},
    {"MCA with SD", kNotStored, {}},
    {"MCB", kGroups, kSignedPeak},
    {"MCB with SD", kNotStored, {}},
    {"Molecular weight",
     {6, 1, DecodeWideIntensities, DecodeWeightMasses, nullptr, PackWeight},
     kPointPeak},
    {"Accurate Mass",
     {6, 1, DecodeWideIntensities, DecodeAccurateMasses, nullptr, PackAccurate},
     kPointPeak},
    {"", {8, 1, DecodeFloatIntensities, DecodeFloatMasses, nullptr, PackFloats}, kPointPeak},
    {"Enhanced SIR or MRM",
     {4, 1, DecodeEnhancedIntensities<4>, nullptr, DecodeEnhancedFlags<4>, PackEnhancedSir},
     kPointPeak},
    {"Enhanced Mass",
     {8, 1, DecodeEnhancedIntensities<8>, DecodeEnhancedMasses, DecodeEnhancedFlags<8>,
      PackEnhancedMass},
     kPointPeak},
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
  const DataType* type = FindDataType(code);
  if (type == nullptr) {
    std::fill_n(intensities, count, 0.0f);
    return;
  }
  const PeakCodec& peak = kDataTypes[code].peak;
  const bool own = peak.decode_intensities == nullptr;
  const size_t unit = own ? type->unit_bytes : peak.unit_bytes;
  const auto decode = own ? type->decode_intensities : peak.decode_intensities;
  ForEachPart(count, [&](size_t begin, size_t units) {
    uint8_t bytes[8 * kPartUnits + BasePeak::kSize];  // what is copied too much, the next covers
    for (size_t i = 0; i < units; ++i) {
      std::memcpy(bytes + unit * i, fields + stride * (begin + i), BasePeak::kSize);
    }
    decode(bytes, units, intensities + begin);
  });
}

void EncodeBasePeak(int32_t code, const PackedPoint& point, uint8_t* bytes) {
  std::memset(bytes, 0, BasePeak::kSize);
  if (FindDataType(code) != nullptr) {
    kDataTypes[code].peak.encode(kDataTypes[code].type, point, bytes);
  }
}

}  // namespace tervalon::raw
