// What the scan index says beside the spectra.

#ifndef TOOLS_DATA_SCAN_TABLE_H_
#define TOOLS_DATA_SCAN_TABLE_H_

#include <string>

#include "tools/data/raw_data.h"

namespace tervalon::tools {

// Whether the header has a calibration of the function: flag B of its scans then says nothing.
bool IsCalibrated(const RawDirectory& directory, int function);

// The letters of the flags that are set: "AD".
std::string FlagLetters(const RawScanHeader& header, bool is_calibrated);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_SCAN_TABLE_H_
