// What the scan index says beside the spectra.

#ifndef TOOLS_DATA_SCAN_TABLE_H_
#define TOOLS_DATA_SCAN_TABLE_H_

#include <string>

#include "tools/data/raw_data.h"
#include "tools/print/document.h"

namespace tervalon::tools {

// Whether the header has a calibration of the function: flag B of its scans then says nothing.
bool IsCalibrated(const RawDirectory& directory, int function);

// The letters of the flags that are set: "AD".
std::string FlagLetters(const RawScanHeader& header, bool is_calibrated);

// A row for each scan.
class ScanTable {
 public:
  void Add(const DataReader& reader);
  Section ToSection(const std::string& title) &&;

 private:
  std::vector<int32_t> function_, scan_, points_, segment_;
  std::vector<float> time_, tic_, base_mass_, base_intensity_;
  std::vector<Value> flags_, offset_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_SCAN_TABLE_H_
