// Sampled signals brought onto a regular grid, and sampled profiles stretched by a factor.
//
// The flux-preserving forms resample the running sum of the signal and take differences: each
// output is the intensity between two grid points, and the outputs add up to the sum of the signal
// as far as the last grid point. The others interpolate the intensities themselves. Positions are
// in ascending order; what lies outside them counts as the nearest end. Where positions repeat, the
// sum at the first of them counts.
//
// All return 0. They return -1, allocate nothing and change nothing when memory runs out, for NULL,
// and for arguments that make no sense: no data, a step, spacing or scale that is not above 0 or
// not finite, ends that are not finite or not in order, more than LIN_MAX_POINTS output points.

#ifndef TERVALON_LINEARISATION_H_
#define TERVALON_LINEARISATION_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define LIN_MAX_POINTS 0x10000000

// A signal on a regular grid. The caller frees the block.
typedef struct LinDataset {
  TvMemory values;  // `count` floats
  uint32_t count;
  float first;  // position of the first grid point
  float step;
} LinDataset;
TERVALON_STRUCT_SIZE(LinDataset, 16, 24);

// The same with a variance for every point.
typedef struct LinVarianceDataset {
  TvMemory values;
  TvMemory variances;
  uint32_t count;
  float first;
  float step;
} LinVarianceDataset;
TERVALON_STRUCT_SIZE(LinVarianceDataset, 20, 32);

// Resamples n intensities `y` at the positions `x`, flux-preserving. The grid starts at x[0]; a
// position that a grid point hits exactly under its own index gives its intensity unchanged.
TERVALON_API int32_t TERVALON_CALL LineariseDataset(const float* x, const float* y, int32_t n,
                                                    float step, LinDataset* result);

// The same by plain interpolation.
TERVALON_API int32_t TERVALON_CALL LineariseDatasetNoFluxPreserve(const float* x, const float* y,
                                                                  int32_t n, float step,
                                                                  LinDataset* result);

// Resamples variances as LineariseDataset does the intensities.
TERVALON_API int32_t TERVALON_CALL LineariseDatasetPreserveVariance(const float* x, const float* y,
                                                                    const float* variance,
                                                                    int32_t n, float step,
                                                                    LinVarianceDataset* result);

// Resamples n intensities at x0, x0 + dx, ..., flux-preserving. The grid starts at x0 rounded to
// the nearest whole number, halves up.
TERVALON_API int32_t TERVALON_CALL LineariseRegularDataset(float x0, float dx, const float* y,
                                                           int32_t n, float step,
                                                           LinDataset* result);

// Stretches a profile at x0, x0 + dx, ... by `scale`, flux-preserving, in place. `y` has room for
// n * scale floats, the number that `out_count` receives; less than one is none, and `y` then stays
// as it is.
TERVALON_API int32_t TERVALON_CALL LinScalePSF(float x0, float dx, float* y, int32_t n,
                                               int32_t* out_count, float scale);

// The same by plain interpolation.
TERVALON_API int32_t TERVALON_CALL LinScalePSFNoFluxPreserve(float x0, float dx, float* y,
                                                             int32_t n, int32_t* out_count,
                                                             float scale);

TERVALON_END_DECLS

#endif  // TERVALON_LINEARISATION_H_
