#include "bench/raw_data.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <random>
#include <stdexcept>

#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::bench {
namespace {

namespace fs = std::filesystem;

int64_t PointsOfRun() {
  const char* megabytes = std::getenv("TERVALON_BENCH_MEGABYTES");
  return (megabytes != nullptr ? std::atoll(megabytes) : 1024) * 40000000 / 1024;
}

void Write(const Run& run) {
  RawFunctionRecord record = {};
  Store(record.bytes, static_cast<uint16_t>(run.data_type << 10 | RAW_TYPE_TOF_MS));
  Store(record.bytes + raw::kLowMass, Points::kLowMass);
  Store(record.bytes + raw::kHighMass, Points::kHighMass);
  const Points scan(run.points);
  int32_t handle = 0;
  Check(RawCreateOpen(run.path.c_str(), &handle), "RawCreateOpen");
  Check(RawCreateFunctions(handle, 1, &record), "RawCreateFunctions");
  Check(RawCreateScanFile(handle, 1, 0, 0), "RawCreateScanFile");
  for (int32_t i = 0; i < run.scans; ++i) {
    Check(RawCreateScans(handle, 1, 0, run.data_type, 0, 0, 0, static_cast<float>(i) * 0.01f,
                         scan.masses.data(), scan.intensities.data(), nullptr, run.points),
          "RawCreateScans");
  }
  Check(RawCreateScansEnd(handle, 1, 0), "RawCreateScansEnd");
  Check(RawCreateClose(handle), "RawCreateClose");
}

// The runs of this program.
class Runs {
 public:
  ~Runs() { fs::remove_all(folder_); }

  const Run& Find(int16_t data_type, int32_t points, int32_t scans) {
    for (const Run& run : runs_) {
      if (run.data_type == data_type && run.points == points && run.scans == scans) return run;
    }
    fs::create_directories(folder_);
    const std::string path = folder_ / (std::to_string(runs_.size()) + ".raw");
    Write(runs_.emplace_back(Run{data_type, points, scans, path}));
    return runs_.back();
  }

 private:
  fs::path folder_ = fs::temp_directory_path() / ("tervalon-bench-" + std::to_string(getpid()));
  std::list<Run> runs_;
};

}  // namespace

void Check(int32_t error, const char* what) {
  if (error == RAW_OK) return;
  throw std::runtime_error(std::string(what) + ": error " + std::to_string(error));
}

Points::Points(int32_t count) {
  std::mt19937 random(7);
  for (int32_t i = 0; i < count; ++i) {
    masses.push_back(kLowMass +
                     (kHighMass - kLowMass) * static_cast<float>(i) / static_cast<float>(count));
    intensities.push_back(static_cast<float>(random() % (random() % 50 == 0 ? 1000000 : 200)));
  }
}

const Run& RunOfScans(int16_t data_type, int32_t points, int32_t scans) {
  static Runs runs;
  return runs.Find(data_type, points, scans);
}

const Run& RunOf(int16_t data_type, int32_t points) {
  return RunOfScans(data_type, points,
                    static_cast<int32_t>(std::max<int64_t>(PointsOfRun() / points, 20)));
}

RawCalibration OneSetCalibration(const RawCaliCoeffs& set) {
  RawCalibration calibration = {};
  calibration.function_count = RAW_MAX_CALIBRATED_FUNCTIONS;
  for (RawFunctionCalibration& function : calibration.functions) {
    function.segment_count = 1;
    function.segments[0] = set;
  }
  return calibration;
}

Reader::Reader(const Run& run, const RawCaliCoeffs* set) {
  const RawCalibration calibration = OneSetCalibration(set != nullptr ? *set : RawCaliCoeffs{});
  RawFunctionRecord record;
  Check(RawReadOpen(run.path.c_str(), &handle_), "RawReadOpen");
  Check(RawReadFuncInfo(handle_, 1, &record, nullptr), "RawReadFuncInfo");
  Check(RawReadFuncInit(handle_, 1, 0, &record, set != nullptr ? &calibration : nullptr),
        "RawReadFuncInit");
}

Reader::~Reader() { RawReadClose(handle_); }

PlainFile::PlainFile(const std::string& path) : descriptor_(open(path.c_str(), O_RDONLY)) {
  if (descriptor_ < 0) throw std::runtime_error("cannot open " + path);
}

PlainFile::~PlainFile() { close(descriptor_); }

size_t PlainFile::Read(size_t offset, char* buffer, size_t count) const {
  const ssize_t got = pread(descriptor_, buffer, count, static_cast<off_t>(offset));
  if (got < 0) throw std::runtime_error("cannot read");
  benchmark::DoNotOptimize(buffer);
  return static_cast<size_t>(got);
}

void PlainFile::Pass(std::vector<char>* block) const {
  size_t offset = 0;
  while (const size_t got = Read(offset, block->data(), block->size())) offset += got;
}

}  // namespace tervalon::bench
