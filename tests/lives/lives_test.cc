// All families of exports in random order for a long time in one process, against their models:
// nothing grows meanwhile, neither memory nor handles nor the time that a call takes.
//
// TERVALON_LIVES_STEPS is the number of operations, TERVALON_LIVES_SEED chooses them.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <new>
#include <thread>

#include "tests/support/families.h"
#include "tests/support/temp_directory.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <malloc.h>
#endif

namespace {

std::atomic<int64_t> live_allocations = 0;

}  // namespace

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  void* const block = std::malloc(size > 0 ? size : 1);
  if (block != nullptr) ++live_allocations;
  return block;
}

void* operator new(size_t size) {
  void* const block = operator new(size, std::nothrow);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  if (block != nullptr) --live_allocations;
  std::free(block);
}

void operator delete(void* block, size_t /*size*/) noexcept { operator delete(block); }

namespace tervalon::testing {
namespace {

constexpr int kLives = 10;
constexpr int kWarmUp = 4;  // lives in which the caches of the libraries below fill

uint32_t NumberFrom(const char* variable, uint32_t fallback) {
  const char* const given = std::getenv(variable);
  return given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : fallback;
}

// What the process has.
struct Holdings {
  int64_t allocations;
  int64_t heap_bytes;  // 0 where the platform does not tell
  int64_t handles;
  int64_t drawing_objects;  // likewise
};

Holdings Take() {
  Holdings now = {live_allocations, 0, 0, 0};
#if defined(_WIN32)
  for (uintptr_t value = 4; value < 4 * 2048; value += 4) {  // Wine does not count them
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0) ++now.handles;
  }
  now.drawing_objects = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
#else
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  now.heap_bytes = static_cast<int64_t>(mallinfo2().uordblks);
#endif
  const std::filesystem::directory_iterator open("/proc/self/fd");
  now.handles = std::distance(begin(open), end(open));
#endif
  return now;
}

struct Life {
  Holdings after;
  double seconds_per_step;
};

// All families from their beginning to their end. Returns the seconds that a step took.
double Live(const std::string& directory, uint32_t steps, Random* random) {
  const std::vector<FamilyKind> kinds = AllFamilies();
  std::vector<size_t> choice;  // a kind as often as it has weight
  std::vector<std::unique_ptr<Family>> families;
  for (size_t i = 0; i < kinds.size(); ++i) {
    choice.insert(choice.end(), kinds[i].weight, i);
    families.push_back(kinds[i].make({directory, 0}));
  }
  const std::clock_t start = std::clock();
  for (uint32_t step = 0; step < steps; ++step) {
    const size_t chosen = choice[Below(random, static_cast<uint32_t>(choice.size()))];
    try {
      families[chosen]->Step(random);
    } catch (const std::exception& error) {
      ADD_FAILURE() << kinds[chosen].name << ", step " << step << ": " << error.what();
      break;
    }
  }
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC / steps;
}

TEST(LivesTest, NothingGrows) {
  const uint32_t steps = NumberFrom("TERVALON_LIVES_STEPS", 30000);
  const uint32_t seed = NumberFrom("TERVALON_LIVES_SEED", 1);
  SCOPED_TRACE("TERVALON_LIVES_SEED=" + std::to_string(seed));
  Random random(seed);
  const TempDirectory directory;
  const FamilyGround ground(directory.Path());
  std::vector<Life> lives;
  lives.reserve(kLives);
  for (int life = 0; life < kLives && !HasFailure(); ++life) {
    // In a thread, because the C library counts what a thread keeps for its next allocations as
    // used until it ends.
    double seconds_per_step = 0;
    std::thread([&] { seconds_per_step = Live(directory.Path(), steps / kLives, &random); }).join();
    lives.push_back({Take(), seconds_per_step});
    const auto& [after, seconds] = lives.back();
    std::printf(
        "life %d: %lld allocations, %lld bytes, %lld handles, %lld objects, %.2f us a step\n",
        life + 1, static_cast<long long>(after.allocations),
        static_cast<long long>(after.heap_bytes), static_cast<long long>(after.handles),
        static_cast<long long>(after.drawing_objects), seconds * 1e6);
  }
  if (HasFailure()) return;
  for (const Life& life : lives) {
    EXPECT_EQ(life.after.allocations, lives[0].after.allocations);
    EXPECT_EQ(life.after.handles, lives[0].after.handles);
    EXPECT_EQ(life.after.drawing_objects, lives[0].after.drawing_objects);
  }
  // Where the rest of a free block would be too small for another, it is used whole: the same
  // blocks do not always take the same bytes.
  constexpr int64_t kUnsplitRests = 512;
  EXPECT_LE(lives.back().after.heap_bytes, lives[kWarmUp].after.heap_bytes + kUnsplitRests);
  const auto is_faster = [](const Life& a, const Life& b) {
    return a.seconds_per_step < b.seconds_per_step;
  };
  // The best of three against the worst of three: other work on the machine takes time, too.
  const auto before = std::max_element(lives.begin() + 1, lives.begin() + kWarmUp, is_faster);
  const auto after = std::min_element(lives.end() - 3, lives.end(), is_faster);
  EXPECT_LE(after->seconds_per_step, 1.5 * before->seconds_per_step);
}

}  // namespace
}  // namespace tervalon::testing
