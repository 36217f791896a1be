// Compiled with -mavx2. Loops over units of other than two or four bytes are written out: what the
// compiler makes of them takes 2 (types 10 and 12) to 8 times as long (types 1, 4, 8 and 9).

#include <immintrin.h>

#include "raw/point_kernels.h"
#include "raw/point_loops.inc"

namespace tervalon::raw {
namespace {

constexpr size_t kEight = 8;  // points in a register

// 16 bytes from each of two places, the first in the lower lane.
__m256i LoadLanes(const uint8_t* low, const uint8_t* high) {
  const __m128i lower = _mm_loadu_si128(reinterpret_cast<const __m128i*>(low));
  const __m128i upper = _mm_loadu_si128(reinterpret_cast<const __m128i*>(high));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(lower), upper, 1);
}

__m256i LoadWhole(const uint8_t* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

// The same moves of bytes in both lanes; 0x80 gives zero.
struct Shuffle {
  alignas(16) uint8_t from[16];

  __m256i operator()(__m256i bytes) const {
    const __m128i lane = _mm_load_si128(reinterpret_cast<const __m128i*>(from));
    return _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(lane));
  }
};

constexpr uint8_t kZero = 0x80;

__m256i Bits(__m256i words, int32_t mask) {
  return _mm256_and_si256(words, _mm256_set1_epi32(mask));
}

// Mantissa in bits 3 and up, base-4 exponent in bits 0..2 of each word.
__m256i WordValues(__m256i words) {
  return _mm256_sllv_epi32(_mm256_srli_epi32(words, 3), Bits(_mm256_slli_epi32(words, 1), 14));
}

__m256 Scaled(__m256i values, __m256i exponent_bits, int32_t bias) {
  const __m256i factors = _mm256_add_epi32(exponent_bits, _mm256_set1_epi32((127 - bias) << 23));
  return _mm256_mul_ps(_mm256_cvtepi32_ps(values), _mm256_castsi256_ps(factors));
}

__m256 Times(__m256i values, float step) {
  return _mm256_mul_ps(_mm256_cvtepi32_ps(values), _mm256_set1_ps(step));
}

uint64_t TotalOf(__m256i sums) {
  alignas(32) uint64_t parts[4];
  _mm256_store_si256(reinterpret_cast<__m256i*>(parts), sums);
  return parts[0] + parts[1] + parts[2] + parts[3];
}

// 32-bit numbers without sign, added to 64-bit sums.
__m256i AddWide(__m256i sums, __m256i numbers) {
  const __m256i zero = _mm256_setzero_si256();
  return _mm256_add_epi64(sums, _mm256_add_epi64(_mm256_unpacklo_epi32(numbers, zero),
                                                 _mm256_unpackhi_epi32(numbers, zero)));
}

// --- type 0: eight points in 32 bytes

struct Compressed {
  static constexpr auto kCode = CompressedCode;
  static constexpr auto kValue = CompressedValue;
  static __m256i Codes(const uint8_t* bytes, size_t point) {
    return _mm256_srli_epi32(LoadWhole(bytes + 4 * point), 11);
  }
  static __m256i Values(const uint8_t* bytes, size_t point) {
    return WordValues(Bits(LoadWhole(bytes + 4 * point), 0x7FF));
  }
};

// --- type 1: four pairs in 40 bytes

struct Centroid {
  static constexpr auto kCode = CentroidCode;
  static constexpr auto kValue = CentroidValue;
  static __m256i Codes(const uint8_t* bytes, size_t point) {
    static constexpr Shuffle kMasses = {
        {0, 1, 2, kZero, 3, 4, 5, kZero, 10, 11, 12, kZero, 13, 14, 15, kZero}};
    const uint8_t* unit = bytes + 5 * point;
    return kMasses(LoadLanes(unit + 4, unit + 24));
  }
  static __m256i Values(const uint8_t* bytes, size_t point) {
    static constexpr Shuffle kWords = {
        {0, 1, kZero, kZero, 2, 3, kZero, kZero, 10, 11, kZero, kZero, 12, 13, kZero, kZero}};
    const uint8_t* unit = bytes + 5 * point;
    return WordValues(kWords(LoadLanes(unit, unit + 20)));
  }
};

void DecodeCentroidIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  const size_t points = 2 * units;
  size_t i = 0;
  for (; i + kEight <= points; i += kEight) {
    _mm256_storeu_ps(intensities + i, _mm256_cvtepi32_ps(Centroid::Values(bytes, i)));
  }
  for (; i < points; ++i) intensities[i] = ToFloat(CentroidValue(bytes, i));
}

