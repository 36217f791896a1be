// Writing scans, and what is read of the scan index alone.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "bench/ratio_reporter.h"
#include "bench/raw_data.h"
#include "raw/data_types.h"
#include "raw/scan_index.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::bench {
namespace {

namespace fs = std::filesystem;

constexpr int32_t kIndexScans = 100000;

// A directory beside the program, removed at its end.
class Directory {
 public:
  Directory()
      : path_(fs::temp_directory_path() / ("tervalon-bench-written-" + std::to_string(getpid()))) {}
  ~Directory() { fs::remove_all(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// What is written: 1 GB, or TERVALON_BENCH_MEGABYTES.
struct Job {
  const char* name;
  int16_t type;
  int32_t points;  // of a scan
  double limit;

  int64_t scans() const {
    const char* megabytes = std::getenv("TERVALON_BENCH_MEGABYTES");
    return ((megabytes != nullptr ? std::atoll(megabytes) : 1024) << 20) / ScanBytes();
  }
  int64_t ScanBytes() const {
    const raw::DataType& packing = *raw::FindDataType(type);
    return int64_t{packing.Units(static_cast<uint32_t>(points))} * packing.unit_bytes;
  }
};

constexpr Job kJobs[] = {{"continuum", RAW_DATA_CONTINUUM, 20000, 1.5},
                         {"centroids", RAW_DATA_STANDARD_CENTROID, 2000, 2.5}};

void WriteScans(int32_t handle, const Job& job, int64_t scans) {
  const Points scan(job.points);
  Check(RawCreateScanFile(handle, 1, 0, 0), "RawCreateScanFile");
  for (int64_t i = 0; i < scans; ++i) {
    Check(RawCreateScans(handle, 1, 0, job.type, 0, 0, 0, static_cast<float>(i) * 0.01f,
                         scan.masses.data(), scan.intensities.data(), nullptr, job.points),
          "RawCreateScans");
  }
  Check(RawCreateScansFlush(handle, 1, 0), "RawCreateScansFlush");
}

void Write(benchmark::State& state, const Job& job) {
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    const Directory directory;
    int32_t handle = 0;
    Check(RawCreateOpen(directory.path().c_str(), &handle), "RawCreateOpen");
    state.ResumeTiming();
    WriteScans(handle, job, job.scans());
    state.PauseTiming();
    RawHandlesInit();  // without waiting for the disk
    fs::remove_all(directory.path());
    state.ResumeTiming();
  }
}

void WriteBlocks(const fs::path& path, int64_t bytes) {
  const std::vector<char> block(64 * 1024, 'x');
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
  for (int64_t done = 0; done < bytes;) {
    const auto count = std::min<int64_t>(bytes - done, static_cast<int64_t>(block.size()));
    const ssize_t written = pwrite(file, block.data(), static_cast<size_t>(count), done);
    if (written <= 0) throw std::runtime_error("cannot write");
    done += written;
  }
  close(file);
}

void WritePass(benchmark::State& state, const Job& job) {
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    const Directory directory;
    fs::create_directory(directory.path());
    state.ResumeTiming();
    WriteBlocks(directory.path() / "data", job.scans() * job.ScanBytes());
    WriteBlocks(directory.path() / "index", job.scans() * raw::IndexRecord::kSize);
    state.PauseTiming();
    fs::remove_all(directory.path());
    state.ResumeTiming();
  }
}

const Run& IndexedRun() { return RunOfScans(RAW_DATA_STANDARD_CENTROID, 10, kIndexScans); }

int32_t TERVALON_CALL CountReports(int32_t /*percent*/, void* user) {
  ++*static_cast<int64_t*>(user);
  return 0;
}

void IndexChromatogram(benchmark::State& state, int16_t kind) {
  const Reader reader(IndexedRun());
  std::vector<float> values(kIndexScans);
  std::vector<float> times(kIndexScans);
  int64_t reports = 0;
  RawUpdateInit(CountReports, &reports);
  for ([[maybe_unused]] auto _ : state) {
    Check(RawReadChrom(reader.handle(), 1, 0, 1, kIndexScans, values.data(), times.data(), kind),
          "RawReadChrom");
  }
  RawUpdateEnd();
  if (reports < 100 * state.iterations()) throw std::runtime_error("no progress");
}

void ReadIndex(benchmark::State& state) {
  const PlainFile file(IndexedRun().path + "/_FUNC001.IDX");
  std::vector<char> buffer(size_t{kIndexScans} * raw::IndexRecord::kSize);
  for ([[maybe_unused]] auto _ : state) {
    if (file.Read(0, buffer.data(), buffer.size()) != buffer.size()) {
      throw std::runtime_error("cannot read");
    }
  }
}

template <typename... Arguments>
void Register(const std::string& name, Arguments... arguments) {
  benchmark::RegisterBenchmark(name.c_str(), arguments...)->MinTime(0.05);
}

std::vector<Ratio> RegisterAll() {
  std::vector<Ratio> ratios;
  Register("read of the index", ReadIndex);
  for (const auto& [name, kind] : {std::pair("total ion current", RAW_CHROM_TOTAL_ION),
                                   std::pair("base peak", RAW_CHROM_BASE_PEAK)}) {
    Register(name, IndexChromatogram, static_cast<int16_t>(kind));
    ratios.push_back(
        {std::string("chromatogram of 100,000 scans, ") + name + " / read of the index", name,
         "read of the index", 2});
  }
  for (const Job& job : kJobs) {
    const std::string write = std::string("write ") + job.name;
    const std::string pass = "write pass: " + std::string(job.name);
    Register(write, Write, job);
    Register(pass, WritePass, job);
    ratios.push_back({write + " / write pass", write, pass, job.limit});
  }
  return ratios;
}

}  // namespace
}  // namespace tervalon::bench

int main(int argc, char** argv) {
  return tervalon::bench::RunWithRatios(argc, argv, tervalon::bench::RegisterAll);
}
