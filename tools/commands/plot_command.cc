// tervalon plot: pictures of chromatograms and spectra.

#include <algorithm>
#include <memory>

#include "tools/commands/command.h"
#include "tools/commands/plot_arguments.h"
#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/pictures/found_peaks.h"
#include "tools/pictures/mass_map.h"
#include "tools/pictures/picture.h"
#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

std::string DirectoryName(const RawDirectory& directory) {
  return Utf8FromSystem(NameOf(PathOf(directory.path()).filename()));
}

// "DEMO.RAW, seven compounds"
std::string UsualTitle(const RawDirectory& directory) {
  const RawHeader& header = directory.header();
  const std::string sample =
      Utf8FromLatin1(header.sample_description, sizeof(header.sample_description));
  return DirectoryName(directory) + (sample.empty() ? "" : ", " + sample);
}

// "function 1, TOF MS, ES+, 12-Mar-2024 09:30:00, 240 scans, 0.03 to 7.97 min"
std::string Details(const DataReader& reader) {
  const DataSet& data_set = reader.data_set();
  const RawHeader& header = reader.directory().header();
  std::string text = "function " + std::to_string(*data_set.function) + ", ";
  text +=
      data_set.process != 0 ? "processed data set " + std::to_string(data_set.process) + ", " : "";
  text += FunctionTypeName(reader.record()) + ", " + IonModeName(reader.record());
  const std::string date = Utf8FromLatin1(header.acquired_date, sizeof(header.acquired_date));
  const std::string time = Utf8FromLatin1(header.acquired_time, sizeof(header.acquired_time));
  text += date.empty() ? "" : ", " + date + (time.empty() ? "" : " " + time);
  const int32_t scans = reader.ScanCount();
  if (scans > 0) {
    text += ", " + std::to_string(scans) + (scans == 1 ? " scan, " : " scans, ") +
            RoundedText(reader.ScanHeader(1).retention_time, 2) + " to " +
            RoundedText(reader.ScanHeader(scans).retention_time, 2) + " min";
  }
  return text;
}

struct Source {
  std::string name;  // of its series, where there are several sources
  std::unique_ptr<DataReader> reader;
};

// What the pictures' data come from.
class Sources {
 public:
  explicit Sources(const PlotRequest& request) {
    for (const std::string& path : request.directories) {
      directories_.push_back(std::make_unique<RawDirectory>(path));
      for (const DataSet& data_set : request.data_sets) {
        std::string name =
            request.directories.size() > 1 ? DirectoryName(*directories_.back()) : "";
        if (request.data_sets.size() > 1) {
          name += (name.empty() ? "function " : " function ") + std::to_string(*data_set.function);
        }
        sources_.push_back({name, std::make_unique<DataReader>(*directories_.back(), data_set)});
      }
    }
  }

  const std::vector<Source>& all() const { return sources_; }
  const DataReader& first() const { return *sources_[0].reader; }

  std::string Title() const {
    std::string title = UsualTitle(*directories_[0]);
    for (size_t i = 1; i < directories_.size(); ++i) {
      title = i == 1 ? DirectoryName(*directories_[0]) : title;
      title += ", " + DirectoryName(*directories_[i]);
    }
    return title;
  }
  std::string Subtitle() const { return sources_.size() == 1 ? Details(first()) : ""; }

 private:
  std::vector<std::unique_ptr<RawDirectory>> directories_;
  std::vector<Source> sources_;
};

// What a page shows: everything, or of each trace and scan what all sources have.
using Page = std::vector<PlotSeries>;

class PageReader {
 public:
  PageReader(const Sources& sources, const PlotRequest& request, const std::string& points)
      : sources_(sources), points_(points), own_pages_(request.pages) {
    for (const TraceRequest& trace : request.traces) {
      ReadOne([&](const DataReader& reader) {
        PlotSeries series = ReadChromatogramSeries(reader, trace);
        if (request.peaks) AddPeaks(reader.Subject(), *request.peaks, series);
        return series;
      });
    }
    for (const ScanRequest& scan : request.scans) {
      ReadOne([&](const DataReader& reader) {
        PlotSeries series = ReadSpectrum(reader, scan);
        if (request.centroids) AddCentroids(reader.Subject(), *request.centroids, series);
        return series;
      });
    }
  }

  std::vector<Page> Take() { return std::move(pages_); }

 private:
  PlotSeries ReadSpectrum(const DataReader& reader, const ScanRequest& scan) const {
    PlotSeries series = ReadSpectrumSeries(reader, scan);
    series.sticks = points_.empty() ? series.sticks : points_ == "sticks";
    return series;
  }

  template <typename Read>
  void ReadOne(Read read) {
    if (pages_.empty() || own_pages_) {
      pages_.emplace_back();
    }
    for (const Source& source : sources_.all()) {
      PlotSeries series = read(*source.reader);
      if (!source.name.empty()) {
        series.title.insert(0, source.name + " ");
      }
      series.title = Printable(series.title);
      pages_.back().push_back(std::move(series));
    }
  }

