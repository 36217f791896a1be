// Documents for people: aligned columns, units, as many digits as are of use.

#include <algorithm>

#include "tools/print/document.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct ToText {
  int decimals;

  std::string operator()(std::monostate) const { return "-"; }
  std::string operator()(bool value) const { return value ? "yes" : "no"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(float value) const { return RoundedText(value, decimals); }
  std::string operator()(double value) const { return RoundedText(value, decimals); }
  std::string operator()(const std::string& value) const { return Printable(value); }
  std::string operator()(const std::vector<double>& values) const {
    std::string text;
    for (const double value : values) {
      text += (text.empty() ? "" : ", ") + ExactText(value);
    }
    return text;
  }
};

std::string CellText(const Column& column, size_t row) {
  return TextOf(CellValue(column, row), column.decimals);
}

// Numbers stand at the right of their column, everything else at the left.
bool IsNumeric(const Column& column) {
  const auto* values = std::get_if<std::vector<Value>>(&column.cells);
  return values == nullptr || std::ranges::none_of(*values, [](const Value& value) {
           return std::holds_alternative<std::string>(value) ||
                  std::holds_alternative<std::vector<double>>(value);
         });
}

std::string Padding(const std::string& text, size_t width) {
  const size_t used = DisplayWidth(text);
  return std::string(used < width ? width - used : 0, ' ');
}

struct Layout {
  size_t width;
  bool right;
};

std::string Line(const std::vector<Layout>& layouts, const std::vector<std::string>& cells) {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    const std::string padding = Padding(cells[i], layouts[i].width);
    line += "  " + (layouts[i].right ? padding + cells[i] : cells[i] + padding);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

void PrintTable(const Section& section, Output& output) {
  const size_t rows = RowCount(section);
  std::vector<Layout> layouts;
  std::vector<std::string> cells;
  for (const Column& column : section.columns) {
    size_t width = DisplayWidth(column.title);
    for (size_t row = 0; row < rows; ++row) {
      width = std::max(width, DisplayWidth(CellText(column, row)));
    }
    layouts.push_back({width, IsNumeric(column)});
    cells.push_back(column.title);
  }
  output << Line(layouts, cells);
  for (size_t row = 0; row < rows; ++row) {
    for (size_t i = 0; i < cells.size(); ++i) {
      cells[i] = CellText(section.columns[i], row);
    }
    output << Line(layouts, cells);
  }
}

void PrintProperties(const Section& section, Output& output) {
  size_t width = 0;
  for (const Property& property : section.properties) {
    width = std::max(width, DisplayWidth(property.title));
  }
  for (const Property& property : section.properties) {
    const bool known = !std::holds_alternative<std::monostate>(property.value);
    output << "  " << property.title << Padding(property.title, width) << "  "
           << TextOf(property.value, property.decimals)
           << (known && !property.unit.empty() ? " " + property.unit : "") << "\n";
  }
}

}  // namespace

std::string TextOf(const Value& value, int decimals) { return std::visit(ToText{decimals}, value); }

void PrintText(const Document& document, Output& output) {
  bool first = true;
  for (const Section& section : document.sections) {
    if (!first) {
      output << "\n";
    }
    first = false;
    if (!section.title.empty()) {
      output << Printable(section.title) << "\n";
    }
    if (section.columns.empty()) {
      PrintProperties(section, output);
    } else if (RowCount(section) == 0) {
      output << "  none\n";
    } else {
      PrintTable(section, output);
    }
  }
}

}  // namespace tervalon::tools
