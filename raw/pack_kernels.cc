#include "raw/pack_kernels.h"

#include "raw/pack_kernels_avx2.h"
#include "raw/pack_loops.inc"

namespace tervalon::raw {
namespace {

constexpr PackKernels kBaseline = {"SSE2", PackWords, PackPairs};

constexpr const PackKernels* kAllKernels[] = {&kBaseline, &kAvx2Packing};

}  // namespace

std::span<const PackKernels* const> PackKernelsHere() {
  __builtin_cpu_init();
  return {kAllKernels, __builtin_cpu_supports("avx2") != 0 ? size_t{2} : size_t{1}};
}

const PackKernels& Packing() {
  static const PackKernels* const kernels = PackKernelsHere().back();
  return *kernels;
}

}  // namespace tervalon::raw
