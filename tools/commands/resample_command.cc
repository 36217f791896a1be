// tervalon resample: a spectrum or a trace on a regular grid.

#include <tervalon/linearisation.h>
#include <tervalon/memory.h>

#include <memory>

#include "tools/commands/series_reader.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

struct Options {
  SeriesOptions series;
  FormatOptions format;
  std::string step;
  bool interpolate = false;
};

float StepArgument(const std::string& text) {
  const auto step = static_cast<float>(NumberArgument("--step", text));
  if (!(step > 0)) {
    throw WrongUsage("--step: " + text + " is not above 0");
  }
  return step;
}

struct FreeBlock {
  void operator()(void* block) const { TvMemFree(static_cast<TvMemory>(block)); }
};

// A regular grid as positions and intensities.
Series Resample(const Series& series, float step, bool interpolate) {
  Series resampled = {.title = series.title, .is_spectrum = series.is_spectrum};
  if (series.positions.empty()) {
    return resampled;
  }
  const auto n = static_cast<int32_t>(series.positions.size());
  LinDataset result = {};
  const auto linearise = interpolate ? &LineariseDatasetNoFluxPreserve : &LineariseDataset;
  if (linearise(series.positions.data(), series.intensities.data(), n, step, &result) != 0) {
    throw Failure(series.title, "cannot be put on a grid of that step");
  }
  const std::unique_ptr<void, FreeBlock> block(result.values);
  const auto* const values = static_cast<const float*>(TvMemLock(result.values));
  resampled.intensities.assign(values, values + result.count);
  TvMemUnlock(result.values);
  for (uint32_t i = 0; i < result.count; ++i) {
    resampled.positions.push_back(static_cast<float>(result.first + i * double{result.step}));
  }
  return resampled;
}

void Run(const Options& options, Output& output) {
  Series series =
      Resample(ReadSeries(options.series), StepArgument(options.step), options.interpolate);
  const auto count = std::to_string(series.positions.size());
  Section section = {
      .key = "resampled",
      .title = series.title + ", " + count + " points",
      .columns = {{series.position_key(), series.position_title(), std::move(series.positions), 4},
                  {"intensity", "Intensity", std::move(series.intensities)}},
      .layout = TableLayout::kColumns};
  Print({.sections = {std::move(section)}, .csv_section = "resampled"}, options.format.format(),
        output);
}

}  // namespace

void AddResampleCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("resample", "Print a spectrum or a trace on a regular grid");
  auto options = std::make_shared<Options>();
  AddSeriesOptions(command, options->series);
  command.AddOption("--step", options->step, "Distance of the grid's points, in m/z or minutes")
      .Required()
      .TypeName("STEP");
  command.AddFlag("--interpolate", options->interpolate,
                  "Interpolate the intensities; their sum is not kept then");
  AddFormatOptions(command, options->format);
  command.Footer(
      "The grid begins at the first mass or time. Each point holds the intensity since the point\n"
      "before it, so that the intensities keep their sum.\n\n"
      "Examples:\n"
      "  tervalon resample SAMPLE.RAW -f 1 --scan 12 --step 0.05 --csv > scan12.csv\n"
      "  tervalon resample SAMPLE.RAW -f 1 --trace 184.1 --step 0.01 --interpolate");
  command.Callback([&chosen, options] {
    CheckSeriesOptions(options->series);
    StepArgument(options->step);
    chosen = [options](Output& output) { Run(*options, output); };
  });
}

}  // namespace tervalon::tools
