// Packing of the points that most acquisitions are made of, compiled for more than one instruction
// set (raw/point_kernels.h has those in use). All give the same bytes.

#ifndef RAW_PACK_KERNELS_H_
#define RAW_PACK_KERNELS_H_

#include <cstddef>
#include <cstdint>

namespace tervalon::raw {

// Points that were packed, as they are stored: their intensities are whole numbers below 2^27.
struct PackedRun {
  uint64_t total;    // of the intensities; exact
  uint32_t highest;  // intensity
  size_t place;      // of the first point that has it, 0-based
};

struct PackKernels {
  // Types 2 and 3: intensity words.
  PackedRun (*words)(const float* intensities, size_t points, uint8_t* bytes);

  // Type 1: pairs of 10 bytes. The missing point of the last pair is zero.
  PackedRun (*pairs)(const float* masses, const float* intensities, size_t points, uint8_t* bytes);
};

extern const PackKernels kBaselinePacking;
extern const PackKernels kAvx2Packing;

}  // namespace tervalon::raw

#endif  // RAW_PACK_KERNELS_H_
