// The kernels for processors with AVX2.

#ifndef RAW_POINT_KERNELS_AVX2_H_
#define RAW_POINT_KERNELS_AVX2_H_

#include "raw/point_kernels.h"

namespace tervalon::raw {

extern const PointKernels kAvx2Kernels;

}  // namespace tervalon::raw

#endif  // RAW_POINT_KERNELS_AVX2_H_
