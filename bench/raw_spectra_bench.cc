// Reading spectra: beside plain reads of their bytes, and data types beside each other.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <numeric>
#include <random>
#include <stdexcept>

#include "bench/ratio_reporter.h"
#include "bench/raw_data.h"
#include "raw/data_types.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::bench {
namespace {

using raw::DataType;
using raw::FindDataType;

constexpr int32_t kLong = 20000;
constexpr int32_t kShort = 200;

// All scans, in an order in which nothing read ahead helps.
class ScanOrder {
 public:
  explicit ScanOrder(int32_t scans) : scans_(static_cast<size_t>(scans)) {
    std::iota(scans_.begin(), scans_.end(), 1);
    std::shuffle(scans_.begin(), scans_.end(), std::mt19937(7));
  }

  int32_t Next() {
    next_ = (next_ + 1) % scans_.size();
    return scans_[next_];
  }

 private:
  std::vector<int32_t> scans_;
  size_t next_ = 0;
};

// Reads whole scans into the same arrays.
class SpectrumReader {
 public:
  explicit SpectrumReader(const Run& run, const RawCaliCoeffs* set = nullptr)
      : reader_(run, set),
        points_(run.points),
        masses_(static_cast<size_t>(run.points)),
        intensities_(static_cast<size_t>(run.points)) {}

  void Read(int32_t scan) {
    int32_t count = points_;
    Check(RawReadSpectrum(reader_.handle(), 1, 0, scan, 1, &count, nullptr, masses_.data(),
                          intensities_.data(), nullptr, 0),
          "RawReadSpectrum");
    if (count != points_) throw std::runtime_error("points are missing");
  }

 private:
  Reader reader_;
  int32_t points_;
  std::vector<float> masses_;
  std::vector<float> intensities_;
};

void SpectrumAtRandom(benchmark::State& state, int16_t type, int32_t points,
                      const RawCaliCoeffs* set) {
  const Run& run = RunOf(type, points);
  SpectrumReader reader(run, set);
  ScanOrder order(run.scans);
  for ([[maybe_unused]] auto _ : state) reader.Read(order.Next());
}

void PositionedRead(benchmark::State& state, int16_t type, int32_t points) {
  const Run& run = RunOf(type, points);
  const DataType& packing = *FindDataType(type);
  const PlainFile file(run.DataFile());
  std::vector<char> buffer(packing.CompleteBytes(static_cast<uint32_t>(points)));
  ScanOrder order(run.scans);
  for ([[maybe_unused]] auto _ : state) {
    const auto scan = static_cast<size_t>(order.Next() - 1);
    file.Read(buffer.size() * scan, buffer.data(), buffer.size());
  }
}

// What scans cost on top of a read pass, when all are read in order.
void SpectraInOrder(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  const Run& run = RunOf(RAW_DATA_CONTINUUM, kShort);
  SpectrumReader reader(run);
  const PlainFile file(run.DataFile());
  std::vector<char> block(64 * 1024);
  for ([[maybe_unused]] auto _ : state) {
    const auto start = Clock::now();
    file.Pass(&block);
    const auto middle = Clock::now();
    for (int32_t scan = 1; scan <= run.scans; ++scan) reader.Read(scan);
    const auto end = Clock::now();
    const std::chrono::duration<double> over = (end - middle) - (middle - start);
    state.SetIterationTime(std::max(over.count(), 1e-9));
  }
}

// Reports a tenth of a microsecond for each of them.
void TenthOfAMicrosecond(benchmark::State& state) {
  const double seconds = 1e-7 * RunOf(RAW_DATA_CONTINUUM, kShort).scans;
  for ([[maybe_unused]] auto _ : state) state.SetIterationTime(seconds);
}

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
    type.decoder().intensities(bytes.data(), kDecodeUnits, intensities.data());
    if (type.stores_masses()) type.decoder().masses(bytes.data(), kDecodeUnits, masses.data());
    benchmark::ClobberMemory();
  }
}

