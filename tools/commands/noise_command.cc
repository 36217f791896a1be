// tervalon noise: the noise of a trace or a spectrum.

#include <tervalon/noise_statistics.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>

#include "tools/commands/many_inputs.h"
#include "tools/commands/series_reader.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  SeriesOptions series;
  FormatOptions format;
  std::string from;
  std::string to;
  int32_t order = 1;
};

struct Window {
  float from;
  float to;
};

Window WindowArgument(const Options& options) {
  constexpr float kEverything = std::numeric_limits<float>::max();
  Window window = {-kEverything, kEverything};
  if (!options.from.empty()) {
    window.from = static_cast<float>(NumberArgument("--from", options.from));
  }
  if (!options.to.empty()) {
    window.to = static_cast<float>(NumberArgument("--to", options.to));
  }
  if (!(window.from < window.to)) {
    throw WrongUsage("--from, --to: the window ends before it begins");
  }
  return window;
}

// What the window holds of a series whose positions ascend, and the window cut to the series.
std::vector<float> Cut(const Series& series, Window* window) {
  const std::vector<float>& at = series.positions;
  const auto first = std::ranges::lower_bound(at, window->from);
  const auto last = std::ranges::lower_bound(at, window->to);
  if (first >= last) {
    throw Failure(series.title, "nothing lies in the window");
  }
  window->from = std::max(window->from, *first);
  if (last == at.end()) {
    window->to = std::nextafter(at.back(), std::numeric_limits<float>::max());
  }
  return {series.intensities.begin() + (first - at.begin()),
          series.intensities.begin() + (last - at.begin())};
}

SystemRawFile RawFile(const std::string& directory, int32_t scan, const DataSet& data_set) {
  SystemRawFile file = {};
  const std::string path = console::SystemText(directory);
  std::memcpy(file.directory, path.c_str(), std::min(path.size(), sizeof(file.directory) - 1));
  file.function = static_cast<int16_t>(*data_set.function);
  file.process = static_cast<int16_t>(data_set.process);
  file.first_value = scan;
  return file;
}

// The range and the rate of extremes, whose window has some length.
std::vector<Property> WindowStatistics(const Series& series, const SystemRawFile& file,
                                       const Window& window) {
  float range = 0;
  float rate = 0;
  const int32_t measured =
      series.is_spectrum
          ? SpecStatCalcNoiseStats(&file, window.from, window.to, &range, &rate)
          : ChroStatCalcNoiseStats(&file, &series.trace, window.from, window.to, &range, &rate);
  if (measured == 0) {
    throw Failure(series.title, "cannot be measured");
  }
  return {{"range", "Range", range},
          {"extrema_rate", "Local extremes", rate, series.is_spectrum ? "per m/z" : "per min", 2}};
}

std::optional<float> NoiseLevel(const std::vector<float>& values, int32_t order) {
  float noise = 0;
  const auto count = static_cast<int32_t>(values.size());
  if (ChroStatCalcNoiseLevel(values.data(), count, order, &noise) == 0) {
    return std::nullopt;
  }
  return noise;
}

void AddThreshold(const std::vector<float>& values, Section* section) {
  float threshold = 0;
  CalcMassChroNoiseLevel(values.data(), static_cast<int32_t>(values.size()), &threshold);
  section->properties.push_back({"threshold", "Threshold", threshold});
}

void AddTraceStatistics(const Series& series, const SystemRawFile& file, Section* section) {
  float largest = 0;
  const float cycle_time = ChroStatGetCycleTime(&file, &series.trace, &largest);
  section->properties.push_back({"cycle_time", "Cycle time (whole trace)", cycle_time, "min", 5});
  section->properties.push_back({"largest", "Largest (whole trace)", largest});
}

void Run(const Options& options, const std::string& path, Output& output) {
  SeriesOptions one = options.series;
  one.data.directory = path;
  const Series series = ReadSeries(one);
  const SystemRawFile file = RawFile(path, series.scan, series.data_set);
  Window window = WindowArgument(options);
  const std::vector<float> values = Cut(series, &window);
  Section section = {.title = series.title};
  const int decimals = 4;
  const std::string unit = series.is_spectrum ? "m/z" : "min";
  section.properties = {{"from", "From", window.from, unit, decimals},
                        {"to", "To", window.to, unit, decimals},
                        {"count", "Points", static_cast<int64_t>(values.size())}};
  // What the library reads by itself it takes to be packed as the function is.
  const bool readable = !series.data_set.data_type;
  if (readable) {
    for (Property& property : WindowStatistics(series, file, window)) {
      section.properties.push_back(std::move(property));
    }
  }
  const std::optional<float> noise = NoiseLevel(values, options.order);
  section.properties.push_back(
      {"noise_level", "Noise level", noise ? Value(*noise) : Value(std::monostate())});
  if (!series.is_spectrum) {
    AddThreshold(values, &section);
    if (readable) {
      AddTraceStatistics(series, file, &section);
    }
  }
  Document document = {.sections = {std::move(section)}};
  Label(options.inputs, path, *series.data_set.function, document);
  Print(document, options.format.format(), output);
}

}  // namespace

void AddNoiseCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("noise", "Measure the noise of a trace or a spectrum");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddSeriesSelection(command, options->series);
  command.AddOption("--from", options->from, "Where the window begins, in minutes or m/z")
      .TypeName("AT");
  command.AddOption("--to", options->to, "Where it ends; a point there is outside").TypeName("AT");
  command
      .AddOption("--order", options->order,
                 "Order of the differences that the noise level is\n"
                 "estimated from, 0 to 20 (1 when not given)")
      .Between(0, 20)
      .TypeName("N");
  AddFormatOptions(command, options->format);
  command.Footer(
      "The range is the highest intensity of the window less the lowest, the noise level an\n"
      "estimate of the noise's standard deviation that peaks hardly disturb, the threshold the\n"
      "mean and four standard deviations, at least 2500. Of processed data sets with another data\n"
      "type than their function only the last two are measured.\n\n"
      "Examples:\n"
      "  tervalon noise SAMPLE.RAW -f 1 --trace 184.1 --from 0 --to 2\n"
      "  tervalon noise SAMPLE.RAW -f 1 --scan 12 --from 300 --to 400 --json");
  command.Callback([&chosen, options] {
    CheckSeriesOptions(options->series);
    WindowArgument(*options);
    chosen = ForEachInput(options, Run);
  });
}

}  // namespace tervalon::tools
