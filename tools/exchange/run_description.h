// What mzML says of a run before its spectra: where it comes from, sample, instrument, software.

#ifndef TOOLS_EXCHANGE_RUN_DESCRIPTION_H_
#define TOOLS_EXCHANGE_RUN_DESCRIPTION_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/exchange/export_run.h"
#include "tools/exchange/xml_writer.h"

namespace tervalon::tools {

// The texts of the header.
struct HeaderText {
  const char* key;  // as "tervalon info --json" has it
  std::string text;
};
std::vector<HeaderText> HeaderTexts(const RawHeader& header);

// "2025-06-02T09:30:00"; nothing when the header does not tell it.
std::optional<std::string> AcquisitionTime(const RawHeader& header);

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