void DecodeCentroidMasses(const uint8_t* bytes, size_t units, float* masses) {
  const size_t points = 2 * units;
  size_t i = 0;
  for (; i + kEight <= points; i += kEight) {
    _mm256_storeu_ps(masses + i, Times(Centroid::Codes(bytes, i), 1.0f / 1024));
  }
  for (; i < points; ++i) masses[i] = CentroidMass(bytes, i);
}

// --- sums of types 0 and 1

template <typename Type>
void FindRanges(const uint8_t* bytes, size_t points, CodeRange* ranges) {
  constexpr size_t kRange = CodeSums::kRangePoints;
  size_t begin = 0;
  for (; begin + kRange <= points; begin += kRange) {
    __m256i low = Type::Codes(bytes, begin);
    __m256i high = low;
    for (size_t i = kEight; i < kRange; i += kEight) {
      const __m256i codes = Type::Codes(bytes, begin + i);
      low = _mm256_min_epu32(low, codes);
      high = _mm256_max_epu32(high, codes);
    }
    // The highest code is the lowest of the opposites, which have their place in the other lane.
    const __m256i flipped = _mm256_xor_si256(high, _mm256_set1_epi32(-1));
    const __m256i across = _mm256_min_epu32(_mm256_permute2x128_si256(low, flipped, 0x20),
                                            _mm256_permute2x128_si256(low, flipped, 0x31));
    const __m256i pairs = _mm256_min_epu32(across, _mm256_shuffle_epi32(across, 0x4E));
    const __m256i ends = _mm256_min_epu32(pairs, _mm256_shuffle_epi32(pairs, 0xB1));
    ranges[begin / kRange] = {static_cast<uint32_t>(_mm256_extract_epi32(ends, 0)),
                              ~static_cast<uint32_t>(_mm256_extract_epi32(ends, 4))};
  }
  if (begin == points) return;
  CodeRange& last = ranges[begin / kRange];
  last = {Type::kCode(bytes, begin), Type::kCode(bytes, begin)};
  for (size_t i = begin + 1; i < points; ++i) {
    const uint32_t code = Type::kCode(bytes, i);
    last.low = code < last.low ? code : last.low;
    last.high = code > last.high ? code : last.high;
  }
}

template <typename Type>
uint64_t SumInside(const uint8_t* bytes, size_t points, CodeRange range) {
  constexpr size_t kTogether = 32 * kEight;  // 32 values of 27 bits fit 32 bits
  const __m256i low = _mm256_set1_epi32(static_cast<int32_t>(range.low));
  const __m256i width = _mm256_set1_epi32(static_cast<int32_t>(range.high - range.low));
  const size_t whole = points - points % kEight;
  __m256i sums = _mm256_setzero_si256();
  for (size_t begin = 0; begin < whole; begin += kTogether) {
    const size_t end = whole - begin < kTogether ? whole : begin + kTogether;
    __m256i part = _mm256_setzero_si256();
    for (size_t i = begin; i < end; i += kEight) {
      const __m256i above = _mm256_sub_epi32(Type::Codes(bytes, i), low);
      const __m256i inside = _mm256_cmpeq_epi32(_mm256_min_epu32(above, width), above);
      part = _mm256_add_epi32(part, _mm256_and_si256(Type::Values(bytes, i), inside));
    }
    sums = AddWide(sums, part);
  }
  return TotalOf(sums) + SumInsideOneByOne<Type::kCode, Type::kValue>(bytes, whole, points, range);
}

// --- types 2 and 3

void DecodeWords(const uint8_t* bytes, size_t units, float* intensities) {
  size_t i = 0;
  for (; i + kEight <= units; i += kEight) {
    const auto* words = reinterpret_cast<const __m128i*>(bytes + 2 * i);
    const __m256i values = WordValues(_mm256_cvtepu16_epi32(_mm_loadu_si128(words)));
    _mm256_storeu_ps(intensities + i, _mm256_cvtepi32_ps(values));
  }
  for (; i < units; ++i) intensities[i] = DecodeWord(LoadAs<uint16_t>(bytes + 2 * i));
}

