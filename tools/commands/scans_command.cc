// tervalon scans: the scans of a run, one a row.

#include <algorithm>
#include <memory>
#include <optional>

#include "tools/commands/command.h"
#include "tools/commands/many_inputs.h"
#include "tools/data/scan_table.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  DataSet data_set;
  FormatOptions format;
};

// Every function of which something was acquired, or the one data set that is asked for.
void Run(const Options& options, const std::string& path, Output& output) {
  const RawDirectory directory(path);
  ScanTable table;
  std::string title = path;
  if (options.data_set.function || options.data_set.process != 0) {
    const DataReader reader(directory, options.data_set);
    table.Add(reader);
    title = reader.Subject();
  } else {
    for (int function = 1; function <= std::ssize(directory.functions()); ++function) {
      if (directory.HasDataOf(function)) {
        table.Add(DataReader(directory, DataSet{.function = function}));
      }
    }
  }
  Section section = std::move(table).ToSection(title);
  Document document = {.sections = {section}, .csv_section = section.key};
  Label(options.inputs, path, 0, document);
  Print(document, options.format.format(), output);
}

}  // namespace

void AddScansCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("scans", "List the scans: times, points, sums");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddFunctionOption(command, options->data_set.function,
                    "One function, 1 to 32; without, every one");
  AddProcessOptions(command, options->data_set.process, options->data_set.data_type);
  AddFormatOptions(command, options->format);
  command.Footer(
      "A row has what the scan index says: the retention time in minutes, the number of points,\n"
      "the total ion current, the strongest point, whose mass is not calibrated, the segment, the\n"
      "letters of the flags that are set, and where the scan's data begin in the data file.\n\n"
      "Examples:\n"
      "  tervalon scans SAMPLE.RAW\n"
      "  tervalon scans *.RAW -f 1 --csv");
  command.Callback([&chosen, options] { chosen = ForEachInput(options, Run); });
}

}  // namespace tervalon::tools
