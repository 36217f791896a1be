// What the files of the raw adapter share.

#ifndef DATAMGR_RAW_ADAPTER_H_
#define DATAMGR_RAW_ADAPTER_H_

#include <cstdint>
#include <string>

#include "tervalon/raw_descriptor.h"

namespace tervalon::datamgr {

// The descriptor's directory; empty when it lacks the terminating zero.
std::string DirectoryOf(const DmRawDescriptor& descriptor);

// The data type that the descriptor gives for a processed data set, -1 for its function's.
int32_t SelectedDataType(const DmRawDescriptor& descriptor);

}  // namespace tervalon::datamgr

#endif  // DATAMGR_RAW_ADAPTER_H_
