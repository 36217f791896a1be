#include "raw/point_kernels.h"

#include <algorithm>
#include <array>

#include "raw/point_loops.inc"

namespace tervalon::raw {
namespace {

// Units whose fields do not lie at equal distances are taken apart in small parts first: fields are
// gathered one by one, and converted in vector code.
constexpr size_t kPartUnits = 128;

template <uint32_t (*kGather)(const uint8_t* unit), float (*kConvert)(uint32_t word)>
void DecodeInParts(const uint8_t* bytes, size_t units, float* values) {
  for (size_t begin = 0; begin < units; begin += kPartUnits) {
    const size_t count = std::min(kPartUnits, units - begin);
    uint32_t words[kPartUnits];
    for (size_t i = 0; i < count; ++i) words[i] = kGather(bytes + 6 * (begin + i));
    for (size_t i = 0; i < count; ++i) values[begin + i] = kConvert(words[i]);
  }
}

// --- types 2 and 3

void DecodeWords(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) intensities[i] = DecodeWord(LoadAs<uint16_t>(bytes + 2 * i));
}

// --- type 1

// Two pairs at a time in vector registers: the compiler does not find its own way through units of
// 10 bytes, and these are the points that most acquisitions are made of.
using TwoLongs = uint64_t __attribute__((vector_size(16)));
using FourInts = int32_t __attribute__((vector_size(16)));
using FourFloats = float __attribute__((vector_size(16)));

void StoreFour(float* out, FourFloats values) { __builtin_memcpy(out, &values, sizeof(values)); }

void DecodeCentroidIntensities(const uint8_t* bytes, size_t units, float* intensities) {
  const size_t even = units & ~size_t{1};
  for (size_t i = 0; i < even; i += 2) {
    const TwoLongs words = {LoadAs<uint32_t>(bytes + 10 * i),
                            LoadAs<uint32_t>(bytes + 10 * i + 10)};
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
    const TwoLongs both = {LoadAs<uint64_t>(bytes + 10 * i + 2),
                           LoadAs<uint64_t>(bytes + 10 * i + 12)};
    const TwoLongs codes = (both >> 16 & 0xFFFFFF) | both >> 40 << 32;
    StoreFour(
        masses + 2 * i,
        __builtin_convertvector(reinterpret_cast<FourInts>(codes), FourFloats) * (1.0f / 1024));
  }
  for (size_t i = 2 * even; i < 2 * units; ++i) masses[i] = CentroidMass(bytes, i);
}

// --- types 4 and 6: groups of 10 bytes, four signed mantissas, then four 4-bit exponents

// The factors of two exponents, by the byte that holds them.
using FactorPairs = std::array<std::array<float, 2>, 256>;
constexpr FactorPairs MakeFactorPairs() {
  FactorPairs pairs = {};
  for (uint32_t byte = 0; byte < pairs.size(); ++byte) {
    pairs[byte] = {static_cast<float>(1u << 2 * (byte & 15)),
                   static_cast<float>(1u << 2 * (byte >> 4))};
  }
  return pairs;
}
constexpr FactorPairs kFactorPairs = MakeFactorPairs();

void DecodeGroups(const uint8_t* bytes, size_t units, float* intensities) {
  for (size_t i = 0; i < units; ++i) {
    const uint8_t* unit = bytes + 10 * i;
    float factors[4];
    __builtin_memcpy(factors, kFactorPairs[unit[8]].data(), 8);
    __builtin_memcpy(factors + 2, kFactorPairs[unit[9]].data(), 8);
    for (size_t k = 0; k < 4; ++k) {
      intensities[4 * i + k] = static_cast<float>(LoadAs<int16_t>(unit + 2 * k)) * factors[k];
    }
  }
}

// --- types 8 and 9

constexpr auto DecodeWideIntensities = DecodeInParts<WideWord, DecodeSigned>;

// --- types 10 and 12: 8 bytes

template <size_t kPlace, float (*kConvert)(uint32_t word)>
void DecodeEighths(const uint8_t* bytes, size_t units, float* values) {
  for (size_t i = 0; i < units; ++i) {
    values[i] = kConvert(LoadAs<uint32_t>(bytes + 8 * i + kPlace));
  }
}

float AsFloat(uint32_t word) { return __builtin_bit_cast(float, word); }

constexpr PointDecoder kWords = {DecodeWords, nullptr, nullptr};
constexpr PointDecoder kGroups = {DecodeGroups, nullptr, nullptr};
constexpr PointDecoder kNotStored = {};

template <uint32_t (*kCode)(const uint8_t*, size_t), uint32_t (*kValue)(const uint8_t*, size_t)>
uint64_t SumInside(const uint8_t* bytes, size_t points, CodeRange range) {
  return SumInsideOneByOne<kCode, kValue>(bytes, 0, points, range);
}

constexpr PointKernels kBaseline = {
    kLoops,
    "SSE2",
    {
        {DecodeCompressedIntensities, DecodeCompressedMasses, nullptr},
        {DecodeCentroidIntensities, DecodeCentroidMasses, nullptr},
        kWords,
        kWords,
        kGroups,
        kNotStored,
        kGroups,
        kNotStored,
        {DecodeWideIntensities, DecodeInParts<MassWord, WeightMass>, nullptr},
        {DecodeWideIntensities, DecodeInParts<MassWord, AccurateMass>, nullptr},
        {DecodeEighths<0, AsFloat>, DecodeEighths<4, AsFloat>, nullptr},
        {DecodeEnhancedIntensities, nullptr, DecodeEnhancedFlags<4>},
        {DecodeEighths<0, DecodeEnhanced>, DecodeEighths<4, EnhancedMass>, DecodeEnhancedFlags<8>},
    },
    {FindRangesOneByOne<CompressedCode>, SumInside<CompressedCode, CompressedValue>},
    {FindRangesOneByOne<CentroidCode>, SumInside<CentroidCode, CentroidValue>},
    SumWordsOneByOne,
    &kBaselinePacking,
};

constexpr const PointKernels* kAllKernels[] = {&kBaseline, &kAvx2Kernels};

}  // namespace

std::span<const PointKernels* const> KernelsHere() noexcept {
  __builtin_cpu_init();
  const bool has_avx2 = __builtin_cpu_supports("avx2") != 0;
  return {kAllKernels, has_avx2 ? size_t{2} : size_t{1}};
}

constinit const PointKernels* kernels_in_use = &kBaseline;

namespace {
[[maybe_unused]] const bool is_chosen = (kernels_in_use = KernelsHere().back(), true);
}  // namespace

}  // namespace tervalon::raw
