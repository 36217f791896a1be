// Memory whose blocks have exactly the size asked for and move with every reallocation, so that the
// sizes are the same everywhere and a sanitizer sees each byte past a block and each old address.

#ifndef TESTS_SETTINGS_EXACT_MEMORY_H_
#define TESTS_SETTINGS_EXACT_MEMORY_H_

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/memory.h"

namespace tervalon::testing {

class ExactMemory : public platform::MovableMemory {
 public:
  TvMemory Allocate(size_t size) override {
    auto bytes = std::make_unique<Bytes>(size);
    const auto block = reinterpret_cast<TvMemory>(bytes.get());
    blocks_[block] = std::move(bytes);
    return block;
  }
  TvMemory Reallocate(TvMemory block, size_t size) override {
    Bytes& bytes = *blocks_.at(block);
    Bytes moved(size);
    std::copy_n(bytes.begin(), std::min(size, bytes.size()), moved.begin());
    bytes.swap(moved);
    return block;
  }
  void* Lock(TvMemory block) override { return blocks_.at(block)->data(); }
  int32_t Unlock(TvMemory /*block*/) override { return 0; }
  size_t Size(TvMemory block) override { return block != nullptr ? blocks_.at(block)->size() : 0; }
  bool Free(TvMemory block) override { return blocks_.erase(block) == 1; }

 private:
  using Bytes = std::vector<char>;

  std::map<TvMemory, std::unique_ptr<Bytes>> blocks_;
};

}  // namespace tervalon::testing

#endif  // TESTS_SETTINGS_EXACT_MEMORY_H_
