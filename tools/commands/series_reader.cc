#include "tools/commands/series_reader.h"

#include <utility>

#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

TraceRequest OnlyTrace(const std::string& text) {
  std::vector<TraceRequest> requests = ParseTraces(text.empty() ? "TIC" : text, {});
  if (requests.size() != 1) {
    throw WrongUsage("--trace: '" + text + "' is more than one trace");
  }
  return std::move(requests.front());
}

}  // namespace

void AddSeriesOptions(Command command, SeriesOptions& options) {
  command.AddOption("DIR", options.data.directory, "Raw data directory").Required().TypeName("");
  AddSeriesSelection(command, options);
}

void AddSeriesSelection(Command command, SeriesOptions& options) {
  AddDataSetSelection(command, options.data.data_set);
  const Option trace = command
                           .AddOption("--trace", options.trace,
                                      "A trace such as TIC (also without this option), BPI,\n"
                                      "184.1, 100_200, 184+200-150 or AN1")
                           .TypeName("TRACE");
  const Option scan = command
                          .AddOption("-s,--scan", options.scan,
                                     "The spectrum of a scan, from 1, instead of a trace")
                          .Between(1, INT32_MAX)
                          .TypeName("N")
                          .Excludes(trace);
  command.AddOption("-t,--time", options.time, "The spectrum of the scan nearest to a time")
      .TypeName("MINUTES")
      .Excludes(trace)
      .Excludes(scan);
}

void CheckSeriesOptions(const SeriesOptions& options) {
  OnlyTrace(options.trace);
  if (!options.time.empty()) TimeArgument("--time", options.time);
}

float StepArgument(const std::string& option, const std::string& text) {
  const auto step = static_cast<float>(NumberArgument(option, text));
  if (!(step > 0)) {
    throw WrongUsage(option + ": " + text + " is not above 0");
  }
  return step;
}

Series ReadSeries(const SeriesOptions& options) {
  const RawDirectory directory(DirectoryArgument(options.data.directory));
  const DataReader reader(directory, options.data.data_set);
  if (options.is_spectrum()) {
    const int32_t scan =
        options.scan != 0 ? options.scan : reader.ScanAtTime(TimeArgument("--time", options.time));
    Spectrum spectrum = reader.ReadSpectrum(scan);
    return {.title = reader.Subject() + ", scan " + std::to_string(scan),
            .is_spectrum = true,
            .data_set = reader.data_set(),
            .scan = scan,
            .positions = std::move(spectrum.masses),
            .intensities = std::move(spectrum.intensities)};
  }
  const TraceRequest request = OnlyTrace(options.trace);
  Trace trace = ReadTrace(reader, request);
  std::optional<Window> window;
  if (request.is_mass() && request.members.size() == 1 && !request.members[0].daughter) {
    window = request.members[0].window;
  }
  return {.title = reader.Subject() + ", trace " + request.title,
          .data_set = reader.data_set(),
          .trace = request.trace,
          .window = window,
          .positions = std::move(trace.times),
          .intensities = std::move(trace.values)};
}

}  // namespace tervalon::tools
