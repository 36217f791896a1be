// Reads comma-separated values.

#ifndef TOOLS_DATA_CSV_READER_H_
#define TOOLS_DATA_CSV_READER_H_

#include <string>
#include <vector>

namespace tervalon::tools {

struct CsvRow {
  size_t line;  // of the file, where the row begins
  std::vector<std::string> cells;
};

// All rows of a file, or with "-" of standard input. Cells may stand in quotation marks, lines may
// end in CR and LF; empty lines are left out. Throws a Failure that names the file for one that
// cannot be read or ends within quotation marks.
std::vector<CsvRow> ReadCsv(const std::string& file);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_CSV_READER_H_
