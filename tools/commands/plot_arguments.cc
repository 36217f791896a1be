#include "tools/commands/plot_arguments.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "tools/data/files.h"
#include "tools/pictures/typed_ranges.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr double kUsualWidth = 10;  // inches
constexpr double kUsualHeight = 6.25;
constexpr double kUsualPoints = 9;
constexpr int32_t kMostPixels = 20000;
constexpr size_t kMostSeries = 200;

// "12", or "10-40" for each of them.
void AddScans(const std::string& text, std::vector<ScanRequest>& scans) {
  const size_t hyphen = std::min(text.find('-', 1), text.size());
  const std::optional<double> first = ParseNumber(text.substr(0, hyphen));
  const std::optional<double> last =
      hyphen == text.size() ? first : ParseNumber(text.substr(hyphen + 1));
  if (!first || !last || *first < 1 || *last > INT32_MAX || *last < *first ||
      *first != static_cast<int32_t>(*first) || *last != static_cast<int32_t>(*last)) {
    throw WrongUsage("--scan: '" + text + "' is no scan such as 12, nor scans such as 10-40");
  }
  for (double scan = *first; scan <= *last && scans.size() <= kMostSeries; ++scan) {
    scans.push_back({.scan = static_cast<int32_t>(scan)});
  }
}

std::vector<ScanRequest> ParseScans(const PlotOptions& options) {
  std::vector<ScanRequest> scans;
  if (!options.scans.empty()) {
    for (const std::string& part : Parts(options.scans, ',')) {
      AddScans(part, scans);
    }
  }
  if (!options.times.empty()) {
    for (const std::string& part : Parts(options.times, ',')) {
      scans.push_back({.minutes = TimeArgument("--time", part)});
    }
  }
  return scans;
}

// Without a text, of a height for that many plots one below another.
PictureSize ParseSize(const std::string& text, int32_t pixels_per_inch, size_t plots) {
  if (text.empty()) {
    const double height = kUsualHeight * UsualGrowth(plots) * pixels_per_inch;
    return {static_cast<int32_t>(kUsualWidth * pixels_per_inch),
            static_cast<int32_t>(std::min<double>(height, kMostPixels)), pixels_per_inch};
  }
  const std::vector<std::string> parts = Parts(text, 'x');
  int32_t sides[2] = {};
  bool good = parts.size() == 2;
  for (size_t i = 0; good && i < 2; ++i) {
    const std::optional<double> pixels = ParseNumber(parts[i]);
    good = pixels && *pixels >= 1 && *pixels <= kMostPixels &&
           *pixels == static_cast<int32_t>(*pixels);
    sides[i] = good ? static_cast<int32_t>(*pixels) : 0;
  }
  if (!good) {
    throw WrongUsage("--size: '" + text + "' is no width and height in pixels, at most " +
                     std::to_string(kMostPixels) + " each, such as 1600x900");
  }
  return {sides[0], sides[1], pixels_per_inch};
}

// Named after the first directory, in the working directory.
std::string OutputPath(const PlotOptions& options, const std::string& directory) {
  if (!options.output.empty()) {
    return DirectoryArgument(options.output);
  }
  const std::string endings = Picture::Endings();
  const std::string name = NameOf(PathOf(directory).stem());
  return (name.empty() ? "plot" : name) + "." + endings.substr(0, endings.find_first_of(", "));
}

std::optional<Window> ParseRange(const char* option, const std::string& text) {
  if (text.empty()) {
    return std::nullopt;
  }
  const std::optional<Window> range = ParseSpan(text);
  if (!range) {
    throw WrongUsage(std::string(option) + ": '" + text + "' is no range such as 150-400");
  }
  return range;
}

// "455.29=verapamil"
PeakName ParseName(const std::string& text) {
  const size_t equals = text.find('=');
  const std::optional<double> x = ParseNumber(text.substr(0, equals));
  if (equals == std::string::npos || equals + 1 == text.size() || !x) {
    throw WrongUsage("--name: '" + text + "' is no place and name such as 455.29=verapamil");
  }
  return {static_cast<float>(*x), Printable(Utf8FromSystem(text.substr(equals + 1)))};
}

Layout LayoutOf(const std::string& name) {
  static const std::map<std::string, Layout> kLayouts = {{"stacked", Layout::kStacked},
                                                         {"overlaid", Layout::kOverlaid},
                                                         {"3d", Layout::kDepth},
                                                         {"mirrored", Layout::kMirrored},
                                                         {"difference", Layout::kDifference}};
  return kLayouts.at(name);
}

YScale YScaleOf(const std::string& name) {
  return name == "log" ? YScale::kLog : name == "sqrt" ? YScale::kSqrt : YScale::kLinear;
}

