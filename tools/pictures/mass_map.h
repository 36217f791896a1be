// A map of retention time against m/z: all spectra of a run as an image.

#ifndef TOOLS_PICTURES_MASS_MAP_H_
#define TOOLS_PICTURES_MASS_MAP_H_

#include <optional>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/pictures/picture_plan.h"

namespace tervalon::tools {

struct MassMap {
  Window times = {0, 1};
  Window masses = {0, 1};
  int32_t columns = 1;
  int32_t rows = 1;
  std::vector<float> highest = {};  // intensity in each cell: column after column, upward
};

// Reads every spectrum once. Of cells there are about as many as a picture of that size shows.
// Throws a Failure.
MassMap ReadMassMap(const DataReader& reader, const std::optional<Window>& times,
                    const std::optional<Window>& masses, const PictureSize& size);

PicturePlan PlanMap(const MassMap& map, const PictureStyle& style, const PictureSize& size,
                    const TextMeasure& measure);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_MASS_MAP_H_
