// Chromatograms on their way into analog channels.

#ifndef TOOLS_IMPORT_ANALOG_IMPORT_H_
#define TOOLS_IMPORT_ANALOG_IMPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/import/import_run.h"
#include "tools/import/losses.h"
#include "tools/import/mzml_reader.h"

namespace tervalon::tools {

// Those that have the times of the first one become channels: all channels are sampled together.
class AnalogImport {
 public:
  // Throws a Defect for arrays that cannot be read.
  void Add(const MzmlEntry& chromatogram, Losses& losses);

  // Writes what was added. Throws a Failure that names `directory`.
  void Write(int32_t handle, const std::string& directory, ImportReport& report) const;

 private:
  struct Channel {
    std::string name;
    std::string unit;
    std::vector<float> values;
    double error;
  };

  std::vector<float> times_;
  std::vector<Channel> channels_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_ANALOG_IMPORT_H_
