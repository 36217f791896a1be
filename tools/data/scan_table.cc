#include "tools/data/scan_table.h"

#include <utility>

namespace tervalon::tools {
bool IsCalibrated(const RawDirectory& directory, int function) {
  RawFunctionCalibration calibration = {};
  return RawGetFuncCalib(&directory.calibration(), function, &calibration) != 0 &&
         calibration.segment_count > 0;
}

std::string FlagLetters(const RawScanHeader& header, bool is_calibrated) {
  const std::pair<bool, char> flags[] = {
      {(header.flags & RAW_SCAN_FLAG_A) != 0, 'A'},
      {(header.flags & RAW_SCAN_FLAG_B) != 0 && !is_calibrated, 'B'},
      {header.flag_c != 0, 'C'},
      {(header.points & RAW_SCAN_FLAG_D) != 0, 'D'},
      {(header.flags & RAW_SCAN_FLAG_E) != 0, 'E'}};
  std::string letters;
  for (const auto& [is_set, letter] : flags) {
    if (is_set) letters += letter;
  }
  return letters;
}

}  // namespace tervalon::tools
