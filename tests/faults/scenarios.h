// What programs do with each subsystem, from the first call to the last.

#ifndef TESTS_FAULTS_SCENARIOS_H_
#define TESTS_FAULTS_SCENARIOS_H_

#include "tests/faults/driver.h"

namespace tervalon::testing {

Scenario Acquisition();    // a raw data directory is written
Scenario RawReading();     // and read
Scenario RawChanges();     // members are replaced, scans and processed sets written anew
Scenario RawRepair();      // what a crash has left is mended, and the directory erased
Scenario SettingsUse();    // settings file, global store, projects
Scenario DatabaseUse();    // records, single fields, check and repair
Scenario DataHandleUse();  // data handles and numerics
#if !defined(_WIN32)
Scenario PictureUse();  // plots as PNG, SVG and PDF
#endif

}  // namespace tervalon::testing

#endif  // TESTS_FAULTS_SCENARIOS_H_
