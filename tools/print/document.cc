#include "tools/print/document.h"

namespace tervalon::tools {

void Print(const Document& document, Format format, Output& output) {
  switch (format) {
    case Format::kText:
      PrintText(document, output);
      break;
    case Format::kCsv:
      PrintCsv(document, output);
      break;
    case Format::kJson:
      PrintJson(document, output);
      break;
  }
}

size_t RowCount(const Section& section) {
  return section.columns.empty()
             ? 0
             : std::visit([](const auto& cells) { return cells.size(); }, section.columns[0].cells);
}

Value CellValue(const Column& column, size_t row) {
  if (const auto* numbers = std::get_if<std::vector<float>>(&column.cells)) {
    return (*numbers)[row];
  }
  if (const auto* numbers = std::get_if<std::vector<int32_t>>(&column.cells)) {
    return int64_t{(*numbers)[row]};
  }
  return std::get<std::vector<Value>>(column.cells)[row];
}

}  // namespace tervalon::tools
