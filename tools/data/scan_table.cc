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

void ScanTable::Add(const DataReader& reader) {
  const int function = *reader.data_set().function;
  const bool calibrated = IsCalibrated(reader.directory(), function);
  const int32_t scans = reader.ScanCount();
  for (const uint32_t offset : reader.ScanOffsets(scans)) offset_.emplace_back(int64_t{offset});
  int32_t scan = 0;
  for (const RawScanHeader& header : reader.ScanHeaders(scans)) {
    function_.push_back(function);
    scan_.push_back(++scan);
    time_.push_back(header.retention_time);
    points_.push_back(static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK));
    tic_.push_back(header.total_ion_current);
    base_mass_.push_back(header.base_peak_mass);
    base_intensity_.push_back(header.base_peak_intensity);
    segment_.push_back(static_cast<int32_t>(header.segment));
    flags_.emplace_back(FlagLetters(header, calibrated));
  }
}

Section ScanTable::ToSection(const std::string& title) && {
  Section section = {.key = "scans", .title = title};
  section.columns = {{"function", "Function", std::move(function_)},
                     {"scan", "Scan", std::move(scan_)},
                     {"time", "Time (min)", std::move(time_), 4},
                     {"points", "Points", std::move(points_)},
                     {"tic", "Total ion current", std::move(tic_)},
                     {"base_peak_mass", "Base peak (as stored)", std::move(base_mass_), 4},
                     {"base_peak_intensity", "Its intensity", std::move(base_intensity_)},
                     {"segment", "Segment", std::move(segment_)},
                     {"flags", "Flags", std::move(flags_)},
                     {"offset", "Offset", std::move(offset_)}};
  return section;
}

}  // namespace tervalon::tools
