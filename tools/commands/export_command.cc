// tervalon export: a run in the formats that other programs read.

#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>
#include <utility>

#include "tools/commands/command.h"
#include "tools/data/files.h"
#include "tools/exchange/export_format.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Options {
  std::string directory;
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
};

// What "LO-HI" has before and behind its dash; an end that is left out is nothing.
std::pair<std::string, std::string> SplitRange(const std::string& option, const std::string& text) {
  const size_t dash = text.find('-');
  if (dash == std::string::npos || text.size() == 1) {
    throw WrongUsage(option + ": '" + text + "' is no range such as 2-10, 2- or -10");
  }
  return {text.substr(0, dash), text.substr(dash + 1)};
}

TimeRange TimesArgument(const std::string& text) {
  const auto [low, high] = SplitRange("--time", text);
  const TimeRange range = {low.empty() ? -HUGE_VAL : NumberArgument("--time", low),
                           high.empty() ? HUGE_VAL : NumberArgument("--time", high)};
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
  return encoding;
}

struct Plan {
  ExportSelection selection;
  ExportOptions encoding;
  const ExportFormat* format;
  std::string name;
};

const ExportFormat& FormatFor(const Options& options) {
  const ExportFormat* const format = !options.format.empty()   ? FindFormat(options.format)
                                     : !options.output.empty() ? FormatOfFile(options.output)
                                                               : &ExportFormats()[0];
  if (format == nullptr) {
    throw WrongUsage("-o: '" + options.output + "' does not tell the format (--format does)");
  }
  return *format;
}

std::string OutputName(const Options& options, const ExportFormat& format) {
  if (!options.output.empty()) return options.output;
  const std::filesystem::path run = PathOf(DirectoryArgument(options.directory)).filename();
  return NameOf(run.stem()) + "." + format.usual_ending;
}

Plan MakePlan(const Options& options) {
  const ExportFormat& format = FormatFor(options);
  return {SelectionOf(options), EncodingOf(options), &format, OutputName(options, format)};
}

void Run(const Options& options, const Plan& plan) {
  const ExportRun run(DirectoryArgument(options.directory), plan.selection);
  plan.format->write(run, plan.encoding, plan.name);
}

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const ExportFormat& format : ExportFormats()) names.emplace_back(format.name);
  return names;
}

std::string FormatHelp() {
  std::string text = "What the file holds; without, as its name ends:";
  for (const ExportFormat& format : ExportFormats()) {
    text += std::string("\n") + format.name + ": " + format.description;
  }
  return text;
}

void AddSelection(Command command, Options& options) {
  const Command which = command.AddGroup("Selection", "What is exported; without, everything");
  which.AddOption("-f,--function", options.functions, "A function, 1 to 32; several times for more")
      .TypeName("N")
      .Repeatable();
  const Option process =
      which
          .AddOption("-p,--process", options.process,
                     "Processed data set, 1 to 255, instead of the data as\nacquired")
          .Between(1, RAW_MAX_PROCESSES)
          .TypeName("N");
  which
      .AddOption("--data-type", options.data_type,
                 "Data type, 0 to 12, of the processed data set, which is\n"
                 "found out where this option is not given")
      .Needs(process)
      .Between(0, 12)
      .TypeName("N");
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
  command.AddOption("DIR", options->directory, "Raw data directory").Required().TypeName("");
  command.AddOption("-o,--output", options->output, "The file; without, it is named after DIR")
      .TypeName("FILE");
  command.AddOption("--format", options->format, FormatHelp())
      .OneOf(FormatNames())
      .TypeName("NAME");
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
  command.Footer(
      "Masses are calibrated, times are minutes. A file appears when it is whole: when anything\n"
      "fails, nothing is left behind, and an older file stays as it was.\n\n"
      "Examples:\n"
      "  tervalon export SAMPLE.RAW\n"
      "  tervalon export SAMPLE.RAW -o sample.mzML -f 1 -t 2-5 --compression none");
  command.Callback([&chosen, options] {
    chosen = [options, plan = MakePlan(*options)](Output&) { Run(*options, plan); };
  });
}

}  // namespace tervalon::tools
