// Movable zero-filled memory blocks with lock counts.

#ifndef PLATFORM_MEMORY_H_
#define PLATFORM_MEMORY_H_

#include <cstddef>
#include <cstdint>

#include "platform/replaceable.h"
#include "tervalon/types.h"

namespace tervalon::platform {

class MovableMemory {
 public:
  virtual ~MovableMemory() = default;

  // A zero-filled block, or nullptr.
  virtual TvMemory Allocate(size_t size) = 0;

  // Grows or shrinks an unlocked block, which may move; added bytes are zero. On failure returns
  // nullptr and the old block stays valid.
  virtual TvMemory Reallocate(TvMemory block, size_t size) = 0;

  // Adds a lock. The block's address, or nullptr.
  virtual void* Lock(TvMemory block) = 0;

  // Removes a lock. The locks that remain.
  virtual int32_t Unlock(TvMemory block) = 0;

  // At least the size asked for; 0 for nullptr.
  virtual size_t Size(TvMemory block) = 0;

  virtual bool Free(TvMemory block) = 0;
};

template <>
MovableMemory& Current<MovableMemory>();
template <>
MovableMemory* Replace<MovableMemory>(MovableMemory* service);

inline MovableMemory& Memory() { return Current<MovableMemory>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_MEMORY_H_
