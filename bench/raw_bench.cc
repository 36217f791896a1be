// Reading and writing raw data, on data in the page cache. Sizes can be lowered for a quick look:
// TERVALON_BENCH_MEGABYTES (default 1024) is the size of each large function.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "platform/little_endian.h"
#include "raw/data_types.h"
#include "raw/function_record.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_spectra.h"

namespace {

namespace fs = std::filesystem;
using tervalon::bench::Ratio;
using tervalon::raw::DataType;
using tervalon::raw::FindDataType;

constexpr int32_t kSpectrumPoints = 20000;
constexpr int32_t kCentroidPoints = 2000;
constexpr int32_t kIndexScans = 100000;
constexpr float kLowMass = 100;
constexpr float kHighMass = 1100;

// Functions of the directory that the benchmarks read.
enum Function : int16_t { kContinuum = 1, kCentroid = 2, kSmall = 3 };

void Check(int32_t error, const char* what) {
  if (error != RAW_OK) {
    throw std::runtime_error(std::string(what) + ": error " + std::to_string(error));
  }
}

int64_t LargeBytes() {
  const char* megabytes = std::getenv("TERVALON_BENCH_MEGABYTES");
  return (megabytes != nullptr ? std::atoll(megabytes) : 1024) << 20;
}

RawFunctionRecord MakeRecord(int32_t data_type) {
  RawFunctionRecord record = {};
  tervalon::Store<uint16_t>(record.bytes, static_cast<uint16_t>(data_type << 10 | RAW_TYPE_TOF_MS));
  tervalon::Store(record.bytes + tervalon::raw::kLowMass, kLowMass);
  tervalon::Store(record.bytes + tervalon::raw::kHighMass, kHighMass);
  return record;
}

// Noise with a peak here and there.
struct Points {
  explicit Points(int32_t count) {
    std::mt19937 random(7);
    for (int32_t i = 0; i < count; ++i) {
      masses.push_back(kLowMass +
                       (kHighMass - kLowMass) * static_cast<float>(i) / static_cast<float>(count));
      intensities.push_back(static_cast<float>(random() % (random() % 50 == 0 ? 1000000 : 200)));
    }
  }
  std::vector<float> masses;
  std::vector<float> intensities;
};

void WriteFunction(int32_t handle, int16_t function, int16_t data_type, int64_t scans,
                   int32_t points) {
  const Points scan(points);
  Check(RawCreateScanFile(handle, function, 0, 0), "RawCreateScanFile");
  for (int64_t i = 0; i < scans; ++i) {
    Check(RawCreateScans(handle, function, 0, data_type, 0, 0, 0, static_cast<float>(i) * 0.01f,
                         scan.masses.data(), scan.intensities.data(), nullptr, points),
          "RawCreateScans");
  }
  Check(RawCreateScansEnd(handle, function, 0), "RawCreateScansEnd");
}

// A raw directory beside the program, removed at the end.
class Acquisition {
 public:
  Acquisition()
      : path_(fs::temp_directory_path() / ("tervalon-bench-" + std::to_string(getpid()))) {
    int32_t handle = 0;
    Check(RawCreateOpen(path_.c_str(), &handle), "RawCreateOpen");
    const RawFunctionRecord records[] = {MakeRecord(RAW_DATA_CONTINUUM),
                                         MakeRecord(RAW_DATA_STANDARD_CENTROID),
                                         MakeRecord(RAW_DATA_COMPRESSED_CENTROID)};
    Check(RawCreateFunctions(handle, 3, records), "RawCreateFunctions");
    WriteFunction(handle, kContinuum, RAW_DATA_CONTINUUM, LargeBytes() / 2 / kSpectrumPoints,
                  kSpectrumPoints);
    WriteFunction(handle, kCentroid, RAW_DATA_STANDARD_CENTROID, LargeBytes() / 5 / kCentroidPoints,
                  kCentroidPoints);
    WriteFunction(handle, kSmall, RAW_DATA_COMPRESSED_CENTROID, kIndexScans, 10);
    Check(RawCreateClose(handle), "RawCreateClose");
  }
  ~Acquisition() { fs::remove_all(path_); }

  const fs::path& path() const { return path_; }
  std::string Member(const char* name) const { return path_ / name; }

