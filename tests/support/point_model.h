// A second, slow implementation of the packed points, one bit at a time, to check the library's by.

#ifndef TESTS_SUPPORT_POINT_MODEL_H_
#define TESTS_SUPPORT_POINT_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tervalon::testing {

inline constexpr int16_t kStoredTypes[] = {0, 1, 2, 3, 4, 6, 8, 9, 10, 11, 12};

struct ModelType {
  uint32_t unit_bytes;
  uint32_t unit_points;
  bool stores_masses;
  bool stores_flags;

  size_t BytesOf(size_t points) const {
    return (points + unit_points - 1) / unit_points * unit_bytes;
  }
};

ModelType ModelTypeOf(int32_t type);

struct ModelPoint {
  float intensity = 0;
  float mass = 0;  // of types that store masses
  uint8_t flags = 0;
};

// Point `point` (0-based) of a scan that starts at `bytes`.
ModelPoint ModelDecode(int32_t type, const uint8_t* bytes, size_t point);

// The intensity that a writer has to store for `intensity`: with the smallest exponent that holds
// it, rounded half up, or the nearest limit.
float ModelStoredIntensity(int32_t type, float intensity);

// How far a stored mass may be from `mass`, which has to lie within what the type can hold.
double ModelMassTolerance(int32_t type, float mass);

// The largest mass that a type can hold.
double ModelLargestMass(int32_t type);

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_POINT_MODEL_H_
