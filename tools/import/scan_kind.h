// What a spectrum of an mzML file is: the kind by which spectra make up functions, and its points.

#ifndef TOOLS_IMPORT_SCAN_KIND_H_
#define TOOLS_IMPORT_SCAN_KIND_H_

#include <tervalon/raw_directory.h>
#include <tervalon/raw_spectra.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/import/mzml_reader.h"

namespace tervalon::tools {

enum class Representation { kUnknown, kCentroid, kProfile };

struct ScanKind {
  int ms_level = 0;  // 0: not given
  int polarity = 0;  // -1, 1; 0: not given
  Representation representation = Representation::kUnknown;
  std::vector<std::pair<float, float>> windows;
  std::string spectrum_type;  // accession; empty: not given
  std::string instrument;     // configuration
  // What our own export says besides.
  std::optional<int> function;
  std::optional<int> function_type;
  std::optional<int> ion_mode;
  std::optional<int> data_type;

  auto operator<=>(const ScanKind&) const = default;  // NOLINT(modernize-use-nullptr)
  // "MS2, negative, profile, m/z 50 to 900"
  std::string Text() const;
};

struct ImportedScan {
  RawScanDescription description = {};
  bool has_time = false;
  bool has_flag_e = false;
  std::vector<float> parents;  // of what was selected
  std::vector<double> masses;
  std::vector<double> intensities;
  std::vector<uint8_t> flags;  // empty, or one a point
};

// The kind of a spectrum.
ScanKind KindOf(const MzmlEntry& spectrum);

// Minutes; nothing where the parameter is missing or no number.
std::optional<double> MinutesOf(const MzmlParam* time);

// Reads times, flags and points. Throws a Defect.
void ReadScan(const MzmlEntry& spectrum, ImportedScan& scan);

// Arrays that ReadScan decodes.
bool IsScanArray(const MzmlParams& array);

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_SCAN_KIND_H_
