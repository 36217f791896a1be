// What is to be done before anything is seen: the program's start, the first spectrum of a
// directory, the settings. Files are counted, which no other work on the machine changes.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/counting_files.h"
#include "bench/ratio_reporter.h"
#include "bench/raw_data.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_spectra.h"
#include "tervalon/settings.h"

namespace {

namespace fs = std::filesystem;
namespace platform = tervalon::platform;
using tervalon::bench::Check;
using tervalon::bench::CountingFiles;
using tervalon::bench::Figure;
using tervalon::bench::Ratio;

constexpr int16_t kFunctions = RAW_MAX_FUNCTIONS;

// A directory with small functions, removed at the end.
class Acquisition {
 public:
  Acquisition()
      : path_(fs::temp_directory_path() / ("tervalon-start-" + std::to_string(getpid()))) {
    int32_t handle = 0;
    Check(RawCreateOpen(path_.c_str(), &handle), "RawCreateOpen");
    const RawHeader header = {};
    const RawCalibration calibration = {};
    Check(RawCreateHeader(handle, &header, &calibration), "RawCreateHeader");
    RawFunctionRecord record = {};
    tervalon::Store<uint16_t>(record.bytes, RAW_DATA_STANDARD_CENTROID << 10);
    const std::vector<RawFunctionRecord> records(kFunctions, record);
    Check(RawCreateFunctions(handle, kFunctions, records.data()), "RawCreateFunctions");
    for (int16_t function = 1; function <= kFunctions; ++function) {
      const float masses[] = {100, 200};
      const float intensities[] = {1, 2};
      Check(RawCreateScanFile(handle, function, 0, 0), "RawCreateScanFile");
      Check(RawCreateScans(handle, function, 0, RAW_DATA_STANDARD_CENTROID, 0, 0, 0, 0.1f, masses,
                           intensities, nullptr, 2),
            "RawCreateScans");
      Check(RawCreateScansEnd(handle, function, 0), "RawCreateScansEnd");
    }
    Check(RawCreateClose(handle), "RawCreateClose");
  }
  ~Acquisition() { fs::remove_all(path_); }

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

const Acquisition& Data() {
  static const Acquisition acquisition;
  return acquisition;
}

void FirstSpectrum(benchmark::State& state) {
  const std::string path = Data().path();
  CountingFiles files;
  const platform::ScopedReplacement<platform::FileSystem> counted(&files);
  for ([[maybe_unused]] auto _ : state) {
    files.opened = 0;
    int32_t handle = 0;
    RawFunctionRecord record;
    float masses[2];
    float intensities[2];
    int32_t count = 2;
    Check(RawReadOpen(path.c_str(), &handle), "RawReadOpen");
    Check(RawReadFuncInfo(handle, 1, &record, nullptr), "RawReadFuncInfo");
    Check(RawReadFuncInit(handle, 1, 0, &record, nullptr), "RawReadFuncInit");
    Check(RawReadSpectrum(handle, 1, 0, 1, 1, &count, nullptr, masses, intensities, nullptr, 0),
          "RawReadSpectrum");
    RawReadClose(handle);
  }
  state.counters["files opened"] = static_cast<double>(files.opened);
}

// The program beside this one, from its start to its end.
void RunInfo(benchmark::State& state) {
  const std::string program = fs::read_symlink("/proc/self/exe").parent_path() / "tervalon";
  const std::string path = Data().path();
  std::string words[] = {program, "info", path};
  char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  posix_spawn_file_actions_t to_nowhere;
  posix_spawn_file_actions_init(&to_nowhere);
  posix_spawn_file_actions_addopen(&to_nowhere, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  for ([[maybe_unused]] auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    pid_t process = 0;
    Check(posix_spawn(&process, program.c_str(), &to_nowhere, nullptr, arguments, environ),
          "posix_spawn");
    int status = 0;
    waitpid(process, &status, 0);
    Check(status, "tervalon info");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(time.count());
  }
  posix_spawn_file_actions_destroy(&to_nowhere);
}

// From a settings file without these keys to one with all of them.
void SeedAndSave(benchmark::State& state) {
  CountingFiles files;
  const platform::ScopedReplacement<platform::FileSystem> counted(&files);
  for ([[maybe_unused]] auto _ : state) {
    fs::remove("TERVALON.INI");
    files.replaced = 0;
    Check(InitGlobal(0) == 1 ? 0 : 1, "InitGlobal");
    Check(FreeGlobal(0) == 1 ? 0 : 1, "FreeGlobal");
  }
  state.counters["replaced"] = static_cast<double>(files.replaced);
}

void WriteUnchangedKey(benchmark::State& state) {
  char value[] = "as it was";
  Check(SetIniString("Section", "Key", value, 0) != 0 ? 0 : 1, "SetIniString");
  CountingFiles files;
  const platform::ScopedReplacement<platform::FileSystem> counted(&files);
  for ([[maybe_unused]] auto _ : state) {
    Check(SetIniString("Section", "Key", value, 0) != 0 ? 0 : 1, "SetIniString");
  }
  state.counters["replaced"] = static_cast<double>(files.replaced);
}

std::vector<Ratio> RegisterAll() {
  const auto add = [](const char* name, auto body) {
    return benchmark::RegisterBenchmark(name, body)->Unit(benchmark::kMillisecond);
  };
  add("first spectrum of 32 functions", FirstSpectrum);
  add("tervalon info", RunInfo)->UseManualTime();
  add("settings seeded and saved", SeedAndSave)->UseRealTime();
  add("an unchanged setting", WriteUnchangedKey)->UseRealTime();
  // The fewest are the table, an index and its data; those of the function and its scans are two.
  return {Figure("files opened for the first spectrum of 32 functions",
                 "first spectrum of 32 functions", "files opened", 5),
          Figure("tervalon info, milliseconds", "tervalon info", "", 3),
          Figure("replacements to seed and save 153 settings", "settings seeded and saved",
                 "replaced", 1),
          Figure("replacements for an unchanged setting", "an unchanged setting", "replaced", 0)};
}

}  // namespace

int main(int argc, char** argv) {
  const fs::path directory =
      fs::temp_directory_path() / ("tervalon-settings-" + std::to_string(getpid()));
  fs::create_directory(directory);
  fs::current_path(directory);  // that of the settings file
  const int status = tervalon::bench::RunWithRatios(argc, argv, RegisterAll);
  fs::remove_all(directory);
  return status;
}
