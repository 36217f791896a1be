// Data handles: bulk data of several kinds behind small numbers. A caller describes the data that
// it wants in a block of its own, the descriptor, and is granted a handle; it asks for a range of
// elements to be resident, locks the parallel element arrays to read or change them, and releases
// the handle. Callers in one thread who ask for the same data share one handle and one cache.
//
// A data handle is 1..59; 0 means none. A number that was not granted, or is not in use any more,
// gets the export's failure value. While an adapter serves a handle (it may let the application
// handle messages meanwhile), DmGetData, DmWriteHandle and the last DmReleaseHandle answer -1 for
// it.
//
// How the elements of a type are numbered is the adapter's affair; raw data count from 1
// (raw_descriptor.h).

#ifndef TERVALON_DATA_HANDLES_H_
#define TERVALON_DATA_HANDLES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define DM_MAX_HANDLES 59
#define DM_MAX_ITEMS 4

// Data types.
#define DM_TYPE_RAW 0      // raw data; the descriptor is a DmRawDescriptor, elements are floats
#define DM_TYPE_LIBRARY 1  // library entries; served by a registered adapter
#define DM_TYPE_STRUCTURE \
  2                          // structures; registered. The descriptor begins with the TvMemory of
                             // the structure's block (or NULL), which the last release frees
#define DM_TYPE_DATABASE 11  // database records; the descriptor is a DmDatabaseDescriptor
#define DM_TYPE_GENERIC 20   // generic files; registered

// Flags of a handle.
// Nothing is read, and the source is not touched: the caller fills the arrays. The grant makes a
// handle of its own; later requests without the flag share it like any other.
#define DM_FLAG_NO_SOURCE 0x0004u
#define DM_FLAG_FROZEN 0x0008u  // stays usable, but is not shared with later requests

// Flags of DmGetData.
#define DM_DATA_DISCARD 1           // empty the cache first
#define DM_DATA_DISCARD_DISJOINT 2  // empty it unless the wanted range overlaps or touches it

// Flag of DmWriteHandle and DmDataWrite.
#define DM_WRITE_SAVE_PROCESS 1  // raw data: record the processed data set in the history

// How a data type is served; by functions that several threads may call at once, for handles of
// their own. A compare looks at what names the data only: a read may be filling in the rest of the
// stored descriptor meanwhile. A missing function does nothing and succeeds; a missing read fails,
// a missing compare finds all descriptors different.
typedef struct DmAdapter {
  // Reads elements into `items`, one array for each item of the handle (further entries are NULL).
  // With count 0, and `items` NULL on a grant, validates the source and may fill the descriptor.
  // Returns 0, or a nonzero status that the caller of DmGetData receives.
  int32_t(TERVALON_CALL* read)(void* descriptor, int32_t no_source, uint32_t first, int32_t count,
                               void* const* items);
  int32_t(TERVALON_CALL* write)(void* descriptor, uint32_t first, int32_t count, void* const* items,
                                uint16_t flags);
  // Ends the use of a source. Types 0, 1 and 20: called with the last handle that names the source.
  int32_t(TERVALON_CALL* release)(void* descriptor, int32_t no_source, uint32_t first,
                                  int32_t count, void* const* items);
  // Returns nonzero when both descriptors name the same data, or with `same_source` the same
  // source.
  int32_t(TERVALON_CALL* compare)(const void* stored, const void* given, int32_t same_source);
} DmAdapter;
TERVALON_STRUCT_SIZE(DmAdapter, 16, 32);

// Sets the adapter of type 1, 2 or 20; it is copied. NULL removes it: such a type reads as -1.
// Returns 0, -1 for any other type.
TERVALON_API int32_t TERVALON_CALL DmRegisterAdapter(int16_t type, const DmAdapter* adapter);

