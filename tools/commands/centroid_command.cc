// tervalon centroid: the peaks of a profile spectrum.

#include <tervalon/raw_history.h>

#include <memory>
#include <utility>

#include "tools/commands/processing_arguments.h"
#include "tools/print/failure.h"
#include "tools/processing/results.h"

namespace tervalon::tools {
namespace {

struct Options {
  Inputs inputs;
  DataSet data_set;
  int32_t scan = 0;
  std::string time;
  CentroidingOptions centroiding;
  ResultOptions result;
};

int32_t ScanOf(const Options& options, const DataReader& reader) {
  if (options.scan != 0) return options.scan;
  if (!options.time.empty()) return reader.ScanAtTime(TimeArgument("--time", options.time));
  const int32_t scans = reader.ScanCount();
  if (scans > 1) {
    throw Failure(reader.Subject(),
                  "has " + std::to_string(scans) + " scans ('--scan' or '--time' says which)");
  }
  return 1;
}

void Run(const Options& options, const std::string& path, Output& output) {
  const RawDirectory directory(path);
  const DataReader reader(directory, options.data_set);
  const int32_t scan = ScanOf(options, reader);
  Spectrum spectrum = reader.ReadSpectrum(scan);
  const auto points = static_cast<int32_t>(spectrum.masses.size());
  Series result = {.title = reader.Subject() + ", scan " + std::to_string(scan),
                   .is_spectrum = true,
                   .data_set = reader.data_set(),
                   .positions = std::move(spectrum.masses),
                   .intensities = std::move(spectrum.intensities)};
  const PrcCentroiding centroiding = ParseCentroiding(options.centroiding);
  int32_t peaks = 0;
  CheckProcessing(PrcCentroid(&centroiding, result.positions.data(), result.intensities.data(),
                              points, result.positions.data(), result.intensities.data(), &peaks),
                  result.title);
  result.positions.resize(static_cast<size_t>(peaks));
  result.intensities.resize(static_cast<size_t>(peaks));
  Section summary = {.title = result.title + ", centroids"};
  summary.properties = {
      {"time", "Retention time", spectrum.header.retention_time, "min", 4},
      {"profile_points", "Points of the profile", int64_t{points}},
      {"point_count", "Peaks", int64_t{peaks}},
      {"intensity", "Intensity", std::string(options.centroiding.area ? "area" : "height")}};
  PrcStep step = {};
  step.type = RAW_STEP_CENTER;
  step.centroiding = centroiding;
  step.scan = scan;
  SaveResult(options.result, reader, step, summary);
  PrintResult(options.result, options.inputs, path, std::move(summary), result, output);
}

}  // namespace

void AddCentroidCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("centroid", "Make centroids of a profile spectrum");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddDataSetSelection(command, options->data_set);
  AddScanChoice(command, "Which scan; data of one need not say", options->scan, options->time)
      .RequireOptions(0, 1);
  AddCentroidingOptions(command, options->centroiding);
  AddResultOptions(command, options->result);
  command.Footer(
      "Peaks that overlap are split at the lowest point between them. 'tervalon plot --centroids'\n"
      "draws them over the profile.\n\n"
      "Examples:\n"
      "  tervalon centroid SAMPLE.RAW -f 2 -t 4.67\n"
      "  tervalon centroid SAMPLE.RAW -f 2 -s 141 --threshold 1% --area --csv > peaks.csv\n"
      "  tervalon centroid SAMPLE.RAW -f 2 -s 141 --top 1 --resolution 5000 --json");
  command.Callback([&chosen, options] {
    if (!options->time.empty()) TimeArgument("--time", options->time);
    ParseCentroiding(options->centroiding);
    chosen = ForEachInput(options, Run);
  });
}

}  // namespace tervalon::tools
