// Makes a raw data directory of an mzML file.

#ifndef TOOLS_IMPORT_IMPORT_RUN_H_
#define TOOLS_IMPORT_IMPORT_RUN_H_

#include <tervalon/raw_functions.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tervalon::tools {

struct ImportOptions {
  std::string file;
  std::string directory;
  bool replace = false;
  std::optional<int> data_type = {};  // of every function; none: the one in which values fit best
  bool any_window = false;            // scan windows do not tell functions apart
};

struct ImportedFunction {
  int number = 0;
  std::string kind;  // of the spectra: "MS2, negative, profile, m/z 50 to 900"
  RawFunctionRecord record = {};
  int32_t scans = 0;
  int64_t points = 0;
  // Largest relative errors.
  double mass_error = 0;
  double intensity_error = 0;
};

struct ImportedChannel {
  std::string name;
  std::string unit;
  double error = 0;
};

struct ImportReport {
  std::vector<ImportedFunction> functions;
  std::vector<ImportedChannel> channels;
  int32_t analog_records = 0;
  // What the directory does not hold, and how often it was there.
  std::vector<std::pair<std::string, size_t>> losses;
};

// Throws a Failure; then there is no directory, or the one that was there.
ImportReport ImportRun(const ImportOptions& options);

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_IMPORT_RUN_H_
