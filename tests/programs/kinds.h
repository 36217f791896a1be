// Every kind of file that programs share.

#ifndef TESTS_PROGRAMS_KINDS_H_
#define TESTS_PROGRAMS_KINDS_H_

#include "tests/programs/driver.h"

namespace tervalon::testing {

Kind ReplacedFileKind();

Kind SettingsKind();

// The global store, which every program writes back whole, beside keys of their own.
Kind SystemListKind();

// Records that are updated, and such that are inserted and deleted, too; each program has the file
// open twice.
Kind UpdatedRecordsKind();
Kind MovedRecordsKind();

// Of a raw data directory.
Kind RawHeaderKind();
Kind FunctionTableKind();
Kind AppendedFunctionsKind();
Kind AnalogDescriptorsKind();
Kind HistoryKind();
Kind ProcessedSetKind();

}  // namespace tervalon::testing

#endif  // TESTS_PROGRAMS_KINDS_H_
