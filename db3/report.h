// How failures of record databases are told to the user.

#ifndef DB3_REPORT_H_
#define DB3_REPORT_H_

#include <cstdint>

#include "tervalon/settings.h"

namespace tervalon::db3 {

enum Action : int32_t {
  kInvalidAction = 0,
  kOpenAction = 1,
  kCloseAction = 2,
  kCreateAction = 3,
  kDeleteAction = 4,
  kCheckExistenceAction = 5,
  kCheckOpenAction = 6,
  kReadRecordAction = 7,  // the actions on a record name it
  kUpdateRecordAction = 8,
  kInsertRecordAction = 9,
  kDeleteRecordAction = 10,
};

// Shows a message box unless the cause is success. `file` names the file, and in its first value
// the record. Returns the cause.
int32_t Report(int32_t type, Action action, int32_t cause, const SystemFile& file);

}  // namespace tervalon::db3

#endif  // DB3_REPORT_H_
