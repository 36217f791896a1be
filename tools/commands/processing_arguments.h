// The options of the commands that process spectra and chromatograms, and what they mean.

#ifndef TOOLS_COMMANDS_PROCESSING_ARGUMENTS_H_
#define TOOLS_COMMANDS_PROCESSING_ARGUMENTS_H_

#include <tervalon/processing.h>
#include <tervalon/processing_peaks.h>
#include <tervalon/processing_sets.h>

#include <string>
#include <vector>

#include "tools/commands/command.h"
#include "tools/commands/many_inputs.h"
#include "tools/commands/series_reader.h"

namespace tervalon::tools {

// All Parse functions throw WrongUsage.

struct SmoothingOptions {
  std::string method;  // "none" where a trace may stay as it is
  int32_t window = 7;
  int32_t degree = 2;
  int32_t passes = 1;
};

// `method` names the option for it, `methods` what it takes.
void AddSmoothingOptions(Command command, SmoothingOptions& options, const std::string& method,
                         const std::vector<std::string>& methods);
PrcSmoothing ParseSmoothing(const SmoothingOptions& options);

// "5x" the noise, "2%" of the highest, or an intensity.
struct Threshold {
  int32_t unit;  // PRC_THRESHOLD_...
  float value;
};
Threshold ParseThreshold(const std::string& text);

struct CentroidingOptions {
  std::string threshold = "3x";
  std::string rise = "0.1";
  std::string top = "0.8";
  std::string resolution = "0";
  bool area = false;
};

void AddCentroidingOptions(Command command, CentroidingOptions& options);
PrcCentroiding ParseCentroiding(const CentroidingOptions& options);

struct PeakSearchOptions {
  SmoothingOptions smoothing = {.method = "savitzky-golay"};
  std::string threshold = "5x";
  std::string baseline = "dropped";
  std::string rider = "0.3";
};

void AddPeakSearchOptions(Command command, PeakSearchOptions& options);
PrcPeakSearch ParsePeakSearch(const PeakSearchOptions& options);

// What a number is above 0, or from 0, up to 1.
float ShareArgument(const std::string& option, const std::string& text);

// How a processed spectrum or chromatogram is given.
struct ResultOptions {
  FormatOptions format;
  bool plot = false;
  bool save = false;
};

void AddResultOptions(Command command, ResultOptions& options);
// The step as a processed data set, where it is to be saved; told in the summary. Throws a Failure.
void SaveResult(const ResultOptions& options, const DataReader& reader, const PrcStep& step,
                Section& summary);
// `summary` has the document's title. The table of points has the key "points".
void PrintResult(const ResultOptions& options, const Inputs& inputs, const std::string& path,
                 Section summary, const Series& result, Output& output);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_PROCESSING_ARGUMENTS_H_