// Sixteen words at a time: mantissas times powers of 4, which a table of bytes has by exponent, the
// lower halves first; products are added in pairs.
uint64_t SumWords(const uint8_t* bytes, size_t points) {
  static constexpr Shuffle kPowers = {{1, 4, 16, 64, 0, 0, 0, 0, 0, 0, 0, 0, 1, 4, 16, 64}};
  constexpr size_t kTogether = 16 * 16;  // 16 pairs of 27-bit values fit 32 bits
  const __m256i table =
      _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(kPowers.from)));
  const size_t whole = points - points % 16;
  __m256i sums = _mm256_setzero_si256();
  for (size_t begin = 0; begin < whole; begin += kTogether) {
    const size_t end = whole - begin < kTogether ? whole : begin + kTogether;
    __m256i part = _mm256_setzero_si256();
    for (size_t i = begin; i < end; i += 16) {
      const __m256i words = LoadWhole(bytes + 2 * i);
      const __m256i exponents = _mm256_and_si256(words, _mm256_set1_epi16(7));
      const __m256i places = _mm256_or_si256(
          exponents, _mm256_or_si256(_mm256_slli_epi16(exponents, 8), _mm256_set1_epi16(0x0800)));
      part = _mm256_add_epi32(
          part, _mm256_madd_epi16(_mm256_srli_epi16(words, 3), _mm256_shuffle_epi8(table, places)));
    }
    sums = AddWide(sums, part);
  }
  return TotalOf(sums) + SumWordsOneByOne(bytes + 2 * whole, points - whole);
}

// --- types 4 and 6: two groups in 20 bytes

void DecodeGroups(const uint8_t* bytes, size_t units, float* intensities) {
  // Mantissas in the upper halves; the four exponents of the group in each word.
  static constexpr Shuffle kMantissas = {
      {kZero, kZero, 0, 1, kZero, kZero, 2, 3, kZero, kZero, 4, 5, kZero, kZero, 6, 7}};
  static constexpr Shuffle kExponents = {
      {8, 9, kZero, kZero, 8, 9, kZero, kZero, 8, 9, kZero, kZero, 8, 9, kZero, kZero}};
  const __m256i shifts = _mm256_setr_epi32(24, 20, 16, 12, 24, 20, 16, 12);
  size_t i = 0;
  // The second load reaches 6 bytes behind its group.
  for (; i + 3 <= units; i += 2) {
    const __m256i both = LoadLanes(bytes + 10 * i, bytes + 10 * i + 10);
    const __m256i exponents = Bits(_mm256_sllv_epi32(kExponents(both), shifts), 15 << 24);
    _mm256_storeu_ps(intensities + 4 * i, Scaled(kMantissas(both), exponents, 16));
  }
  for (; i < units; ++i) {
    const uint8_t* unit = bytes + 10 * i;
    const uint32_t exponents = LoadAs<uint16_t>(unit + 8);
    for (size_t k = 0; k < 4; ++k) {
      const uint32_t mantissa = LoadAs<uint16_t>(unit + 2 * k);
      intensities[4 * i + k] = DecodeSigned(mantissa << 16 | (exponents >> (4 * k) & 15));
    }
  }
}

// --- types 8 and 9: eight points in 48 bytes

// One word of each of eight points, which `from` brings to the lower half of a lane of two.
__m256i GatherWide(const uint8_t* bytes, const Shuffle& from) {
  return _mm256_unpacklo_epi64(from(LoadLanes(bytes, bytes + 24)),
                               from(LoadLanes(bytes + 12, bytes + 36)));
}

template <uint32_t (*kWord)(const uint8_t* unit), float (*kConvert)(uint32_t word),
          typename Convert>
void DecodeWide(const uint8_t* bytes, size_t units, float* values, const Shuffle& from,
                Convert convert) {
  size_t i = 0;
  // The last load reaches 4 bytes behind the eighth point.
  for (; i + kEight + 1 <= units; i += kEight) {
    _mm256_storeu_ps(values + i, convert(GatherWide(bytes + 6 * i, from)));
  }
  for (; i < units; ++i) values[i] = kConvert(kWord(bytes + 6 * i));
}

void DecodeWideIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  static constexpr Shuffle kFrom = {
      {2, kZero, 0, 1, 8, kZero, 6, 7, kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero}};
  DecodeWide<WideWord, DecodeSigned>(bytes, units, intensities, kFrom, [](__m256i words) {
    return Scaled(Bits(words, ~0xFFFF), Bits(_mm256_slli_epi32(words, 24), 15 << 24), 16);
  });
}

