// tervalon export: a run in the formats that other programs read.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>
#include <utility>

#include "tools/commands/command.h"
#include "tools/commands/many_inputs.h"
#include "tools/data/files.h"
#include "tools/data/trace_reader.h"
#include "tools/exchange/export_format.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  std::vector<std::string> functions;
  int32_t process = 0;
  std::optional<int32_t> data_type;
  std::string times;
  std::string scans;
  std::string precursor;
  std::string output;
  std::string format;
  std::string precision = "64/32";
  std::string compression = "zlib";
  std::string trace;
  bool rows = false;
  bool csv = false;
  bool tsv = false;
  bool json = false;
};

// Whether -o is a directory to put files in.
bool NamesFolder(const Options& options) {
  std::error_code error;
  return options.output.ends_with('/') ||
         options.output.ends_with(static_cast<char>(std::filesystem::path::preferred_separator)) ||
         (!options.output.empty() && std::filesystem::is_directory(PathOf(options.output), error));
}

// What "LO-HI" has before and behind its dash; an end that is left out is nothing.
std::pair<std::string, std::string> SplitRange(const std::string& option, const std::string& text) {
  const size_t dash = text.find('-');
  if (dash == std::string::npos || text.size() == 1) {
    throw WrongUsage(option + ": '" + text + "' is no range such as 2-10, 2- or -10");
  }
  return {text.substr(0, dash), text.substr(dash + 1)};
}

// Rounded as the scans' times are, so that a time that was printed takes in its scan.
double TimeArgument(const std::string& text) {
  return static_cast<float>(NumberArgument("--time", text));
}

TimeRange TimesArgument(const std::string& text) {
  const auto [low, high] = SplitRange("--time", text);
  const TimeRange range = {low.empty() ? -HUGE_VAL : TimeArgument(low),
                           high.empty() ? HUGE_VAL : TimeArgument(high)};
  if (range.low > range.high) throw WrongUsage("--time: '" + text + "' begins above its end");
  return range;
}

int32_t WholeNumber(const std::string& option, const std::string& text) {
  int32_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || number < 1) {
    throw WrongUsage(option + ": '" + text + "' is no number from 1");
  }
  return number;
}

ScanRange ScansArgument(const std::string& text) {
  if (text.find('-') == std::string::npos) {
    const int32_t scan = WholeNumber("--scan", text);
    return {scan, scan};
  }
  const auto [first, last] = SplitRange("--scan", text);
  const ScanRange range = {first.empty() ? 1 : WholeNumber("--scan", first),
                           last.empty() ? INT32_MAX : WholeNumber("--scan", last)};
  if (range.first > range.last) throw WrongUsage("--scan: '" + text + "' begins above its end");
  return range;
}

ExportSelection SelectionOf(const Options& options) {
  ExportSelection selection = {.process = options.process, .data_type = options.data_type};
  for (const std::string& text : options.functions) {
    const int32_t function = WholeNumber("--function", text);
    if (function > RAW_MAX_FUNCTIONS) {
      throw WrongUsage("--function: " + text + " is not in the range 1 to 32");
    }
    if (std::ranges::count(selection.functions, function) == 0) {
      selection.functions.push_back(function);
    }
  }
  if (options.process != 0 && selection.functions.size() > 1) {
    throw WrongUsage("--process: a processed data set has one function");
  }
  if (!options.times.empty()) selection.times = TimesArgument(options.times);
  if (!options.scans.empty()) selection.scans = ScansArgument(options.scans);
  if (!options.precursor.empty()) {
    selection.precursor = NumberArgument("--precursor", options.precursor);
    if (!(*selection.precursor > 0)) throw WrongUsage("--precursor: not above 0");
  }
  return selection;
}