  const Sources& sources_;
  const std::string& points_;
  const bool own_pages_;
  std::vector<Page> pages_;
};

void PaintPlan(PlotPainter& painter, const PicturePlan& plan, const std::string& path) {
  for (const std::string& warning : plan.warnings) {
    std::string line = path;
    Warn(line.append(": ").append(warning));
  }
  painter.Paint(plan);
}

void Run(const PlotOptions& options, const PlotRequest& request, Output& output) {
  const Sources sources(request);
  PictureStyle style = request.style;
  style.title = Printable(options.has_title ? Utf8FromSystem(options.title) : sources.Title());
  style.details = options.has_title ? "" : Printable(sources.Subtitle());
  const PictureSize& size = request.size;
  MassMap map;
  std::vector<Page> pages;
  if (options.map) {
    map = ReadMassMap(sources.first(), style.x_range, style.y_range, size);
  } else {
    pages = PageReader(sources, request, options.points).Take();
  }
  Picture picture(request.path, size, options.format.empty() ? "" : Ending("." + options.format));
  {
    PlotPainter painter(picture.dc(), size, ThemeOf(options.theme), request.points);
    if (options.map) {
      PaintPlan(painter, PlanMap(map, style, size, painter.measure()), request.path);
    }
    for (size_t i = 0; i < pages.size(); ++i) {
      if (i > 0 && !picture.NextPage()) {
        throw Failure(request.path, "no page can be added");
      }
      PaintPlan(painter, PlanPicture(std::move(pages[i]), style, size, painter.measure()),
                request.path);
    }
  }
  picture.Finish(&output);
  if (request.path == "-") {
    return;
  }
  output << request.path + ": " + std::to_string(size.width) + " by " +
                std::to_string(size.height) + " pixels, " + std::to_string(size.pixels_per_inch) +
                " per inch" +
                (request.pages ? ", " + std::to_string(pages.size()) + " pages\n" : "\n");
}

void AddDataOptions(Command command, PlotOptions& options) {
  command.AddOption("DIR", options.directories, "Raw data directories").Required().TypeName("");
  AddDataSetSelection(command, options.data_set);
  const Command what = command.AddGroup("Data", "What is drawn");
  what.AddOption("--functions", options.functions, "Several functions in one picture, such as 1,2")
      .TypeName("LIST")
      .Excludes(command.GetOption("--function"))
      .Excludes(command.GetOption("--process"));
  const Option traces = what.AddOption("--trace", options.traces,
                                       "Chromatograms, separated by commas, as for 'chrom':\n"
                                       "TIC (without any of these, too), BPI, AN1, 184.1, ...")
                            .TypeName("TEXT");
  const Option scans =
      what.AddOption("-s,--scan", options.scans, "Spectra by scan numbers: 12,40 or 10-40")
          .TypeName("LIST");
  const Option times =
      what.AddOption("-t,--time", options.times, "Spectra of the scans nearest to times: 2.5,4.67")
          .TypeName("MINUTES");
  what.AddFlag("--map", options.map,
               "A map of all spectra: time to the right, m/z upward,\n"
               "colours for intensities on a logarithmic scale")
      .Excludes(traces)
      .Excludes(scans)
      .Excludes(times);
  what.AddOption("--points", options.points,
                 "How spectra are drawn: 'sticks', or 'joined' by lines;\n"
                 "without, as their data type asks for")
      .OneOf({"sticks", "joined"})
      .TypeName("HOW");
}

void AddPictureOptions(Command command, PlotOptions& options) {
  const Command picture = command.AddGroup("Picture", "Where it goes");
  picture
      .AddOption("-o,--output", options.output,
                 std::string("The file, ending in ") + Picture::Endings() +
                     ";\nwithout, it is named after DIR; '-' is standard output")
      .TypeName("FILE");
  picture
      .AddOption("--format", options.format,
                 std::string("What the picture is, whatever FILE ends in: ") + Picture::Endings() +
                     Picture::OtherFormats())
      .TypeName("KIND");
  picture
      .AddOption("--size", options.size,
                 "Width and height in pixels; without, 10 by 6.25 inches,\n"
                 "and higher for more than three plots")
      .TypeName("WxH");
  picture
      .AddOption("--resolution", options.pixels_per_inch,
                 "Pixels per inch, 36 to 1200: texts and lines grow with it")
      .Between(36, 1200)
      .TypeName("N");
  picture.AddFlag("--pages", options.pages,
                  "In a PDF file a page for each trace and scan, instead of\n"
                  "all on one");
  picture.AddOption("--text-size", options.text_size, "Points, 4 to 72, of the text; without, 9")
      .TypeName("N");
}

