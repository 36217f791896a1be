// The header of a run as named values.

#ifndef TOOLS_DATA_HEADER_TABLE_H_
#define TOOLS_DATA_HEADER_TABLE_H_

#include <tervalon/raw_calibration.h>
#include <tervalon/raw_header.h>

#include "tools/print/document.h"

namespace tervalon::tools {

Section HeaderSection(const RawHeader& header);
// When and with what the run was calibrated.
Section CalibrationTexts(const RawCalibration& calibration);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_HEADER_TABLE_H_
