// The peaks of chromatograms: where they begin and end, what is below them, and how large they are.
//
// The exports return a result code of processing.h; with any other than PRC_OK nothing has been
// changed.

#ifndef TERVALON_PROCESSING_PEAKS_H_
#define TERVALON_PROCESSING_PEAKS_H_

#include "tervalon/processing.h"
#include "tervalon/retention_indices.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// What is below peaks that overlap. Below a peak for itself it is a straight line.
#define PRC_BASELINE_DROPPED 0  // one line for all; at each valley they are cut vertically
#define PRC_BASELINE_VALLEYS 1  // a line for each, from valley to valley
// One line, but a small peak on the flank of a large one (a rider) stands on a tangent: from the
// valley between them to the point beyond where the trace touches it. What is below it belongs to
// the large peak.
#define PRC_BASELINE_TANGENT 2

// How peaks are looked for, and what they stand on.
typedef struct PrcPeakSearch {
  PrcSmoothing smoothing;  // of the trace in which peaks are looked for; with 0 passes none
  int32_t threshold_unit;  // PRC_THRESHOLD_...
  float threshold;         // how far a peak has to stand above the valleys beside it, from 0
  int32_t baseline;        // PRC_BASELINE_...
  float rider;             // riders are lower than this share of the large peak's height, 0..1
} PrcPeakSearch;

// A peak. Points count from 1, times are minutes.
typedef struct PrcPeak {
  double area;  // intensity times minutes, above the baseline
  int32_t start;
  int32_t apex;
  int32_t end;
  int32_t group;     // peaks of one number overlap
  int32_t baseline;  // PRC_BASELINE_...: what it stands on
  float start_time;
  float time;  // of the apex: that of a parabola through the highest point and its neighbours
  float end_time;
  float start_intensity;  // the baseline's at the start and the end
  float end_intensity;
  float height;  // of the parabola above the baseline
  float width;   // minutes at half of the height; 0 where a side does not come down to it
  // At a tenth of the height, the part behind the apex by the part before it; 0 where a side does
  // not come down to it.
  float asymmetry;
  float signal_to_noise;  // height by the standard deviation of the noise; 0 without noise
  float retention_index;  // 0 without a calibration and outside of it
  float reserved;         // 0
} PrcPeak;

// The peaks of a trace.
typedef struct PrcPeaks {
  TvMemory peaks;  // `count` PrcPeak, in the order of their times; the caller frees the block
  int32_t count;
  float noise;  // of the trace, by ChroStatCalcNoiseLevel in order 2
} PrcPeaks;
TERVALON_STRUCT_SIZE(PrcPeaks, 12, 16);

// Finds the peaks of a trace of `count` points, whose times ascend.
//
// Peaks are the tops of the smoothed trace that stand above their valleys as far as the threshold
// says; its first and last point are none. Heights, widths and asymmetries are the smoothed
// trace's, areas the trace's own, by trapezoids.
//
// A peak reaches to both sides to where its flank has come down to 1/500 of the height above the
// ground, the lowest value within ten half widths. It is followed down to a tenth, but not below
// twice the noise, or to a valley that is lower than a quarter; farther down it is taken to fall as
// an exponential does. Peaks whose reaches overlap, and those with a higher valley between them,
// are a group and meet at the lowest point between them; the group reaches as far as any of them.
// The line below a group goes through the mean of the points in front of it and that of those
// behind it, each over half of the group's length, without those of other groups.
//
// `search` is optional: without, the trace is smoothed once by PRC_SMOOTH_SAVITZKY_GOLAY over 3
// points on each side, the threshold is 5 times the noise, and baselines are dropped.
// `calibration` (optional) gives the retention indices. `result` may hold no peaks: a block there
// is. Returns PRC_OK; PRC_TOO_FEW_POINTS for fewer than 3 points or than the smoothing's window;
// PRC_BAD_WINDOW; PRC_NOT_FINITE; PRC_NOT_ASCENDING, also for equal times; PRC_BAD_ARGUMENT;
// PRC_NO_MEMORY.
TERVALON_API int32_t TERVALON_CALL PrcFindPeaks(const PrcPeakSearch* search, const float* times,
                                                const float* intensities, int32_t count,
                                                const RTCalibration* calibration, PrcPeaks* result);

TERVALON_END_DECLS

#endif  // TERVALON_PROCESSING_PEAKS_H_
