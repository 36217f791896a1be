// Chromatograms by their trace texts.

#ifndef TOOLS_DATA_TRACE_READER_H_
#define TOOLS_DATA_TRACE_READER_H_

#include <tervalon/trace_strings.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"

namespace tervalon::tools {

// What of a mass a trace takes.
struct MassTolerance {
  double value = 0;  // to both sides; 0: 0.5
  bool in_ppm = false;
};

// "0.05" or "20ppm"; without a text, the usual one. Throws WrongUsage.
MassTolerance ParseTolerance(const std::string& option, const std::string& text);

// A mass or a range of masses, with all digits that were typed. Lists of masses in floats keep
// those of a range to 0.001 only.
struct TraceMember {
  Window window;
  std::optional<Window> daughter;  // of "parent>daughter"
  bool is_range = false;
};

struct TraceRequest {
  std::string key;    // "tic", "mass_184.1"
  std::string title;  // "TIC", "184.1"
  // For exports that read a trace by themselves.
  DmTraceRecord trace;
  std::vector<TraceMember> members;

  bool is_analog() const { return trace.type == DM_TRACE_ANALOG; }
  bool is_mass() const { return trace.type == DM_TRACE_MASS || trace.type == DM_TRACE_MASSES; }
};

// The traces in a text such as "184.1,100_200,184+200-150,TIC,BPI,AN1,NL18", each once. Throws
// WrongUsage.
std::vector<TraceRequest> ParseTraces(const std::string& text, const MassTolerance& tolerance);

// The range of masses that a mass with a tolerance means.
Window WindowAround(double mass, const MassTolerance& tolerance);

struct Trace {
  std::string key;
  std::string title;
  bool is_analog = false;
  std::vector<float> times = {};
  std::vector<float> values = {};
};

// What a trace of masses adds up, or one of losses and gains. Throws a Failure when the data set
// does not have it.
WindowSum SumOf(const DataReader& reader, const TraceRequest& request);

// Throws a Failure when the data set does not have the trace.
Trace ReadTrace(const DataReader& reader, const TraceRequest& request);

// Throws a Failure unless the function has masses inside the window.
void CheckHasMasses(const DataReader& reader, const Window& window, const std::string& title);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_TRACE_READER_H_
