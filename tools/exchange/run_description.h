// What mzML says of a run before its spectra: where it comes from, sample, instrument, software.

#ifndef TOOLS_EXCHANGE_RUN_DESCRIPTION_H_
#define TOOLS_EXCHANGE_RUN_DESCRIPTION_H_

#include <string>
#include <utility>
#include <vector>

#include "tools/exchange/export_run.h"
#include "tools/exchange/xml_writer.h"

namespace tervalon::tools {

void WriteCvParam(XmlWriter& xml, const CvTerm& term, std::string_view value = {},
                  const CvTerm* unit = nullptr);
void WriteUserParam(XmlWriter& xml, const char* name, std::string_view value, const char* type);

// Everything in front of the element "run".
void WriteRunDescription(XmlWriter& xml, const ExportRun& run);
// The start of "run" and its parameters.
void BeginRun(XmlWriter& xml, const ExportRun& run);

// References that spectra make to what the description has.
std::string ParamGroupId(const ExportedFunction& function);
std::string InstrumentId(const ExportRun& run, const ExportedFunction& function);
constexpr const char* kDataProcessingId = "DP1";

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_RUN_DESCRIPTION_H_
