// Chromatograms of mass windows beside read passes over the same data.

#include "bench/ratio_reporter.h"
#include "bench/raw_data.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"

namespace tervalon::bench {
namespace {

void ReadPass(benchmark::State& state, int16_t type, int32_t points) {
  const PlainFile file(RunOf(type, points).DataFile());
  std::vector<char> block(1024 * 1024);
  for ([[maybe_unused]] auto _ : state) file.Pass(&block);
}

// Windows of `width` evenly over low .. high, each a trace of its own.
struct Windows {
  const char* name;
  int16_t count;
  float low;
  float high;
  float width;
};

constexpr Windows kWhole = {"the whole range", 1, 0, 1e6f, 1e6f};
constexpr Windows kOne = {"one window", 1, 500, 600, 0.5f};
constexpr Windows kCluster = {"32 windows over 10 Da", 32, 500, 510, 0.02f};
constexpr Windows kSpread = {"32 windows over the whole range", 32, Points::kLowMass,
                             Points::kHighMass, 0.5f};

void Traces(benchmark::State& state, int16_t type, int32_t points, const Windows& wanted,
            const RawCaliCoeffs* set) {
  const Run& run = RunOf(type, points);
  const Reader reader(run, set);
  const auto count = static_cast<size_t>(wanted.count);
  const float step = (wanted.high - wanted.low) / static_cast<float>(count);
  std::vector<RawTraceWindow> windows;
  for (size_t i = 0; i < count; ++i) {
    const float low = wanted.low + static_cast<float>(i) * step;
    windows.push_back({low, low + wanted.width, 0, 0, 0});
  }
  std::vector<RawTrace> traces;
  std::vector<std::vector<float>> values(count, std::vector<float>(static_cast<size_t>(run.scans)));
  std::vector<float*> arrays;
  for (size_t i = 0; i < count; ++i) {
    traces.push_back({RAW_TRACE_MASSES, 1, &windows[i]});
    arrays.push_back(values[i].data());
  }
  for ([[maybe_unused]] auto _ : state) {
    Check(RawReadChromTraces(reader.handle(), 1, 0, 1, run.scans, wanted.count, traces.data(),
                             arrays.data(), nullptr),
          "RawReadChromTraces");
  }
}

struct Data {
  const char* name;
  int16_t type;
  int32_t points;
};

constexpr Data kLongScans = {"continuum scans of 20,000", RAW_DATA_CONTINUUM, 20000};
constexpr Data kShortScans = {"continuum scans of 200", RAW_DATA_CONTINUUM, 200};
constexpr Data kCompressed = {"centroids of type 0", RAW_DATA_COMPRESSED_CENTROID, 2000};
constexpr Data kStandard = {"centroids of type 1", RAW_DATA_STANDARD_CENTROID, 2000};

constexpr struct {
  Data data;
  Windows windows;
  const RawCaliCoeffs* set;
  double target;
} kRows[] = {
    {kLongScans, kWhole, nullptr, 1.6},   {kShortScans, kWhole, nullptr, 2.1},
    {kLongScans, kOne, nullptr, 0.05},    {kLongScans, kCluster, nullptr, 0.2},
    {kLongScans, kSpread, nullptr, 0.2},  {kLongScans, kWhole, &kRootMass, 0},
    {kCompressed, kOne, nullptr, 1.8},    {kCompressed, kSpread, nullptr, 3},
    {kCompressed, kOne, &kRootMass, 1.8}, {kCompressed, kSpread, &kRootMass, 3},
    {kStandard, kOne, nullptr, 1.8},      {kStandard, kSpread, nullptr, 3},
    {kStandard, kOne, &kRootMass, 1.8},   {kStandard, kSpread, &kRootMass, 3},
    {kStandard, kWhole, nullptr, 0},
};

template <typename... Arguments>
void Register(const std::string& name, Arguments... arguments) {
  benchmark::RegisterBenchmark(name.c_str(), arguments...)->MinTime(0.05);
}

std::vector<Ratio> RegisterAll() {
  std::vector<Ratio> ratios;
  for (const Data& data : {kLongScans, kShortScans, kCompressed, kStandard}) {
    Register(std::string("read pass: ") + data.name, ReadPass, data.type, data.points);
  }
  for (const auto& [data, windows, set, target] : kRows) {
    const std::string name =
        std::string(data.name) + ": " + windows.name + (set != nullptr ? ", calibrated" : "");
    Register(name, Traces, data.type, data.points, windows, set);
    ratios.push_back({name + " / read pass", name, std::string("read pass: ") + data.name, target});
  }
  return ratios;
}

}  // namespace
}  // namespace tervalon::bench

int main(int argc, char** argv) {
  return tervalon::bench::RunWithRatios(argc, argv, tervalon::bench::RegisterAll);
}
