// tervalon peaks: the peaks of chromatograms.

#include <algorithm>
#include <memory>
#include <utility>

#include "tools/commands/processing_arguments.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/progress_bar.h"
#include "tools/processing/peak_list.h"
#include "tools/processing/peak_search.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  DataSet data_set;
  std::string traces;
  std::string targets;
  std::string tolerance;
  std::string window = "0.25";
  PeakSearchOptions search;
  std::string calibration;
  std::string database;
  FormatOptions format;
};

// Nothing where none is set, unless it was asked for.
std::optional<RTCalibration> ReadCalibration(const std::string& section) {
  RTCalibration calibration = {};
  const std::string name = console::SystemText(section);
  const int32_t read =
      RTIndicesGetRetentionCalibration(section.empty() ? nullptr : name.c_str(), &calibration);
  if (read != 0 && calibration.calibrated != 0) return calibration;
  if (!section.empty()) {
    throw Failure("TERVALON.INI", "no retention calibration in section '" + section + "'");
  }
  return std::nullopt;
}

std::vector<TraceRequest> TracesOf(const Options& options) {
  return ParseTraces(options.traces.empty() ? "TIC" : options.traces,
                     ParseTolerance("--tolerance", options.tolerance));
}

Target UsualTarget(const Options& options) {
  return {.tolerance = ParseTolerance("--tolerance", options.tolerance),
          .window = TimeArgument("--time-window", options.window)};
}

std::vector<FoundPeak> Find(const Options& options, const DataReader& reader,
                            const PeakSearch& search) {
  const ProgressBar progress;
  return options.targets.empty()
             ? FindTracePeaks(reader, TracesOf(options), search)
             : FindTargets(reader, ReadTargets(options.targets, UsualTarget(options)), search);
}

std::string Title(const Options& options, const DataReader& reader,
                  const std::vector<FoundPeak>& peaks) {
  const auto count =
      std::ranges::count_if(peaks, [](const FoundPeak& found) { return found.peak.has_value(); });
  return reader.Subject() + ", " + std::to_string(count) +
         (options.targets.empty() ? (count == 1 ? " peak" : " peaks")
                                  : " of " + std::to_string(peaks.size()) + " targets");
}

void Run(const Options& options, const std::string& path, Output& output) {
  const RawDirectory directory(path);
  const DataReader reader(directory, options.data_set);
  const PeakSearch search = {.search = ParsePeakSearch(options.search),
                             .calibration = ReadCalibration(options.calibration)};
  const std::vector<FoundPeak> peaks = Find(options, reader, search);
  if (!options.database.empty()) {
    AddToPeakList(options.database, reader, search.search, peaks);
  }
  const Format format = options.format.format();
  Document document = {
      .sections = {PeakSection(Title(options, reader, peaks), peaks, format == Format::kText)},
      .csv_section = "peaks"};
  Label(options.inputs, path, *reader.data_set().function, document);
  Print(document, format, output);
}

void AddWhat(Command command, Options& options) {
  const Option trace = command
                           .AddOption("--trace", options.traces,
                                      "Traces, separated by commas, as for 'chrom': TIC (without\n"
                                      "this option, too), BPI, AN1, 184.1, 184+200-150, ...")
                           .TypeName("TEXT");
  command
      .AddOption("--targets", options.targets,
                 "Look for what a list names instead: CSV with the columns\n"
                 "name and mz, and where wanted tolerance, time (expected,\n"
                 "minutes) and window; '-' is standard input")
      .TypeName("FILE")
      .Excludes(trace);
  command
      .AddOption("--tolerance", options.tolerance,
                 "What a mass takes to both sides, 0.5 unless given: mass\n"
                 "units, or with 'ppm' behind it a part of it")
      .TypeName("WIDTH");
  command
      .AddOption("--time-window", options.window,
                 "How far from its expected time a target may be (0.25)")
      .TypeName("MINUTES");
}

}  // namespace

void AddPeaksCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("peaks", "Find and integrate the peaks of chromatograms");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddDataSetSelection(command, options->data_set);
  AddWhat(command, *options);
  AddPeakSearchOptions(command, options->search);
  command
      .AddOption("--calibration", options->calibration,
                 "Section of the settings file with the retention\n"
                 "calibration; without, the usual one if it is set")
      .TypeName("SECTION");
  command
      .AddOption("--database", options->database,
                 "Add the peaks to a Peak List database, which is made\n"
                 "when there is none")
      .TypeName("FILE");
  AddFormatOptions(command, options->format);
  command.Footer(
      "Times and widths are minutes, areas intensity times minutes above the baseline. Width is\n"
      "that at half height, asymmetry the part behind the top by the part before it at a tenth of\n"
      "the height, S/N the height by the standard deviation of the noise. A target is the peak\n"
      "nearest to its expected time, or the largest of a target without one. Traces that are 0\n"
      "between peaks have no noise: a threshold in % suits them.\n"
      "'tervalon plot --peaks' draws what is found.\n\n"
      "Examples:\n"
      "  tervalon peaks SAMPLE.RAW\n"
      "  tervalon peaks SAMPLE.RAW --trace 455.29,184+200-150 --baseline tangent --csv\n"
      "  tervalon peaks *.RAW --targets compounds.csv --csv > quantities.csv\n"
      "  tervalon peaks SAMPLE.RAW --database P1.DBF && tervalon db list P1.DBF");
  command.Callback([&chosen, options] {
    TracesOf(*options);
    UsualTarget(*options);
    ParsePeakSearch(options->search);
    if (!options->database.empty() && options->inputs.jobs > 1) {
      throw WrongUsage("--database: directories are added one after the other, without --jobs");
    }
    if (options->targets == "-" && options->inputs.paths.size() > 1) {
      throw WrongUsage("--targets: of several directories the list has to be a file");
    }
    chosen = ForEachInput(options, Run);
  });
}

}  // namespace tervalon::tools
