// Results that are stored as processed data sets.

#ifndef TOOLS_PROCESSING_SAVED_SETS_H_
#define TOOLS_PROCESSING_SAVED_SETS_H_

#include <tervalon/processing_sets.h>

#include <cstdint>

#include "tools/data/raw_data.h"

namespace tervalon::tools {

// Does a step to what the reader reads, and returns the number of the new set. Throws a Failure.
int64_t SaveStep(const DataReader& reader, const PrcStep& step);

// Does the step that a set was made by once more.
int64_t RepeatStep(const RawDirectory& directory, int32_t process);

}  // namespace tervalon::tools

#endif  // TOOLS_PROCESSING_SAVED_SETS_H_
