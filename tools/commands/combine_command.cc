// tervalon combine: one spectrum of many, less a background.

#include <tervalon/processing_spectra.h>
#include <tervalon/raw_history.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

#include "tools/commands/processing_arguments.h"
#include "tools/data/trace_reader.h"
#include "tools/print/failure.h"
#include "tools/print/progress_bar.h"
#include "tools/print/text.h"
#include "tools/processing/results.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  DataSet data_set;
  std::string scans;
  std::string times;
  std::string background_scans;
  std::string background_times;
  std::string factor = "1";
  bool sum = false;
  std::string tolerance;
  std::string points;
  ResultOptions result;
};

struct Times {
  float from;
  float to;
};

// "LOW-HIGH" as its two parts, "ONE" twice.
std::pair<std::string, std::string> Ends(const std::string& text) {
  const size_t dash = text.find('-');
  return dash == std::string::npos ? std::pair(text, text)
                                   : std::pair(text.substr(0, dash), text.substr(dash + 1));
}

int32_t ScanNumber(const std::string& option, const std::string& whole, const std::string& text) {
  int32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number < 1) {
    throw WrongUsage(option + ": '" + whole + "' is no scan such as 12, nor scans such as 10-40");
  }
  return number;
}

[[noreturn]] void ThrowReversed(const std::string& option, const std::string& text) {
  throw WrongUsage(option + ": '" + text + "' begins above its end");
}

// "10-40,50"
std::vector<PrcScans> ParseScans(const std::string& option, const std::string& text) {
  std::vector<PrcScans> runs;
  for (const std::string& part : text.empty() ? std::vector<std::string>() : Parts(text, ',')) {
    const auto [first, last] = Ends(part);
    runs.push_back({ScanNumber(option, part, first), ScanNumber(option, part, last)});
    if (runs.back().last < runs.back().first) {
      ThrowReversed(option, part);
    }
  }
  return runs;
}

// "4.5-4.9,5.1"
std::vector<Times> ParseTimes(const std::string& option, const std::string& text) {
  std::vector<Times> ranges;
  for (const std::string& part : text.empty() ? std::vector<std::string>() : Parts(text, ',')) {
    const auto [from, to] = Ends(part);
    ranges.push_back({TimeArgument(option, from), TimeArgument(option, to)});
    if (ranges.back().to < ranges.back().from) {
      ThrowReversed(option, part);
    }
  }
  return ranges;
}

// What a range of times holds; for a single time the nearest scan.
PrcScans ScansAt(const DataReader& reader, const Times& times) {
  if (times.from == times.to) {
    const int32_t scan = reader.ScanAtTime(times.from);
    return {scan, scan};
  }
  PrcScans scans = {};
  CheckProcessing(PrcFindScans(reader.directory().handle(), reader.function(), reader.process(),
                               times.from, times.to, &scans),
                  reader.Subject() + ", " + RoundedText(times.from, -1) + " to " +
                      RoundedText(times.to, -1) + " min");
  return scans;
}

// Fills the runs that a record has room for. Without a reader it is only checked that they do.
void FillRuns(const DataReader* reader, const char* option, const std::string& scans,
              const std::string& times, PrcScans* runs, size_t room) {
  std::vector<PrcScans> all = ParseScans(option, scans);
  for (const Times& range : ParseTimes(std::string(option) + "-time", times)) {
    all.push_back(reader != nullptr ? ScansAt(*reader, range) : PrcScans{1, 1});
  }
  if (all.size() > room) {
    throw WrongUsage(std::string(option) + ": more than " + std::to_string(room) + " ranges");
  }
  std::ranges::copy(all, runs);
}

PrcCombining Parse(const Options& options, const DataReader* reader) {
  const MassTolerance tolerance = ParseTolerance("--tolerance", options.tolerance);
  PrcCombining combining = {
      .method = options.sum ? PRC_COMBINE_SUM : PRC_COMBINE_MEAN,
      .points = options.points == "profile"     ? PRC_POINTS_CONTINUUM
                : options.points == "centroids" ? PRC_POINTS_CENTROIDS
                                                : PRC_POINTS_BY_TYPE,
      .scans = {},
      .background = {},
      .factor = static_cast<float>(NumberArgument("--factor", options.factor)),
      .tolerance = tolerance.value == 0 ? 0.05F : static_cast<float>(tolerance.value),
      .tolerance_in_ppm = tolerance.in_ppm ? 1 : 0};
  FillRuns(reader, "--scan", options.scans, options.times, combining.scans, PRC_MAX_RUNS);
  FillRuns(reader, "--background", options.background_scans, options.background_times,
           combining.background, PRC_MAX_BACKGROUND_RUNS);
  return combining;
}

