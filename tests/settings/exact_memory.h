// Memory whose blocks have exactly the size asked for and move with every reallocation, so that the
// sizes are the same everywhere and a sanitizer sees each byte past a block and each old address.

#ifndef TESTS_SETTINGS_EXACT_MEMORY_H_
#define TESTS_SETTINGS_EXACT_MEMORY_H_

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "platform/memory.h"

namespace tervalon::testing {

class ExactMemory : public platform::MovableMemory {
 public:
  TvMemory Allocate(size_t size) override {
    const auto block = reinterpret_cast<TvMemory>(++blocks_made_ * 16);
    blocks_[block] = std::vector<char>(size);
    return block;
  }
  TvMemory Reallocate(TvMemory block, size_t size) override {
    std::vector<char> moved = blocks_.at(block);
    moved.resize(size);
    moved.shrink_to_fit();
    std::swap(blocks_.at(block), moved);
    return block;
  }
  void* Lock(TvMemory block) override { return blocks_.at(block).data(); }
  int32_t Unlock(TvMemory /*block*/) override { return 0; }
  size_t Size(TvMemory block) override { return block != nullptr ? blocks_.at(block).size() : 0; }
  bool Free(TvMemory block) override { return blocks_.erase(block) == 1; }

 private:
  std::map<TvMemory, std::vector<char>> blocks_;
  uintptr_t blocks_made_ = 0;
};

}  // namespace tervalon::testing

#endif  // TESTS_SETTINGS_EXACT_MEMORY_H_
