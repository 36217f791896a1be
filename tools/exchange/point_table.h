// Every point of a run in a row of its own.

#ifndef TOOLS_EXCHANGE_POINT_TABLE_H_
#define TOOLS_EXCHANGE_POINT_TABLE_H_

#include <string>

#include "tools/exchange/byte_sink.h"
#include "tools/exchange/export_run.h"

namespace tervalon::tools {

enum class TableKind { kCsv, kTsv, kJson, kNdjson };

// Columns: function, scan, time (minutes), mass, intensity; in front of them the directory, where
// several come together.
class PointTable {
 public:
  PointTable(ByteSink& sink, TableKind kind, bool with_directory);

  void Add(const ExportRun& run);
  void End();

 private:
  void AddScan(const std::string& directory, const ExportedFunction& function, int32_t scan,
               const Spectrum& spectrum);
  void Flush();

  ByteSink& sink_;
  const TableKind kind_;
  const bool with_directory_;
  bool first_ = true;
  std::string waiting_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_POINT_TABLE_H_
