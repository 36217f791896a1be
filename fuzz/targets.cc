#include "fuzz/targets.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>

#include "appsvc/application.h"
#include "datamgr/adapters.h"
#include "datamgr/data_handles.h"
#include "db3/slots.h"
#include "platform/desktop.h"
#include "settings/settings.h"
#include "tervalon/raw_directory.h"

namespace tervalon::fuzz {
namespace {

constexpr const Target* kTargets[] = {&kScans,    &kHeader,   &kMembers, &kDirectory,
                                      &kSettings, &kDatabase, &kText};

// What a few KB may cost, under sanitizers.
constexpr double kMostSeconds = 5;

// Of a bundle's files the one that says which calls of the file system fail: the number of the
// first (16 bits) and how many (8 bits, 0: all that follow).
constexpr uint8_t kFailures = 31;

// Whether calls of the file system fail, so that what is checked need not hold.
bool machine_fails = false;
struct MachineFailed {};

// Beside everything that a target is given.
constexpr char kOutside[] = "\\outside.txt";

class SilentDesktop : public platform::Desktop {
 public:
  int32_t ShowMessage(TvWindow, const char*, const char*, uint32_t) override {
    return platform::kAnswerOk;
  }
  void Beep(uint32_t) override {}
  platform::FileChoiceResult ChooseFile(platform::FileChoice*, uint32_t*) override {
    return platform::FileChoiceResult::kCancelled;
  }
  void DebugText(const char*) override {}
  TvInstance LibraryInstance() override { return nullptr; }
  bool LoadText(TvInstance, uint16_t, std::string*) override { return false; }
};

void Reset() {
  db3::ResetDatabases();
  datamgr::ResetDataHandles();
  datamgr::ResetAdapters();
  RawHandlesInit();
  RawUpdateEnd();
  settings::ResetGlobalStore();
  settings::ResetSettingsFile(nullptr);
  appsvc::ResetApplication();
}

double ProcessorSeconds() {
  std::timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace

void Fail(const char* file, int line, const char* what) {
  if (machine_fails) throw MachineFailed();
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

std::span<const Target* const> AllTargets() { return kTargets; }

const Target* FindTarget(std::string_view name) {
  const auto* found = std::find_if(std::begin(kTargets), std::end(kTargets),
                                   [name](const Target* target) { return target->name == name; });
  return found != std::end(kTargets) ? *found : nullptr;
}

void RunTarget(const Target& target, std::span<const uint8_t> input) {
  const double start = ProcessorSeconds();
  const Bundle bundle = Bundle::DecodeFrom(input);
  MemoryFileSystem files("\\w");
  files.Put(kOutside, {'a'});
  machine_fails = false;
  for (const Bundle::File& file : bundle.files) {
    if (file.number < target.paths.size()) files.Put(target.paths[file.number], file.bytes);
    if (file.number != kFailures) continue;
    Options failures(file.bytes);
    const uint64_t first = uint64_t{1} + failures.Take<uint16_t>();
    const auto count = failures.Take<uint8_t>();
    files.Fail(first, count != 0 ? first + count - 1 : UINT64_MAX);
    machine_fails = true;
  }
  SilentDesktop desktop;
  {
    platform::ScopedReplacement<platform::FileSystem> use_files(&files);
    platform::ScopedReplacement<platform::Desktop> use_desktop(&desktop);
    Options options(bundle.options);
    try {
      target.run(&options, &files);
    } catch (const MachineFailed&) {  // the rest relied on it
    }
    Reset();
  }
  machine_fails = false;
  FUZZ_CHECK(files.open_files() == 0);
  FUZZ_CHECK(files.Get(kOutside) == Bytes{'a'});
  FUZZ_CHECK(ProcessorSeconds() - start < kMostSeconds);
}

}  // namespace tervalon::fuzz
