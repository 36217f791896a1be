// Peaks in a Peak List database of the catalogue.

#ifndef TOOLS_PROCESSING_PEAK_LIST_H_
#define TOOLS_PROCESSING_PEAK_LIST_H_

#include <string>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/processing/peak_search.h"

namespace tervalon::tools {

// Adds a record for each peak to the database at `file`, which is made when there is none. All
// records are checked before the first is written. Throws a Failure.
void AddToPeakList(const std::string& file, const DataReader& reader, const PrcPeakSearch& search,
                   const std::vector<FoundPeak>& peaks);

}  // namespace tervalon::tools

#endif  // TOOLS_PROCESSING_PEAK_LIST_H_
