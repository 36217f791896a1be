// Platform services that settings tests put in place of the real ones.

#ifndef TESTS_SETTINGS_DOUBLES_H_
#define TESTS_SETTINGS_DOUBLES_H_

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "platform/memory.h"

namespace tervalon::testing {

// Memory whose blocks have exactly the size asked for and move with every reallocation, so that a
// sanitizer sees each byte written past them and each use of an old address. One allocation can
// fail.
class ExactMemory : public platform::MovableMemory {
 public:
  // The n-th allocation or reallocation from now fails (0: none).
  void FailAt(int n) { countdown_ = n; }
  bool failed() const { return failed_; }
  void FailLocks(bool fail) { fail_locks_ = fail; }
  size_t live() const { return blocks_.size(); }
  // Locks that no unlock took back, and calls that the platform forbids.
  int faults() const {
    int faults = faults_;
    for (const auto& [handle, block] : blocks_) faults += block.locks;
    return faults;
  }

  TvMemory Allocate(size_t size) override {
    if (Fails()) return nullptr;
    Block block;
    block.bytes = std::make_unique<char[]>(size);
    block.size = size;
    const auto handle = reinterpret_cast<TvMemory>(++last_handle_ * 16);
    blocks_[handle] = std::move(block);
    return handle;
  }
  TvMemory Reallocate(TvMemory handle, size_t size) override {
    Block* block = Find(handle);
    if (block == nullptr || block->locks != 0) ++faults_;
    if (block == nullptr || Fails()) return nullptr;
    auto bytes = std::make_unique<char[]>(size);
    std::copy_n(block->bytes.get(), std::min(size, block->size), bytes.get());
    block->bytes = std::move(bytes);
    block->size = size;
    return handle;
  }
  void* Lock(TvMemory handle) override {
    Block* block = Find(handle);
    if (block == nullptr || fail_locks_) return nullptr;
    ++block->locks;
    return block->bytes.get();
  }
  int32_t Unlock(TvMemory handle) override {
    Block* block = Find(handle);
    if (block == nullptr || block->locks == 0) {
      ++faults_;
      return 0;
    }
    return --block->locks;
  }
  size_t Size(TvMemory handle) override {
    const Block* block = Find(handle);
    return block != nullptr ? block->size : 0;
  }
  bool Free(TvMemory handle) override {
    if (blocks_.erase(handle) == 0) ++faults_;
    return true;
  }

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    size_t size = 0;
    int32_t locks = 0;
  };

  bool Fails() {
    const bool fails = countdown_ > 0 && --countdown_ == 0;
    failed_ = failed_ || fails;
    return fails;
  }
  Block* Find(TvMemory handle) {
    const auto found = blocks_.find(handle);
    return found != blocks_.end() ? &found->second : nullptr;
  }

  std::map<TvMemory, Block> blocks_;
  uintptr_t last_handle_ = 0;
  int countdown_ = 0;
  int faults_ = 0;
  bool failed_ = false;
  bool fail_locks_ = false;
};

// A desktop that notes what it is told to show.
class NotingDesktop : public platform::Desktop {
 public:
  // "text|caption|style".
  std::vector<std::string> messages;
  std::vector<std::string> debug_texts;

  int32_t ShowMessage(TvWindow /*owner*/, const char* text, const char* caption,
                      uint32_t style) override {
    messages.push_back(std::string(text) + "|" + (caption != nullptr ? caption : "(none)") + "|" +
                       std::to_string(style));
    return platform::kAnswerOk;
  }
  void DebugText(const char* text) override { debug_texts.emplace_back(text); }
};

}  // namespace tervalon::testing

#endif  // TESTS_SETTINGS_DOUBLES_H_
