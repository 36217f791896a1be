// What the files of a processed data set do not say: which function it was made from, and of what
// data type its points are.

#ifndef TOOLS_DATA_PROCESSED_SET_H_
#define TOOLS_DATA_PROCESSED_SET_H_

#include <string>

#include "tools/data/raw_data.h"

namespace tervalon::tools {

// "x.RAW: function 2"
std::string SubjectOf(const RawDirectory& directory, const DataSet& data_set);

// The data set with its function, and with the data type where that is not the function's
// (RawReadProcFunction). Throws a Failure for a function that the processing history contradicts,
// and where nothing tells.
DataSet CompleteDataSet(const RawDirectory& directory, const DataSet& data_set);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_PROCESSED_SET_H_
