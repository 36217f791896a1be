// The library's side of the data handle table.

#ifndef DATAMGR_DATA_HANDLES_H_
#define DATAMGR_DATA_HANDLES_H_

namespace tervalon::datamgr {

// Frees every handle with all that it holds, and removes all registered adapters.
void ResetDataHandles();

}  // namespace tervalon::datamgr

#endif  // DATAMGR_DATA_HANDLES_H_
