// The kernels for processors with AVX2.

#ifndef RAW_PACK_KERNELS_AVX2_H_
#define RAW_PACK_KERNELS_AVX2_H_

#include "raw/pack_kernels.h"

namespace tervalon::raw {

extern const PackKernels kAvx2Packing;

}  // namespace tervalon::raw

#endif  // RAW_PACK_KERNELS_AVX2_H_