// Grants a handle for the data that `desc` (optional, desc_size bytes) describes, with item_count
// (0..4) arrays. A handle that this thread was granted for the same data with at least as many
// items is shared, unless it is frozen: its descriptor is copied back to `desc`. Otherwise the
// adapter opens the source and may fill `desc` (element counts, say), of which the handle keeps a
// copy. Item sizes are compared with those of a handle to share; whether they are the data's own is
// seen when elements are read or written.
// Returns the handle; 0 when the source cannot be opened, when 59 handles are in use, when a handle
// to share has other item sizes, and for what cannot be: sizes missing, a count out of range, and
// for types 0 and 11 a descriptor that is too short.
// A grant that fails on opening releases what it began, as DmReleaseHandle does: with type 2 the
// block that `desc` begins with is freed. When there is no memory for the copy of the descriptor, a
// handle comes back that is not in use.
TERVALON_API int32_t TERVALON_CALL DmGetHandleEx(int16_t type, int16_t desc_size, void* desc,
                                                 int16_t item_count, const uint32_t* item_sizes,
                                                 uint16_t flags);

// The same with items of one size.
TERVALON_API int32_t TERVALON_CALL DmGetHandle(int16_t type, int16_t desc_size, void* desc,
                                               int16_t item_count, uint32_t item_size,
                                               uint16_t flags);

// Makes elements first .. first + count - 1 resident. The cache grows to hold them and what it
// held, and any gap between: each element is read once. A read that fails empties the cache, and so
// does a range behind the elements of raw data or databases, for which no room is made.
// Returns 0; the adapter's status; -1 without items, for a negative count or a range beyond 32
// bits, for elements of another size than the adapter stores, when memory runs out, and when the
// range is not resident while any of the arrays is locked.
TERVALON_API int32_t TERVALON_CALL DmGetData(int32_t handle, uint32_t first, int32_t count,
                                             int32_t flags);

// Locks an array once and returns the address of element `first` in it, valid until the array is
// unlocked. Returns NULL when not all of the range is resident.
TERVALON_API void* TERVALON_CALL DmLockData(int32_t handle, int32_t item, uint32_t first,
                                            int32_t count);

// Unlocks an array once. Returns the locks that remain; 0 when there is no such array.
TERVALON_API int32_t TERVALON_CALL DmUnlockData(int32_t handle, int32_t item);

// Locks the handle's copy of the descriptor and returns its address, NULL without one.
TERVALON_API void* TERVALON_CALL DmLockID(int32_t handle);

// Unlocks it once. Returns the locks that remain; 0 without one.
TERVALON_API int32_t TERVALON_CALL DmUnlockID(int32_t handle);

// Passes the resident elements to the adapter's write. Returns its result; -1 when a lock fails,
// and for elements of another size than the adapter takes.
TERVALON_API int32_t TERVALON_CALL DmWriteHandle(int32_t handle, uint16_t flags);

// Freezes a handle, or with 0 makes it shareable again. Returns its flags; those of a handle that
// is not in use do not change.
TERVALON_API int32_t TERVALON_CALL DmFreezeHandle(int32_t handle, int32_t freeze);

// Gives back one grant (there are at most 255 of a handle: with one more it is not in use). The
// last one releases the source and frees all arrays, locked or not. The second argument is ignored.
// Returns 0, -1 when the handle was not in use or a lock fails.
TERVALON_API int32_t TERVALON_CALL DmReleaseHandle(int32_t handle, int32_t ignored);

// The adapters without a handle. `items` holds 4 pointers (NULL: not wanted) or is NULL.
// DmDataRead with no_source returns 0, whatever the type, and calls nothing. Otherwise all return
// -1 for an unknown type.
TERVALON_API int32_t TERVALON_CALL DmDataRead(int16_t type, void* desc, int32_t no_source,
                                              uint32_t first, int32_t count, void* const* items);
TERVALON_API int32_t TERVALON_CALL DmDataWrite(int16_t type, void* desc, uint32_t first,
                                               int32_t count, void* const* items, uint16_t flags);
TERVALON_API int32_t TERVALON_CALL DmDataRelease(int16_t type, void* desc, int32_t no_source,
                                                 uint32_t first, int32_t count, void* const* items);

TERVALON_END_DECLS

#endif  // TERVALON_DATA_HANDLES_H_
