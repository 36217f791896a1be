#include "tools/data/scan_table.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <utility>

#include "tools/data/files.h"

namespace tervalon::tools {
namespace {

constexpr size_t kIndexRecord = 22;  // begins with the offset; docs/raw_data_directory.md

char UpperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// "_FUNC001.IDX", in whatever case it is there.
std::filesystem::path IndexPath(const DataReader& reader) {
  const DataSet& data_set = reader.data_set();
  const int number = data_set.process != 0 ? data_set.process : *data_set.function;
  const std::string digits = std::to_string(number);
  const std::string wanted = (data_set.process != 0 ? "_PROC" : "_FUNC") +
                             std::string(3 - digits.size(), '0').append(digits).append(".IDX");
  const std::filesystem::path folder = PathOf(reader.directory().path());
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    std::string name = NameOf(entry.path().filename());
    std::ranges::transform(name, name.begin(), UpperCase);
    if (name == wanted) return entry.path();
  }
  return folder / wanted;
}

}  // namespace

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

std::vector<uint32_t> ScanOffsets(const DataReader& reader) {
  std::ifstream file(IndexPath(reader), std::ios::binary);
  std::vector<uint32_t> offsets;
  unsigned char record[kIndexRecord];
  while (file.read(reinterpret_cast<char*>(record), kIndexRecord)) {
    offsets.push_back(static_cast<uint32_t>(record[0]) | static_cast<uint32_t>(record[1]) << 8 |
                      static_cast<uint32_t>(record[2]) << 16 |
                      static_cast<uint32_t>(record[3]) << 24);
  }
  return offsets;
}

}  // namespace tervalon::tools
