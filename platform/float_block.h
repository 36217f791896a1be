// Floats in a movable block, to be handed out.

#ifndef PLATFORM_FLOAT_BLOCK_H_
#define PLATFORM_FLOAT_BLOCK_H_

#include <cstddef>
#include <utility>

#include "platform/memory.h"

namespace tervalon::platform {

// A movable block of floats, locked; freed unless it is handed out.
class FloatBlock {
 public:
  explicit FloatBlock(size_t count) : block_(Memory().Allocate(count * sizeof(float))) {
    if (block_ != nullptr) data_ = static_cast<float*>(Memory().Lock(block_));
  }
  ~FloatBlock() {
    if (block_ == nullptr) return;
    if (data_ != nullptr) Memory().Unlock(block_);
    Memory().Free(block_);
  }
  FloatBlock(const FloatBlock&) = delete;
  FloatBlock& operator=(const FloatBlock&) = delete;

  float* data() const { return data_; }  // nullptr when there is no memory
  TvMemory HandOut() {
    Memory().Unlock(block_);
    return std::exchange(block_, nullptr);
  }

 private:
  TvMemory block_;
  float* data_ = nullptr;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_FLOAT_BLOCK_H_