void CopyPacked(benchmark::State& state, int32_t code) {
  const std::vector<uint8_t> bytes = PackedUnits(*FindDataType(code));
  std::vector<uint8_t> copy(bytes.size());
  for ([[maybe_unused]] auto _ : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::ClobberMemory();
  }
}

struct TypeTargets {
  int16_t code;
  double reading;   // against continuum data
  double decoding;  // against memcpy
};

constexpr TypeTargets kTypes[] = {
    {RAW_DATA_COMPRESSED_CENTROID, 1.5, 5},
    {RAW_DATA_STANDARD_CENTROID, 2, 6},
    {RAW_DATA_CONTINUUM, 0, 0},
    {RAW_DATA_MCA, 1.5, 10},
    {RAW_DATA_MOLECULAR_WEIGHT, 2, 10},
    {RAW_DATA_ACCURATE_MASS, 2, 10},
    {RAW_DATA_FLOAT, 1.5, 2},
    {RAW_DATA_ENHANCED_SIR, 1.2, 3},
    {RAW_DATA_ENHANCED_MASS, 2, 3},
};

template <typename... Arguments>
benchmark::internal::Benchmark* Register(const std::string& name, Arguments... arguments) {
  return benchmark::RegisterBenchmark(name.c_str(), arguments...)->MinTime(0.05);
}

std::vector<Ratio> RegisterAll() {
  std::vector<Ratio> ratios;
  const RawCaliCoeffs* none = nullptr;
  for (const TypeTargets& type : kTypes) {
    const std::string of_type = " of type " + std::to_string(type.code);
    Register("decode" + of_type, Decode, type.code);
    Register("memcpy" + of_type, CopyPacked, type.code);
    Register("spectrum" + of_type, SpectrumAtRandom, type.code, kLong, none);
    Register("positioned read" + of_type, PositionedRead, type.code, kLong);
    ratios.push_back({"decoding data" + of_type + " / memcpy of its bytes", "decode" + of_type,
                      "memcpy" + of_type, type.decoding});
    ratios.push_back({"20,000 points" + of_type + " / continuum", "spectrum" + of_type,
                      "spectrum of type 3", type.reading});
    ratios.push_back({"20,000 points" + of_type + " / positioned read of their bytes",
                      "spectrum" + of_type, "positioned read" + of_type,
                      type.code == RAW_DATA_CONTINUUM ? 1.5 : 0});
  }
  const struct {
    std::string name;
    const RawCaliCoeffs* set;
    double target;
  } kCalibrations[] = {{"fifth order", &kFifthOrder, 2}, {"root mass", &kRootMass, 2.5}};
  for (const auto& [name, set, target] : kCalibrations) {
    for (const int16_t type : {RAW_DATA_CONTINUUM, RAW_DATA_STANDARD_CENTROID}) {
      const std::string of_type = " of type " + std::to_string(type);
      const std::string spectrum = "spectrum" + of_type + ", " + name;
      Register(spectrum, SpectrumAtRandom, type, kLong, set);
      ratios.push_back({"20,000 points" + of_type + ", " + name + " / positioned read", spectrum,
                        "positioned read" + of_type, type == RAW_DATA_CONTINUUM ? target : 0});
    }
  }
  const int16_t continuum = RAW_DATA_CONTINUUM;
  Register("spectrum of 200 points", SpectrumAtRandom, continuum, kShort, none);
  Register("positioned read of 400 bytes", PositionedRead, continuum, kShort);
  ratios.push_back({"200 points / positioned read of their bytes", "spectrum of 200 points",
                    "positioned read of 400 bytes", 1.3});
  Register("scans in order, over a read pass", SpectraInOrder)->UseManualTime();
  Register("0.1 microseconds a scan", TenthOfAMicrosecond)->UseManualTime();
  ratios.push_back({"200 points in order, over a read pass / 0.1 microseconds",
                    "scans in order, over a read pass", "0.1 microseconds a scan", 1});
  return ratios;
}

}  // namespace
}  // namespace tervalon::bench

int main(int argc, char** argv) {
  return tervalon::bench::RunWithRatios(argc, argv, tervalon::bench::RegisterAll);
}
