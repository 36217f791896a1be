// What is made of spectra and chromatograms: smoothed, and as centroids. These exports work on
// arrays; nothing is read or written.
//
// Every Prc export returns a result code. With any other than PRC_OK nothing has been changed. What
// a call gives does not depend on the platform, to the last bit: sums are taken in double precision
// and rounded to float once, what lies beyond a float's range being the nearest that it holds.

#ifndef TERVALON_PROCESSING_H_
#define TERVALON_PROCESSING_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Result codes.
enum {
  PRC_OK = 0,
  PRC_BAD_ARGUMENT = 6001,  // NULL, a count below 0, or an option that there is not
  PRC_NO_MEMORY = 6002,
  PRC_TOO_FEW_POINTS = 6003,
  PRC_BAD_WINDOW = 6004,     // a width, a degree or a number of passes that makes no sense
  PRC_NOT_FINITE = 6005,     // a value or position is infinite or not a number
  PRC_NOT_ASCENDING = 6006,  // a position is below the one before it
  PRC_UNEVEN = 6007,         // positions are not evenly spaced
  PRC_NO_SCANS = 6008,       // a range has no scans
  PRC_STEP_UNKNOWN = 6009,   // the history does not say how a data set was made
  PRC_NO_FREE_SET = 6010     // a directory has all processed data sets that it can have
};

// --- Smoothing

// The mean of the points around each. Towards the ends it is taken of fewer, as many on each side
// as there are, so that straight lines stay what they are and the points at the ends too.
#define PRC_SMOOTH_MEAN 0
// A polynomial that is fitted to the points around each by least squares (A. Savitzky and M. J. E.
// Golay, Anal. Chem. 36 (1964) 1627). At the ends, the one that is fitted to the first or the last
// window (P. A. Gorry, Anal. Chem. 62 (1990) 570).
#define PRC_SMOOTH_SAVITZKY_GOLAY 1

#define PRC_MAX_DEGREE 20
#define PRC_MAX_PASSES 100

// How points are smoothed.
typedef struct PrcSmoothing {
  int32_t method;      // PRC_SMOOTH_...
  int32_t half_width;  // points on each side, from 1: a window has 2 * half_width + 1
  int32_t passes;      // 1..PRC_MAX_PASSES
  int32_t degree;      // of the polynomial, 1..PRC_MAX_DEGREE and below the window's points; 0: 2
} PrcSmoothing;

// Smooths `count` values. `smoothed` has as many elements; it may be the array `values` itself.
// With `positions` (optional) they are looked at: both methods are for points at even distances,
// and the others are brought onto such by LineariseDataset and its like. Positions are even enough
// when no step is more than half as large again as the next one or the last one of its window, so
// that the axes of calibrated masses and of retention times pass, and gaps do not.
// Returns PRC_OK; PRC_TOO_FEW_POINTS for fewer than the window has; PRC_BAD_WINDOW for a width, a
// degree or passes out of range; PRC_NOT_FINITE; PRC_NOT_ASCENDING; PRC_UNEVEN; PRC_BAD_ARGUMENT;
// PRC_NO_MEMORY.
TERVALON_API int32_t TERVALON_CALL PrcSmooth(const PrcSmoothing* smoothing, const float* positions,
                                             const float* values, int32_t count, float* smoothed);

// --- Centroids

// What the least height of a peak is given in.
#define PRC_THRESHOLD_NOISE 0      // times the noise, as ChroStatCalcNoiseLevel gives it in order 2
#define PRC_THRESHOLD_INTENSITY 1  // an intensity
#define PRC_THRESHOLD_PERCENT 2    // % of the highest intensity

#define PRC_INTENSITY_HEIGHT 0  // of the highest point
#define PRC_INTENSITY_AREA 1    // the sum of all points of the peak

// How peaks are made of a continuum.
typedef struct PrcCentroiding {
  int32_t threshold_unit;  // PRC_THRESHOLD_...
  float threshold;         // the least height of a peak, from 0: with 0 all that is above 0
  float rise;  // how far a peak has to stand above the valleys beside it, 0..1 of its height
  float top;   // the share of the height that the mass is taken of, above 0..1: the whole peak
  float
      resolution;  // a peak is at least mass / resolution wide at half of its height; 0: any width
  int32_t intensity;  // PRC_INTENSITY_...
} PrcCentroiding;

// Makes peaks of the points of a continuum spectrum, whose masses do not descend.
//
// A peak is where intensities rise to a top, or to several of which each but the highest stands
// less than `rise` above the valley to a higher one; of equal ones the first is the higher. With a
// threshold in times of the noise it has to stand that far above both valleys, too. Where only the
// first or the last point is the highest, that is a top as well. Tops that are too low are no
// peaks. A peak reaches to both sides as far as intensities are above 0, but not beyond the lowest
// point between it and the next peak, half of which belongs to either, nor beyond a valley below
// the threshold.
//
// The noise of more than 576 points is the median of 9 runs of 64 that are spread over them.
//
// The mass of a peak is the mean of its points' masses, weighted with what is above the level that
// `top` gives (0.8: a fifth of the height), as far as points around the highest are above it.
// Without any threshold or rise, areas with top 1 add up to all intensities above 0.
//
// `centroiding` is optional: without, the threshold is 3 times the noise, the rise 0.1, the top
// 0.8, the resolution 0, and intensities are heights. `peak_masses` and `peak_intensities` have
// room for (count + 1) / 2 elements and may be the arrays `masses` and `intensities` themselves;
// peaks are in the order of their masses. `peak_count` receives their number, which may be 0.
// Returns PRC_OK; PRC_TOO_FEW_POINTS for none; PRC_NOT_FINITE; PRC_NOT_ASCENDING; PRC_BAD_ARGUMENT;
// PRC_NO_MEMORY.
TERVALON_API int32_t TERVALON_CALL PrcCentroid(const PrcCentroiding* centroiding,
                                               const float* masses, const float* intensities,
                                               int32_t count, float* peak_masses,
                                               float* peak_intensities, int32_t* peak_count);

TERVALON_END_DECLS

#endif  // TERVALON_PROCESSING_H_
