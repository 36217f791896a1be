// Spectra: the points of one scan, read back or written scan by scan during an acquisition.

#ifndef TERVALON_RAW_SPECTRA_H_
#define TERVALON_RAW_SPECTRA_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// The most points a scan can hold (the index stores the count in 22 bits).
#define RAW_MAX_POINTS 0x3FFFFF

#define RAW_SCAN_FLAG_D 0x80000000u  // in RawScanHeader.points
#define RAW_SCAN_POINTS_MASK 0x003FFFFFu
#define RAW_SCAN_FLAG_B 1u  // in RawScanHeader.flags
#define RAW_SCAN_FLAG_E 2u
#define RAW_SCAN_FLAG_A 4u

// What the scan index says of a scan. The base peak is the index's: not calibrated.
typedef struct RawScanHeader {
  uint32_t points;          // bits 0..21 number of points, bit 31 flag D
  uint32_t flags;           // bit 0 flag B or "the function has a calibration", 1 flag E, 2 flag A
  float total_ion_current;  // sum of the stored intensities
  float retention_time;     // minutes
  float base_peak_mass;
  float base_peak_intensity;
  float low_mass;  // the function's mass range
  float high_mass;
  uint32_t flag_c;
  uint32_t segment;  // 0..15
} RawScanHeader;

// What a writer says of a scan.
typedef struct RawScanDescription {
  uint32_t flag_d;  // bit 0 of each flag word
  uint32_t flag_b;
  uint32_t flag_c;
  float retention_time;  // minutes
  uint32_t segment;      // low four bits
  uint32_t flag_a;
} RawScanDescription;

// Reads a run of points of scan `scan` (1..), starting at point `first` (1..). On entry *count is
// how many points are wanted, on return how many were delivered: fewer at the scan's end or when
// the data are cut off. `count` is optional when only the header is wanted. Each output array is
// optional and holds *count elements. `flags` gets the flag nibble of data types 11 and 12, 0
// otherwise. With `skip_flagged`, points of those types whose flag bit 0 is set are passed over and
// not counted. Masses are calibrated as RawReadFuncInit was told, unless the scan has flag B, the
// data type is 2 or 11, or the scan's segment has no calibration.
// Returns RAW_OK; RAW_SCAN_ABSENT; RAW_BAD_ARGUMENT for a first point below 1 or a negative count;
// RAW_SCAN_BUFFER_ABSENT without RawReadFuncInit; a member-file error.
TERVALON_API int32_t TERVALON_CALL RawReadSpectrum(int32_t handle, int16_t function,
                                                   int16_t process, int32_t scan, int32_t first,
                                                   int32_t* count, RawScanHeader* header,
                                                   float* masses, float* intensities,
                                                   uint8_t* flags, int32_t skip_flagged);

// Reads what the index says of `count` scans, from scan `first` (1..) on, into as many elements of
// `headers`.
// Returns RAW_OK; RAW_SCAN_ABSENT at the first scan that the index does not have, with the headers
// before it delivered; RAW_BAD_ARGUMENT for a negative count or missing headers;
// RAW_SCAN_BUFFER_ABSENT without RawReadFuncInit; a member-file error.
TERVALON_API int32_t TERVALON_CALL RawReadScanHeaders(int32_t handle, int16_t function,
                                                      int16_t process, int32_t first, int32_t count,
                                                      RawScanHeader* headers);

// Reads where the data of `count` scans begin, from scan `first` (1..) on, into as many elements of
// `offsets`: bytes from the beginning of the ".DAT" file, as the index says.
// Returns as RawReadScanHeaders.
TERVALON_API int32_t TERVALON_CALL RawReadScanOffsets(int32_t handle, int16_t function,
                                                      int16_t process, int32_t first, int32_t count,
                                                      uint32_t* offsets);

