// Analog channels: signals of detectors and chromatographs, sampled beside the scans.
// "_ANALOGS.INF" describes the channels, "_ANALOGS.DAT" holds one record per sampling time with a
// value of every channel. Files do not say how many channels a record has: callers pass what
// RawReadHeader counts.
//
// Where the setting "IsGCMD" of section "Acquisition" is "TRUE", the readers ask the pen-procedure
// provider (application.h) and leave the files alone; RAW_PATH_NOT_BUILT without one, or when it
// fails.

#ifndef TERVALON_RAW_ANALOG_H_
#define TERVALON_RAW_ANALOG_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define RAW_ANALOG_DESCRIPTOR_SIZE 85
#define RAW_MAX_ANALOG_CHANNELS 32  // that are counted and described

// A channel's descriptor. Its bytes are kept as they are; by convention they begin with the
// channel's name and then its unit, both zero-terminated Latin-1.
typedef struct RawAnalogDescriptor {
  uint8_t bytes[RAW_ANALOG_DESCRIPTOR_SIZE];
} RawAnalogDescriptor;

// Creates "_ANALOGS.INF" afresh with `count` descriptors. A file already there is replaced; what
// others have changed meanwhile is kept as by RawCreateFunctions.
// Returns RAW_OK; RAW_BAD_ARGUMENT for a negative count or missing descriptors; a member-file
// error.
TERVALON_API int32_t TERVALON_CALL RawCreateAnalogInf(int32_t handle, int16_t count,
                                                      const RawAnalogDescriptor* descriptors);

// Reads the whole descriptors of "_ANALOGS.INF", at most `*count` of them and at most
// RAW_MAX_ANALOG_CHANNELS, and stores in `count` how many there were. A missing file has none.
// Returns RAW_OK, RAW_BAD_ARGUMENT or a member-file error. Does not ask the provider.
TERVALON_API int32_t TERVALON_CALL RawReadAnalogInf(int32_t handle, int16_t* count,
                                                    RawAnalogDescriptor* descriptors);

// Creates "_ANALOGS.DAT" and leaves it open for RawCreateAnalogScan.
// Returns RAW_OK or a member-file error.
TERVALON_API int32_t TERVALON_CALL RawCreateAnalogFile(int32_t handle);

// Appends a record: the time (minutes) and a value of each of `channels` channels (at most 32767).
// A value is stored as the nearest of mantissa x 4^exponent with 13 and 3 bits: at least 0, at most
// 8191 x 4^7; a NaN as 0.
// Returns RAW_OK; RAW_BAD_ARGUMENT for a count out of range or missing values; RAW_MEMBER_NOT_OPEN;
// RAW_SHORT_WRITE or another member-file error, the record then not being there: the next one takes
// its place.
TERVALON_API int32_t TERVALON_CALL RawCreateAnalogScan(int32_t handle, float time, int32_t channels,
                                                       const float* values);

// Closes what RawCreateAnalogFile opened, and forces the records to the disk.
// Returns RAW_OK or a member-file error; RAW_SHORT_WRITE also when the disk did not take them.
TERVALON_API int32_t TERVALON_CALL RawCreateAnalogEnd(int32_t handle);

// Stores the count of complete records.
// Returns RAW_OK; RAW_BAD_ARGUMENT for a negative number of channels; a member-file error:
// RAW_MEMBER_NOT_OPENED without samples, RAW_MEMBER_ALREADY_OPEN while this handle writes them.
TERVALON_API int32_t TERVALON_CALL RawReadAnalogSize(int32_t handle, int16_t channels,
                                                     int32_t* count);

// Reads `count` records of a channel (from 0) from record `first` (from 1) on. The arrays (each
// optional, `count` elements) get its values and the records' times; behind the last complete
// record they are left alone. Reports progress through RawUpdateInit's callback. Returns as
// RawReadAnalogSize, and RAW_BAD_ARGUMENT for a channel that does not exist, a first record below 1
// or a negative count.
TERVALON_API int32_t TERVALON_CALL RawReadAnalogChrom(int32_t handle, int16_t channel,
                                                      int16_t channels, int32_t first,
                                                      int32_t count, float* intensities,
                                                      float* times);

// Finds the record whose time (minutes) is nearest to `time`; on a tie the earlier one. Times
// before the first record give 1, times after the last the last; without records 0. Returns as
// RawReadAnalogSize.
TERVALON_API int32_t TERVALON_CALL RawReadAnalogTimeScan(int32_t handle, int16_t channels,
                                                         float time, int32_t* record);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_ANALOG_H_
