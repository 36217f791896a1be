// Documents as comma-separated values: one table with a line of column names.

#include "tools/print/document.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

std::string CsvText(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c;
    if (c == '"') {
      quoted += c;
    }
  }
  return quoted + '"';
}

struct ToCsv {
  std::string operator()(std::monostate) const { return ""; }
  std::string operator()(bool value) const { return value ? "1" : "0"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(float value) const { return ExactText(value); }
  std::string operator()(double value) const { return ExactText(value); }
  std::string operator()(const std::string& value) const { return CsvText(value); }
  std::string operator()(const std::vector<double>& values) const {
    std::string text;
    for (const double value : values) {
      text += (text.empty() ? "" : " ") + ExactText(value);
    }
    return text;
  }
};

// The document's labels as the beginning of every line.
struct Labels {
  std::string names;
  std::string values;
};

Labels LabelsOf(const Document& document) {
  Labels labels;
  for (const Property& label : document.labels) {
    labels.names += (labels.names.empty() ? "" : ",") + label.key;
    labels.values += (labels.values.empty() ? "" : ",") + std::visit(ToCsv{}, label.value);
  }
  return labels;
}

void PrintTable(const Section& section, const Labels& labels, Output& output) {
  std::string line = labels.names;
  for (const Column& column : section.columns) {
    line += (line.empty() ? "" : ",") + CsvText(column.key);
  }
  output << line << "\n";
  for (size_t row = 0; row < RowCount(section); ++row) {
    line = labels.values;
    for (size_t i = 0; i < section.columns.size(); ++i) {
      line += (line.empty() && i == 0 ? "" : ",") +
              std::visit(ToCsv{}, CellValue(section.columns[i], row));
    }
    output << line << "\n";
  }
}

void PrintValue(const Section& section, const std::string& row, const std::string& name,
                const Value& value, const Labels& labels, Output& output) {
  output << labels.values << (labels.values.empty() ? "" : ",") << CsvText(section.key) << ","
         << row << "," << CsvText(name) << "," << std::visit(ToCsv{}, value) << "\n";
}

void PrintValues(const Section& section, const Labels& labels, Output& output) {
  for (const Property& property : section.properties) {
    PrintValue(section, "", property.key, property.value, labels, output);
  }
  for (size_t row = 0; row < RowCount(section); ++row) {
    for (const Column& column : section.columns) {
      PrintValue(section, std::to_string(row + 1), column.key, CellValue(column, row), labels,
                 output);
    }
  }
}

}  // namespace

void PrintCsv(const Document& document, Output& output) {
  const Labels labels = LabelsOf(document);
  if (document.csv_section.empty()) {
    output << labels.names << (labels.names.empty() ? "" : ",") << "section,row,name,value\n";
  }
  for (const Section& section : document.sections) {
    if (document.csv_section.empty()) {
      PrintValues(section, labels, output);
    } else if (section.key == document.csv_section) {
      PrintTable(section, labels, output);
    }
  }
}

}  // namespace tervalon::tools
