// Cause numbers: what every operation on record databases answers.

#ifndef DB3_CAUSES_H_
#define DB3_CAUSES_H_

#include <cstdint>

#include "tervalon/databases.h"

namespace tervalon::db3 {

enum Cause : int32_t {
  kSuccess = DB3_SUCCESS,
  kGeneralError = DB3_GENERAL_ERROR,
  kFileOpen = DB3_FILE_OPEN,
  kFileClose = DB3_FILE_CLOSE,
  kFileCreation = DB3_FILE_CREATION,
  kFileDeletion = DB3_FILE_DELETION,
  kFileRead = DB3_FILE_READ,
  kFileWrite = DB3_FILE_WRITE,
  kMemoryAllocation = DB3_MEMORY_ALLOCATION,
  kMemoryLock = DB3_MEMORY_LOCK,
  kMemoryFree = DB3_MEMORY_FREE,
  kRecordNumber = DB3_RECORD_NUMBER,
  kDatabaseFull = DB3_DATABASE_FULL,
  kAlreadyOpen = DB3_ALREADY_OPEN,
  kOldFormat = DB3_OLD_FORMAT,
  kRecordStructure = DB3_RECORD_STRUCTURE,
  kOnlyRecord = DB3_ONLY_RECORD,
  kNotOpen = DB3_NOT_OPEN,
  kFileMissing = DB3_FILE_MISSING,
  kInvalidFormat = DB3_INVALID_FORMAT,
  kTooManyOpen = DB3_TOO_MANY_OPEN,
};
inline constexpr int32_t kCauses = kTooManyOpen + 1;

}  // namespace tervalon::db3

#endif  // DB3_CAUSES_H_