constexpr Shuffle kWideMasses = {
    {2, 3, 4, 5, 8, 9, 10, 11, kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero}};

void DecodeWeightMasses(const uint8_t* bytes, size_t units, float* masses) {
  DecodeWide<MassWord, WeightMass>(bytes, units, masses, kWideMasses, [](__m256i words) {
    return Times(_mm256_srli_epi32(words, 4), 1.0f / 128);
  });
}

void DecodeAccurateMasses(const uint8_t* bytes, size_t units, float* masses) {
  DecodeWide<MassWord, AccurateMass>(bytes, units, masses, kWideMasses, [](__m256i words) {
    return Scaled(_mm256_srli_epi32(words, 9), Bits(_mm256_slli_epi32(words, 19), 31 << 23), 23);
  });
}

// --- types 10 and 12: eight points in 64 bytes

// The first or the second word of each of eight points.
template <size_t kPlace>
__m256 GatherEighths(const uint8_t* bytes) {
  const auto load = [](const uint8_t* from) {
    return _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
  };
  const __m256 first = load(bytes);
  const __m256 second = load(bytes + 32);
  const __m256 mixed = _mm256_shuffle_ps(first, second, kPlace == 0 ? 0x88 : 0xDD);
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(mixed), 0xD8));
}

template <size_t kPlace, typename Vector, typename Scalar>
void DecodeEighths(const uint8_t* bytes, size_t units, float* values, Vector vector,
                   Scalar scalar) {
  size_t i = 0;
  for (; i + kEight <= units; i += kEight) {
    _mm256_storeu_ps(values + i, vector(GatherEighths<kPlace>(bytes + 8 * i)));
  }
  for (; i < units; ++i) values[i] = scalar(LoadAs<uint32_t>(bytes + 8 * i + 4 * kPlace));
}

template <size_t kPlace>
void DecodeFloats(const uint8_t* bytes, size_t units, float* values) {
  DecodeEighths<kPlace>(
      bytes, units, values, [](__m256 floats) { return floats; },
      [](uint32_t word) { return __builtin_bit_cast(float, word); });
}

void DecodeEnhancedPairs(const uint8_t* bytes, size_t units, float* intensities) {
  DecodeEighths<0>(
      bytes, units, intensities,
      [](__m256 floats) {
        const __m256i words = _mm256_castps_si256(floats);
        const __m256i exponents = Bits(words, 63 << 22);
        return Scaled(_mm256_slli_epi32(words, 10), _mm256_add_epi32(exponents, exponents), 31);
      },
      DecodeEnhanced);
}

void DecodeEnhancedMasses(const uint8_t* bytes, size_t units, float* masses) {
  DecodeEighths<1>(
      bytes, units, masses,
      [](__m256 floats) {
        const __m256i words = _mm256_castps_si256(floats);
        return Scaled(Bits(words, 0x7FFFFFF), Bits(_mm256_srli_epi32(words, 4), 31 << 23), 27);
      },
      EnhancedMass);
}

constexpr PointDecoder kWords = {DecodeWords, nullptr, nullptr};
constexpr PointDecoder kGroups = {DecodeGroups, nullptr, nullptr};
constexpr PointDecoder kNotStored = {};

}  // namespace

const PointKernels kAvx2Kernels = {
    kLoops,
    "AVX2",
    {
        {DecodeCompressedIntensities, DecodeCompressedMasses, nullptr},
        {DecodeCentroidIntensities, DecodeCentroidMasses, nullptr},
        kWords,
        kWords,
        kGroups,
        kNotStored,
        kGroups,
        kNotStored,
        {DecodeWideIntensities, DecodeWeightMasses, nullptr},
        {DecodeWideIntensities, DecodeAccurateMasses, nullptr},
        {DecodeFloats<0>, DecodeFloats<1>, nullptr},
        {DecodeEnhancedIntensities, nullptr, DecodeEnhancedFlags<4>},
        {DecodeEnhancedPairs, DecodeEnhancedMasses, DecodeEnhancedFlags<8>},
    },
    {FindRanges<Compressed>, SumInside<Compressed>},
    {FindRanges<Centroid>, SumInside<Centroid>},
    SumWords,
    &kAvx2Packing,
};

}  // namespace tervalon::raw
