// Chromatograms through data handles: a grant, a read and a release for each of 10,000 traces on
// one file, while the application keeps another handle on it, as it does for the chromatogram on
// the screen. Beside the times, the files opened are counted: the directory must not be opened
// again for each trace. Without that other handle every release is the directory's last, which
// closes it.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/counting_files.h"
#include "bench/ratio_reporter.h"
#include "platform/file_system.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/data_handles.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_spectra.h"

namespace {

namespace fs = std::filesystem;
namespace platform = tervalon::platform;
using tervalon::bench::CountingFiles;
using tervalon::bench::Ratio;

constexpr int32_t kGrants = 10000;
constexpr int32_t kScans = 400;
constexpr int32_t kPoints = 50;
constexpr float kLowMass = 100;
constexpr float kMassStep = 10;

void Check(bool success, const char* what) {
  if (!success) throw std::runtime_error(what);
}

// A raw directory of one function, removed at the end.
class Acquisition {
 public:
  Acquisition()
      : path_(fs::temp_directory_path() / ("tervalon-handles-" + std::to_string(getpid()))) {
    int32_t handle = 0;
    Check(RawCreateOpen(path_.c_str(), &handle) == RAW_OK, "RawCreateOpen");
    const RawHeader header = {};
    const RawCalibration calibration = {};
    Check(RawCreateHeader(handle, &header, &calibration) == RAW_OK, "RawCreateHeader");
    RawFunctionRecord record = {};
    tervalon::Store<uint16_t>(record.bytes, RAW_DATA_STANDARD_CENTROID << 10);
    tervalon::Store(record.bytes + tervalon::raw::kLowMass, kLowMass);
    tervalon::Store(record.bytes + tervalon::raw::kHighMass, kLowMass + kPoints * kMassStep);
    Check(RawCreateFunctions(handle, 1, &record) == RAW_OK, "RawCreateFunctions");
    WriteScans(handle);
    Check(RawCreateClose(handle) == RAW_OK, "RawCreateClose");
  }
  ~Acquisition() { fs::remove_all(path_); }

  const fs::path& path() const { return path_; }

 private:
  static void WriteScans(int32_t handle) {
    std::vector<float> masses;
    for (int32_t i = 0; i < kPoints; ++i) {
      masses.push_back(kLowMass + kMassStep * static_cast<float>(i));
    }
    const std::vector<float> intensities(kPoints, 100.0f);
    Check(RawCreateScanFile(handle, 1, 0, 0) == RAW_OK, "RawCreateScanFile");
    for (int32_t scan = 0; scan < kScans; ++scan) {
      Check(RawCreateScans(handle, 1, 0, RAW_DATA_STANDARD_CENTROID, 0, 0, 0,
                           static_cast<float>(scan) * 0.01f, masses.data(), intensities.data(),
                           nullptr, kPoints) == RAW_OK,
            "RawCreateScans");
    }
    Check(RawCreateScansEnd(handle, 1, 0) == RAW_OK, "RawCreateScansEnd");
  }

  fs::path path_;
};

DmRawDescriptor Chromatogram(const Acquisition& data, uint32_t type, float mass) {
  DmRawDescriptor descriptor = {};
  std::strncpy(descriptor.directory, data.path().c_str(), TV_PATH_SIZE - 1);
  descriptor.function = 1;
  descriptor.kind = DM_RAW_CHROMATOGRAM;
  descriptor.trace.type = type;
  descriptor.trace.masses[0] = mass;
  return descriptor;
}

int32_t Grant(DmRawDescriptor* descriptor) {
  const int32_t handle =
      DmGetHandle(DM_TYPE_RAW, sizeof(*descriptor), descriptor, 2, sizeof(float), 0);
  Check(handle != 0, "DmGetHandle");
  return handle;
}

void ReadTrace(DmRawDescriptor* descriptor) {
  const int32_t handle = Grant(descriptor);
  const auto count = static_cast<int32_t>(descriptor->element_count);
  Check(count == kScans, "element count");
  Check(DmGetData(handle, 1, count, 0) == 0, "DmGetData");
  const auto* values = static_cast<const float*>(DmLockData(handle, 0, 1, count));
  Check(values != nullptr, "DmLockData");
  benchmark::DoNotOptimize(values[0]);
  DmUnlockData(handle, 0);
  Check(DmReleaseHandle(handle, 0) == 0, "DmReleaseHandle");
}

// Traces of type TIC, read from the index, or of masses, summed over the spectra.
void Traces(benchmark::State& state, uint32_t type, bool keep_another) {
  CountingFiles files;
  const platform::ScopedReplacement<platform::FileSystem> counted(&files);
  const Acquisition data;
  DmRawDescriptor kept = Chromatogram(data, DM_TRACE_BPI, 0);
  int32_t keeper = 0;
  if (keep_another) keeper = Grant(&kept);
  for ([[maybe_unused]] auto _ : state) {
    files.opened = 0;
    for (int32_t i = 0; i < kGrants; ++i) {
      const float mass = kLowMass + kMassStep * static_cast<float>(i % kPoints);
      DmRawDescriptor descriptor = Chromatogram(data, type, mass);
      ReadTrace(&descriptor);
    }
  }
  if (keep_another) {
    DmReleaseHandle(keeper, 0);
    Check(files.opened == 0, "the directory was opened again");
  }
  state.counters["files opened"] = static_cast<double>(files.opened) / kGrants;
  state.SetItemsProcessed(state.iterations() * kGrants);
}

// What a chromatogram of the index takes at least: its bytes, and a file to read them from.
void ReadIndex(benchmark::State& state, bool open_each) {
  const Acquisition data;
  const std::string path = data.path() / "_FUNC001.IDX";
  std::vector<char> bytes(fs::file_size(path));
  int file = open(path.c_str(), O_RDONLY);
  for ([[maybe_unused]] auto _ : state) {
    for (int32_t i = 0; i < kGrants; ++i) {
      if (open_each) {
        close(file);
        file = open(path.c_str(), O_RDONLY);
      }
      Check(pread(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
            "pread");
    }
  }
  close(file);
}

std::vector<Ratio> RegisterAll() {
  const auto add = [](const char* name, auto run, auto... arguments) {
    benchmark::RegisterBenchmark(name, run, arguments...)->Unit(benchmark::kMillisecond);
  };
  constexpr const char* kTotal = "10,000 total ion chromatograms, another handle open";
  constexpr const char* kMasses = "10,000 mass chromatograms, another handle open";
  constexpr const char* kAlone = "10,000 total ion chromatograms, no other handle";
  constexpr const char* kReads = "10,000 reads of the index";
  constexpr const char* kOpens = "10,000 reads of the index, opened each time";
  add(kTotal, Traces, uint32_t{DM_TRACE_TIC}, true);
  add(kMasses, Traces, uint32_t{DM_TRACE_MASS}, true);
  add(kAlone, Traces, uint32_t{DM_TRACE_TIC}, false);
  add(kReads, ReadIndex, false);
  add(kOpens, ReadIndex, true);
  return {{"grant, read and release / read of the index", kTotal, kReads, 0},
          {"the same without another handle / read of the index, opened", kAlone, kOpens, 0},
          tervalon::bench::Figure("files opened for it", kAlone, "files opened", 3)};
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
