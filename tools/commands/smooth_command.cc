// tervalon smooth: a trace or a spectrum with less noise.

#include <tervalon/raw_history.h>

#include <memory>
#include <utility>

#include "tools/commands/processing_arguments.h"
#include "tools/print/failure.h"
#include "tools/processing/resampling.h"
#include "tools/processing/results.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  SeriesOptions series;
  SmoothingOptions smoothing = {.method = "savitzky-golay"};
  std::string step;
  ResultOptions result;
};

// As a step of the history, which knows traces of one range of masses.
PrcStep StepOf(const Options& options, const Series& series, const PrcSmoothing& smoothing) {
  PrcStep step = {};
  step.type = RAW_STEP_SMOOTH;
  step.smoothing = smoothing;
  step.grid = options.step.empty() ? 0 : StepArgument("--resample", options.step);
  if (series.is_spectrum) {
    step.scan = series.scan;
  } else if (series.trace.type == DM_TRACE_TIC) {
    step.trace = PRC_TRACE_TOTAL_ION;
  } else if (series.trace.type == DM_TRACE_BPI) {
    step.trace = PRC_TRACE_BASE_PEAK;
  } else if (series.window) {
    step.trace = PRC_TRACE_MASSES;
    step.low = series.window->low;
    step.high = series.window->high;
  } else {
    throw Failure(series.title, "cannot be saved: it is none of TIC, BPI and one range of masses");
  }
  return step;
}

void Run(const Options& options, const std::string& path, Output& output) {
  SeriesOptions one = options.series;
  one.data.directory = path;
  Series series = ReadSeries(one);
  if (!options.step.empty()) {
    Resample(series.title, StepArgument("--resample", options.step), /*interpolate=*/false,
             series.positions, series.intensities);
  }
  const PrcSmoothing smoothing = ParseSmoothing(options.smoothing);
  CheckProcessing(
      PrcSmooth(&smoothing, series.positions.data(), series.intensities.data(),
                static_cast<int32_t>(series.positions.size()), series.intensities.data()),
      series.title);
  Section summary = {.title = series.title + ", smoothed"};
  const bool is_mean = smoothing.method == PRC_SMOOTH_MEAN;
  summary.properties = {{"method", "Method", options.smoothing.method},
                        {"window", "Window", int64_t{options.smoothing.window}, "points"},
                        {"passes", "Passes", int64_t{smoothing.passes}},
                        {"point_count", "Points", static_cast<int64_t>(series.positions.size())}};
  if (!is_mean) {
    summary.properties.insert(summary.properties.begin() + 2,
                              {"degree", "Degree", int64_t{smoothing.degree}});
  }
  if (options.result.save) {
    const RawDirectory directory(DirectoryArgument(path));
    const DataReader reader(directory, series.data_set);
    SaveResult(options.result, reader, StepOf(options, series, smoothing), summary);
  }
  PrintResult(options.result, options.inputs, path, std::move(summary), series, output);
}

}  // namespace

void AddSmoothCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("smooth", "Smooth a trace or a spectrum");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddSeriesSelection(command, options->series);
  AddSmoothingOptions(command, options->smoothing, "--method", {"savitzky-golay", "mean"});
  command
      .AddOption("--resample", options->step,
                 "First bring the points onto a grid of that step, in\n"
                 "minutes or m/z, keeping their sum: smoothing takes points\n"
                 "at even distances only")
      .TypeName("STEP");
  AddResultOptions(command, options->result);
  command.Footer(
      "At the ends Savitzky-Golay's polynomial of the first and last window counts, and the mean\n"
      "is taken of fewer points.\n\n"
      "Examples:\n"
      "  tervalon smooth SAMPLE.RAW --trace 455.29 --window 9 --plot\n"
      "  tervalon smooth SAMPLE.RAW -f 2 -s 141 --method mean --window 5 --passes 2 --csv\n"
      "  tervalon smooth SAMPLE.RAW -f 2 -t 4.67 --resample 0.05 --save");
  command.Callback([&chosen, options] {
    CheckSeriesOptions(options->series);
    ParseSmoothing(options->smoothing);
    if (!options->step.empty()) StepArgument("--resample", options->step);
    chosen = ForEachInput(options, Run);
  });
}

}  // namespace tervalon::tools
