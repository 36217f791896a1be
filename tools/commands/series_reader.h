// What the numeric commands work on: a trace of a function, or the spectrum of one scan.

#ifndef TOOLS_COMMANDS_SERIES_READER_H_
#define TOOLS_COMMANDS_SERIES_READER_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/commands/command.h"
#include "tools/data/trace_reader.h"

namespace tervalon::tools {

// DIR and its options, --trace, --scan or --time.
struct SeriesOptions {
  DataSetOptions data;
  std::string trace;
  int32_t scan = 0;
  std::string time;

  bool is_spectrum() const { return scan != 0 || !time.empty(); }
};

void AddSeriesOptions(Command command, SeriesOptions& options);
// The same without DIR.
void AddSeriesSelection(Command command, SeriesOptions& options);

// Throws WrongUsage.
void CheckSeriesOptions(const SeriesOptions& options);

struct Series {
  std::string title;  // "x.RAW: function 1, trace TIC"
  bool is_spectrum = false;
  DataSet data_set = {};              // complete
  int32_t scan = 0;                   // of a spectrum
  DmTraceRecord trace = {};           // of a trace
  std::optional<Window> window = {};  // of a trace that is one range of masses
  std::vector<float> positions = {};
  std::vector<float> intensities = {};

  const char* position_key() const { return is_spectrum ? "mass" : "time"; }
  const char* position_title() const { return is_spectrum ? "m/z" : "Time (min)"; }
};

// Throws a Failure.
Series ReadSeries(const SeriesOptions& options);

// A number above 0; throws WrongUsage.
float StepArgument(const std::string& option, const std::string& text);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_SERIES_READER_H_
