// Spectra that are made of many: the scans under a peak combined, less the background beside it.
//
// The exports read a function or a processed data set that RawReadFuncInit has opened. They return
// a result code of processing.h or what reading gives, a Raw error code; with any other than PRC_OK
// nothing has been changed.

#ifndef TERVALON_PROCESSING_SPECTRA_H_
#define TERVALON_PROCESSING_SPECTRA_H_

#include "tervalon/processing.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Scans that follow each other; both are among them. A first scan of 0: none.
typedef struct PrcScans {
  int32_t first;
  int32_t last;
} PrcScans;

// Finds the scans whose retention times (minutes) are from `from_time` to `to_time`: from the first
// such scan to the last one.
// Returns PRC_OK; PRC_NO_SCANS when there is none; PRC_BAD_ARGUMENT; PRC_NO_MEMORY; a Raw error
// code.
TERVALON_API int32_t TERVALON_CALL PrcFindScans(int32_t handle, int16_t function, int16_t process,
                                                float from_time, float to_time, PrcScans* scans);

#define PRC_MAX_RUNS 4             // of scans that are combined
#define PRC_MAX_BACKGROUND_RUNS 2  // of scans that are a background

#define PRC_COMBINE_MEAN 0
#define PRC_COMBINE_SUM 1

// What the points of a scan are.
#define PRC_POINTS_BY_TYPE 0    // of data types 3, 4, 6 and 12 a continuum, else centroids
#define PRC_POINTS_CONTINUUM 1  // samples along an axis
#define PRC_POINTS_CENTROIDS 2  // each a peak

// Runs may overlap and are in any order: a scan counts once, and the result is the same.
typedef struct PrcCombining {
  int32_t method;                                // PRC_COMBINE_...
  int32_t points;                                // PRC_POINTS_...
  PrcScans scans[PRC_MAX_RUNS];                  // those without a first scan are not used
  PrcScans background[PRC_MAX_BACKGROUND_RUNS];  // its mean is subtracted `factor` times
  float factor;
  float tolerance;           // centroids as near as this to a higher one are added to it; from 0
  int32_t tolerance_in_ppm;  // not 0: parts per million of the mass, 0: mass units
} PrcCombining;

// A spectrum. The caller frees both blocks, which are there even without points.
typedef struct PrcSpectrum {
  TvMemory masses;       // `count` floats
  TvMemory intensities;  // `count` floats
  int32_t count;
  int32_t scan_count;    // scans that it was made of, without a background
  int32_t centroids;     // not 0: each point is a peak
  float retention_time;  // mean of the scans', minutes
} PrcSpectrum;
TERVALON_STRUCT_SIZE(PrcSpectrum, 24, 32);

// Combines scans to their sum or mean. Scans without points count in the mean.
//
// Continuum: the result has the masses of the first scan that has points, calibrated as
// RawReadFuncInit was told, and scans with the same masses are added point by point. A scan on
// another axis (another number of points, or another segment's calibration) is brought onto it,
// each point being spread over the masses nearer to it than to its neighbours; its sum is kept, and
// what lies outside goes to the ends. What is left of the background's subtraction may be below 0.
//
// Selected-ion data (types 2 and 11): channel by channel, in a result that counts as continuum.
//
// Centroids: from the highest of all masses on, the points within the tolerance of one make one
// peak with it, at the mean of the scans' masses, weighted with their intensities. Points of no
// intensity are left out, and so are peaks of which the background leaves nothing. With a tolerance
// of 0 only equal masses are added.
//
// Long calls report as RawReadChromTraces does. Beside the result the memory of a few spectra is
// taken, of centroids that of all different masses.
// Returns PRC_OK; PRC_NO_SCANS when no run has a first scan; RAW_SCAN_ABSENT when a run is longer
// than the function; PRC_NOT_FINITE where data of type 10 are not finite; PRC_NOT_ASCENDING where
// masses that do not ascend were to be brought onto another axis; PRC_BAD_ARGUMENT, also for a last
// scan below the first, a factor that is not finite and a tolerance that is not from 0;
// PRC_NO_MEMORY; another Raw error code.
TERVALON_API int32_t TERVALON_CALL PrcCombine(int32_t handle, int16_t function, int16_t process,
                                              const PrcCombining* combining, PrcSpectrum* result);

TERVALON_END_DECLS

#endif  // TERVALON_PROCESSING_SPECTRA_H_
