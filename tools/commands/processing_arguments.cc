#include "tools/commands/processing_arguments.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"
#include "tools/print/text_plot.h"
#include "tools/processing/saved_sets.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kMostPoints = 1'000'001;  // of a window

float NumberFrom(double low, const std::string& option, const std::string& text) {
  const double number = NumberArgument(option, text);
  if (number < low) {
    throw WrongUsage(option + ": " + text + " is below " + RoundedText(low, -1));
  }
  return static_cast<float>(number);
}

constexpr std::pair<const char*, int32_t> kBaselines[] = {{"dropped", PRC_BASELINE_DROPPED},
                                                          {"valleys", PRC_BASELINE_VALLEYS},
                                                          {"tangent", PRC_BASELINE_TANGENT}};

}  // namespace

void AddSmoothingOptions(Command command, SmoothingOptions& options, const std::string& method,
                         const std::vector<std::string>& methods) {
  command
      .AddOption(method, options.method,
                 "'savitzky-golay' (without this option, too) fits a\n"
                 "polynomial to the points around each, 'mean' takes their\n"
                 "mean" +
                     std::string(methods.size() > 2 ? ", 'none' leaves the trace as it is" : ""))
      .OneOf(methods)
      .TypeName("HOW");
  command.AddOption("--window", options.window, "Points around and with each, an odd number (7)")
      .Between(3, kMostPoints)
      .TypeName("N");
  command.AddOption("--degree", options.degree, "Of the polynomial, 1 to 20 (2)")
      .Between(1, PRC_MAX_DEGREE)
      .TypeName("N");
  command.AddOption("--passes", options.passes, "How often it is done, 1 to 100 (1)")
      .Between(1, PRC_MAX_PASSES)
      .TypeName("N");
}

PrcSmoothing ParseSmoothing(const SmoothingOptions& options) {
  if (options.window % 2 == 0) {
    throw WrongUsage("--window: " + std::to_string(options.window) + " is not odd");
  }
  const bool is_mean = options.method == "mean";
  if (!is_mean && options.degree >= options.window) {
    throw WrongUsage("--degree: " + std::to_string(options.degree) +
                     " is not below the window's points");
  }
  return {.method = is_mean ? PRC_SMOOTH_MEAN : PRC_SMOOTH_SAVITZKY_GOLAY,
          .half_width = options.window / 2,
          .passes = options.method == "none" ? 0 : options.passes,
          .degree = options.degree};
}

Threshold ParseThreshold(const std::string& text) {
  Threshold threshold = {PRC_THRESHOLD_INTENSITY, 0};
  std::string number = text;
  if (text.ends_with('x') || text.ends_with('%')) {
    threshold.unit = text.back() == 'x' ? PRC_THRESHOLD_NOISE : PRC_THRESHOLD_PERCENT;
    number.pop_back();
  }
  const std::optional<double> value = ParseNumber(number);
  if (!value || !(static_cast<float>(*value) >= 0) || !std::isfinite(static_cast<float>(*value))) {
    throw WrongUsage("--threshold: '" + text + "' is no threshold such as 5x, 2% or 1000");
  }
  threshold.value = static_cast<float>(*value);
  return threshold;
}

float ShareArgument(const std::string& option, const std::string& text) {
  const double share = NumberArgument(option, text);
  if (!(share >= 0 && share <= 1)) {
    throw WrongUsage(option + ": " + text + " is not between 0 and 1");
  }
  return static_cast<float>(share);
}

void AddCentroidingOptions(Command command, CentroidingOptions& options) {
  command
      .AddOption("--threshold", options.threshold,
                 "The least height of a peak: '3x' the noise (without this\n"
                 "option, too), '2%' of the highest, or an intensity")
      .TypeName("HEIGHT");
  command
      .AddOption("--rise", options.rise,
                 "The share of its height, 0 to 1, that a peak stands above\n"
                 "the valleys beside it (0.1)")
      .TypeName("SHARE");
  command
      .AddOption("--top", options.top,
                 "The share of a peak, from its top down, that the mass is\n"
                 "the centre of (0.8); 1: the whole peak")
      .TypeName("SHARE");
  command
      .AddOption("--resolution", options.resolution,
                 "Leave out what is narrower at half height than its mass\n"
                 "divided by this")
      .TypeName("R");
  command.AddFlag("--area", options.area, "Intensities are sums over the peaks, not their heights");
}