void CheckScans(const DataReader& reader, const PrcCombining& combining) {
  const int32_t scans = reader.ScanCount();
  int32_t last = 0;
  for (const PrcScans& run : combining.scans) last = std::max(last, run.last);
  for (const PrcScans& run : combining.background) last = std::max(last, run.last);
  if (last > scans) {
    throw Failure(reader.Subject(), "no scan " + std::to_string(last) + ": it has scans 1 to " +
                                        std::to_string(scans));
  }
}

std::string RunsText(const PrcScans* runs, size_t count) {
  std::string text;
  for (size_t i = 0; i < count && runs[i].first != 0; ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(runs[i].first);
    text += runs[i].last == runs[i].first ? "" : " to " + std::to_string(runs[i].last);
  }
  return text;
}

void Run(const Options& options, const std::string& path, Output& output) {
  const RawDirectory directory(path);
  const DataReader reader(directory, options.data_set);
  const PrcCombining combining = Parse(options, &reader);
  CheckScans(reader, combining);
  PrcSpectrum spectrum = {};
  {
    const ProgressBar progress;
    CheckProcessing(
        PrcCombine(directory.handle(), reader.function(), reader.process(), &combining, &spectrum),
        reader.Subject());
  }
  Series result = {.title = reader.Subject() + ", combined",
                   .is_spectrum = true,
                   .data_set = reader.data_set(),
                   .positions = Taken<float>(spectrum.masses, spectrum.count),
                   .intensities = Taken<float>(spectrum.intensities, spectrum.count)};
  Section summary = {.title = result.title};
  summary.properties = {
      {"method", "Method", std::string(options.sum ? "sum" : "mean")},
      {"scans", "Scans", RunsText(combining.scans, PRC_MAX_RUNS)},
      {"scan_count", "Number of scans", int64_t{spectrum.scan_count}},
      {"time", "Mean retention time", spectrum.retention_time, "min", 4},
      {"point_count", "Points", int64_t{spectrum.count}},
      {"points_are", "Points are", std::string(spectrum.centroids != 0 ? "centroids" : "profile")}};
  if (combining.background[0].first != 0) {
    summary.properties.push_back(
        {"background", "Background", RunsText(combining.background, PRC_MAX_BACKGROUND_RUNS)});
    summary.properties.push_back({"factor", "Factor", combining.factor});
  }
  PrcStep step = {};
  step.type = RAW_STEP_COMBINE;
  step.combining = combining;
  SaveResult(options.result, reader, step, summary);
  PrintResult(options.result, options.inputs, path, std::move(summary), result, output);
}

}  // namespace

void AddCombineCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("combine", "Combine scans to one spectrum, less a background");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddDataSetSelection(command, options->data_set);
  const Command which = command.AddGroup("Scans", "Which scans, up to four ranges");
  which.AddOption("-s,--scan", options->scans, "By numbers: 130-150,160").TypeName("LIST");
  which.AddOption("-t,--time", options->times, "By times in minutes: 4.5-4.9").TypeName("LIST");
  which.RequireOptions(1, 2);
  const Command what = command.AddGroup("Background", "What is subtracted, up to two ranges");
  what.AddOption("--background", options->background_scans, "Its scans by numbers")
      .TypeName("LIST");
  what.AddOption("--background-time", options->background_times, "Its scans by times")
      .TypeName("LIST");
  what.AddOption("--factor", options->factor, "Times its mean that is subtracted (1)")
      .TypeName("F");
  command.AddFlag("--sum", options->sum, "The sum of the scans instead of their mean");
  command
      .AddOption("--tolerance", options->tolerance,
                 "How near to a higher one centroids are added to it, 0.05\n"
                 "unless given: mass units, or with 'ppm' behind it a part\n"
                 "of the mass")
      .TypeName("WIDTH");
  command
      .AddOption("--points", options->points,
                 "What points are: 'profile', samples along an axis, or\n"
                 "'centroids'; without, as the data type says")
      .OneOf({"profile", "centroids"})
      .TypeName("WHAT");
  AddResultOptions(command, options->result);
  command.Footer(
      "A scan counts once however ranges overlap. Profiles are added point by point on the\n"
      "calibrated masses of the first scan; centroids are merged to the mean of their masses,\n"
      "weighted with the intensities. Profiles less a background may be below 0.\n\n"
      "Examples:\n"
      "  tervalon combine SAMPLE.RAW -t 4.5-4.9 --background-time 4.0-4.3\n"
      "  tervalon combine SAMPLE.RAW -f 2 -s 130-150 --sum --csv > peak.csv\n"
      "  tervalon combine SAMPLE.RAW -f 2 -t 4.5-4.9 --save && tervalon centroid SAMPLE.RAW -p 1\n"
      "  tervalon combine *.RAW -t 4.5-4.9 --tolerance 20ppm --json --jobs 4");
  command.Callback([&chosen, options] {
    Parse(*options, nullptr);
    chosen = ForEachInput(options, Run);
  });
}

}  // namespace tervalon::tools
