// tervalon chrom: one value per scan over a whole function.

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <numeric>

#include "tools/command.h"
#include "tools/console.h"
#include "tools/failure.h"
#include "tools/progress_bar.h"
#include "tools/text.h"
#include "tools/text_plot.h"

namespace tervalon::tools {
namespace {

struct Options {
  DataSetOptions data;
  FormatOptions format;
  bool total_ion = false;
  bool base_peak = false;
  std::vector<std::string> masses;
  bool plot = false;
};

// "LO-HI"
MassWindow ParseWindow(const std::string& text) {
  const WrongUsage wrong("--mass: '" + text + "' is not a range of masses such as 184.0-184.2");
  double low = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, low);
  if (parsed.ec != std::errc() || parsed.ptr == end || *parsed.ptr != '-') {
    throw wrong;
  }
  const std::optional<double> high = ParseNumber(std::string_view(parsed.ptr + 1, end));
  if (!high || !std::isfinite(low)) {
    throw wrong;
  }
  if (low > *high) {
    throw WrongUsage("--mass: '" + text + "' begins above its end");
  }
  return {static_cast<float>(low), static_cast<float>(*high)};
}

std::vector<MassWindow> ParseWindows(const std::vector<std::string>& texts) {
  std::vector<MassWindow> windows;
  std::ranges::transform(texts, std::back_inserter(windows), ParseWindow);
  return windows;
}

// A trace's key and title.
struct Name {
  std::string key;
  std::string title;
};

std::vector<Name> TraceNames(const Options& options) {
  if (options.base_peak) {
    return {{"bpi", "Base peak intensity"}};
  }
  if (options.masses.empty()) {
    return {{"tic", "Total ion current"}};
  }
  std::vector<Name> names;
  for (const std::string& mass : options.masses) {
    names.push_back({"mass_" + mass, "m/z " + mass});
  }
  return names;
}

Chromatogram Read(const Options& options, const DataReader& reader) {
  const ProgressBar progress;
  if (!options.masses.empty()) {
    return reader.ReadMassChromatograms(ParseWindows(options.masses));
  }
  return reader.ReadIndexChromatogram(options.base_peak ? RAW_CHROM_BASE_PEAK
                                                        : RAW_CHROM_TOTAL_ION);
}

void PrintPlots(const Chromatogram& chromatogram, const std::vector<Name>& names,
                const std::string& title, Output& output) {
  output << title << "\n";
  for (size_t i = 0; i < names.size() && !chromatogram.times.empty(); ++i) {
    const std::vector<float>& trace = chromatogram.traces[i];
    const auto apex = std::ranges::max_element(trace) - trace.begin();
    output << "\n"
           << Plot(chromatogram.times, trace, PlotStyle::kCurve,
                   {.title = names[i].title + ", highest at " +
                             RoundedText(chromatogram.times[static_cast<size_t>(apex)], 3) + " min",
                    .x_title = "min",
                    .width = console::OutputWidth(),
                    .height = 8});
  }
}

void Run(const Options& options, Output& output) {
  const RawDirectory directory(DirectoryArgument(options.data.directory));
  const DataReader reader(directory, options.data.data_set);
  Chromatogram chromatogram = Read(options, reader);
  const std::vector<Name> names = TraceNames(options);
  const std::string title =
      reader.Subject() + ", " + std::to_string(chromatogram.times.size()) + " scans";
  if (options.plot) {
    PrintPlots(chromatogram, names, title, output);
    return;
  }
  std::vector<int32_t> scans(chromatogram.times.size());
  std::iota(scans.begin(), scans.end(), 1);
  Section section = {.key = "chromatogram",
                     .title = title,
                     .columns = {{"scan", "Scan", std::move(scans)},
                                 {"time", "Time (min)", std::move(chromatogram.times), 4}},
                     .layout = TableLayout::kColumns};
  for (size_t i = 0; i < names.size(); ++i) {
    section.columns.push_back({names[i].key, names[i].title, std::move(chromatogram.traces[i])});
  }
  Print({.sections = {std::move(section)}, .csv_section = "chromatogram"}, options.format.format(),
        output);
}

}  // namespace

void AddChromCommand(CLI::App& program, Action& chosen) {
  auto* command = program.add_subcommand("chrom", "Print chromatograms: one value per scan");
  auto options = std::make_shared<Options>();
  AddDataSetOptions(*command, options->data);
  auto* which = command->add_option_group("Trace", "What is taken of every scan");
  which->add_flag("--tic", options->total_ion, "The total ion current (without any of these, too)");
  which->add_flag("--bpi", options->base_peak, "The intensity of the strongest point");
  which
      ->add_option("--mass", options->masses,
                   "The sum of the intensities from m/z LO to HI, both\n"
                   "included; may be given several times")
      ->type_name("LO-HI")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  which->require_option(0, 1);
  auto* plot = command->add_flag("--plot", options->plot, "Draw the chromatograms");
  AddFormatOptions(*command, options->format);
  plot->excludes("--csv")->excludes("--json");
  command->footer(
      "Times are minutes, masses are m/z (calibrated), intensities are in the instrument's own\n"
      "unit. The total ion current and the base peak come from the scan index; a mass\n"
      "chromatogram reads every spectrum. In a selected-ion function a range of masses takes\n"
      "the channels inside it.\n\n"
      "Examples:\n"
      "  tervalon chrom SAMPLE.RAW -f 1 --plot\n"
      "  tervalon chrom SAMPLE.RAW -f 1 --mass 184.0-184.2 --mass 195.0-195.2 --csv\n"
      "  tervalon chrom SAMPLE.RAW -f 3 --bpi --json");
  command->callback([&chosen, options] {
    ParseWindows(options->masses);  // wrong usage is told before anything is read
    std::vector<std::string> masses;
    for (const std::string& mass : options->masses) {
      if (std::ranges::find(masses, mass) == masses.end()) {
        masses.push_back(mass);
      }
    }
    options->masses = masses;
    chosen = [options](Output& output) { Run(*options, output); };
  });
}

}  // namespace tervalon::tools
