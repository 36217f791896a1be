#include "tools/exchange/export_format.h"

#include "tools/exchange/mzml_writer.h"
#include "tools/pictures/picture.h"

namespace tervalon::tools {

std::span<const ExportFormat> ExportFormats() {
  static const ExportFormat kFormats[] = {
      {"mzml", "mzML 1.1, with an index", "mzML", {"mzml"}, &WriteMzml},
  };
  return kFormats;
}

const ExportFormat* FindFormat(const std::string& name) {
  for (const ExportFormat& format : ExportFormats()) {
    if (name == format.name) return &format;
  }
  return nullptr;
}

const ExportFormat* FormatOfFile(const std::string& file) {
  const std::string ending = Ending(file);
  for (const ExportFormat& format : ExportFormats()) {
    for (const std::string& own : format.endings) {
      if (ending == own) return &format;
    }
  }
  return nullptr;
}

}  // namespace tervalon::tools
