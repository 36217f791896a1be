#include "tools/exchange/export_format.h"

#include <algorithm>

#include "tools/exchange/mgf_writer.h"
#include "tools/exchange/mzml_writer.h"
#include "tools/exchange/point_table.h"
#include "tools/pictures/picture.h"
#ifdef TERVALON_DATABASE_EXPORTS
#include "tools/exchange/netcdf_writer.h"
#include "tools/exchange/sqlite_writer.h"
#endif

namespace tervalon::tools {
namespace {

template <TableKind kKind>
void WriteTable(const ExportRun& run, const ExportOptions& /*options*/, const std::string& name) {
  StagedFile file(name);
  PointTable table(file, kKind, false);
  table.Add(run);
  table.End();
  file.Commit();
}

#ifdef TERVALON_DATABASE_EXPORTS
constexpr auto kWriteSqlite = &WriteSqlite;
constexpr auto kWriteNetcdf = &WriteNetcdf;
#else
constexpr decltype(ExportFormat::write) kWriteSqlite = nullptr;
constexpr decltype(ExportFormat::write) kWriteNetcdf = nullptr;
#endif

}  // namespace

std::span<const ExportFormat> ExportFormats() {
  static const ExportFormat kFormats[] = {
      {"mzml", "mzML 1.1, with an index", "mzML", {"mzml"}, &WriteMzml, {}},
      {"mgf", "peak lists of fragments", "mgf", {"mgf"}, &WriteMgf, {}},
      {"csv",
       "a row for each point",
       "csv",
       {"csv"},
       &WriteTable<TableKind::kCsv>,
       TableKind::kCsv},
      {"tsv",
       "the same with tabs",
       "tsv",
       {"tsv", "tab"},
       &WriteTable<TableKind::kTsv>,
       TableKind::kTsv},
      {"json",
       "the same as an object",
       "json",
       {"json"},
       &WriteTable<TableKind::kJson>,
       TableKind::kJson},
      {"ndjson",
       "an object a line",
       "ndjson",
       {"ndjson", "jsonl"},
       &WriteTable<TableKind::kNdjson>,
       TableKind::kNdjson},
      {"sqlite", "an SQLite database", "sqlite", {"sqlite", "sqlite3", "db"}, kWriteSqlite, {}},
      {"andi", "one chromatogram in ANDI netCDF", "cdf", {"cdf", "nc"}, kWriteNetcdf, {}},
  };
  return kFormats;
}

const ExportFormat* FindFormat(const std::string& name) {
  const auto formats = ExportFormats();
  const auto found = std::ranges::find(formats, name, &ExportFormat::name);
  return found != formats.end() ? &*found : nullptr;
}

const ExportFormat* FormatOfFile(const std::string& file) {
  const std::string ending = Ending(file);
  for (const ExportFormat& format : ExportFormats()) {
    if (std::ranges::count(format.endings, ending) != 0) return &format;
  }
  return nullptr;
}

}  // namespace tervalon::tools
