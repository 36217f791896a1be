// A map of retention time against m/z: all spectra of a run as an image.

#ifndef TOOLS_PICTURES_MASS_MAP_H_
#define TOOLS_PICTURES_MASS_MAP_H_

#include <cstdint>
#include <memory>
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
  std::vector<float> highest = {};   // intensity in each cell: column after column, upward
  float top = 0;                     // the highest of them
  std::vector<uint8_t> levels = {};  // of colour, for PlanMap: row after row, the lowest first
};

// Reads a map piece by piece. Of cells there are about as many as a picture of that size shows.
class MassMapReader {
 public:
  // Throws a Failure. The reader must outlive it.
  MassMapReader(const DataReader& reader, const std::optional<Window>& times,
                const std::optional<Window>& masses, const PictureSize& size);
  ~MassMapReader();

  // Reads further scans. False when all are read. Throws a Failure.
  bool Step(size_t scans);
  double part() const;
  // As far as it is read.
  MassMap map() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The whole map at once. Throws a Failure.
MassMap ReadMassMap(const DataReader& reader, const std::optional<Window>& times,
                    const std::optional<Window>& masses, const PictureSize& size);

// Of the style the ranges count: what of the map is seen.
PicturePlan PlanMap(const MassMap& map, const PictureStyle& style, const PictureSize& size,
                    const TextMeasure& measure);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_MASS_MAP_H_