void AddAxesOptions(Command command, PlotOptions& options) {
  const Command axes = command.AddGroup("Axes", "What they show");
  axes.AddOption("--layout", options.layout,
                 "Several plots: 'stacked' one below another (without this\n"
                 "option, too), 'overlaid' in the same axes, '3d' one\n"
                 "behind another, 'mirrored' head to tail, or the\n"
                 "'difference' of two")
      .OneOf({"stacked", "overlaid", "3d", "mirrored", "difference"})
      .TypeName("HOW");
  axes.AddOption("--rows", options.style.rows, "Rows, 1 to 5, that the X axis is divided into")
      .Between(1, AXS_MAX_ROWS)
      .TypeName("N");
  axes.AddOption("--range", options.x_range, "What of the X axis is drawn").TypeName("LO-HI");
  axes.AddOption("--y-range", options.y_range, "What of the Y axis is drawn, in its own unit")
      .TypeName("LO-HI");
  axes.AddOption("--y-scale", options.y_scale,
                 "The scale of the Y axis: 'linear' (without this option,\n"
                 "too), 'log', or 'sqrt' for square roots")
      .OneOf({"linear", "log", "sqrt"})
      .TypeName("HOW");
  axes.AddOption("--magnify", options.magnified,
                 "Draw a range of the X axis F times as high; up to five\n"
                 "times")
      .TypeName("LO-HIxF")
      .Repeatable();
  const Option counts = axes.AddFlag("--counts", options.style.counts,
                                     "Intensities instead of percent on the Y axis");
  axes.AddFlag("--normalise", options.style.normalised,
               "Draw each relative to its own highest point")
      .Excludes(counts);
}

void AddLookOptions(Command command, PlotOptions& options) {
  const Command look = command.AddGroup("Look", "How it is drawn");
  look.AddOption("--theme", options.theme,
                 "The colours: 'light' (without this option, too), 'dark',\n"
                 "or 'print' without colours")
      .OneOf(ThemeNames())
      .TypeName("NAME");
  look.AddFlag("--filled", options.style.filled, "Fill the area below lines");
  look.AddOption("--mark", options.marks, "Shade a range of the X axis; can be repeated")
      .TypeName("LO-HI")
      .Repeatable();
  look.AddOption("--name", options.names,
                 "Write a name at the peak there: 455.29=verapamil; can be\n"
                 "repeated")
      .TypeName("X=TEXT")
      .Repeatable();
  look.AddFlag("--no-labels", options.no_labels, "No labels at peaks");
  look.AddFlag("--grid", options.style.grid, "A grid behind the data");
}

void AddPeakOptions(Command command, PlotOptions& options) {
  const Command peaks = command.AddGroup("Peaks", "What is found in the data and shown in them");
  peaks.AddFlag("--peaks", options.peaks,
                "Fill the peaks of chromatograms down to their baselines,\n"
                "with times and areas");
  peaks.AddFlag("--centroids", options.centroids,
                "Centroids of spectra as sticks over the profile");
  AddPeakSearchOptions(peaks, options.search);
}

}  // namespace

void AddPlotCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("plot", "Draw chromatograms and spectra as a picture file");
  auto options = std::make_shared<PlotOptions>();
  AddDataOptions(command, *options);
  AddPictureOptions(command, *options);
  AddAxesOptions(command, *options);
  AddLookOptions(command, *options);
  AddPeakOptions(command, *options);
  const Option title =
      command.AddText("--title", options->title, "The title, instead of the usual one")
          .TypeName("TEXT");
  command.Footer(
      "A chromatogram has times in minutes, a spectrum masses in m/z; 100% is the highest point\n"
      "of all that share axes, unless --normalise is given.\n\n"
      "Examples:\n"
      "  tervalon plot SAMPLE.RAW\n"
      "  tervalon plot SAMPLE.RAW --trace TIC,195.1,AN1 -o traces.svg\n"
      "  tervalon plot SAMPLE.RAW -t 4.67 --magnify 400-800x10 -o spectrum.pdf\n"
      "  tervalon plot SAMPLE.RAW -f 2 --scan 130-150 --layout 3d --filled -o peak.png\n"
      "  tervalon plot SAMPLE.RAW BLANK.RAW -t 4.67 --layout mirrored -o compared.svg\n"
      "  tervalon plot SAMPLE.RAW --scan 130-150 --pages -o scans.pdf\n"
      "  tervalon plot SAMPLE.RAW --trace 455.29 --peaks --baseline tangent -o peaks.svg\n"
      "  tervalon plot SAMPLE.RAW --map --theme dark");
  command.Callback([&chosen, options, title] {
    options->has_title = title.IsGiven();
    chosen = [options, request = ParsePlotOptions(*options)](Output& output) {
      Run(*options, request, output);
    };
  });
}

}  // namespace tervalon::tools
