#include "tools/processing/resampling.h"

#include <tervalon/linearisation.h>

#include "tools/print/failure.h"
#include "tools/processing/results.h"

namespace tervalon::tools {

void Resample(const std::string& subject, float step, bool interpolate,
              std::vector<float>& positions, std::vector<float>& intensities) {
  if (positions.empty()) return;
  LinDataset result = {};
  const auto linearise = interpolate ? &LineariseDatasetNoFluxPreserve : &LineariseDataset;
  if (linearise(positions.data(), intensities.data(), static_cast<int32_t>(positions.size()), step,
                &result) != 0) {
    throw Failure(subject, "cannot be put on a grid of that step");
  }
  intensities = Taken<float>(result.values, result.count);
  positions.resize(intensities.size());
  for (size_t i = 0; i < positions.size(); ++i) {
    positions[i] = static_cast<float>(result.first + static_cast<double>(i) * result.step);
  }
}

}  // namespace tervalon::tools
