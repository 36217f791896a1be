// Several programs that change and read the same files, some of which are ended at random moments.
//
// Every writer is a process of its own that notes each change before it asks the library for it,
// and whether the library said that it is stored. When all have finished, what is there has to
// agree with what was reported; readers check every answer meanwhile.
//
// TERVALON_PROGRAMS_KILLS in the environment is how many are ended of each kind: 1000 in the long
// run, `TERVALON_PROGRAMS_KILLS=1000 programs_test`, a minute or two for each kind.
// TERVALON_PROGRAMS_TIMES multiplies the changes, TERVALON_PROGRAMS_SEED repeats a run.

#ifndef TESTS_PROGRAMS_DRIVER_H_
#define TESTS_PROGRAMS_DRIVER_H_

#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/require.h"

namespace tervalon::testing {

enum class Outcome {
  kStored,
  kRefused,
  kUnknown,  // the writer was ended meanwhile
};

struct Change {
  int writer = 0;
  std::string text;
  Outcome outcome = Outcome::kUnknown;
};

// A writer's notes, which outlast it.
class Notes {
 public:
  Notes(const std::string& path, int writer);

  void Begin(const std::string& text);
  void End(bool stored);

  int writer() const { return writer_; }

  static std::vector<Change> Read(const std::string& path, int writer);

 private:
  int writer_;
  std::ofstream out_;
};

using Random = std::mt19937;

inline uint32_t Below(Random* random, uint32_t limit) {
  return static_cast<uint32_t>((*random)() % limit);
}

// What a process does over and over. All throw std::runtime_error when the library answers what it
// must not. The working directory is the one with the files.
class Writer {
 public:
  virtual ~Writer() = default;
  // One change; `serial` is 1 for the writer's first, also across its ends.
  virtual void Make(uint32_t serial, Random* random, Notes* notes) = 0;
};

class Reader {
 public:
  virtual ~Reader() = default;
  // Reads and checks; returns how many answers.
  virtual uint32_t Check(Random* random) = 0;
};

// What programs do with one kind of file.
struct Kind {
  std::string name;
  uint32_t changes;  // of each writer
  std::function<void()> prepare;
  std::function<std::unique_ptr<Writer>(int writer)> make_writer;
  std::function<std::unique_ptr<Reader>()> make_reader;
  // Compares what is there with the changes, those of a writer in their order.
  std::function<void(const std::vector<Change>& changes)> check;
};
constexpr int kWriters = 4;
constexpr int kReaders = 2;

// Runs the processes of a kind and checks everything.
void RunPrograms(const Kind& kind);

// The main function of the processes, when the arguments are theirs; -1 when they are not.
int RunAsProgram(int count, char** arguments, const std::vector<Kind>& kinds);

// Numbered places for texts, in one file.
class Places {
 public:
  virtual ~Places() = default;
  virtual bool Set(uint32_t place, const std::string& text) = 0;
  virtual std::string Get(uint32_t place) = 0;  // "" when nothing was set yet
};

// The kind in which every writer owns `each` of the places, one behind the other: what it set last
// is there, whatever the others do to theirs, and nobody ever sees anything go back.
Kind KindOfPlaces(const std::string& name, uint32_t changes, uint32_t each, uint32_t longest,
                  std::function<void()> prepare, std::function<std::unique_ptr<Places>()> make);

// A text that shows when it is not whole or not the one of that owner and serial number.
std::string Filled(int owner, uint32_t serial, uint32_t longest);
struct Filling {
  int owner = 0;
  uint32_t serial = 0;
};
// Throws when the text is not one of Filled.
Filling CheckFilled(const std::string& text, uint32_t longest);

}  // namespace tervalon::testing

#endif  // TESTS_PROGRAMS_DRIVER_H_
