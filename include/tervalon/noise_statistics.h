// Noise of chromatograms and spectra, and the user's settings for it.
//
// Exports that return a status return 1, or 0 when raw data cannot be read, when a window is empty,
// when the settings file cannot be read or written and when memory runs out; outputs are then left
// alone. Nothing is shown to the user.

#ifndef TERVALON_NOISE_STATISTICS_H_
#define TERVALON_NOISE_STATISTICS_H_

#include "tervalon/settings.h"
#include "tervalon/trace_strings.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Kept in section "ChromatogramStats" of the settings file, with two decimals.
typedef struct ChroStatSettings {
  float peak_width;   // 0.2 when not set
  float noise_level;  // 2000 when not set
} ChroStatSettings;

// Write and read these settings. Return 1; 0 for NULL or when a value could not be written.
TERVALON_API int32_t TERVALON_CALL ChroStatSetIniFile(const ChroStatSettings* settings);
TERVALON_API int32_t TERVALON_CALL ChroStatGetIniFile(ChroStatSettings* settings);

// The noise level of spectra, in section "SpectrumStats"; 2000 when not set.
TERVALON_API int32_t TERVALON_CALL SpecStatSetIniFile(const float* level);
TERVALON_API int32_t TERVALON_CALL SpecStatGetIniFile(float* level);

// Returns the minutes that a scan of the trace takes: the time from its first element to its last,
// divided by their number. `max_intensity` receives its largest intensity. Returns 0 when the trace
// cannot be read, and then sets `max_intensity` to 0 for a NULL file or trace.
TERVALON_API float TERVALON_CALL ChroStatGetCycleTime(const SystemRawFile* raw_file,
                                                      const DmTraceRecord* trace,
                                                      float* max_intensity);

// Measures a trace from the first element at or after `from_time` to the last one before `to_time`
// (minutes): the range of the intensities, and the number of local maxima and minima per minute of
// the window.
TERVALON_API int32_t TERVALON_CALL ChroStatCalcNoiseStats(const SystemRawFile* raw_file,
                                                          const DmTraceRecord* trace,
                                                          float from_time, float to_time,
                                                          float* range, float* extrema_rate);

// The same for the masses from `from_mass` to `to_mass` of the scan that `raw_file` selects, whose
// rate is per mass unit. For the range negative intensities count as 0. `range` and `extrema_rate`
// are optional.
TERVALON_API int32_t TERVALON_CALL SpecStatCalcNoiseStats(const SystemRawFile* raw_file,
                                                          float from_mass, float to_mass,
                                                          float* range, float* extrema_rate);

// Estimates the standard deviation of the noise of n values: the distance of the 0.3085 and the
// 0.6915 quantile of their differences of order `order` (0..20, above taken as 20), divided by what
// the differences add to it. A quantile whose rank lies between two differences is their mean. With
// a not-a-number among the values, or infinite ones, the noise is a not-a-number.
// Returns 1; 0 for a negative order and when there are not more values than the order.
TERVALON_API int32_t TERVALON_CALL ChroStatCalcNoiseLevel(const float* values, int32_t n,
                                                          int32_t order, float* noise);

// The mean of n values and four times their standard deviation, but at least 2500.
// Returns 1; 0 for n below 1.
TERVALON_API int32_t TERVALON_CALL CalcMassChroNoiseLevel(const float* values, int32_t n,
                                                          float* noise);

TERVALON_END_DECLS

#endif  // TERVALON_NOISE_STATISTICS_H_
