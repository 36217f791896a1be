// mzML 1.1 with an index and a checksum.

#ifndef TOOLS_EXCHANGE_MZML_WRITER_H_
#define TOOLS_EXCHANGE_MZML_WRITER_H_

#include <string>

#include "tools/exchange/export_format.h"
#include "tools/exchange/export_run.h"

namespace tervalon::tools {

// Throws a Failure; then there is no file, or the one that was there before.
void WriteMzml(const ExportRun& run, const ExportOptions& options, const std::string& name);

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_MZML_WRITER_H_
