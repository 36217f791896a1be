// Sums selected points of spectra, scan by scan.

#ifndef RAW_TRACE_EXTRACTOR_H_
#define RAW_TRACE_EXTRACTOR_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "raw/function_reader.h"
#include "raw/lane_sum.h"
#include "raw/mass_window.h"
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
    double sum;  // of the current scan
  };

  Window MakeWindow(const RawTrace& trace, const RawTraceWindow& window) const;
  int32_t PrepareFor(const IndexRecord& scan);
  int32_t SumRuns(const IndexRecord& scan);
  int32_t SumMasses(const IndexRecord& scan);
  bool has(Selection selection) const;

  FunctionReader* reader_;
  std::vector<Window> windows_;
  std::vector<float*> values_;  // by trace
  std::vector<double> totals_;  // of the current scan, by trace
  std::vector<LaneSum> lane_sums_;

  // What the windows were prepared for.
  std::unique_ptr<GrowingCalibration> growing_;
  int32_t prepared_segment_ = -1;  // -1: not prepared, 16: no calibration
  uint32_t prepared_points_ = UINT32_MAX;
  uint32_t prepared_stored_points_ = 0;
};

}  // namespace tervalon::raw

#endif  // RAW_TRACE_EXTRACTOR_H_
