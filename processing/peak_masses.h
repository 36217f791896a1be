// The masses of the peaks of a spectrum.

#ifndef PROCESSING_PEAK_MASSES_H_
#define PROCESSING_PEAK_MASSES_H_

#include <cstddef>

#include "processing/spectrum_tops.h"

namespace tervalon::processing {

struct Spectrum {
  const float* masses;
  const float* intensities;
  size_t count;
};

// What a mass is taken of.
struct MassRules {
  double top;        // the share of the height
  double threshold;  // a valley below it ends a peak
};

// Finds the masses of the peaks from `first` on and before `end`: the means of the points, weighted
// with what is above the level that `top` gives. Lists those that it leaves to others, by their
// distance from `first`, because a valley is above that level or the spectrum's ends are near;
// returns how many these are.
size_t FindMasses(const Spectrum& spectrum, const SpectrumTops& tops, const MassRules& rules,
                  size_t first, size_t end, float* masses, size_t* others);

}  // namespace tervalon::processing

#endif  // PROCESSING_PEAK_MASSES_H_
