// The header of an imported directory, and what its functions are, from what an mzML file says.

#ifndef TOOLS_IMPORT_HEADER_IMPORT_H_
#define TOOLS_IMPORT_HEADER_IMPORT_H_

#include <tervalon/raw_header.h>

#include <string>

#include "tools/import/losses.h"
#include "tools/import/mzml_reader.h"
#include "tools/import/scan_kind.h"

namespace tervalon::tools {

// What finds no place goes to `losses`.
RawHeader HeaderOf(const MzmlDescription& description, const std::string& name, Losses& losses);

// An identity for every function: what is imported are calibrated masses.
void StoreIdentity(RawCalibration& calibration);

struct FunctionNature {
  int type;  // RAW_TYPE_
  int ion_mode;
};
// `channels`: it has the same few masses in every scan.
FunctionNature NatureOf(const ScanKind& kind, const MzmlDescription& description, bool channels,
                        Losses& losses);

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_HEADER_IMPORT_H_
