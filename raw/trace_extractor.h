// Sums selected points of spectra, scan by scan.

#ifndef RAW_TRACE_EXTRACTOR_H_
#define RAW_TRACE_EXTRACTOR_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "raw/function_reader.h"
#include "raw/lane_sum.h"
#include "raw/mass_window.h"
#include "raw/point_blocks.h"
#include "tervalon/raw_chromatograms.h"

namespace tervalon::raw {

// The channels of selected-ion data whose mass lies from low to high.
std::vector<PointRun> ChannelRuns(const FunctionReader& reader, float low, float high);

class TraceExtractor {
 public:
  explicit TraceExtractor(FunctionReader* reader) : reader_(reader) {}

  // Adds a trace whose values go to `values`, one per scan.
  void AddTrace(const RawTrace& trace, float* values);

  // Stores element `i` of every trace from a scan. Returns RAW_OK or RAW_SEEK_FAILED.
  int32_t Extract(const IndexRecord& scan, size_t i);

 private:
  // How the points of a window are found in a scan.
  enum class Selection {
    kRuns,        // runs of points that hold for every scan: point ranges and channels
    kSpacedRuns,  // runs that follow from the number of points and the calibration
    kMasses,      // every point's mass is compared
  };

  struct Window {
    Selection selection;
    float low;  // masses
    float high;
    std::vector<PointRun> runs;
    MassRange stored;  // kMasses: the window in stored masses
    bool subtract;
    size_t trace;
  };

  // A window in the integers that are stored.
  struct CodeWindow {
    CodeRange range;
    size_t window;
  };

  // A run of a window, and what is read at its place for it and for those that follow it: points up
  // to `end`.
  struct Step {
    PointRun run;
    size_t window;
    uint32_t end;
  };

  Window MakeWindow(const RawTrace& trace, const RawTraceWindow& window) const;
  int32_t PrepareFor(const IndexRecord& scan);
  void PrepareCodes();
  void PrepareSteps();
  int32_t SumRuns(const IndexRecord& scan);
  int32_t Read(const IndexRecord& scan, uint32_t first, uint32_t end);
  int32_t SumMasses(const IndexRecord& scan);
  bool SumCodes(const PointBlock& block);
  void SumBlock(const PointBlock& block);

  FunctionReader* reader_;
  std::vector<Window> windows_;
  std::vector<float*> values_;  // by trace

  // Of the current scan, by trace and by window: sums of integers apart.
  std::vector<double> totals_;
  std::vector<LaneSum> lane_sums_;
  std::vector<uint64_t> exact_sums_;
  bool has_masses_ = false;  // a window with Selection::kMasses

  // What the windows were prepared for.
  std::unique_ptr<GrowingCalibration> growing_;
  int32_t prepared_segment_ = -1;  // -1: not prepared, 16: no calibration
  uint32_t prepared_points_ = UINT32_MAX;
  uint32_t prepared_stored_points_ = 0;
  std::vector<Step> steps_;               // by their first points
  std::vector<CodeWindow> code_windows_;  // by their low ends
};

}  // namespace tervalon::raw

#endif  // RAW_TRACE_EXTRACTOR_H_
