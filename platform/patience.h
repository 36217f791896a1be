// Trying again what another program stands in the way of.

#ifndef PLATFORM_PATIENCE_H_
#define PLATFORM_PATIENCE_H_

#include <algorithm>
#include <chrono>

namespace tervalon::platform {

// Lets other programs run for about that long.
void Pause(std::chrono::microseconds time);

// The pauses between tries, short ones at first, until a time is over.
class Patience {
 public:
  explicit Patience(std::chrono::milliseconds wait) : wait_(wait) {}

  // Pauses. False, at once, when the time is over.
  bool Wait() {
    const auto now = std::chrono::steady_clock::now();
    if (next_ == kShortest) begin_ = now;
    if (now - begin_ >= wait_) return false;
    Pause(next_);
    next_ = std::min(next_ * 2, kLongest);
    return true;
  }

 private:
  static constexpr std::chrono::microseconds kShortest{20};
  static constexpr std::chrono::microseconds kLongest{500};

  std::chrono::milliseconds wait_;
  std::chrono::steady_clock::time_point begin_;
  std::chrono::microseconds next_ = kShortest;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_PATIENCE_H_