 private:
  fs::path path_;
};

const Acquisition& Data() {
  static const Acquisition acquisition;
  return acquisition;
}

// An open function.
class Reader {
 public:
  explicit Reader(int16_t function, const RawCalibration* calibration = nullptr)
      : function_(function) {
    Check(RawReadOpen(Data().path().c_str(), &handle_), "RawReadOpen");
    RawFunctionRecord record;
    Check(RawReadFuncInfo(handle_, function, &record, nullptr), "RawReadFuncInfo");
    scans_ = tervalon::Load<int32_t>(record.bytes + tervalon::raw::kScanCount);
    Check(RawReadFuncInit(handle_, function, 0, &record, calibration), "RawReadFuncInit");
  }
  ~Reader() { RawReadClose(handle_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  int32_t handle() const { return handle_; }
  int16_t function() const { return function_; }
  int32_t scans() const { return scans_; }

 private:
  int32_t handle_ = 0;
  int16_t function_;
  int32_t scans_ = 0;
};

// Decoding of one data type against a copy of the same packed bytes.

constexpr size_t kDecodeUnits = 1200;

std::vector<uint8_t> PackedUnits(const DataType& type) {
  const auto count = static_cast<int32_t>(kDecodeUnits * type.unit_points);
  const Points points(count);
  std::vector<uint8_t> bytes(kDecodeUnits * type.unit_bytes);
  type.pack({points.masses.data(), points.intensities.data(), nullptr}, static_cast<size_t>(count),
            bytes.data());
  return bytes;
}

void Decode(benchmark::State& state, int32_t code) {
  const DataType& type = *FindDataType(code);
  const std::vector<uint8_t> bytes = PackedUnits(type);
  std::vector<float> intensities(kDecodeUnits * type.unit_points);
  std::vector<float> masses(intensities.size());
  for ([[maybe_unused]] auto _ : state) {
    type.decode_intensities(bytes.data(), kDecodeUnits, intensities.data());
    if (type.stores_masses()) type.decode_masses(bytes.data(), kDecodeUnits, masses.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(intensities.size()));
}

void CopyPacked(benchmark::State& state, int32_t code) {
  const std::vector<uint8_t> bytes = PackedUnits(*FindDataType(code));
  std::vector<uint8_t> copy(bytes.size());
  for ([[maybe_unused]] auto _ : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::ClobberMemory();
  }
}

// A pass of plain reads over a member file.
void PlainRead(benchmark::State& state, const char* member) {
  const int file = open(Data().Member(member).c_str(), O_RDONLY);
  std::vector<char> buffer(256 * 1024);
  for ([[maybe_unused]] auto _ : state) {
    off_t offset = 0;
    for (ssize_t got; (got = pread(file, buffer.data(), buffer.size(), offset)) > 0;) offset += got;
    benchmark::DoNotOptimize(buffer.data());
  }
  close(file);
}

RawCalibration RootMassCalibration() {
  RawCalibration calibration = {};
  calibration.function_count = RAW_MAX_CALIBRATED_FUNCTIONS;
  for (RawFunctionCalibration& function : calibration.functions) {
    function.segment_count = 1;
    function.segments[0] = {3, {-0.00031, 1.0000412, -1.37e-06, 2.2e-08}, 1, 0};
  }
  return calibration;
}

void MassTrace(benchmark::State& state, int16_t function, float low, float high, bool calibrated) {
  const RawCalibration calibration = RootMassCalibration();
  const Reader reader(function, calibrated ? &calibration : nullptr);
  RawTraceWindow window = {low, high, 0, 0, 0};
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  std::vector<float> values(static_cast<size_t>(reader.scans()));
  float* arrays[] = {values.data()};
  for ([[maybe_unused]] auto _ : state) {
    Check(RawReadChromTraces(reader.handle(), function, 0, 1, reader.scans(), 1, &trace, arrays,
                             nullptr),
          "RawReadChromTraces");
  }
}

void IndexChromatogram(benchmark::State& state) {
  const Reader reader(kSmall);
  std::vector<float> values(kIndexScans);
  std::vector<float> times(kIndexScans);
  for ([[maybe_unused]] auto _ : state) {
    Check(RawReadChrom(reader.handle(), kSmall, 0, 1, kIndexScans, values.data(), times.data(),
                       RAW_CHROM_TOTAL_ION),
          "RawReadChrom");
  }
  state.SetItemsProcessed(state.iterations() * kIndexScans);
}

// Scans far apart, so that nothing read ahead helps.
int32_t NextScan(int32_t scan, int32_t scans) {
  return static_cast<int32_t>((int64_t{scan} + 7919) % scans) + 1;
}

void ReadSpectrum(benchmark::State& state) {
  const Reader reader(kContinuum);
  std::vector<float> masses(kSpectrumPoints);
  std::vector<float> intensities(kSpectrumPoints);
  int32_t scan = 1;
  for ([[maybe_unused]] auto _ : state) {
    int32_t count = kSpectrumPoints;
    Check(RawReadSpectrum(reader.handle(), kContinuum, 0, scan, 1, &count, nullptr, masses.data(),
                          intensities.data(), nullptr, 0),
          "RawReadSpectrum");
    if (count != kSpectrumPoints) throw std::runtime_error("points are missing");
    scan = NextScan(scan, reader.scans());
  }
  state.SetItemsProcessed(state.iterations() * kSpectrumPoints);
}

void PositionedRead(benchmark::State& state) {
  const Reader reader(kContinuum);
  const int file = open(Data().Member("_FUNC001.DAT").c_str(), O_RDONLY);
  std::vector<char> buffer(size_t{2} * kSpectrumPoints);
  int32_t scan = 1;
  for ([[maybe_unused]] auto _ : state) {
    if (pread(file, buffer.data(), buffer.size(),
              static_cast<off_t>(scan - 1) * static_cast<off_t>(buffer.size())) <= 0) {
      throw std::runtime_error("cannot read");
    }
    benchmark::DoNotOptimize(buffer.data());
    scan = NextScan(scan, reader.scans());
  }
  close(file);
}

void RandomSpectra(benchmark::State& state) {
  constexpr int32_t kSpectra = 10000;
  const Reader reader(kCentroid);
  std::vector<float> masses(kCentroidPoints);
  std::vector<float> intensities(kCentroidPoints);
  for ([[maybe_unused]] auto _ : state) {
    int32_t scan = 1;
    for (int32_t i = 0; i < kSpectra; ++i) {
      int32_t count = kCentroidPoints;
      RawScanHeader header;
      Check(RawReadSpectrum(reader.handle(), kCentroid, 0, scan, 1, &count, &header, masses.data(),
                            intensities.data(), nullptr, 0),
            "RawReadSpectrum");
      scan = NextScan(scan, reader.scans());
    }
  }
  state.SetItemsProcessed(state.iterations() * kSpectra);
}

void WriteScans(benchmark::State& state, int16_t data_type, int32_t points) {
  const fs::path path = Data().path().string() + "-written";
  const int64_t scans = 20000000 / points;
  for ([[maybe_unused]] auto _ : state) {
    int32_t handle = 0;
    Check(RawCreateOpen(path.c_str(), &handle), "RawCreateOpen");
    WriteFunction(handle, 1, data_type, scans, points);
    Check(RawCreateClose(handle), "RawCreateClose");
  }
  fs::remove_all(path);
  state.SetItemsProcessed(state.iterations() * scans * points);
}

void Register(const std::string& name, void (*body)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond);
}

template <typename... Arguments>
benchmark::internal::Benchmark* RegisterWith(const std::string& name, Arguments... arguments) {
  return benchmark::RegisterBenchmark(name.c_str(), arguments...)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.1);
}

std::vector<Ratio> RegisterAll() {
  std::vector<Ratio> ratios;
  for (const int32_t code : {0, 1, 3, 4, 8, 9, 10, 11, 12}) {
    const std::string type = "/type " + std::to_string(code);
    RegisterWith("decode" + type, Decode, code)->Unit(benchmark::kMicrosecond);
    RegisterWith("memcpy" + type, CopyPacked, code)->Unit(benchmark::kMicrosecond);
    ratios.push_back({"decoding data" + type.substr(1) + " / memcpy of its bytes", "decode" + type,
                      "memcpy" + type, 0});
  }
  RegisterWith("read pass/continuum", PlainRead, "_FUNC001.DAT");
  RegisterWith("trace whole range/continuum", MassTrace, kContinuum, 0.0f, 1e6f, false);
  RegisterWith("trace narrow window/continuum", MassTrace, kContinuum, 500.0f, 500.5f, false);
  RegisterWith("trace whole range calibrated/continuum", MassTrace, kContinuum, 0.0f, 1e6f, true);
  RegisterWith("read pass/centroid", PlainRead, "_FUNC002.DAT");
  RegisterWith("trace whole range/centroid", MassTrace, kCentroid, 0.0f, 1e6f, false);
  RegisterWith("trace narrow window/centroid", MassTrace, kCentroid, 500.0f, 500.5f, false);
  RegisterWith("trace narrow window calibrated/centroid", MassTrace, kCentroid, 500.0f, 500.5f,
               true);
  Register("total ion chromatogram of 100,000 scans", IndexChromatogram);
  RegisterWith("spectrum of 20,000 points", ReadSpectrum)->Unit(benchmark::kMicrosecond);
  RegisterWith("positioned read of 40,000 bytes", PositionedRead)->Unit(benchmark::kMicrosecond);
  Register("10,000 spectra at random", RandomSpectra);
  RegisterWith("write 20M points/continuum", WriteScans, int16_t{RAW_DATA_CONTINUUM},
               kSpectrumPoints);
  RegisterWith("write 20M points/centroid", WriteScans, int16_t{RAW_DATA_STANDARD_CENTROID},
               kCentroidPoints);

  const auto add = [&ratios](const char* what, const char* pass, double limit) {
    ratios.push_back({std::string(what) + " / plain " + pass, what, pass, limit});
  };
  add("trace whole range/continuum", "read pass/continuum", 5);
  add("trace narrow window/continuum", "read pass/continuum", 1);
  add("trace whole range calibrated/continuum", "read pass/continuum", 0);
  add("trace whole range/centroid", "read pass/centroid", 5);
  add("trace narrow window/centroid", "read pass/centroid", 5);
  add("trace narrow window calibrated/centroid", "read pass/centroid", 5);
  add("spectrum of 20,000 points", "positioned read of 40,000 bytes", 5);
  return ratios;
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