PrcCentroiding ParseCentroiding(const CentroidingOptions& options) {
  const Threshold threshold = ParseThreshold(options.threshold);
  const float top = ShareArgument("--top", options.top);
  if (!(top > 0)) throw WrongUsage("--top: " + options.top + " is not above 0");
  return {.threshold_unit = threshold.unit,
          .threshold = threshold.value,
          .rise = ShareArgument("--rise", options.rise),
          .top = top,
          .resolution = NumberFrom(0, "--resolution", options.resolution),
          .intensity = options.area ? PRC_INTENSITY_AREA : PRC_INTENSITY_HEIGHT};
}

void AddPeakSearchOptions(Command command, PeakSearchOptions& options) {
  AddSmoothingOptions(command, options.smoothing, "--smooth", {"savitzky-golay", "mean", "none"});
  command
      .AddOption("--threshold", options.threshold,
                 "How far a peak stands above the valleys beside it: '5x'\n"
                 "the noise (without this option, too), '2%' of the\n"
                 "highest, or an intensity")
      .TypeName("HEIGHT");
  command
      .AddOption("--baseline", options.baseline,
                 "Below peaks that overlap: 'dropped', one line, and they\n"
                 "are cut at the valleys (without this option, too);\n"
                 "'valleys', a line for each; or 'tangent' for small ones\n"
                 "on the flank of a large one")
      .OneOf({"dropped", "valleys", "tangent"})
      .TypeName("HOW");
  command
      .AddOption("--rider", options.rider,
                 "With tangents: the share of the large peak's height that\n"
                 "small ones are lower than (0.3)")
      .TypeName("SHARE");
}

PrcPeakSearch ParsePeakSearch(const PeakSearchOptions& options) {
  const Threshold threshold = ParseThreshold(options.threshold);
  PrcPeakSearch search = {.smoothing = ParseSmoothing(options.smoothing),
                          .threshold_unit = threshold.unit,
                          .threshold = threshold.value,
                          .baseline = PRC_BASELINE_DROPPED,
                          .rider = ShareArgument("--rider", options.rider)};
  for (const auto& [name, baseline] : kBaselines) {
    if (options.baseline == name) search.baseline = baseline;
  }
  return search;
}

void AddResultOptions(Command command, ResultOptions& options) {
  command.AddFlag("--save", options.save,
                  "Store the result as a processed data set, which 'history'\n"
                  "shows and '-p' names");
  const Option plot = command.AddFlag("--plot", options.plot, "Draw the result");
  AddFormatOptions(command, options.format);
  plot.Excludes("--csv").Excludes("--json");
}

void SaveResult(const ResultOptions& options, const DataReader& reader, const PrcStep& step,
                Section& summary) {
  if (!options.save) return;
  summary.properties.push_back({"process", "Processed data set", SaveStep(reader, step)});
}

void PrintResult(const ResultOptions& options, const Inputs& inputs, const std::string& path,
                 Section summary, const Series& result, Output& output) {
  Document document = {.sections = {std::move(summary)}, .csv_section = "points"};
  Label(inputs, path, *result.data_set.function, document);
  if (options.plot) {
    Print(document, Format::kText, output);
    if (!result.positions.empty()) {
      output << "\n"
             << Plot(result.positions, result.intensities,
                     result.is_spectrum ? PlotStyle::kSticks : PlotStyle::kCurve,
                     {.title = "Intensity",
                      .x_title = result.is_spectrum ? "m/z" : "min",
                      .width = console::OutputWidth()});
    }
    return;
  }
  document.sections.push_back(
      {.key = "points",
       .title = "Points",
       .columns = {{result.position_key(), result.position_title(), result.positions, 4},
                   {"intensity", "Intensity", result.intensities}},
       .layout = TableLayout::kColumns});
  Print(document, options.format.format(), output);
}

}  // namespace tervalon::tools
