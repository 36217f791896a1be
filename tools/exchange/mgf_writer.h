// Peak lists of fragments in the Mascot generic format.

#ifndef TOOLS_EXCHANGE_MGF_WRITER_H_
#define TOOLS_EXCHANGE_MGF_WRITER_H_

#include <string>

#include "tools/exchange/export_format.h"
#include "tools/exchange/export_run.h"

namespace tervalon::tools {

// The scans of functions whose precursors are known: those of MRM functions, one list for each
// precursor of a scan, and with a precursor in the selection those of other centroid functions that
// fragment, or where there are none of any. Points without intensity, and lists without points, are
// left out. Throws a Failure, also when there is no such function.
void WriteMgf(const ExportRun& run, const ExportOptions& options, const std::string& name);

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_MGF_WRITER_H_
