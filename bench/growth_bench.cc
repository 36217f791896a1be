// How cost grows with the work: the time of one unit and the peak memory of a process that does
// nothing else, at four sizes. Both are to stay what they are. With --large up to 4 GiB and 10
// million scans, which takes minutes.

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/plain_picture.h"
#include "bench/raw_data.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tervalon/drawing_devices.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kSizes = 4;
constexpr int32_t kPoints = 2000;  // of a scan of continuum data

fs::path Folder() { return fs::temp_directory_path() / "tervalon-growth"; }
fs::path DirectoryOf(int32_t points) { return Folder() / (std::to_string(points) + ".raw"); }

// A directory of `scans` scans of so many points, instead of the one before.
void WriteScans(int64_t scans, int32_t points) {
  RawFunctionRecord record = {};
  Store(record.bytes, static_cast<uint16_t>(RAW_DATA_CONTINUUM << 10 | RAW_TYPE_TOF_MS));
  Store(record.bytes + raw::kLowMass, Points::kLowMass);
  Store(record.bytes + raw::kHighMass, Points::kHighMass);
  const Points scan(points);
  int32_t handle = 0;
  Check(RawCreateOpen(DirectoryOf(points).c_str(), &handle), "RawCreateOpen");
  Check(RawCreateFunctions(handle, 1, &record), "RawCreateFunctions");
  Check(RawCreateScanFile(handle, 1, 0, 0), "RawCreateScanFile");
  for (int64_t i = 0; i < scans; ++i) {
    Check(RawCreateScans(handle, 1, 0, RAW_DATA_CONTINUUM, 0, 0, 0, static_cast<float>(i) * 0.01f,
                         nullptr, scan.intensities.data(), nullptr, points),
          "RawCreateScans");
  }
  Check(RawCreateScansFlush(handle, 1, 0), "RawCreateScansFlush");
}

Run RunInPlace(int64_t scans, int32_t points) {
  return {RAW_DATA_CONTINUUM, points, static_cast<int32_t>(scans), DirectoryOf(points)};
}

void ReadSpectra(int64_t scans) {
  const Reader reader(RunInPlace(scans, kPoints));
  std::vector<float> masses(kPoints);
  std::vector<float> intensities(kPoints);
  for (int32_t scan = 1; scan <= scans; ++scan) {
    int32_t count = kPoints;
    Check(RawReadSpectrum(reader.handle(), 1, 0, scan, 1, &count, nullptr, masses.data(),
                          intensities.data(), nullptr, 0),
          "RawReadSpectrum");
  }
}

// In pieces, so that the caller's arrays are the same for all sizes.
template <typename Read>
void ReadInPieces(int64_t scans, Read read) {
  constexpr int64_t kPiece = 1000;
  for (int64_t first = 1; first <= scans; first += kPiece) {
    read(static_cast<int32_t>(first), static_cast<int32_t>(std::min(kPiece, scans + 1 - first)));
  }
}

void Trace(int64_t scans) {
  const Reader reader(RunInPlace(scans, kPoints));
  RawTraceWindow window = {0, 1e6f, 0, 0, 0};
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  std::vector<float> values(1000);
  float* arrays[] = {values.data()};
  ReadInPieces(scans, [&](int32_t first, int32_t count) {
    Check(RawReadChromTraces(reader.handle(), 1, 0, first, count, 1, &trace, arrays, nullptr),
          "RawReadChromTraces");
  });
}

void IndexChromatogram(int64_t scans) {
  const Reader reader(RunInPlace(scans, 1));
  std::vector<float> values(1000);
  ReadInPieces(scans, [&](int32_t first, int32_t count) {
    Check(RawReadChrom(reader.handle(), 1, 0, first, count, values.data(), nullptr,
                       RAW_CHROM_TOTAL_ION),
          "RawReadChrom");
  });
}

void DrawChromatogram(int64_t points) {
  Chromatogram data;
  data.x.resize(static_cast<size_t>(points));
  data.y.resize(static_cast<size_t>(points));
  for (size_t i = 0; i < data.x.size(); ++i) {
    data.x[i] = kEnd * static_cast<float>(i) / static_cast<float>(points);
    data.y[i] = static_cast<float>(i * 7919 % 1000003);
  }
  AxesPicture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  picture.Draw(data);
}

std::string DatabasePath() { return Folder() / "GROWTH.DBF"; }

void HandleRecords(int64_t records, int32_t operation) {
  const std::string path = DatabasePath();
  if (operation == DB3_HANDLE_INSERT) fs::remove(path);
  const auto open = [&path](int32_t mode) {
    Check(DB3Open(DB3_METHOD, path.c_str(), mode) == DB3_SUCCESS, "DB3Open");
  };
  if (operation == DB3_HANDLE_INSERT) open(DB3_MODE_CREATE);
  open(DB3_MODE_OPEN);
  DB3Method record = {};
  for (int32_t number = 1; number <= records; ++number) {
    Check(DB3HandleRecord(DB3_METHOD, operation, number, &record, DB3_INSERT_INTO_EMPTY) ==
              DB3_SUCCESS,
          "DB3HandleRecord");
  }
  DB3Close(DB3_METHOD);
}

