// The loops over points, compiled for more than one instruction set and chosen once, when the
// library is loaded. All give the same bits: arithmetic is in the same order everywhere, and sums
// that are made in another order are exact.

#ifndef RAW_POINT_KERNELS_H_
#define RAW_POINT_KERNELS_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "raw/pack_kernels.h"

namespace tervalon::raw {

// Takes whole units apart, and writes units x unit_points elements. What is nullptr is not stored.
struct PointDecoder {
  void (*intensities)(const uint8_t* bytes, size_t units, float* intensities);
  void (*masses)(const uint8_t* bytes, size_t units, float* masses);
  void (*flags)(const uint8_t* bytes, size_t units, uint8_t* flags);
};

// Masses as the integers that are stored, both ends included; none when low > high.
struct CodeRange {
  uint32_t low;
  uint32_t high;
};

// Sums over points that are stored as integers, for data types whose intensities are integers so
// small that the sum over a scan is exact.
struct CodeSums {
  static constexpr size_t kRangePoints = 64;

  // Codes from .low to .high occur in each kRangePoints points and in those that are left.
  void (*find_ranges)(const uint8_t* bytes, size_t points, CodeRange* ranges);

  // Sum of the intensities of the points whose code lies within a range.
  uint64_t (*sum_inside)(const uint8_t* bytes, size_t points, CodeRange range);
};

// What the compiler makes of the same loops for each instruction set.
struct LoopKernels {
  static constexpr size_t kOrders = 6;

  // Adds groups of eight values to eight sums: all, or those whose mass lies from low to high.
  void (*add_lanes)(const float* values, size_t groups, double* lanes);
  void (*add_lanes_inside)(const float* masses, const float* values, size_t groups, float low,
                           float high, double* lanes);

  // masses[i] = low + (first + i) * step, in double precision and rounded once.
  void (*space)(double low, double step, int32_t first, int32_t count, float* masses);

  // Polynomials in place, by order; those in root mass, of and to the square.
  void (*evaluate[kOrders])(const double* coefficients, double* values, size_t count);
  void (*evaluate_root[kOrders])(const double* coefficients, double* values, size_t count);
  void (*widen)(const float* masses, size_t count, double* values);
  // Only values that a float can hold replace masses.
  void (*narrow)(const double* values, size_t count, float* masses);
};

struct PointKernels : LoopKernels {
  static constexpr size_t kTypes = 13;

  const char* instruction_set;
  PointDecoder decoders[kTypes];  // by data type code

  CodeSums compressed;                                         // type 0
  CodeSums centroid;                                           // type 1
  uint64_t (*sum_words)(const uint8_t* bytes, size_t points);  // types 2 and 3

  const PackKernels* packing;
};

extern const PointKernels kAvx2Kernels;

// Those that this processor runs, the plainest first.
std::span<const PointKernels* const> KernelsHere() noexcept;

// The last of these; a test may put others in their place.
extern const PointKernels* kernels_in_use;
inline const PointKernels& Kernels() { return *kernels_in_use; }

}  // namespace tervalon::raw

#endif  // RAW_POINT_KERNELS_H_
