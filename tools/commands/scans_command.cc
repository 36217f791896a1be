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

class ScanTable {
 public:
  void Add(const DataReader& reader) {
    const int function = *reader.data_set().function;
    const bool calibrated = IsCalibrated(reader.directory(), function);
    const int32_t scans = reader.ScanCount();
    for (const uint32_t offset : reader.ScanOffsets(scans)) offset_.emplace_back(int64_t{offset});
    int32_t scan = 0;
    for (const RawScanHeader& header : reader.ScanHeaders(scans)) {
      function_.push_back(function);
      scan_.push_back(++scan);
      time_.push_back(header.retention_time);
      points_.push_back(static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK));
      tic_.push_back(header.total_ion_current);
      base_mass_.push_back(header.base_peak_mass);
      base_intensity_.push_back(header.base_peak_intensity);
      segment_.push_back(static_cast<int32_t>(header.segment));
      flags_.emplace_back(FlagLetters(header, calibrated));
    }
  }

  Document ToDocument(const std::string& title) && {
    constexpr const char* kKey = "scans";
    Section section = {.key = kKey, .title = title};
    section.columns = {{"function", "Function", std::move(function_)},
                       {"scan", "Scan", std::move(scan_)},
                       {"time", "Time (min)", std::move(time_), 4},
                       {"points", "Points", std::move(points_)},
                       {"tic", "Total ion current", std::move(tic_)},
                       {"base_peak_mass", "Base peak (as stored)", std::move(base_mass_), 4},
                       {"base_peak_intensity", "Its intensity", std::move(base_intensity_)},
                       {"segment", "Segment", std::move(segment_)},
                       {"flags", "Flags", std::move(flags_)},
                       {"offset", "Offset", std::move(offset_)}};
    return {.sections = {std::move(section)}, .csv_section = kKey};
  }

 private:
  std::vector<int32_t> function_, scan_, points_, segment_;
  std::vector<float> time_, tic_, base_mass_, base_intensity_;
  std::vector<Value> flags_, offset_;
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
  Document document = std::move(table).ToDocument(title);
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
