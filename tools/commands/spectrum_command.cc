// tervalon spectrum: the points of one scan.

#include <algorithm>
#include <memory>
#include <numeric>

#include "tools/commands/command.h"
#include "tools/data/function_description.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"
#include "tools/print/text_plot.h"

namespace tervalon::tools {
namespace {

struct Options {
  DataSetOptions data;
  FormatOptions format;
  int32_t scan = 0;
  std::string time;
  int32_t top = 0;
  bool plot = false;
};

struct ScanFlag {
  const char* key;
  bool set;
};

Section SummarySection(const DataReader& reader, int32_t scan, const Spectrum& spectrum) {
  const RawScanHeader& header = spectrum.header;
  Section section = {.title = reader.Subject() + ", scan " + std::to_string(scan)};
  section.properties = {
      {"scan", "Scan", int64_t{scan}},
      {"time", "Retention time", header.retention_time, "min", 4},
      {"point_count", "Points", int64_t{header.points & RAW_SCAN_POINTS_MASK}},
      {"points_delivered", "Points delivered", static_cast<int64_t>(spectrum.masses.size())},
      {"tic", "Total ion current", header.total_ion_current},
      {"base_peak_mass", "Base peak (as stored)", header.base_peak_mass, "m/z", 4},
      {"base_peak_intensity", "Base peak intensity", header.base_peak_intensity},
      {"low_mass", "From", header.low_mass, "m/z", 2},
      {"high_mass", "To", header.high_mass, "m/z", 2},
      {"segment", "Segment", int64_t{header.segment}},
  };
  const ScanFlag flags[] = {
      {"flag_a", (header.flags & RAW_SCAN_FLAG_A) != 0},
      {"flag_b_or_calibrated", (header.flags & RAW_SCAN_FLAG_B) != 0},
      {"flag_c", header.flag_c != 0},
      {"flag_d", (header.points & RAW_SCAN_FLAG_D) != 0},
      {"flag_e", (header.flags & RAW_SCAN_FLAG_E) != 0},
  };
  for (const ScanFlag& flag : flags) {
    section.properties.push_back({flag.key, flag.key, flag.set});
  }
  return section;
}

// Numbers (from 0) of the points to show: all, or the strongest, in the order of the scan.
std::vector<size_t> ChosenPoints(const Spectrum& spectrum, int32_t top) {
  std::vector<size_t> points(spectrum.masses.size());
  std::iota(points.begin(), points.end(), size_t{0});
  if (top > 0 && static_cast<size_t>(top) < points.size()) {
    std::ranges::stable_sort(points, std::greater(), [&spectrum](size_t point) {
      const float intensity = spectrum.intensities[point];
      return intensity == intensity ? intensity : -1;  // a stored NaN would upset the order
    });
    points.resize(static_cast<size_t>(top));
    std::ranges::sort(points);
  }
  return points;
}

template <typename Number>
std::vector<Number> Picked(const std::vector<Number>& values, const std::vector<size_t>& points) {
  std::vector<Number> picked;
  picked.reserve(points.size());
  for (const size_t point : points) {
    picked.push_back(values[point]);
  }
  return picked;
}

Section PointSection(const Spectrum& spectrum, int32_t top) {
  const std::vector<size_t> points = ChosenPoints(spectrum, top);
  std::vector<int32_t> numbers;
  numbers.reserve(points.size());
  for (const size_t point : points) {
    numbers.push_back(static_cast<int32_t>(point) + 1);
  }
  Section section = {.key = "points",
                     .title = top > 0 ? "Strongest points" : "Points",
                     .columns = {{"point", "Point", std::move(numbers)},
                                 {"mass", "m/z", Picked(spectrum.masses, points), 4},
                                 {"intensity", "Intensity", Picked(spectrum.intensities, points)}},
                     .layout = TableLayout::kColumns};
  if (!spectrum.flags.empty()) {
    section.columns.push_back({"flags", "Flags", Picked(spectrum.flags, points)});
  }
  return section;
}

// What people need not see: values that say nothing here, and keys without a title.
void MakeReadable(Section& summary, const Spectrum& spectrum) {
  const bool whole = spectrum.masses.size() == (spectrum.header.points & RAW_SCAN_POINTS_MASK);
  std::erase_if(summary.properties, [whole](const Property& property) {
    return property.key == "scan" || property.key.starts_with("flag_") ||
           (whole && property.key == "points_delivered");
  });
}

void Run(const Options& options, Output& output) {
  const RawDirectory directory(DirectoryArgument(options.data.directory));
  const DataReader reader(directory, options.data.data_set);
  int32_t scan = options.scan;
  if (!options.time.empty()) {
    scan = reader.ScanAtTime(TimeArgument("--time", options.time));
  }
  const Spectrum spectrum = reader.ReadSpectrum(scan);
  const auto points = spectrum.header.points & RAW_SCAN_POINTS_MASK;
  if (spectrum.masses.size() < points) {
    Warn(reader.Subject() + ", scan " + std::to_string(scan) + ": the data are cut off after " +
         std::to_string(spectrum.masses.size()) + " of " + std::to_string(points) + " points");
  }
  Section summary = SummarySection(reader, scan, spectrum);
  const Format format = options.format.format();
  if (format == Format::kText) {
    MakeReadable(summary, spectrum);
  }
  if (options.plot) {
    Print({.sections = {summary}}, format, output);
    if (!spectrum.masses.empty()) {
      output << "\n"
             << Plot(spectrum.masses, spectrum.intensities, PlotStyle::kSticks,
                     {.title = "Intensity", .x_title = "m/z", .width = console::OutputWidth()});
    }
    if (options.top > 0) {
      output << "\n";
      Print({.sections = {PointSection(spectrum, options.top)}}, format, output);
    }
    return;
  }
  Print({.sections = {summary, PointSection(spectrum, options.top)}, .csv_section = "points"},
        format, output);
}

}  // namespace

void AddSpectrumCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("spectrum", "Print the points of one scan");
  auto options = std::make_shared<Options>();
  AddDataSetOptions(command, options->data);
  AddScanChoice(command, "Which scan", options->scan, options->time).RequireOptions(1, 1);
  command.AddOption("--top", options->top, "Only the N strongest points, in the scan's order")
      .Between(1, RAW_MAX_POINTS)
      .TypeName("N");
  const Option plot = command.AddFlag("--plot", options->plot,
                                      "Draw the spectrum; points are listed only with --top");
  AddFormatOptions(command, options->format);
  plot.Excludes("--csv").Excludes("--json");
  command.Footer(
      "Each point has a mass (m/z, calibrated with the directory's calibration), an intensity\n"
      "(counts, in the instrument's own unit) and, in data types 11 and 12, four flag bits.\n"
      "Times are minutes. --csv prints the points, --json the scan's summary too; floats are\n"
      "printed so that they read back exactly.\n\n"
      "Examples:\n"
      "  tervalon spectrum SAMPLE.RAW -f 1 -s 12\n"
      "  tervalon spectrum SAMPLE.RAW -f 1 -t 4.25 --top 20 --plot\n"
      "  tervalon spectrum SAMPLE.RAW -f 2 -p 1 --data-type 1 -s 3 --csv > points.csv");
  command.Callback([&chosen, options] {
    if (!options->time.empty()) {
      TimeArgument("--time", options->time);
    }
    chosen = [options](Output& output) { Run(*options, output); };
  });
}

}  // namespace tervalon::tools
