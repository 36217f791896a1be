#include "tools/data/csv_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>
#include <utility>

#include "tools/data/files.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

std::string ReadAll(std::istream& input) {
  return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

std::string ReadText(const std::string& file) {
  if (file == "-") return ReadAll(std::cin);
  std::ifstream input(PathOf(file), std::ios::binary);
  if (!input || std::filesystem::is_directory(PathOf(file))) throw Failure(file, "cannot be read");
  return ReadAll(input);
}

// Takes rows off the front of a text.
class CsvText {
 public:
  CsvText(std::string text, const std::string& file) : text_(std::move(text)), file_(file) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.starts_with(kByteOrderMark)) at_ = kByteOrderMark.size();
  }

  bool AtEnd() const { return at_ == text_.size(); }

  CsvRow TakeRow() {
    CsvRow row = {line_, {TakeCell()}};
    while (Take(',')) row.cells.push_back(TakeCell());
    Take('\r');
    Take('\n');
    ++line_;
    return row;
  }

 private:
  bool Take(char c) {
    if (AtEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  std::string TakeCell() {
    std::string cell;
    if (Take('"')) cell = TakeQuoted();
    // What follows the closing quotation mark belongs to the cell.
    const size_t end = std::min(text_.find_first_of(",\r\n", at_), text_.size());
    cell.append(text_, at_, end - at_);
    at_ = end;
    return cell;
  }

  // Up to the closing quotation mark; a doubled one is one of the cell's own.
  std::string TakeQuoted() {
    std::string cell;
    while (!AtEnd()) {
      const char c = text_[at_++];
      if (c == '"' && !Take('"')) return cell;
      if (c == '\n') ++line_;
      cell += c;
    }
    throw Failure(file_, "a quotation mark is missing at the end");
  }

  std::string text_;
  const std::string& file_;
  size_t at_ = 0;
  size_t line_ = 1;
};

}  // namespace

std::vector<CsvRow> ReadCsv(const std::string& file) {
  CsvText text(ReadText(file), file);
  std::vector<CsvRow> rows;
  while (!text.AtEnd()) {
    CsvRow row = text.TakeRow();
    if (row.cells.size() > 1 || !row.cells[0].empty()) rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace tervalon::tools
