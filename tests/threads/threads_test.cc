// Families of exports in several threads at the same time, each with objects of its own: all pairs
// of families, and all families together. Under ThreadSanitizer this also finds what goes well by
// chance.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <thread>

#include "tests/support/families.h"
#include "tests/support/temp_directory.h"

namespace tervalon::testing {
namespace {

// Of each pair, in milliseconds.
int TimeOfPair() {
  const char* const given = std::getenv("TERVALON_THREADS_TIME");
  return given != nullptr ? std::atoi(given) : 15;
}

class Together {
 public:
  explicit Together(const std::string& directory) : directory_(directory) {}

  void Add(const FamilyKind& kind, uint32_t worker) { members_.push_back({kind, worker}); }

  void Run(std::chrono::milliseconds time) {
    std::vector<std::thread> threads;
    for (const Member& member : members_) {
      threads.emplace_back([this, &member] { Work(member); });
    }
    while (ready_ < members_.size()) std::this_thread::yield();
    std::this_thread::sleep_for(time);
    ended_ = true;
    for (std::thread& thread : threads) thread.join();
    for (const std::string& failure : failures_) ADD_FAILURE() << failure;
  }

 private:
  struct Member {
    FamilyKind kind;
    uint32_t worker;
  };

  void Work(const Member& member) {
    Random random(member.worker + 1);
    bool counted = false;
    try {
      const std::unique_ptr<Family> family = member.kind.make({directory_, member.worker});
      ++ready_;
      counted = true;
      // Once at least, however slow the machine.
      do {
        family->Step(&random);
      } while (!ended_);
    } catch (const std::exception& error) {
      const std::lock_guard<std::mutex> guard(failures_mutex_);
      failures_.push_back(member.kind.name + ": " + error.what());
    }
    if (!counted) ++ready_;
  }

  std::string directory_;
  std::vector<Member> members_;
  std::atomic<size_t> ready_ = 0;
  std::atomic<bool> ended_ = false;
  std::mutex failures_mutex_;
  std::vector<std::string> failures_;
};

TEST(ThreadsTest, AllPairsOfFamilies) {
  const TempDirectory directory;
  const FamilyGround ground(directory.Path());
  const std::vector<FamilyKind> kinds = AllFamilies();
  for (size_t first = 0; first < kinds.size() && !::testing::Test::HasFailure(); ++first) {
    for (size_t second = first; second < kinds.size(); ++second) {
      SCOPED_TRACE(kinds[first].name + " and " + kinds[second].name);
      Together pair(directory.Path());
      for (uint32_t worker = 0; worker < 2; ++worker) {
        pair.Add(kinds[first], worker);
        pair.Add(kinds[second], worker + 2);
      }
      pair.Run(std::chrono::milliseconds(TimeOfPair()));
    }
  }
}

TEST(ThreadsTest, AllFamiliesTogether) {
  const TempDirectory directory;
  const FamilyGround ground(directory.Path());
  Together all(directory.Path());
  for (const FamilyKind& kind : AllFamilies()) {
    all.Add(kind, 0);
    all.Add(kind, 1);
  }
  all.Run(std::chrono::milliseconds(20 * TimeOfPair()));
}

}  // namespace
}  // namespace tervalon::testing
