// Movable memory blocks: a small record that stays, and bytes that may move while unlocked.

#include "platform/memory.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>

#include "platform/lock.h"

struct TvMemoryBlock {
  ~TvMemoryBlock() { std::free(bytes); }
  void* bytes = nullptr;
  size_t size = 0;
  int32_t locks = 0;
};

namespace tervalon::platform {
namespace {

// Callers hold the handles, so a handle is looked up before it is followed: one that was freed
// already is answered like nullptr.
class LinuxMemory : public MovableMemory {
 public:
  TvMemory Allocate(size_t size) override {
    try {
      auto block = std::make_unique<TvMemoryBlock>();
      block->bytes = std::calloc(size > 0 ? size : 1, 1);
      if (block->bytes == nullptr) return nullptr;
      block->size = size;
      const TvMemory handle = block.get();
      const Held held(&lock_);
      live_.emplace(handle, std::move(block));
      return handle;
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }

  TvMemory Reallocate(TvMemory block, size_t size) override {
    const Held held(&lock_);
    if (!IsLive(block) || block->locks > 0) return nullptr;
    void* bytes = std::realloc(block->bytes, size > 0 ? size : 1);
    if (bytes == nullptr) return nullptr;
    if (size > block->size) {
      std::memset(static_cast<char*>(bytes) + block->size, 0, size - block->size);
    }
    block->bytes = bytes;
    block->size = size;
    return block;
  }

  void* Lock(TvMemory block) override {
    const Held held(&lock_);
    if (!IsLive(block)) return nullptr;
    ++block->locks;
    return block->bytes;
  }

  int32_t Unlock(TvMemory block) override {
    const Held held(&lock_);
    return IsLive(block) && block->locks > 0 ? --block->locks : 0;
  }

  size_t Size(TvMemory block) override {
    const Held held(&lock_);
    return IsLive(block) ? block->size : 0;
  }

  bool Free(TvMemory block) override {
    const Held held(&lock_);
    if (!IsLive(block) || block->locks > 0) return false;
    live_.erase(block);
    return true;
  }

 private:
  bool IsLive(TvMemory block) const { return live_.contains(block); }

  Mutex lock_;
  std::map<TvMemory, std::unique_ptr<TvMemoryBlock>> live_;
};

}  // namespace

TERVALON_DEFINE_SERVICE(MovableMemory, LinuxMemory)

}  // namespace tervalon::platform
