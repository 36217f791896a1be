// Trace records made into what chromatogram extraction takes.

#ifndef DATAMGR_RAW_TRACES_H_
#define DATAMGR_RAW_TRACES_H_

#include <cstdint>
#include <vector>

#include "datamgr/raw_sources.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/trace_strings.h"

namespace tervalon::datamgr {

// Half the width of the window that a mass takes when nothing else is said, and how near a channel
// has to be for a mass to be its.
inline constexpr float kMassTolerance = 0.5f;

// One trace: a mass or point-range window for every member.
struct TraceWindows {
  int32_t kind = RAW_TRACE_MASSES;
  std::vector<RawTraceWindow> windows;
};

// Windows of a mass list, and for neutral losses and gains the channels of an MRM function that
// have them between parent and daughter mass. Empty when nothing is selected.
TraceWindows MakeTraceWindows(const DmTraceRecord& trace, const OpenData& data);

// Whether both select the same, whatever stands behind what their type uses.
bool IsSameTrace(const DmTraceRecord& a, const DmTraceRecord& b);

}  // namespace tervalon::datamgr

#endif  // DATAMGR_RAW_TRACES_H_
