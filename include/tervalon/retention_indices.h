// Retention indices: retention times made comparable by reference compounds of known index and
// log P, between which they are interpolated. The calibration is a section of the settings file.

#ifndef TERVALON_RETENTION_INDICES_H_
#define TERVALON_RETENTION_INDICES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define RT_MAX_POINTS 32

// A calibration of retention indices by reference compounds.
typedef struct RTCalibration {
  int32_t calibrated;   // nonzero once a calibration has been made
  int32_t point_count;  // points in use
  int32_t start_index;
  int32_t end_index;
  int32_t increment;
  float indices[RT_MAX_POINTS];
  float log_p[RT_MAX_POINTS];
  float times[RT_MAX_POINTS];  // ascending, minutes
} RTCalibration;

// Reads a calibration from a section, "ChrRetentionCalibration" for NULL. What the section does not
// have is 0, but start index and increment are 1 and the end index is 14.
// Returns 32; 0, with the calibration left alone, when the settings file cannot be read.
TERVALON_API int32_t TERVALON_CALL RTIndicesGetRetentionCalibration(const char* section,
                                                                    RTCalibration* calibration);

// Writes all 32 points, with two decimals, in one change of the settings file.
// Returns 1; 0 when that cannot be done, and nothing is then written.
TERVALON_API int32_t TERVALON_CALL
RTIndicesSetRetentionCalibration(const char* section, const RTCalibration* calibration);

// Interpolates the index at a time, which is taken to hundredths, as the calibration's times are; a
// time where two intervals meet belongs to the first. Intervals within one hundredth are passed
// over. Returns 1; 0 and an index of 0 outside of the calibration and with fewer than two points.
TERVALON_API int32_t TERVALON_CALL RTIndicesCalculateIndex(float time,
                                                           const RTCalibration* calibration,
                                                           float* index);

// The same for log P.
TERVALON_API int32_t TERVALON_CALL RTIndicesCalculateLogP(float time,
                                                          const RTCalibration* calibration,
                                                          float* log_p);

TERVALON_END_DECLS

#endif  // TERVALON_RETENTION_INDICES_H_
