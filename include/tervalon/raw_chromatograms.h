// Chromatograms: one value per scan over a run of scans of one function, from the scan index alone
// or summed from every spectrum. Both need RawReadFuncInit and report through RawUpdateInit's
// callback.

#ifndef TERVALON_RAW_CHROMATOGRAMS_H_
#define TERVALON_RAW_CHROMATOGRAMS_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Kinds of index chromatogram: any value but RAW_CHROM_BASE_PEAK is the total ion current.
#define RAW_CHROM_TOTAL_ION 1
#define RAW_CHROM_BASE_PEAK 2

// Kinds of trace: any value but RAW_TRACE_POINTS is a mass-window trace.
#define RAW_TRACE_MASSES 0
#define RAW_TRACE_POINTS 1

// A range of masses, or of 1-based point numbers (their integer parts) in a point-range trace. Both
// edges are inside.
typedef struct RawTraceWindow {
  float low;
  float high;
  int32_t subtract;  // nonzero: the window's sum is subtracted
  int32_t relative;  // kept for the caller; extraction does not use it
  int32_t started;   // set to 1 for every window before the first scan
} RawTraceWindow;

#pragma pack(push, 1)
// One trace: the sum of its windows in every scan. Packed.
typedef struct RawTrace {
  int32_t kind;
  int16_t window_count;
  RawTraceWindow* windows;
} RawTrace;
TERVALON_STRUCT_SIZE(RawTrace, 10, 14);
#pragma pack(pop)

// Reads `count` values from the scan index, starting at scan `first`. Each array is optional and
// holds `count` elements; times are minutes.
// Returns RAW_OK; RAW_SCAN_ABSENT at the first scan that the index does not have (none below 1),
// with the values before it delivered; RAW_BAD_ARGUMENT for a negative count;
// RAW_SCAN_BUFFER_ABSENT without RawReadFuncInit; a member-file error.
TERVALON_API int32_t TERVALON_CALL RawReadChrom(int32_t handle, int16_t function, int16_t process,
                                                int32_t first, int32_t count, float* values,
                                                float* times, int16_t kind);

// Sums the intensities of selected points of every scan. For each of `trace_count` traces,
// values[t] and times[t] (each array, and each of its entries, is optional) receive `count`
// elements. A point-range window covers the points whose number lies from the integer part of `low`
// to that of `high`; a mass window the points whose calibrated mass lies from low to high. Flagged
// points count.
// In selected-ion functions (data types 2 and 11) the mass of a point is that of its channel. A
// mass-window trace becomes a point-range trace there when the channels inside each of its windows
// have consecutive numbers: its kind changes to RAW_TRACE_POINTS and the bounds of each window to
// its first and last channel (1 and 0 when it has none). Any other trace stays as it is.
// Returns as RawReadChrom, and RAW_BAD_ARGUMENT, with nothing changed, for traces or windows that
// are missing.
TERVALON_API int32_t TERVALON_CALL RawReadChromTraces(int32_t handle, int16_t function,
                                                      int16_t process, int32_t first, int32_t count,
                                                      int16_t trace_count, RawTrace* traces,
                                                      float* const* values, float* const* times);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_CHROMATOGRAMS_H_
