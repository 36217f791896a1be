// How each data type is served: the table behind the dispatchers and the data handles.

#ifndef DATAMGR_ADAPTERS_H_
#define DATAMGR_ADAPTERS_H_

#include <cstdint>

#include "tervalon/data_handles.h"

namespace tervalon::datamgr {

// What becomes of the source when a handle is released for good.
enum class OnRelease {
  kNothing,
  kReleaseSource,  // the adapter's release, unless another handle names the source
  kFreeBlock,      // the block that the descriptor begins with
};

struct DataType {
  int16_t type;
  OnRelease on_release;
  bool registrable;
  // 0: whatever the application's adapter takes.
  uint32_t descriptor_size;
  // The bytes of an element that the descriptor makes the adapter store. nullptr: whatever.
  uint32_t (*item_size)(const void* descriptor, int32_t item);
  // The number of elements, from 1, that the source last wrote to the descriptor. nullptr: unknown.
  uint32_t (*element_count)(const void* descriptor);
  // Called when no handle of the type is in use any more.
  void (*all_released)();
};

// nullptr for a code that is no data type.
const DataType* FindType(int16_t type);

// How the type is served now: the application may change that.
DmAdapter AdapterOf(const DataType& type);

// Removes all registered adapters.
void ResetAdapters();

}  // namespace tervalon::datamgr

#endif  // DATAMGR_ADAPTERS_H_