struct Job {
  const char* name;
  const char* unit;
  int64_t sizes[kSizes];        // in units
  int64_t large_sizes[kSizes];  // with --large
  void (*run)(int64_t size);
  size_t callers_bytes = 0;  // of a unit, which are no memory of the library
};

int64_t ScansOf(int64_t megabytes) { return (megabytes << 20) / (2 * kPoints); }

// In this order: what is read was written by the same size's job before.
constexpr Job kJobs[] = {
    {"continuum, written",
     "MB",
     {4, 16, 64, 256},
     {64, 256, 1024, 4095},
     [](int64_t size) { WriteScans(ScansOf(size), kPoints); }},
    {"continuum, spectra read",
     "MB",
     {4, 16, 64, 256},
     {64, 256, 1024, 4095},
     [](int64_t size) { ReadSpectra(ScansOf(size)); }},
    {"continuum, trace",
     "MB",
     {4, 16, 64, 256},
     {64, 256, 1024, 4095},
     [](int64_t size) { Trace(ScansOf(size)); }},
    {"scans of one point, written",
     "1,000 scans",
     {100, 400, 1600, 6400},
     {400, 1600, 6400, 10000},
     [](int64_t size) { WriteScans(1000 * size, 1); }},
    {"scans of one point, total ion current",
     "1,000 scans",
     {100, 400, 1600, 6400},
     {400, 1600, 6400, 10000},
     [](int64_t size) { IndexChromatogram(1000 * size); }},
    {"chromatogram, drawn",
     "1,000 points",
     {250, 1000, 4000, 16000},
     {1000, 4000, 16000, 64000},
     [](int64_t size) { DrawChromatogram(1000 * size); },
     2 * 1000 * sizeof(float)},
    {"records, appended",
     "record",
     {150, 600, 2400, 9998},
     {150, 600, 2400, 9998},
     [](int64_t size) { HandleRecords(size, DB3_HANDLE_INSERT); }},
    {"records, read",
     "record",
     {150, 600, 2400, 9998},
     {150, 600, 2400, 9998},
     [](int64_t size) { HandleRecords(size, DB3_HANDLE_READ); }},
    {"records, updated",
     "record",
     {150, 600, 2400, 9998},
     {150, 600, 2400, 9998},
     [](int64_t size) { HandleRecords(size, DB3_HANDLE_UPDATE); }},
};

double ProcessorSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Cost {
  double seconds;
  double megabytes;
};

// Of a process of its own.
Cost Measure(const Job& job, int64_t size) {
  auto* const seconds = static_cast<double*>(
      mmap(nullptr, sizeof(double), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const pid_t process = fork();
  if (process == 0) {
    const double start = ProcessorSeconds();
    try {
      job.run(size);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s: %s\n", job.name, error.what());
      _exit(1);
    }
    *seconds = ProcessorSeconds() - start;
    _exit(0);
  }
  int status = 0;
  rusage usage = {};
  if (process < 0 || wait4(process, &status, 0, &usage) != process || status != 0) {
    throw std::runtime_error(job.name);
  }
  const auto callers = static_cast<double>(size) * static_cast<double>(job.callers_bytes);
  const Cost cost = {*seconds, static_cast<double>(usage.ru_maxrss) / 1024 - callers / (1 << 20)};
  munmap(seconds, sizeof(double));
  return cost;
}

// The least time of some.
void PrintTable(bool large) {
  constexpr int kRounds = 3;
  std::vector<std::vector<Cost>> costs(std::size(kJobs));
  for (int s = 0; s < kSizes; ++s) {
    for (size_t j = 0; j < std::size(kJobs); ++j) {
      const Job& job = kJobs[j];
      const int64_t size = (large ? job.large_sizes : job.sizes)[s];
      Cost least = {INFINITY, 0};
      for (int round = 0; round < (large ? 1 : kRounds); ++round) {
        const Cost cost = Measure(job, size);
        least = {std::min(least.seconds, cost.seconds), std::max(least.megabytes, cost.megabytes)};
      }
      costs[j].push_back({least.seconds / static_cast<double>(size), least.megabytes});
    }
  }
  std::printf("%-38s %-12s %39s   %31s\n", "job", "unit", "sizes: microseconds a unit",
              "peak memory, MB");
  for (size_t j = 0; j < std::size(kJobs); ++j) {
    std::printf("%-38s %-12s", kJobs[j].name, kJobs[j].unit);
    for (int s = 0; s < kSizes; ++s) {
      const auto size = (large ? kJobs[j].large_sizes : kJobs[j].sizes)[s];
      std::printf(" %5lld: %-8.4g", static_cast<long long>(size), costs[j][s].seconds * 1e6);
    }
    std::printf("  ");
    for (const Cost& cost : costs[j]) std::printf(" %7.1f", cost.megabytes);
    std::printf("\n");
  }
}

}  // namespace
}  // namespace tervalon::bench

int main(int argc, char** argv) {
  using tervalon::bench::Folder;
  std::filesystem::create_directories(Folder());
  int status = 0;
  try {
    tervalon::bench::PrintTable(argc > 1 && std::strcmp(argv[1], "--large") == 0);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    status = 1;
  }
  std::filesystem::remove_all(Folder());
  return status;
}
