// Puts single scans into a data set that nobody has open: what processing makes of a spectrum.

#ifndef RAW_SCAN_STORE_H_
#define RAW_SCAN_STORE_H_

#include <cstdint>

#include "raw/data_types.h"
#include "raw/scan_files.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::raw {

// A scan as it is stored: `count` points (at most RAW_MAX_POINTS), packed as `type_code`.
struct NewScan {
  int32_t type_code;
  RawScanDescription description;
  PointArrays points;
  uint32_t count;
};

// Makes `scan` number `number` of the data set: in place of the present one, or behind the last
// whole scan, where the number is one higher. Files that are missing are made. The points go behind
// those that are there and the index is replaced whole, so that a failure leaves the set as it was.
// Returns RAW_OK, RAW_BAD_ARGUMENT, RAW_SCAN_ABSENT for any other number, RAW_SHORT_WRITE when the
// disk is full or a file would pass 4 GiB, or a member-file error.
int32_t StoreScan(int32_t handle, const ScanFiles& files, uint32_t number, const NewScan& scan);

// The data set's complete scans; 0 when a file is missing.
uint32_t CountScans(int32_t handle, const ScanFiles& files, const DataType& type);

}  // namespace tervalon::raw

#endif  // RAW_SCAN_STORE_H_
