// What a command has to say, independent of how it is printed: sections of named values and tables.
//
// Each format has its own view of the names: people read titles and units, programs keys.

#ifndef TOOLS_PRINT_DOCUMENT_H_
#define TOOLS_PRINT_DOCUMENT_H_

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tools/print/output.h"

namespace tervalon::tools {

// std::monostate is "not known": "-" for people, null or nothing for programs.
using Value =
    std::variant<std::monostate, bool, int64_t, float, double, std::string, std::vector<double>>;

struct Property {
  std::string key;
  std::string title;
  Value value;
  std::string unit = {};
  int decimals = -1;  // for people; negative: as many as the value needs
};

// Columns with many cells hold plain numbers.
using Cells = std::variant<std::vector<Value>, std::vector<int32_t>, std::vector<float>>;

struct Column {
  std::string key;
  std::string title;  // with its unit
  Cells cells;
  int decimals = -1;
};

enum class TableLayout {
  kRows,     // JSON: an array with an object for each row
  kColumns,  // JSON: an object with an array for each column
};

// Either properties or a table of columns of equal length.
struct Section {
  std::string key = {};  // empty: the properties stand in the document itself
  std::string title = {};
  std::vector<Property> properties = {};
  std::vector<Column> columns = {};
  TableLayout layout = TableLayout::kRows;
};

struct Document {
  // What is told apart from other documents: columns in front of CSV's, the first values of JSON.
  std::vector<Property> labels = {};
  std::vector<Section> sections = {};
  // The section whose table is all that CSV gets. Empty: CSV gets every value of every section in a
  // line of its own, "section,row,name,value".
  std::string csv_section = {};
};

enum class Format { kText, kCsv, kJson };

// Texts are UTF-8. Floats for programs have the shortest text that reads back as the same float.
void Print(const Document& document, Format format, Output& output);

// The renderings behind Print.
void PrintText(const Document& document, Output& output);
void PrintCsv(const Document& document, Output& output);
void PrintJson(const Document& document, Output& output);

size_t RowCount(const Section& section);
Value CellValue(const Column& column, size_t row);

// For people.
std::string TextOf(const Value& value, int decimals);

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_DOCUMENT_H_
