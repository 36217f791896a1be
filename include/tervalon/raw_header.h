// The header of a raw data directory: a text file of tagged lines naming the sample, the
// acquisition, the calibration in force and the state of the data.

#ifndef TERVALON_RAW_HEADER_H_
#define TERVALON_RAW_HEADER_H_

#include "tervalon/raw_calibration.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#pragma pack(push, 1)
// Packed, 1620 bytes. Texts are zero-terminated; a longer value is cut to its field.
typedef struct RawHeader {
  int16_t version_major;
  int16_t version_minor;
  char acquired_name[260];
  char acquired_date[12];
  char acquired_time[9];
  char job_code[80];
  char task_code[80];
  char user_name[80];
  char laboratory_name[80];
  char instrument[80];
  char conditions[80];
  char sample_description[121];
  char submitter[80];
  char sample_id[80];
  char bottle_number[22];
  double solvent_delay;  // minutes
  int32_t resolved;
  char associated_datafile[260];
  char processed[84];  // by what the data were processed; written when 2 characters or longer
  int32_t encrypted;   // set on reading: the header came from "_HEADER.INF"
  uint8_t reserved[54];
  char plate_description[122];
  float analog_offsets[4];
} RawHeader;
#pragma pack(pop)

#define RAW_HEADER_TAG_COUNT 97

// Writes "_HEADER.TXT" from both records, in place of an old one once it is complete. Line ends
// inside texts become spaces. When others have changed the file since both records were read or
// written through this handle, the lines that the caller has not changed stay as the others left
// them. Returns RAW_LOCK_FAILED when another program changes it for too long, else RAW_OK,
// RAW_BAD_ARGUMENT for a missing record, or a member-file error.
TERVALON_API int32_t TERVALON_CALL RawCreateHeader(int32_t handle, const RawHeader* header,
                                                   const RawCalibration* calibration);

// Reads "_HEADER.INF" (the text with every bit inverted), or else "_HEADER.TXT", and counts the
// functions and analog channels, either up to 32. Every output is optional. Of the functions that
// the header does not calibrate, the first 16 get a default calibration (RawFuncDefaultCalib).
// Returns RAW_OK; RAW_MEMBER_NOT_OPENED without a header or a function table; RAW_PATH_NOT_BUILT
// when the settings say that analog data come from a provider and none is registered.
TERVALON_API int32_t TERVALON_CALL RawReadHeader(int32_t handle, RawHeader* header,
                                                 RawCalibration* calibration, int16_t* functions,
                                                 int16_t* analog_channels);

// Copies the line pattern of a tag ("$$ Job Code: %s\r\n") to `text` (at least 64 bytes). Tag 97
// writes nothing.
// Returns 1 for tags 0..97, else 0.
TERVALON_API int32_t TERVALON_CALL RawGetHeaderTag(int32_t tag, char* text);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_HEADER_H_
