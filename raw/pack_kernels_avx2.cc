// Compiled with -mavx2.

#include "raw/pack_kernels_avx2.h"

#include "raw/pack_loops.inc"

namespace tervalon::raw {

const PackKernels kAvx2Packing = {"AVX2", PackWords, PackPairs};

}  // namespace tervalon::raw
