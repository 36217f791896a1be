// tervalon chrom: one value per scan over a whole function.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <numeric>

#include "tools/commands/command.h"
#include "tools/commands/many_inputs.h"
#include "tools/data/trace_reader.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/progress_bar.h"
#include "tools/print/text.h"
#include "tools/print/text_plot.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  DataSet data_set;
  FormatOptions format;
  bool total_ion = false;
  bool base_peak = false;
  std::vector<std::string> masses;
  std::string traces;
  std::string tolerance;
  bool plot = false;
};

// "LO-HI"
Window ParseWindow(const std::string& text) {
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

std::vector<Window> ParseWindows(const std::vector<std::string>& texts) {
  std::vector<Window> windows;
  std::ranges::transform(texts, std::back_inserter(windows), ParseWindow);
  return windows;
}

std::vector<Trace> ReadMasses(const Options& options, const DataReader& reader) {
  std::vector<WindowSum> windows;
  for (const std::string& mass : options.masses) {
    windows.push_back({.windows = {ParseWindow(mass)}});
    CheckHasMasses(reader, windows.back().windows[0], mass);
  }
  const Chromatogram sums = reader.ReadSums(windows);
  std::vector<Trace> traces;
  for (size_t i = 0; i < options.masses.size(); ++i) {
    const std::string& mass = options.masses[i];
    traces.push_back({"mass_" + mass, "m/z " + mass, false, sums.times, sums.traces[i]});
  }
  return traces;
}

std::vector<Trace> ReadIndex(const Options& options, const DataReader& reader) {
  Chromatogram read =
      reader.ReadIndexChromatogram(options.base_peak ? RAW_CHROM_BASE_PEAK : RAW_CHROM_TOTAL_ION);
  Trace trace = {options.base_peak ? "bpi" : "tic",
                 options.base_peak ? "Base peak intensity" : "Total ion current"};
  trace.times = std::move(read.times);
  trace.values = std::move(read.traces[0]);
  return {std::move(trace)};
}

std::vector<Trace> Read(const Options& options, const DataReader& reader) {
  const ProgressBar progress;
  if (!options.masses.empty()) {
    return ReadMasses(options, reader);
  }
  if (options.traces.empty()) {
    return ReadIndex(options, reader);
  }
  std::vector<Trace> traces;
  for (const TraceRequest& request :
       ParseTraces(options.traces, ParseTolerance("--tolerance", options.tolerance))) {
    traces.push_back(ReadTrace(reader, request));
  }
  return traces;
}

void PrintPlots(const std::vector<Trace>& traces, const std::string& title, Output& output) {
  output << title << "\n";
  for (const Trace& trace : traces) {
    if (trace.times.empty()) {
      continue;
    }
    const auto apex = std::ranges::max_element(trace.values) - trace.values.begin();
    output << "\n"
           << Plot(trace.times, trace.values, PlotStyle::kCurve,
                   {.title = trace.title + ", highest at " +
                             RoundedText(trace.times[static_cast<size_t>(apex)], 3) + " min",
                    .x_title = "min",
                    .width = console::OutputWidth(),
                    .height = 8});
  }
}

std::string ScansTitle(const std::string& subject, size_t scans) {
  return subject + ", " + std::to_string(scans) + " scans";
}

Column TimeColumn(std::vector<float> times) { return {"time", "Time (min)", std::move(times), 4}; }

std::vector<int32_t> ScanNumbers(size_t scans) {
  std::vector<int32_t> numbers(scans);
  std::iota(numbers.begin(), numbers.end(), 1);
  return numbers;
}

// A table of all traces that have a value for every scan; analog channels have times of their own,
// each in its table.
Document MakeDocument(const std::string& subject, std::vector<Trace> traces) {
  Document document;
  for (Trace& trace : traces) {
    if (trace.is_analog) {
      continue;
    }
    if (document.sections.empty()) {
      const size_t scans = trace.times.size();
      document.sections.push_back(
          {.key = "chromatogram",
           .title = ScansTitle(subject, scans),
           .columns = {{"scan", "Scan", ScanNumbers(scans)}, TimeColumn(std::move(trace.times))},
           .layout = TableLayout::kColumns});
    }
    document.sections[0].columns.push_back({trace.key, trace.title, std::move(trace.values)});
  }
  for (Trace& trace : traces) {
    if (trace.is_analog) {
      document.sections.push_back(
          {.key = trace.key,
           .title = trace.title + ", " + std::to_string(trace.times.size()) + " records",
           .columns = {TimeColumn(std::move(trace.times)),
                       {"intensity", "Intensity", std::move(trace.values)}},
           .layout = TableLayout::kColumns});
    }
  }
  return document;
}

// One table whatever the traces: scan, time, and a column for each. The rows of the scans come
// first; those of analog records have no scan.
Document MakeCsvDocument(const std::vector<Trace>& traces) {
  constexpr const char* kKey = "chromatogram";
  Section table = {.key = kKey};
  std::vector<Value> scans;
  std::vector<Value> times;
  std::vector<std::vector<Value>> values(traces.size());
  for (const bool analog : {false, true}) {
    const auto first = std::ranges::find(traces, analog, &Trace::is_analog);
    if (first == traces.end()) {
      continue;
    }
    for (size_t row = 0; row < first->times.size(); ++row) {
      scans.emplace_back();
      if (!analog) {
        scans.back() = static_cast<int64_t>(row) + 1;
      }
      times.emplace_back(first->times[row]);
      for (size_t i = 0; i < traces.size(); ++i) {
        values[i].emplace_back();
        if (traces[i].is_analog == analog) {
          values[i].back() = traces[i].values[row];
        }
      }
    }
  }
  table.columns = {{"scan", "", std::move(scans)}, {"time", "", std::move(times)}};
  for (size_t i = 0; i < traces.size(); ++i) {
    table.columns.push_back({traces[i].key, "", std::move(values[i])});
  }
  return {.sections = {std::move(table)}, .csv_section = kKey};
}

void Run(const Options& options, const std::string& path, Output& output) {
  const RawDirectory directory(path);
  const DataReader reader(directory, options.data_set);
  std::vector<Trace> traces = Read(options, reader);
  if (options.plot) {
    PrintPlots(traces, ScansTitle(reader.Subject(), static_cast<size_t>(reader.ScanCount())),
               output);
    return;
  }
  const Format format = options.format.format();
  Document document = format == Format::kCsv ? MakeCsvDocument(traces)
                                             : MakeDocument(reader.Subject(), std::move(traces));
  Label(options.inputs, path, *reader.data_set().function, document);
  Print(document, format, output);
}

}  // namespace

void AddChromCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("chrom", "Print chromatograms: one value per scan");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddDataSetSelection(command, options->data_set);
  const Command which = command.AddGroup("Trace", "What is taken of every scan");
  which.AddFlag("--tic", options->total_ion, "The total ion current (without any of these, too)");
  which.AddFlag("--bpi", options->base_peak, "The intensity of the strongest point");
  which
      .AddOption("--mass", options->masses,
                 "The sum of the intensities from m/z LO to HI, both\n"
                 "included; may be given several times")
      .TypeName("LO-HI")
      .Repeatable();
  const Option trace = which
                           .AddOption("--trace", options->traces,
                                      "Traces, separated by commas: TIC, BPI, analog channels\n"
                                      "AN1 to AN4, masses (184.1), ranges (100_200), sums and\n"
                                      "differences of them (184+200-150), neutral losses and\n"
                                      "gains of MRM functions (NL18, NG18)")
                           .TypeName("TEXT");
  which.RequireOptions(0, 1);
  command
      .AddOption("--tolerance", options->tolerance,
                 "What a mass of --trace takes to both sides, 0.5 unless\n"
                 "given: mass units, or with 'ppm' behind it a part of it")
      .TypeName("WIDTH")
      .Needs(trace);
  const Option plot = command.AddFlag("--plot", options->plot, "Draw the chromatograms");
  AddFormatOptions(command, options->format);
  plot.Excludes("--csv").Excludes("--json");
  command.Footer(
      "Times are minutes, masses are m/z (calibrated), intensities are in the instrument's own\n"
      "unit. The total ion current and the base peak come from the scan index; a mass\n"
      "chromatogram reads every spectrum. In a selected-ion function a range of masses takes\n"
      "the channels inside it. --csv prints one table: scan, time and a column for each trace;\n"
      "analog channels have times of their own, in rows without a scan.\n\n"
      "Examples:\n"
      "  tervalon chrom SAMPLE.RAW --plot\n"
      "  tervalon chrom SAMPLE.RAW -f 1 --mass 184.0-184.2 --mass 195.0-195.2 --csv\n"
      "  tervalon chrom SAMPLE.RAW -f 3 --bpi --json\n"
      "  tervalon chrom *.RAW --bpi --csv --jobs 4\n"
      "  tervalon chrom SAMPLE.RAW --trace 184.1,184+200-150,TIC,AN1 --tolerance 10ppm");
  command.Callback([&chosen, options, trace] {
    // Wrong usage is told before anything is read.
    ParseWindows(options->masses);
    const MassTolerance tolerance = ParseTolerance("--tolerance", options->tolerance);
    if (trace.IsGiven()) {
      ParseTraces(options->traces, tolerance);
    }
    std::vector<std::string> masses;
    for (const std::string& mass : options->masses) {
      if (std::ranges::find(masses, mass) == masses.end()) {
        masses.push_back(mass);
      }
    }
    options->masses = masses;
    chosen = ForEachInput(options, Run);
  });
}

}  // namespace tervalon::tools
