// Lists of targets.

#include <algorithm>
#include <cmath>

#include "tools/data/csv_reader.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"
#include "tools/processing/peak_search.h"

namespace tervalon::tools {
namespace {

constexpr const char* kColumns[] = {"name", "mz", "tolerance", "time", "window"};

float NumberCell(const std::string& where, const std::string& column, const std::string& text,
                 float low) {
  const std::optional<double> number = ParseNumber(text);
  if (!number || !(static_cast<float>(*number) > low) || !(*number < 1e6)) {
    throw Failure(where, column + ": '" + text + "' is no such value");
  }
  return static_cast<float>(*number);
}

class TargetReader {
 public:
  TargetReader(const std::string& file, const CsvRow& names) : file_(file), names_(names.cells) {
    for (const std::string& name : names_) {
      if (std::ranges::find(kColumns, name) == std::end(kColumns)) {
        throw Failure(file, "no column '" + name + "': name, mz, tolerance, time, window");
      }
    }
    for (const char* needed : {"name", "mz"}) {
      if (std::ranges::count(names_, needed) != 1) {
        throw Failure(file, std::string("has no column '") + needed + "'");
      }
    }
  }

  Target Read(const CsvRow& row, const Target& usual) const {
    const std::string where = file_ + ", line " + std::to_string(row.line);
    if (row.cells.size() != names_.size()) {
      throw Failure(where, "has " + std::to_string(row.cells.size()) + " values for " +
                               std::to_string(names_.size()) + " columns");
    }
    Target target = usual;
    for (size_t i = 0; i < names_.size(); ++i) {
      Set(where, names_[i], row.cells[i], target);
    }
    return target;
  }

 private:
  static void Set(const std::string& where, const std::string& column, const std::string& text,
                  Target& target) {
    if (column == "name") {
      target.name = text;
    } else if (column == "mz") {
      NumberCell(where, column, text, 0);
      target.mass = *ParseNumber(text);
    } else if (text.empty()) {
      return;  // the usual
    } else if (column == "time") {
      target.time = NumberCell(where, column, text, -1e-9F);
    } else if (column == "window") {
      target.window = NumberCell(where, column, text, 0);
    } else {
      try {
        target.tolerance = ParseTolerance(column, text);
      } catch (const WrongUsage& wrong) {
        throw Failure(where, wrong.what());
      }
    }
  }

  const std::string& file_;
  const std::vector<std::string> names_;
};

}  // namespace

std::vector<Target> ReadTargets(const std::string& file, const Target& usual) {
  const std::vector<CsvRow> rows = ReadCsv(file);
  if (rows.size() < 2) throw Failure(file, "has no targets below a line of column names");
  const TargetReader reader(file, rows[0]);
  std::vector<Target> targets;
  for (size_t i = 1; i < rows.size(); ++i) targets.push_back(reader.Read(rows[i], usual));
  return targets;
}

}  // namespace tervalon::tools
