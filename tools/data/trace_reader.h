// Chromatograms by their trace texts, read through data handles.

#ifndef TOOLS_DATA_TRACE_READER_H_
#define TOOLS_DATA_TRACE_READER_H_

#include <tervalon/trace_strings.h>

#include <string>
#include <vector>

#include "tools/data/raw_data.h"

namespace tervalon::tools {

// What of a mass a trace takes.
struct MassTolerance {
  float value = 0;  // to both sides; 0: 0.5
  bool in_ppm = false;
};

struct TraceRequest {
  std::string key;    // "tic", "mass_184.1"
  std::string title;  // "TIC", "184.1"
  DmTraceRecord trace;

  bool is_analog() const { return trace.type == DM_TRACE_ANALOG; }
};

// The traces in a text such as "184.1,100_200,184+200-150,TIC,BPI,AN1,NL18", each once. Throws
// WrongUsage.
std::vector<TraceRequest> ParseTraces(const std::string& text, const MassTolerance& tolerance);

struct Trace {
  std::string key;
  std::string title;
  bool is_analog = false;
  std::vector<float> times = {};
  std::vector<float> values = {};
};

// Reads a whole trace. Throws a Failure about `subject`.
Trace ReadTrace(const std::string& directory, const DataSet& data_set, const TraceRequest& request,
                const std::string& subject);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_TRACE_READER_H_
