// Processing, beside the least that each operation has to do.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/memory.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/processing.h"
#include "tervalon/processing_peaks.h"
#include "tervalon/processing_spectra.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"

namespace {

namespace fs = std::filesystem;
using tervalon::bench::Ratio;
using Floats = std::vector<float>;

constexpr int32_t kTracePoints = 1000000;
constexpr int32_t kScans = 1000;
constexpr int32_t kScanPoints = 20000;

void Check(int32_t error, const char* what) {
  if (error != 0) throw std::runtime_error(std::string(what) + ": " + std::to_string(error));
}

// Peaks a hundred points apart, in noise.
Floats Signal(int32_t count, double width) {
  std::mt19937 random(7);
  std::normal_distribution<double> noise(0, 20);
  Floats values;
  for (int32_t i = 0; i < count; ++i) {
    const double distance = (i % 100 - 50) / width;
    values.push_back(
        static_cast<float>(std::max(0.0, noise(random)) + 5000 * std::exp(-distance * distance)));
  }
  return values;
}

// --- Traces

void Smooth(benchmark::State& state, PrcSmoothing how) {
  const Floats values = Signal(kTracePoints, 8);
  Floats smoothed(values.size());
  for ([[maybe_unused]] auto _ : state) {
    Check(PrcSmooth(&how, nullptr, values.data(), kTracePoints, smoothed.data()), "PrcSmooth");
  }
}

void Multiply(benchmark::State& state, size_t half_width) {
  const Floats values = Signal(kTracePoints, 8);
  const std::vector<double> weights(2 * half_width + 1, 0.1);
  Floats smoothed(values.size());
  for ([[maybe_unused]] auto _ : state) {
    for (size_t i = half_width; i + half_width < values.size(); ++i) {
      double sum = 0;
      for (size_t k = 0; k < weights.size(); ++k) sum += weights[k] * values[i - half_width + k];
      smoothed[i] = static_cast<float>(sum);
    }
    benchmark::DoNotOptimize(smoothed.data());
  }
}

void FindPeaks(benchmark::State& state) {
  const Floats values = Signal(kTracePoints, 8);
  Floats times;
  for (int32_t i = 0; i < kTracePoints; ++i) times.push_back(static_cast<float>(i) * 1e-4F);
  for ([[maybe_unused]] auto _ : state) {
    PrcPeaks peaks = {};
    Check(PrcFindPeaks(nullptr, times.data(), values.data(), kTracePoints, nullptr, &peaks),
          "PrcFindPeaks");
    TvMemFree(peaks.peaks);
  }
}

void NoiseLevel(benchmark::State& state) {
  const Floats values = Signal(kTracePoints, 8);
  for ([[maybe_unused]] auto _ : state) {
    float noise = 0;
    ChroStatCalcNoiseLevel(values.data(), kTracePoints, 2, &noise);
    benchmark::DoNotOptimize(noise);
  }
}

// --- Spectra

// A raw directory with a continuum function, removed at the end.
class Acquisition {
 public:
  Acquisition()
      : path_(fs::temp_directory_path() / ("tervalon-bench-" + std::to_string(getpid()))) {
    RawFunctionRecord record = {};
    tervalon::Store<uint16_t>(record.bytes, RAW_DATA_CONTINUUM << 10 | RAW_TYPE_TOF_MS);
    tervalon::Store(record.bytes + tervalon::raw::kLowMass, 100.0F);
    tervalon::Store(record.bytes + tervalon::raw::kHighMass, 1100.0F);
    Check(RawCreateOpen(path_.c_str(), &handle_), "RawCreateOpen");
    Check(RawCreateFunctions(handle_, 1, &record), "RawCreateFunctions");
    Check(RawCreateScanFile(handle_, 1, 0, 0), "RawCreateScanFile");
    const Floats points = Signal(kScanPoints, 5);
    for (int32_t i = 0; i < kScans; ++i) {
      Check(
          RawCreateScans(handle_, 1, 0, RAW_DATA_CONTINUUM, 0, 0, 0, static_cast<float>(i) * 0.01F,
                         nullptr, points.data(), nullptr, kScanPoints),
          "RawCreateScans");
    }
    Check(RawCreateClose(handle_), "RawCreateClose");
    Check(RawReadOpen(path_.c_str(), &handle_), "RawReadOpen");
    Check(RawReadFuncInfo(handle_, 1, &record, nullptr), "RawReadFuncInfo");
    Check(RawReadFuncInit(handle_, 1, 0, &record, nullptr), "RawReadFuncInit");
  }
  ~Acquisition() {
    RawReadClose(handle_);
    fs::remove_all(path_);
  }

