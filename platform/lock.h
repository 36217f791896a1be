// How the process-wide tables are guarded, each by a lock of its owner.
//
// A lock is held for as long as its table is looked at or changed: never over a callback into the
// application, over a wait for another program, or while another of these locks is taken, but for
// this order: the settings store, data handles, plot resources; then the raw sources, adapters,
// slots of the databases, registrations; then what the platform keeps (memory blocks, drawing
// tables, windows, atoms); and last services that are used for the first time.

#ifndef PLATFORM_LOCK_H_
#define PLATFORM_LOCK_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tervalon::platform {

// A lock for the threads of one process; a thread that holds it must not take it again. What is
// held is given back soon, so taking costs one exchange, and who finds it taken lets others run:
// neither needs anything of the system that has to be made or given back.
class Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Take() {
    if (taken_.exchange(true, std::memory_order_acquire)) Wait();
  }
  void Release() { taken_.store(false, std::memory_order_release); }

 private:
  // Until it is taken.
  void Wait();

  std::atomic<bool> taken_ = false;
};

// Lets other threads run: at first those that are ready, after some rounds for a millisecond,
// whatever their priorities.
void LetOthersRun(int round);

// Holds a lock for a scope.
class Held {
 public:
  explicit Held(Mutex* lock) : lock_(lock) { lock_->Take(); }
  ~Held() { lock_->Release(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

 private:
  Mutex* lock_;
};

// What many threads read and one sets now and then, whole.
template <typename Value>
class Shared {
 public:
  Value Get() const {
    const Held held(&lock_);
    return value_;
  }
  void Set(const Value& value) {
    const Held held(&lock_);
    value_ = value;
  }

 private:
  mutable Mutex lock_;
  Value value_ = {};
};

// A number of the calling thread, which no other that lives has.
uintptr_t ThisThread();

// Which places of a table are taken: who has taken one works on it without a lock.
template <size_t kCount>
class Places {
 public:
  // The lowest free place from `first` on, which is taken now; -1 when there is none.
  int32_t Take(size_t first) {
    for (size_t place = first; place < kCount; ++place) {
      if (!IsTaken(place) && !taken_[place].exchange(true, std::memory_order_acquire)) {
        return static_cast<int32_t>(place);
      }
    }
    return -1;
  }
  void GiveBack(size_t place) { taken_[place].store(false, std::memory_order_release); }
  bool IsTaken(size_t place) const { return taken_[place].load(std::memory_order_acquire); }

 private:
  std::array<std::atomic<bool>, kCount> taken_ = {};
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LOCK_H_
