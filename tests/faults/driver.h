// Whole scenarios of write, read and change, of which each file operation and each allocation fails
// in turn, and whose power is cut between any two of them.

#ifndef TESTS_FAULTS_DRIVER_H_
#define TESTS_FAULTS_DRIVER_H_

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/memory_files.h"

namespace tervalon::testing {

// What a reading step was told, as a number that tells answers apart.
class Answer {
 public:
  void Add(const void* bytes, size_t count);
  template <typename T>
  void Add(const T& value) {
    Add(&value, sizeof(value));
  }
  // Adds what a call has delivered, and returns what it has returned.
  template <typename... T>
  int32_t With(int32_t result, const T&... values) {
    (Add(values), ...);
    return result;
  }
  bool operator==(const Answer&) const = default;

 private:
  uint64_t value_ = 0xCBF29CE484222325;
};

enum StepFlags : uint32_t {
  kOnce = 1,   // after a failure it cannot be repeated; the program ends
  kEnds = 2,   // programs do it at their end, whatever failed before
  kParts = 4,  // a failure may leave some of what it does done
};

// What is documented of a step.
struct Promise {
  int32_t success = 0;
  std::vector<int32_t> failures = {};  // the documented ones
  uint32_t flags = 0;
  int waits = 0;            // how often at most for the disk
  std::string forces = {};  // a part of the names of the files that it forces to the disk
};

// One export call, or a few of which each needs the one before.
struct Step : Promise {
  Step(std::string step_name, Promise promise, std::function<int32_t(Answer*)> call)
      : Promise(std::move(promise)), name(std::move(step_name)), run(std::move(call)) {}

  std::string name;
  std::function<int32_t(Answer*)> run;  // allocates nothing itself
};

// What a power cut spares of a file.
enum class Spared {
  kReported,   // what the last step that has reported left there, or the one under way leaves
  kGrown,      // what was there when a step last forced it, and anything behind
  kUnchanged,  // that, until a step changes it
};

struct Scenario {
  std::string name;
  std::function<void()> prepare;  // on an empty disk
  std::vector<Step> steps;
  std::function<void()> reset;  // as in a new process
  // Takes out what differs from run to run, and what is no part of what is stored (data that no
  // index names).
  std::function<void(Disk*)> normalise;
  std::function<Spared(const std::string& path)> spared;
  std::function<void()> read_all = [] {};  // whatever a power cut has left
  bool platform_caches = false;            // what libraries below keep is not counted

  friend void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }
};

// Every fault in turn.
void FailEachCall(const Scenario& scenario);

// Power cuts at random moments.
void CutPower(const Scenario& scenario);

}  // namespace tervalon::testing

#endif  // TESTS_FAULTS_DRIVER_H_
