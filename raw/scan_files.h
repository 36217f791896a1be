// The two files that hold the scans of a function or of a processed data set.

#ifndef RAW_SCAN_FILES_H_
#define RAW_SCAN_FILES_H_

#include <cstdint>

#include "raw/member_files.h"

namespace tervalon::raw {

// File codes and number of the ".DAT" and the ".IDX".
struct ScanFiles {
  int32_t data_code;
  int32_t index_code;
  int32_t number;
};

inline ScanFiles ScanFilesOf(int32_t function, int32_t process) {
  if (process == 0) return {kFunctionData, kFunctionIndex, function};
  return {kProcessData, kProcessIndex, process};
}

// Closes both; the first error.
inline int32_t CloseScanFiles(int32_t handle, const ScanFiles& files) {
  const int32_t error = RawFileClose(handle, files.data_code, files.number);
  const int32_t index_error = RawFileClose(handle, files.index_code, files.number);
  return error != RAW_OK ? error : index_error;
}

}  // namespace tervalon::raw

#endif  // RAW_SCAN_FILES_H_
