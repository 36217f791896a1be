// Compiled with -mavx2.

#include "raw/pack_kernels.h"
#include "raw/pack_loops.inc"

namespace tervalon::raw {

const PackKernels kAvx2Packing = {PackWords, PackPairs};

}  // namespace tervalon::raw