  int32_t handle() const { return handle_; }

 private:
  const fs::path path_;
  int32_t handle_ = -1;
};

int32_t Handle() {
  static const Acquisition acquisition;
  return acquisition.handle();
}

void Combine(benchmark::State& state) {
  PrcCombining how = {};
  how.scans[0] = {1, kScans};
  for ([[maybe_unused]] auto _ : state) {
    PrcSpectrum result = {};
    Check(PrcCombine(Handle(), 1, 0, &how, &result), "PrcCombine");
    TvMemFree(result.masses);
    TvMemFree(result.intensities);
  }
}

void TraceOverEverything(benchmark::State& state) {
  Floats values(kScans);
  for ([[maybe_unused]] auto _ : state) {
    RawTraceWindow window = {0, 2000, 0, 0, 0};
    RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
    float* const out = values.data();
    Check(RawReadChromTraces(Handle(), 1, 0, 1, kScans, 1, &trace, &out, nullptr), "the trace");
  }
}

void ReadSpectra(benchmark::State& state, bool centroid) {
  Floats masses(kScanPoints);
  Floats intensities(kScanPoints);
  for ([[maybe_unused]] auto _ : state) {
    for (int32_t scan = 1; scan <= kScans / 10; ++scan) {
      int32_t count = kScanPoints;
      Check(RawReadSpectrum(Handle(), 1, 0, scan, 1, &count, nullptr, masses.data(),
                            intensities.data(), nullptr, 0),
            "RawReadSpectrum");
      if (!centroid) continue;
      Check(PrcCentroid(nullptr, masses.data(), intensities.data(), count, masses.data(),
                        intensities.data(), &count),
            "PrcCentroid");
    }
  }
}

template <typename... Arguments>
void RegisterWith(const std::string& name, Arguments... arguments) {
  benchmark::RegisterBenchmark(name.c_str(), arguments...)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.1);
}

std::vector<Ratio> RegisterAll() {
  RegisterWith("smooth by polynomials", Smooth, PrcSmoothing{PRC_SMOOTH_SAVITZKY_GOLAY, 7, 1, 2});
  RegisterWith("smooth by means", Smooth, PrcSmoothing{PRC_SMOOTH_MEAN, 7, 1, 0});
  RegisterWith("multiply", Multiply, size_t{7});
  RegisterWith("find peaks", FindPeaks);
  RegisterWith("noise level", NoiseLevel);
  RegisterWith("combine", Combine);
  RegisterWith("trace over everything", TraceOverEverything);
  RegisterWith("read and centroid", ReadSpectra, true);
  RegisterWith("read", ReadSpectra, false);
  return {
      {"polynomials over 1M points / multiplications", "smooth by polynomials", "multiply", 1.2},
      {"means over 1M points / multiplications", "smooth by means", "multiply", 1.2},
      // Not reached: it was 2.4 while the noise level took two and a half times as long.
      {"peaks of 1M points / noise level", "find peaks", "noise level", 3},
      {"combining / trace over everything", "combine", "trace over everything", 1.5},
      // Not reached: it is 5 to 6. A peak costs some 300 instructions, and two branches that cannot
      // be foretold; a point is read with five.
      {"reading and centroiding / reading", "read and centroid", "read", 4}};
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
