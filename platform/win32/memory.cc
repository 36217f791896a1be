// Movable memory blocks are the platform's global memory, which checks its handles itself.

#include "platform/memory.h"

#include <windows.h>

namespace tervalon::platform {
namespace {

// The platform makes a discarded block, without an address, of no bytes.
SIZE_T AtLeastOne(size_t size) { return size > 0 ? size : 1; }

bool IsLocked(TvMemory block) { return (GlobalFlags(block) & GMEM_LOCKCOUNT) != 0; }

class Win32Memory : public MovableMemory {
 public:
  TvMemory Allocate(size_t size) override { return GlobalAlloc(GHND, AtLeastOne(size)); }

  TvMemory Reallocate(TvMemory block, size_t size) override {
    if (block == nullptr || IsLocked(block)) return nullptr;
    const size_t old_size = GlobalSize(block);
    const TvMemory moved = GlobalReAlloc(block, AtLeastOne(size), GMEM_MOVEABLE | GMEM_ZEROINIT);
    // Bytes behind a rounded-up size are not cleared by every version.
    if (moved != nullptr && size > old_size) {
      if (auto* bytes = static_cast<char*>(GlobalLock(moved))) {
        ZeroMemory(bytes + old_size, size - old_size);
        GlobalUnlock(moved);
      }
    }
    return moved;
  }

  void* Lock(TvMemory block) override { return block != nullptr ? GlobalLock(block) : nullptr; }

  int32_t Unlock(TvMemory block) override {
    if (block == nullptr || !IsLocked(block)) return 0;
    GlobalUnlock(block);
    return static_cast<int32_t>(GlobalFlags(block) & GMEM_LOCKCOUNT);
  }

  size_t Size(TvMemory block) override { return block != nullptr ? GlobalSize(block) : 0; }

  bool Free(TvMemory block) override {
    return block != nullptr && !IsLocked(block) && GlobalFree(block) == nullptr;
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(MovableMemory, Win32Memory)

}  // namespace tervalon::platform
