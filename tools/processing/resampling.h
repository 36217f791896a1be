// Spectra and traces on regular grids.

#ifndef TOOLS_PROCESSING_RESAMPLING_H_
#define TOOLS_PROCESSING_RESAMPLING_H_

#include <string>
#include <vector>

namespace tervalon::tools {

// Brings points onto a grid that begins at the first of them; `interpolate` as the intensities are,
// otherwise so that they keep their sum. No points stay none. Throws a Failure about `subject`.
void Resample(const std::string& subject, float step, bool interpolate,
              std::vector<float>& positions, std::vector<float>& intensities);

}  // namespace tervalon::tools

#endif  // TOOLS_PROCESSING_RESAMPLING_H_