void ParseData(const PlotOptions& options, PlotRequest& request) {
  std::ranges::transform(options.directories, std::back_inserter(request.directories),
                         DirectoryArgument);
  request.data_sets = {options.data_set};
  if (!options.functions.empty()) {
    request.data_sets.clear();
    for (const std::string& part : Parts(options.functions, ',')) {
      const std::optional<double> function = ParseNumber(part);
      if (!function || *function < 1 || *function > RAW_MAX_FUNCTIONS ||
          *function != static_cast<int>(*function)) {
        throw WrongUsage("--functions: '" + part + "' is no function, 1 to 32");
      }
      request.data_sets.push_back({.function = static_cast<int>(*function)});
    }
  }
  request.scans = ParseScans(options);
  if (!options.map && (!options.traces.empty() || request.scans.empty())) {
    request.traces = ParseTraces(options.traces.empty() ? "TIC" : options.traces, {});
  }
  if (request.SeriesCount() > kMostSeries) {
    throw WrongUsage("more than " + std::to_string(kMostSeries) + " plots are asked for");
  }
  if (options.map && request.SourceCount() > 1) {
    throw WrongUsage("--map: one function of one directory is drawn");
  }
}

void ParsePeaks(const PlotOptions& options, PlotRequest& request) {
  PeakSearchOptions search = options.search;
  if (options.peaks) {
    search.threshold = search.threshold.empty() ? PeakSearchOptions().threshold : search.threshold;
    request.peaks = ParsePeakSearch(search);
    if (request.traces.empty()) throw WrongUsage("--peaks: there is no chromatogram");
  }
  if (options.centroids) {
    CentroidingOptions centroiding;
    if (!options.search.threshold.empty()) centroiding.threshold = options.search.threshold;
    request.centroids = ParseCentroiding(centroiding);
    if (request.scans.empty()) throw WrongUsage("--centroids: there is no spectrum");
  }
}

void CheckLayout(const PlotRequest& request) {
  const PictureStyle& style = request.style;
  if (!request.pages && style.layout != Layout::kStacked && !request.traces.empty() &&
      !request.scans.empty()) {
    throw WrongUsage(
        "--layout: chromatograms and spectra have different axes; they can be stacked");
  }
  const bool of_two = style.layout == Layout::kMirrored || style.layout == Layout::kDifference;
  if (of_two && request.SeriesOfPage() != 2) {
    throw WrongUsage("--layout: two plots are compared, not " +
                     std::to_string(request.SeriesOfPage()));
  }
  if (style.y_scale != YScale::kLinear && !style.magnified.empty()) {
    throw WrongUsage("--magnify: the Y scale has to be linear");
  }
  if (style.y_scale == YScale::kLog && of_two) {
    throw WrongUsage("--y-scale: a logarithmic scale has no room for negative values");
  }
}

PictureStyle ParseStyle(const PlotOptions& options) {
  PictureStyle style = options.style;
  style.labels = !options.no_labels;
  style.layout = LayoutOf(options.layout);
  style.y_scale = YScaleOf(options.y_scale);
  style.x_range = ParseRange("--range", options.x_range);
  style.y_range = ParseRange("--y-range", options.y_range);
  if (style.y_range && style.y_scale == YScale::kLog && style.y_range->low <= 0) {
    throw WrongUsage("--y-range: a logarithmic scale begins above 0");
  }
  for (const std::string& mark : options.marks) {
    style.marks.push_back(*ParseRange("--mark", mark));
  }
  std::ranges::transform(options.names, std::back_inserter(style.names), ParseName);
  if (options.magnified.size() > AXS_MAX_MAGNIFY_RANGES) {
    throw WrongUsage("--magnify: more than " + std::to_string(AXS_MAX_MAGNIFY_RANGES) + " ranges");
  }
  std::ranges::transform(options.magnified, std::back_inserter(style.magnified), ParseMagnified);
  return style;
}

}  // namespace

PlotRequest ParsePlotOptions(const PlotOptions& options) {
  PlotRequest request;
  ParseData(options, request);
  request.pages = options.pages;
  request.style = ParseStyle(options);
  CheckLayout(request);
  ParsePeaks(options, request);
  request.path = OutputPath(options, request.directories[0]);
  const bool has_format = !options.format.empty();
  const std::string kind = has_format ? "." + options.format : request.path;
  const int32_t usual = Picture::UsualResolution(kind);
  if (usual == 0) {
    throw WrongUsage(has_format ? "--format: '" + options.format + "' is not " + Picture::Endings()
                                : "--output: '" + request.path + "' does not end in " +
                                      Picture::Endings());
  }
  if (request.pages && PictureEnding(kind) != "pdf") {
    throw WrongUsage("--pages: only a PDF file has several");
  }
  request.points = kUsualPoints;
  if (!options.text_size.empty()) {
    request.points = NumberArgument("--text-size", options.text_size);
    if (request.points < 4 || request.points > 72) {
      throw WrongUsage("--text-size: " + options.text_size + " is not between 4 and 72");
    }
  }
  const bool stacked = request.style.layout == Layout::kStacked && !options.map;
  request.size =
      ParseSize(options.size, options.pixels_per_inch != 0 ? options.pixels_per_inch : usual,
                stacked ? request.SeriesOfPage() : 1);
  return request;
}

}  // namespace tervalon::tools