ExportOptions EncodingOf(const Options& options) {
  constexpr std::pair<const char*, std::pair<Packing, Packing>> kPrecisions[] = {
      {"64/32", {Packing::kFloat64, Packing::kFloat32}},
      {"64", {Packing::kFloat64, Packing::kFloat64}},
      {"32", {Packing::kFloat32, Packing::kFloat32}}};
  ExportOptions encoding;
  for (const auto& [name, packings] : kPrecisions) {
    if (options.precision == name) {
      encoding.masses = packings.first;
      encoding.intensities = packings.second;
    }
  }
  constexpr std::pair<const char*, Compression> kCompressions[] = {
      {"zlib", Compression::kZlib},
      {"none", Compression::kNone},
      {"numpress", Compression::kNumpress},
      {"numpress-zlib", Compression::kNumpressZlib}};
  for (const auto& [name, compression] : kCompressions) {
    if (options.compression == name) encoding.compression = compression;
  }
  encoding.rows = options.rows;
  encoding.trace = options.trace;
  if (!options.trace.empty() && ParseTraces(options.trace, {}).size() != 1) {
    throw WrongUsage("--trace: '" + options.trace + "' is more than one trace");
  }
  return encoding;
}

// Where the runs go: each to a file of its own, or with no names all to standard output as a table.
struct Plan {
  ExportSelection selection;
  ExportOptions encoding;
  const ExportFormat* format;
  std::vector<std::string> names;  // as the inputs
};

const ExportFormat& FormatFor(const Options& options) {
  const ExportFormat* const format = options.csv               ? FindFormat("csv")
                                     : options.tsv             ? FindFormat("tsv")
                                     : options.json            ? FindFormat("json")
                                     : !options.format.empty() ? FindFormat(options.format)
                                     : NamesFolder(options)    ? &ExportFormats()[0]
                                     : !options.output.empty() ? FormatOfFile(options.output)
                                                               : &ExportFormats()[0];
  if (format == nullptr) {
    throw WrongUsage("-o: '" + options.output + "' does not tell the format (--format does)");
  }
  return *format;
}

// The directory's name with another ending.
std::string NameAfter(const std::string& path, const ExportFormat& format) {
  std::filesystem::path name = PathOf(path).filename();
  if (name.empty() || name == "." || name == "..") {
    std::error_code error;
    name = std::filesystem::weakly_canonical(PathOf(path), error).filename();
  }
  return NameOf(name.stem()) + "." + format.usual_ending;
}

std::vector<std::string> OutputNames(const Options& options, const ExportFormat& format) {
  const std::vector<std::string>& paths = options.inputs.paths;
  if (options.output.empty() && format.table) return {};
  std::vector<std::string> names;
  for (const std::string& path : paths) {
    std::string name = options.output;
    if (options.output.empty()) {
      name = NameAfter(path, format);
    } else if (NamesFolder(options)) {
      name = NameOf(PathOf(options.output) / PathOf(NameAfter(path, format)));
    } else if (paths.size() > 1) {
      throw WrongUsage("-o: '" + options.output + "' is no directory, which several runs need");
    }
    if (std::ranges::count(names, name) != 0) {
      throw WrongUsage("two of the runs would both be written to '" + name + "'");
    }
    names.push_back(name);
  }
  return names;
}

Plan MakePlan(const Options& options) {
  const ExportFormat& format = FormatFor(options);
  Plan plan = {SelectionOf(options), EncodingOf(options), &format, OutputNames(options, format)};
  if (plan.names.empty() && options.inputs.paths.size() > 1 && options.inputs.jobs > 1) {
    throw WrongUsage("--jobs: tables for standard output are written one after the other");
  }
  return plan;
}

// The tables of all runs as one.
void PrintTables(const Options& options, const Plan& plan, Output& output) {
  OutputSink sink(output);
  const std::vector<std::string>& paths = options.inputs.paths;
  PointTable table(sink, *plan.format->table, paths.size() > 1);
  bool done = true;
  for (const std::string& path : paths) {
    try {
      table.Add(ExportRun(path, plan.selection));
    } catch (const Failure& failure) {
      if (paths.size() == 1) throw;
      Warn(failure.what());
      done = false;
    }
  }
  table.End();
  if (!done) throw Unsound();
}

