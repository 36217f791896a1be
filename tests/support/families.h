// Families of exports, each used at random beside a simple model of what it should answer: by one
// thread for a long time (tests/lives), and by several at the same time (tests/threads).

#ifndef TESTS_SUPPORT_FAMILIES_H_
#define TESTS_SUPPORT_FAMILIES_H_

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/require.h"

namespace tervalon::testing {

using Random = std::mt19937;

inline uint32_t Below(Random* random, uint32_t limit) {
  return static_cast<uint32_t>((*random)() % limit);
}

// What one worker has of a family: objects of its own, and what they should hold.
class Family {
 public:
  virtual ~Family() = default;  // gives everything back
  // One operation. Throws std::runtime_error when an answer is not the model's.
  virtual void Step(Random* random) = 0;
};

// Where a worker works: in a directory that all share, which a FamilyGround has filled.
struct Workplace {
  std::string directory;
  uint32_t worker;  // from 0, different for all of one family at one time
};
constexpr uint32_t kMostWorkers = 4;

struct FamilyKind {
  std::string name;
  uint32_t weight;  // how often it is chosen: less where each step writes files
  std::unique_ptr<Family> (*make)(const Workplace& place);
};

template <typename Kind>
std::unique_ptr<Family> Make(const Workplace& place) {
  return std::make_unique<Kind>(place);
}

std::vector<FamilyKind> AllFamilies();

// Makes what the families of one process share: raw directories to read, the settings file's
// directory, callbacks and adapters that call back. Until it is destroyed.
class FamilyGround {
 public:
  explicit FamilyGround(const std::string& directory);
  ~FamilyGround();
  FamilyGround(const FamilyGround&) = delete;
  FamilyGround& operator=(const FamilyGround&) = delete;
};

// By the file that they are in.
std::vector<FamilyKind> RawFamilies();
std::vector<FamilyKind> StoredFamilies();
std::vector<FamilyKind> MemoryFamilies();
std::vector<FamilyKind> DrawingFamilies();

constexpr uint32_t kSharedScans = 60;
std::string SharedRun(const std::string& directory, uint32_t number);  // 0 and 1
void MakeSharedRun(const std::string& directory);
void RegisterValueAdapter();

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_FAMILIES_H_
