// The fuzz targets: each reads what files or texts say through the library's exports, and checks
// what must hold whatever they say.

#ifndef FUZZ_TARGETS_H_
#define FUZZ_TARGETS_H_

#include <cstdint>
#include <span>
#include <string_view>

#include "fuzz/bundle.h"
#include "tests/support/memory_files.h"

namespace tervalon::fuzz {

struct Target {
  const char* name;
  std::span<const char* const> paths;  // of a bundle's files, by their numbers
  void (*run)(Options* options, MemoryFileSystem* files);
};

// Raw directories are "\w\R.RAW", databases "\w\D.DBF".
extern const Target kScans;      // function table, indexes, scan data, processed sets
extern const Target kHeader;     // header, calibration
extern const Target kMembers;    // history, analog channels
extern const Target kDirectory;  // check, repair, data handles, whatever a directory holds
extern const Target kSettings;   // settings file, store, placements, projects, profiles
extern const Target kDatabase;   // record files and their journals
extern const Target kText;       // numbers, traces, messages, paths, fields, calibration texts

std::span<const Target* const> AllTargets();
// nullptr when there is none of that name.
const Target* FindTarget(std::string_view name);

// Runs a target in a fresh process state, in which calls of the file system fail where the input
// says so. Ends the program when a check fails, when files stay open, when anything outside the
// target's files changed, and when an input of a few KB takes seconds.
void RunTarget(const Target& target, std::span<const uint8_t> input);

// Says what does not hold and ends the program; where the file system fails, only the target's run.
[[noreturn]] void Fail(const char* file, int line, const char* what);
#define FUZZ_CHECK(condition) \
  ((condition) ? void() : ::tervalon::fuzz::Fail(__FILE__, __LINE__, #condition))

}  // namespace tervalon::fuzz

#endif  // FUZZ_TARGETS_H_