void Run(const Options& options, const Plan& plan, Output& output) {
  if (plan.names.empty()) {
    PrintTables(options, plan, output);
    return;
  }
  ForEachInput(options.inputs, Format::kText, output, [&](const std::string& path, Output&) {
    const auto index = std::ranges::find(options.inputs.paths, path) - options.inputs.paths.begin();
    const std::string& name = plan.names[static_cast<size_t>(index)];
    if (plan.format->write == nullptr) {
      throw Failure(name, std::string("this program was built without ") +
                              plan.format->description + " (the one for Linux has it)");
    }
    plan.format->write(ExportRun(path, plan.selection), plan.encoding, name);
  });
}

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const ExportFormat& format : ExportFormats()) names.emplace_back(format.name);
  return names;
}

std::string FormatHelp() {
  std::string text;
  for (const ExportFormat& format : ExportFormats()) {
    if (!text.empty()) text += '\n';
    text += format.name;
    text += ": ";
    text += format.description;
  }
  return text;
}

void AddSelection(Command command, Options& options) {
  const Command which = command.AddGroup("Selection", "What is exported; without, everything");
  which.AddOption("-f,--function", options.functions, "A function, 1 to 32; several times for more")
      .TypeName("N")
      .Repeatable();
  AddProcessOptions(which, options.process, options.data_type);
  which.AddOption("-t,--time", options.times, "Scans from LO to HI minutes; either may be left out")
      .TypeName("LO-HI");
  which.AddOption("-s,--scan", options.scans, "Scans by number; either end may be left out")
      .TypeName("LO-HI");
  which
      .AddOption("--precursor", options.precursor,
                 "The m/z of the precursor of functions that do not say it")
      .TypeName("M/Z");
}

}  // namespace

void AddExportCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("export", "Write a run in a format that other programs read");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  command
      .AddOption("-o,--output", options->output,
                 "The file, or a directory for files that are named after\n"
                 "the runs; without, they are in the current one, and\n"
                 "tables go to standard output")
      .TypeName("FILE");
  const Command format =
      command.AddGroup("Format", "What the file holds; without, as its name ends");
  format.AddOption("--format", options->format, FormatHelp()).OneOf(FormatNames()).TypeName("NAME");
  format.AddFlag("--csv", options->csv, "The same as --format csv");
  format.AddFlag("--tsv", options->tsv, "The same as --format tsv");
  format.AddFlag("--json", options->json, "The same as --format json");
  format.RequireOptions(0, 1);
  AddSelection(command, *options);
  const Command how = command.AddGroup("mzML", "How numbers are stored");
  how.AddOption("--precision", options->precision,
                "Bits of masses and times, and of intensities: '64/32', or\n"
                "'64' or '32' for both; the runs' own numbers have 32")
      .OneOf({"64/32", "64", "32"})
      .TypeName("BITS")
      .ShowDefault();
  how.AddOption("--compression", options->compression,
                "'zlib', 'none', or MS-Numpress, which loses some digits:\n"
                "'numpress' or, smaller still, 'numpress-zlib'")
      .OneOf({"zlib", "none", "numpress", "numpress-zlib"})
      .TypeName("NAME")
      .ShowDefault();
  const Command others = command.AddGroup("Other formats", "What they hold");
  others.AddFlag("--rows", options->rows, "SQLite: a row for each point instead of packed arrays");
  others
      .AddOption("--trace", options->trace,
                 "ANDI: the trace, such as TIC (also without this option),\nBPI, 184.1 or AN1")
      .TypeName("TRACE");
  command.Footer(
      "Masses are calibrated, times are minutes. A file appears when it is whole: when anything\n"
      "fails, nothing is left behind, and an older file stays as it was.\n\n"
      "Examples:\n"
      "  tervalon export SAMPLE.RAW\n"
      "  tervalon export SAMPLE.RAW -o sample.mzML -f 1 -t 2-5 --compression none\n"
      "  tervalon export *.RAW -o converted/ --jobs 4\n"
      "  tervalon export SAMPLE.RAW -f 2 --precursor 455.29 -o fragments.mgf\n"
      "  tervalon export SAMPLE.RAW -f 1 --scan 100-120 --csv");
  command.Callback([&chosen, options] {
    CompleteInputs(options->inputs);
    chosen = [options, plan = MakePlan(*options)](Output& output) { Run(*options, plan, output); };
  });
}

}  // namespace tervalon::tools
