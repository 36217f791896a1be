// Processed data sets in the making.

#ifndef PROCESSING_NEW_SET_H_
#define PROCESSING_NEW_SET_H_

#include <cstdint>
#include <functional>

#include "raw/scan_writer.h"
#include "tervalon/raw_history.h"

namespace tervalon::processing {

// Where the history has a set.
struct SetPlace {
  int16_t function;
  int16_t source;  // the set it was made from, 0: the function itself
};

using ScanSource = std::function<int32_t(raw::ScanWriter*)>;

// Stores the scans that `write` appends as a set of the lowest number that nothing has yet, and an
// entry with the type and parameters of `step` in the history. Nothing is left of what fails.
// Returns what PrcSaveStep returns.
int32_t StoreNewSet(int32_t handle, const SetPlace& place, const RawHistoryProcess& step,
                    const ScanSource& write, int16_t* number);

// Reads where the history has a set, and by what step. Returns what PrcReadStep returns.
int32_t FindSet(int32_t handle, int16_t number, SetPlace* place, RawHistoryProcess* step);

}  // namespace tervalon::processing

#endif  // PROCESSING_NEW_SET_H_
