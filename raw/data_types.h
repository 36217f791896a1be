// The data types: how the points of a scan are packed into bytes.
//
// Points are stored in units: one point, a pair (type 1) or a group of four (types 4 and 6). A scan
// starts on a unit; the missing points of its last unit are zero.

#ifndef RAW_DATA_TYPES_H_
#define RAW_DATA_TYPES_H_

#include <bit>
#include <cstddef>
#include <cstdint>

#include "raw/point_kernels.h"

namespace tervalon::raw {

// The points of one run, in parallel arrays. Inputs that a type does not store may be nullptr.
struct PointArrays {
  const float* masses;
  const float* intensities;
  const uint8_t* flags;
};

// Decoding and packing work on whole units. Every decoder writes units x unit_points elements.
struct DataType {
  int32_t code;
  uint32_t unit_bytes;
  uint32_t unit_points;

  // Packs `points` points into ceil(points / unit_points) units. A value that the type cannot hold
  // becomes the nearest that it can, a NaN 0.
  void (*pack)(const PointArrays& arrays, size_t points, uint8_t* bytes);

  // Masses that are stored as integers, of types whose sums are exact.
  double codes_per_mass = 0;
  CodeSums PointKernels::*code_sums = nullptr;

  const PointDecoder& decoder() const { return Kernels().decoders[code]; }
  bool stores_masses() const { return decoder().masses != nullptr; }
  bool stores_flags() const { return decoder().flags != nullptr; }

  // Nothing but intensity words: sums of them are exact.
  bool stores_words() const { return unit_bytes == 2; }

  // The unit that holds a point, both counted from 0. Units hold a power of 2: nothing is divided.
  uint32_t UnitOf(uint32_t point) const { return point >> std::countr_zero(unit_points); }

  // Units that hold `points` points.
  uint32_t Units(uint32_t points) const { return UnitOf(points + unit_points - 1); }

  // The bytes by which a scan counts as complete: less than its units take when the last one is not
  // full.
  uint64_t CompleteBytes(uint32_t points) const {
    return uint64_t{points} * unit_bytes / unit_points;
  }
};

// nullptr for codes that are not stored (5, 7 and all outside 0..12).
const DataType* FindDataType(int32_t code);

// Empty for codes without a name.
const char* DataTypeName(int32_t code);

// The base peak of a scan as an index record holds it, in the layout of the data type's points as
// far as 6 bytes go: types 10 and 12 keep only the upper half of the mass.
struct BasePeak {
  static constexpr size_t kSize = 6;

  float intensity = 0;
  float mass = 0;      // of types that store masses
  uint32_t index = 0;  // 0-based, of types 2, 3, 4 and 6
};

BasePeak DecodeBasePeak(int32_t code, const uint8_t* bytes);

// The intensities alone of `count` fields, one every `stride` bytes.
void DecodeBasePeakIntensities(int32_t code, const uint8_t* fields, size_t stride, size_t count,
                               float* intensities);

// A point as it is packed.
struct PackedPoint {
  const uint8_t* unit;
  uint32_t place;  // within the unit
  uint32_t index;  // within the scan, 0-based
};

void EncodeBasePeak(int32_t code, const PackedPoint& point, uint8_t* bytes);

}  // namespace tervalon::raw

#endif  // RAW_DATA_TYPES_H_
