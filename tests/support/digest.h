// A number that stands for all bits of many results.

#ifndef TESTS_SUPPORT_DIGEST_H_
#define TESTS_SUPPORT_DIGEST_H_

#include <cstddef>
#include <cstdint>

#include "tervalon/memory.h"

namespace tervalon::testing {

class Digest {
 public:
  void Add(const void* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
      value_ = (value_ ^ static_cast<const uint8_t*>(data)[i]) * 0x100000001B3u;
    }
  }
  void Add(float value) { Add(&value, sizeof(value)); }
  // Frees the block.
  void AddBlock(TvMemory block, uint32_t count, size_t size = sizeof(float)) {
    Add(TvMemLock(block), count * size);
    TvMemUnlock(block);
    TvMemFree(block);
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xCBF29CE484222325u;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_DIGEST_H_
