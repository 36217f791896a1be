// Documents as one JSON object.
//
// Numbers are written here rather than by a JSON library, which would print a float as the double
// next to it: 3.337209 as 3.3372090339660645.

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/print/document.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

std::string JsonText(const std::string& text) {
  using Json = nlohmann::json;
  return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

// JSON has no infinities and no not-a-numbers.
template <typename Number>
std::string NumberText(Number value) {
  return std::isfinite(value) ? ExactText(value) : "null";
}

struct ToJson {
  std::string operator()(std::monostate) const { return "null"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(float value) const { return NumberText(value); }
  std::string operator()(double value) const { return NumberText(value); }
  std::string operator()(const std::string& value) const { return JsonText(value); }
  std::string operator()(const std::vector<double>& values) const {
    std::string text;
    for (const double value : values) {
      text += (text.empty() ? "" : ", ") + NumberText(value);
    }
    return "[" + text + "]";
  }
};

// Puts a comma in front of every element but the first.
class Separator {
 public:
  std::string Next() { return std::exchange(first_, false) ? "" : ","; }

 private:
  bool first_ = true;
};

void PrintColumns(const Section& section, Output& output) {
  Separator columns;
  output << "{";
  for (const Column& column : section.columns) {
    Separator cells;
    output << columns.Next() << "\n  " << JsonText(column.key) << ": [";
    for (size_t row = 0; row < RowCount(section); ++row) {
      output << cells.Next() << std::visit(ToJson{}, CellValue(column, row));
    }
    output << "]";
  }
  output << "}";
}

void PrintRows(const Section& section, Output& output) {
  Separator rows;
  output << "[";
  for (size_t row = 0; row < RowCount(section); ++row) {
    Separator cells;
    output << rows.Next() << "\n  {";
    for (const Column& column : section.columns) {
      output << cells.Next() << JsonText(column.key) << ": "
             << std::visit(ToJson{}, CellValue(column, row));
    }
    output << "}";
  }
  output << "]";
}

void PrintProperties(const std::vector<Property>& all, Separator& separator, Output& output) {
  for (const Property& property : all) {
    output << separator.Next() << "\n " << JsonText(property.key) << ": "
           << std::visit(ToJson{}, property.value);
  }
}

void PrintSection(const Section& section, Separator& document, Output& output) {
  if (section.key.empty()) {
    PrintProperties(section.properties, document, output);
    return;
  }
  output << document.Next() << "\n " << JsonText(section.key) << ": ";
  if (section.columns.empty()) {
    Separator properties;
    output << "{";
    PrintProperties(section.properties, properties, output);
    output << "}";
  } else if (section.layout == TableLayout::kColumns) {
    PrintColumns(section, output);
  } else {
    PrintRows(section, output);
  }
}

}  // namespace

void PrintJson(const Document& document, Output& output) {
  Separator separator;
  output << "{";
  PrintProperties(document.labels, separator, output);
  for (const Section& section : document.sections) {
    PrintSection(section, separator, output);
  }
  output << "\n}\n";
}

}  // namespace tervalon::tools
