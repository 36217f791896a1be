// Results that stay: processed data sets, which the history of their raw data directory says how to
// make again.
//
// The exports read with the calibration that the directory has, whatever the handle has open. They
// return a result code of processing.h or a Raw error code; with any other than PRC_OK nothing has
// been written or changed.

#ifndef TERVALON_PROCESSING_SETS_H_
#define TERVALON_PROCESSING_SETS_H_

#include "tervalon/processing.h"
#include "tervalon/processing_spectra.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// What is smoothed.
#define PRC_TRACE_NONE 0  // a spectrum
#define PRC_TRACE_TOTAL_ION 1
#define PRC_TRACE_BASE_PEAK 2
#define PRC_TRACE_MASSES 3  // the sum of the intensities from `low` to `high`

// What makes a set out of a function or another set. Options are literal: 0 means 0.
typedef struct PrcStep {
  int32_t type;                // RAW_STEP_COMBINE, RAW_STEP_SMOOTH or RAW_STEP_CENTER
  PrcCombining combining;      // of RAW_STEP_COMBINE, which needs nothing else
  PrcSmoothing smoothing;      // of RAW_STEP_SMOOTH
  PrcCentroiding centroiding;  // of RAW_STEP_CENTER
  int32_t scan;                // what is smoothed or made centroids; 0 with a trace
  int32_t trace;               // of RAW_STEP_SMOOTH: PRC_TRACE_...
  float low;                   // masses of PRC_TRACE_MASSES
  float high;
  // Of RAW_STEP_SMOOTH: the distance (mass units or minutes) at which LineariseDataset places the
  // points first; 0: they are evenly spaced.
  float grid;
} PrcStep;

// Does a step to a function or, with process 1..255, to one of its processed data sets, and stores
// the result as a new set: the lowest number that neither the history nor a file has. The history
// gets an entry below that of the set it was made from, else at the top level of the function's
// tree, with type, time and parameters.
//
// A spectrum is a set of one scan, of data type RAW_DATA_FLOAT for centroids and
// RAW_DATA_ENHANCED_MASS for others, whose intensities have 21 bits. A chromatogram is a set of one
// scan for each of its points, of data type RAW_DATA_FLOAT: its total ion current is the smoothed
// trace, to the bit. All have the retention times of what they were made from.
//
// `saved` receives the number. Returns PRC_OK; what PrcCombine, PrcSmooth or PrcCentroid returns;
// PRC_TOO_FEW_POINTS also when nothing is left to store; PRC_BAD_ARGUMENT also for a type, scan,
// trace or grid that makes no sense; PRC_STEP_UNKNOWN when the history does not have the set that
// the step is to be done to in the function's tree; PRC_NO_FREE_SET; RAW_HISTORY_FULL; another Raw
// error code.
TERVALON_API int32_t TERVALON_CALL PrcSaveStep(int32_t handle, int16_t function, int16_t process,
                                               const PrcStep* step, int16_t* saved);

// Reads from the history how a processed data set was made: the function, the set it was made from
// (0: the function itself) and the step. Each output is optional.
// Returns PRC_OK; PRC_STEP_UNKNOWN when the history does not have the set, or its entry is of a
// type that no export here makes or has other parameters than they write; PRC_BAD_ARGUMENT for a
// process that is not 1..255; PRC_NO_MEMORY; a Raw error code.
TERVALON_API int32_t TERVALON_CALL PrcReadStep(int32_t handle, int16_t process, int16_t* function,
                                               int16_t* source, PrcStep* step);

// Does the step that a processed data set was made by once more, as PrcSaveStep: a new set, the
// same to the bit as long as what both are made from and its calibration are the same.
// Returns as PrcReadStep and PrcSaveStep.
TERVALON_API int32_t TERVALON_CALL PrcRepeat(int32_t handle, int16_t process, int16_t* saved);

TERVALON_END_DECLS

#endif  // TERVALON_PROCESSING_SETS_H_
