// tervalon resample: a spectrum or a trace on a regular grid.

#include <memory>

#include "tools/commands/series_reader.h"
#include "tools/processing/resampling.h"

namespace tervalon::tools {
namespace {

struct Options {
  SeriesOptions series;
  FormatOptions format;
  std::string step;
  bool interpolate = false;
};

void Run(const Options& options, Output& output) {
  Series series = ReadSeries(options.series);
  Resample(series.title, StepArgument("--step", options.step), options.interpolate,
           series.positions, series.intensities);
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
    StepArgument("--step", options->step);
    chosen = [options](Output& output) { Run(*options, output); };
  });
}

}  // namespace tervalon::tools