// Reads all points of `scan_count` scans, in any order, one scan's behind the other's. The points
// of scans[i] are elements offsets[i] .. offsets[i + 1] - 1 of the arrays: `offsets` has
// scan_count + 1 elements. Each output array is optional and holds `capacity` elements, filled as
// by RawReadSpectrum. Without any, the offsets count the points that the index claims, which is the
// capacity that the scans need; data that are cut off then deliver fewer.
// Returns as RawReadSpectrum, and RAW_BAD_ARGUMENT at a scan for which there is no room. With an
// error the scans before the one that it is about are delivered, those behind it have no points.
TERVALON_API int32_t TERVALON_CALL RawReadSpectra(int32_t handle, int16_t function, int16_t process,
                                                  int32_t scan_count, const int32_t* scans,
                                                  int64_t capacity, int64_t* offsets, float* masses,
                                                  float* intensities, uint8_t* flags);

// Creates ".DAT" and ".IDX" of a function (process 0) or a processed data set (1..255) for writing;
// scans that are there are gone, and whoever reads them has to begin anew. `flags` is reserved: 0.
// A failed call leaves nothing open and every scan in its place.
// Until RawCreateScansEnd or RawCreateClose nobody else writes these scans: another call for them,
// of this program or any other, is refused.
// Returns RAW_OK, RAW_SCAN_BUFFER_EXISTS, RAW_LOCK_FAILED while there is another writer,
// RAW_MEMBER_ALREADY_OPEN while this handle reads the set for another function,
// RAW_NO_MEMORY_FOR_SCAN_BUFFER or a member-file error.
TERVALON_API int32_t TERVALON_CALL RawCreateScanFile(int32_t handle, int16_t function,
                                                     int16_t process, int32_t flags);

// Appends one scan of `count` points (0..RAW_MAX_POINTS), packed as data type `selector` (0..12, of
// those that are stored). `masses` may be NULL for types that store none (2, 3, 4, 6, 11); `flags`
// (optional) is one byte per point, of which types 11 and 12 store the low four bits. A value that
// the type cannot hold is stored as the nearest that it can, a NaN as 0; what is stored as 0 is all
// zero bits. Total ion current and base peak are those of the intensities as stored.
// Scans reach the files when 50 are waiting, or with RawCreateScansFlush: data before index, so
// that a reader never sees a scan that is not whole. Returns RAW_OK; RAW_BAD_ARGUMENT for a type
// that is not stored, a bad count or a missing array; RAW_SCAN_BUFFER_ABSENT without
// RawCreateScanFile; RAW_SHORT_WRITE when the disk is full or a file would pass 4 GiB (scans
// written before stay whole; the failed one is not stored).
TERVALON_API int32_t TERVALON_CALL RawCreateScansEx(int32_t handle, int16_t function,
                                                    int16_t process, int16_t selector,
                                                    const RawScanDescription* description,
                                                    const float* masses, const float* intensities,
                                                    const uint8_t* flags, int32_t count);

// RawCreateScansEx with the description's first four words as arguments, segment and flag A being
// 0.
TERVALON_API int32_t TERVALON_CALL RawCreateScans(int32_t handle, int16_t function, int16_t process,
                                                  int16_t selector, uint32_t flag_d,
                                                  uint32_t flag_b, uint32_t flag_c, float time,
                                                  const float* masses, const float* intensities,
                                                  const uint8_t* flags, int32_t count);

// Writes what is waiting to the files.
// Returns RAW_OK, RAW_SCAN_BUFFER_ABSENT or a member-file error.
TERVALON_API int32_t TERVALON_CALL RawCreateScansFlush(int32_t handle, int16_t function,
                                                       int16_t process);

// Flushes, forces the scans to the disk, closes both files and frees the writer's buffer, also when
// the flush fails. Returns the first error: RAW_SHORT_WRITE also when the disk did not take them.
TERVALON_API int32_t TERVALON_CALL RawCreateScansEnd(int32_t handle, int16_t function,
                                                     int16_t process);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_SPECTRA_H_
