// A run as an SQLite database; docs/exchange.md has its tables.

#ifndef TOOLS_EXCHANGE_SQLITE_WRITER_H_
#define TOOLS_EXCHANGE_SQLITE_WRITER_H_

#include <string>

#include "tools/exchange/export_format.h"
#include "tools/exchange/export_run.h"

namespace tervalon::tools {

void WriteSqlite(const ExportRun& run, const ExportOptions& options, const std::string& name);

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_SQLITE_WRITER_H_
