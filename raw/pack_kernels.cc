#include "raw/pack_kernels.h"

#include "raw/pack_loops.inc"

namespace tervalon::raw {

const PackKernels kBaselinePacking = {PackWords, PackPairs};

}  // namespace tervalon::raw
