// The formats that runs are exported in.

#ifndef TOOLS_EXCHANGE_EXPORT_FORMAT_H_
#define TOOLS_EXCHANGE_EXPORT_FORMAT_H_

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/exchange/array_encoder.h"
#include "tools/exchange/export_run.h"
#include "tools/exchange/point_table.h"

namespace tervalon::tools {

struct ExportOptions {
  Packing masses = Packing::kFloat64;  // and times
  Packing intensities = Packing::kFloat32;
  Compression compression = Compression::kZlib;
  bool rows = false;       // SQLite: a row for each point, not packed arrays
  std::string trace = {};  // ANDI: as "tervalon chrom --trace" names it; empty: TIC
};

struct ExportFormat {
  const char* name;
  const char* description;
  const char* usual_ending;          // of file names
  std::vector<std::string> endings;  // all of them, in lower case
  // Writes a file, which appears when it is whole. Throws a Failure; nullptr: not in this program.
  void (*write)(const ExportRun& run, const ExportOptions& options, const std::string& name);
  std::optional<TableKind> table;  // of those that can go to standard output
};

std::span<const ExportFormat> ExportFormats();
// By name; by the ending of a file's name; nullptr: none.
const ExportFormat* FindFormat(const std::string& name);
const ExportFormat* FormatOfFile(const std::string& file);

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_EXPORT_FORMAT_H_
