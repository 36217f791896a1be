#include "platform/memory.h"
#include "tervalon/memory.h"

using tervalon::platform::Memory;

extern "C" TvMemory TERVALON_CALL TvMemAlloc(uint32_t size) { return Memory().Allocate(size); }

extern "C" void* TERVALON_CALL TvMemLock(TvMemory block) { return Memory().Lock(block); }

extern "C" int32_t TERVALON_CALL TvMemUnlock(TvMemory block) { return Memory().Unlock(block); }

extern "C" uint32_t TERVALON_CALL TvMemSize(TvMemory block) {
  const size_t size = Memory().Size(block);
  return size <= UINT32_MAX ? static_cast<uint32_t>(size) : UINT32_MAX;
}

extern "C" int32_t TERVALON_CALL TvMemFree(TvMemory block) { return Memory().Free(block) ? 1 : 0; }
