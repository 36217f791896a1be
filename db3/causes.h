// Cause numbers: what every operation on record databases answers.

#ifndef DB3_CAUSES_H_
#define DB3_CAUSES_H_

#include <cstdint>

namespace tervalon::db3 {

enum Cause : int32_t {
  kSuccess = 0,
  kGeneralError = 1,
  kFileOpen = 2,
  kFileClose = 3,
  kFileCreation = 4,
  kFileDeletion = 5,
  kFileRead = 6,
  kFileWrite = 7,
  kMemoryAllocation = 8,
  kMemoryLock = 9,
  kMemoryFree = 10,
  kRecordNumber = 11,
  kDatabaseFull = 12,
  kAlreadyOpen = 13,
  kOldFormat = 14,
  kRecordStructure = 15,
  kOnlyRecord = 16,
  kNotOpen = 17,
  kFileMissing = 18,
  kInvalidFormat = 19,
  kTooManyOpen = 20,
};
inline constexpr int32_t kCauses = 21;

}  // namespace tervalon::db3

#endif  // DB3_CAUSES_H_
