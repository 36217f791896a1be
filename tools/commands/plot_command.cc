// tervalon plot: pictures of chromatograms and spectra.

#include <algorithm>
#include <map>
#include <memory>

#include "tools/commands/command.h"
#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/data/trace_reader.h"
#include "tools/pictures/picture.h"
#include "tools/pictures/plot_drawing.h"
#include "tools/pictures/plot_series.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr double kUsualWidth = 10;  // inches
constexpr double kUsualHeight = 6.25;
constexpr int32_t kMostPixels = 20000;
constexpr size_t kMostSeries = 200;

struct Options {
  DataSetOptions data;
  std::string traces;
  std::string scans;
  std::string times;
  std::string output;
  std::string size;
  int32_t pixels_per_inch = 0;
  std::string layout = "stacked";
  std::string points;
  std::string range;
  std::vector<std::string> magnified;
  std::string title;
  bool has_title = false;
  bool no_labels = false;
  PictureStyle style;
};

// What a command line asks for, checked.
struct Plan {
  std::vector<TraceRequest> traces;
  std::vector<ScanRequest> scans;
  std::string path;
  PictureSize size = {};
  PictureStyle style;
};

std::vector<std::string> Parts(const std::string& text, char separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

// "LO-HI"; nothing for anything else.
std::optional<Window> ParseSpan(const std::string& text) {
  const size_t hyphen = text.find('-', 1);
  if (hyphen == std::string::npos) {
    return std::nullopt;
  }
  const std::optional<double> low = ParseNumber(text.substr(0, hyphen));
  const std::optional<double> high = ParseNumber(text.substr(hyphen + 1));
  if (!low || !high || !(static_cast<float>(*low) < static_cast<float>(*high))) {
    return std::nullopt;
  }
  return Window{static_cast<float>(*low), static_cast<float>(*high)};
}

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

std::vector<ScanRequest> ParseScans(const Options& options) {
  std::vector<ScanRequest> scans;
  if (!options.scans.empty()) {
    for (const std::string& part : Parts(options.scans, ',')) {
      AddScans(part, scans);
    }
  }
  if (!options.times.empty()) {
    for (const std::string& part : Parts(options.times, ',')) {
      const double minutes = NumberArgument("--time", part);
      if (minutes < 0) {
        throw WrongUsage("--time: " + part + " is before the start");
      }
      scans.push_back({.minutes = static_cast<float>(minutes)});
    }
  }
  return scans;
}

// "400-700x10"
AxsMagnify ParseMagnified(const std::string& text) {
  const size_t times = text.find_last_of("xX*");
  if (times != std::string::npos) {
    const std::optional<Window> range = ParseSpan(text.substr(0, times));
    const std::optional<double> factor = ParseNumber(text.substr(times + 1));
    if (range && factor && *factor > 0 && *factor <= 10000) {
      return {range->low, range->high, static_cast<float>(*factor)};
    }
  }
  throw WrongUsage("--magnify: '" + text + "' is no range and factor such as 400-700x10");
}

PictureSize ParseSize(const std::string& text, int32_t pixels_per_inch) {
  if (text.empty()) {
    return {static_cast<int32_t>(kUsualWidth * pixels_per_inch),
            static_cast<int32_t>(kUsualHeight * pixels_per_inch), pixels_per_inch};
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

// Named after the directory, in the working directory.
std::string OutputPath(const Options& options, const std::string& directory) {
  if (!options.output.empty()) {
    return DirectoryArgument(options.output);
  }
  const std::string endings = Picture::Endings();
  const std::string name = NameOf(PathOf(directory).stem());
  return (name.empty() ? "plot" : name) + "." + endings.substr(0, endings.find_first_of(", "));
}

Layout LayoutOf(const std::string& name) {
  return name == "stacked" ? Layout::kStacked
                           : (name == "overlaid" ? Layout::kOverlaid : Layout::kDepth);
}

Plan MakePlan(const Options& options) {
  Plan plan;
  plan.scans = ParseScans(options);
  plan.style = options.style;
  plan.style.labels = !options.no_labels;
  if (!options.traces.empty() || plan.scans.empty()) {
    plan.traces = ParseTraces(options.traces.empty() ? "TIC" : options.traces, {});
  }
  plan.style.layout = LayoutOf(options.layout);
  const size_t count = plan.traces.size() + plan.scans.size();
  if (count > kMostSeries) {
    throw WrongUsage("more than " + std::to_string(kMostSeries) + " plots are asked for");
  }
  if (plan.style.layout != Layout::kStacked && !plan.traces.empty() && !plan.scans.empty()) {
    throw WrongUsage(
        "--layout: chromatograms and spectra have different axes; they can be stacked");
  }
  if (!options.range.empty()) {
    plan.style.x_range = ParseSpan(options.range);
    if (!plan.style.x_range) {
      throw WrongUsage("--range: '" + options.range + "' is no range such as 150-400");
    }
  }
  if (options.magnified.size() > AXS_MAX_MAGNIFY_RANGES) {
    throw WrongUsage("--magnify: more than " + std::to_string(AXS_MAX_MAGNIFY_RANGES) + " ranges");
  }
  std::ranges::transform(options.magnified, std::back_inserter(plan.style.magnified),
                         ParseMagnified);
  plan.path = OutputPath(options, DirectoryArgument(options.data.directory));
  const int32_t usual = Picture::UsualResolution(plan.path);
  if (usual == 0) {
    throw WrongUsage("--output: '" + plan.path + "' does not end in " + Picture::Endings());
  }
  plan.size =
      ParseSize(options.size, options.pixels_per_inch != 0 ? options.pixels_per_inch : usual);
  return plan;
}

// "DEMO.RAW, seven compounds, 1: TOF MS"
std::string UsualTitle(const DataReader& reader) {
  const RawDirectory& directory = reader.directory();
  std::string title = NameOf(PathOf(directory.path()).filename());
  const RawHeader& header = directory.header();
  const std::string sample =
      Utf8FromLatin1(header.sample_description, sizeof(header.sample_description));
  title = Utf8FromSystem(title) + (sample.empty() ? "" : ", " + sample);
  const DataSet& data_set = reader.data_set();
  title += ", " + std::to_string(*data_set.function) + ": " + FunctionTypeName(reader.record());
  if (data_set.process != 0) {
    title += ", processed data set " + std::to_string(data_set.process);
  }
  return title;
}

// An empty picture would not say that the range holds nothing.
void CheckRange(const std::optional<Window>& range, const std::vector<PlotSeries>& series,
                const std::string& subject) {
  if (!range) {
    return;
  }
  const bool held = std::ranges::any_of(series, [&](const PlotSeries& one) {
    return std::ranges::any_of(one.x, [&](float x) { return x >= range->low && x <= range->high; });
  });
  if (!held) {
    throw Failure(subject, "nothing lies in --range");
  }
}

void Run(const Options& options, const Plan& plan, Output& output) {
  const RawDirectory directory(DirectoryArgument(options.data.directory));
  const DataReader reader(directory, options.data.data_set);
  std::vector<PlotSeries> series;
  for (const TraceRequest& request : plan.traces) {
    series.push_back(ReadChromatogramSeries(reader, request));
  }
  for (const ScanRequest& request : plan.scans) {
    series.push_back(ReadSpectrumSeries(reader, request));
    if (!options.points.empty()) {
      series.back().sticks = options.points == "sticks";
    }
  }
  CheckRange(plan.style.x_range, series, reader.Subject());
  PictureStyle style = plan.style;
  style.title = Printable(options.has_title ? Utf8FromSystem(options.title) : UsualTitle(reader));
  Picture picture(plan.path, plan.size);
  DrawPlots(picture.dc(), plan.size.width, plan.size.height, std::move(series), style);
  picture.Finish();
  output << plan.path + ": " + std::to_string(plan.size.width) + " by " +
                std::to_string(plan.size.height) + " pixels, " +
                std::to_string(plan.size.pixels_per_inch) + " per inch\n";
}

}  // namespace

void AddPlotCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("plot", "Draw chromatograms and spectra as a picture file");
  auto options = std::make_shared<Options>();
  AddDataSetOptions(command, options->data);
  const Command what = command.AddGroup("Data", "What is drawn");
  what.AddOption("--trace", options->traces,
                 "Chromatograms, separated by commas, as for 'chrom':\n"
                 "TIC (without any of these, too), BPI, AN1, 184.1, ...")
      .TypeName("TEXT");
  what.AddOption("-s,--scan", options->scans, "Spectra by scan numbers: 12,40 or 10-40")
      .TypeName("LIST");
  what.AddOption("-t,--time", options->times, "Spectra of the scans nearest to times: 2.5,4.67")
      .TypeName("MINUTES");
  what.AddOption("--points", options->points,
                 "How spectra are drawn: 'sticks', or 'joined' by lines;\n"
                 "without, as their data type asks for")
      .OneOf({"sticks", "joined"})
      .TypeName("HOW");
  const Command picture = command.AddGroup("Picture", "Where it goes");
  picture
      .AddOption("-o,--output", options->output,
                 std::string("The file, ending in ") + Picture::Endings() +
                     ";\nwithout, it is named after DIR")
      .TypeName("FILE");
  picture
      .AddOption("--size", options->size, "Width and height in pixels; without, 10 by 6.25 inches")
      .TypeName("WxH");
  picture
      .AddOption("--resolution", options->pixels_per_inch,
                 "Pixels per inch, 36 to 1200: texts and lines grow with it")
      .Between(36, 1200)
      .TypeName("N");
  const Command look = command.AddGroup("Look", "How it is drawn");
  look.AddOption("--layout", options->layout,
                 "Several plots: 'stacked' one below another (without this\n"
                 "option, too), 'overlaid' in the same axes, '3d' one\n"
                 "behind another")
      .OneOf({"stacked", "overlaid", "3d"})
      .TypeName("HOW");
  look.AddOption("--rows", options->style.rows, "Rows, 1 to 5, that the X axis is divided into")
      .Between(1, AXS_MAX_ROWS)
      .TypeName("N");
  look.AddOption("--range", options->range, "What of the X axis is drawn").TypeName("LO-HI");
  look.AddOption("--magnify", options->magnified,
                 "Draw a range of the X axis F times as high; up to five\n"
                 "times")
      .TypeName("LO-HIxF")
      .Repeatable();
  const Option counts = look.AddFlag("--counts", options->style.counts,
                                     "Intensities instead of percent on the Y axis");
  look.AddFlag("--normalise", options->style.normalised,
               "Draw each relative to its own highest point")
      .Excludes(counts);
  look.AddFlag("--filled", options->style.filled, "Fill the area below lines");
  look.AddFlag("--no-labels", options->no_labels, "No labels at peaks");
  look.AddFlag("--grid", options->style.grid, "A grid behind the data");
  const Option title =
      look.AddText("--title", options->title, "The title, instead of the usual one")
          .TypeName("TEXT");
  command.Footer(
      "A chromatogram has times in minutes, a spectrum masses in m/z; 100% is the highest point\n"
      "of all that share axes, unless --normalise is given.\n\n"
      "Examples:\n"
      "  tervalon plot SAMPLE.RAW\n"
      "  tervalon plot SAMPLE.RAW --trace TIC,195.1,AN1 -o traces.svg\n"
      "  tervalon plot SAMPLE.RAW -t 4.67 --magnify 400-800x10 -o spectrum.pdf\n"
      "  tervalon plot SAMPLE.RAW -f 2 --scan 130-150 --layout 3d --filled -o peak.png");
  command.Callback([&chosen, options, title] {
    options->has_title = title.IsGiven();
    chosen = [options, plan = MakePlan(*options)](Output& output) { Run(*options, plan, output); };
  });
}

}  // namespace tervalon::tools
