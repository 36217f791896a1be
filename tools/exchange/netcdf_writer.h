// A chromatogram as the ANDI template for chromatography has it, in a netCDF file.

#ifndef TOOLS_EXCHANGE_NETCDF_WRITER_H_
#define TOOLS_EXCHANGE_NETCDF_WRITER_H_

#include <string>

#include "tools/exchange/export_format.h"
#include "tools/exchange/export_run.h"

namespace tervalon::tools {

// The trace of the options, of the first function that is exported: a file has one detector.
void WriteNetcdf(const ExportRun& run, const ExportOptions& options, const std::string& name);

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_NETCDF_WRITER_H_
