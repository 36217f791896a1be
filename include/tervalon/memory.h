// Movable memory blocks, as bulk results are handed out: zero-filled, locked for use, unlocked
// after use. On Windows they are global memory blocks, so that a caller may also use the platform's
// own calls on them.

#ifndef TERVALON_MEMORY_H_
#define TERVALON_MEMORY_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Allocates a zero-filled movable block of `size` bytes. The caller frees it with TvMemFree.
// Returns NULL when memory runs out.
TERVALON_API TvMemory TERVALON_CALL TvMemAlloc(uint32_t size);

// Adds a lock and returns the block's address, which stays valid until the last lock is removed.
// Returns NULL for a NULL block.
TERVALON_API void* TERVALON_CALL TvMemLock(TvMemory block);

// Removes a lock. Returns the number of locks that remain, 0 once there is none.
TERVALON_API int32_t TERVALON_CALL TvMemUnlock(TvMemory block);

// Returns the block's size in bytes, at least the size asked for; 0 for a NULL block.
TERVALON_API uint32_t TERVALON_CALL TvMemSize(TvMemory block);

// Frees a block whose locks have all been removed. Returns 1, or 0 for a NULL block.
TERVALON_API int32_t TERVALON_CALL TvMemFree(TvMemory block);

TERVALON_END_DECLS

#endif  // TERVALON_MEMORY_H_
