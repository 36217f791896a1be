// Linearisation and noise levels, beside loops that do the least that could do the same.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "tervalon/linearisation.h"
#include "tervalon/memory.h"
#include "tervalon/noise_statistics.h"

namespace {

using tervalon::bench::Ratio;
using Floats = std::vector<float>;

constexpr int32_t kPoints = 1000000;
constexpr float kFirst = 100;
constexpr float kStep = 0.001f;

void Check(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string(what) + " failed");
}

// Positions that are never far from the grid, in an irregular way.
struct Signal {
  Signal() {
    std::mt19937 random(7);
    for (int32_t i = 0; i < kPoints; ++i) {
      const float offset = static_cast<float>(random() % 1000) / 1250;
      x.push_back(kFirst + (static_cast<float>(i) + offset) * kStep);
      y.push_back(static_cast<float>(random() % 100000));
    }
    std::sort(x.begin(), x.end());
  }
  Floats x;
  Floats y;
};

const Signal& Data() {
  static const Signal signal;
  return signal;
}

using Irregular = int32_t(TERVALON_CALL*)(const float*, const float*, int32_t, float, LinDataset*);

void Linearise(benchmark::State& state, Irregular function) {
  const Signal& signal = Data();
  for ([[maybe_unused]] auto _ : state) {
    LinDataset result = {};
    Check(function(signal.x.data(), signal.y.data(), kPoints, kStep, &result) == 0, "linearising");
    TvMemFree(result.values);
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}

void InterpolateOnly(benchmark::State& state) {
  const Signal& signal = Data();
  const Floats& x = signal.x;
  const Floats& y = signal.y;
  const auto count = static_cast<size_t>((double{x.back()} - x[0]) / kStep) + 1;
  for ([[maybe_unused]] auto _ : state) {
    Floats out(count);
    size_t k = 0;
    for (size_t j = 0; j < count; ++j) {
      const auto g = static_cast<float>(x[0] + static_cast<double>(j) * kStep);
      while (k + 2 < x.size() && x[k + 1] < g) ++k;
      out[j] = y[k] + (y[k + 1] - y[k]) * (g - x[k]) / (x[k + 1] - x[k]);
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}

void LineariseRegular(benchmark::State& state) {
  const Signal& signal = Data();
  for ([[maybe_unused]] auto _ : state) {
    LinDataset result = {};
    Check(LineariseRegularDataset(kFirst, kStep, signal.y.data(), kPoints, 1.003F * kStep,
                                  &result) == 0,
          "linearising");
    TvMemFree(result.values);
  }
}

// Detector noise, with chromatographic peaks or without.
Floats Values(bool peaks) {
  std::mt19937 random(11);
  Floats values;
  for (int32_t i = 0; i < kPoints; ++i) {
    float value = 0;
    for (int k = 0; k < 12; ++k) value += static_cast<float>(random() % 1000);
    const auto distance = static_cast<float>(i % 20000 - 10000) / 400;
    if (peaks) value += 1e6f / (1 + distance * distance * distance * distance);
    values.push_back(value);
  }
  return values;
}

Floats Zeros() {
  std::mt19937 random(13);
  Floats values;
  for (int32_t i = 0; i < kPoints; ++i) {
    values.push_back(random() % 50 == 0 ? static_cast<float>(random() % 1000) : 0.0f);
  }
  return values;
}

void NoiseLevel(benchmark::State& state, const Floats& values) {
  for ([[maybe_unused]] auto _ : state) {
    float noise = 0;
    Check(ChroStatCalcNoiseLevel(values.data(), kPoints, 1, &noise) == 1, "the noise level");
    benchmark::DoNotOptimize(noise);
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}

void SelectTwice(benchmark::State& state, const Floats& values) {
  for ([[maybe_unused]] auto _ : state) {
    std::vector<double> copy(values.size() - 1);
    for (size_t i = 0; i < copy.size(); ++i) copy[i] = double{values[i + 1]} - values[i];
    for (const double quantile : {0.3085, 0.6915}) {
      const auto rank = static_cast<ptrdiff_t>(static_cast<double>(copy.size()) * quantile);
      std::nth_element(copy.begin(), copy.begin() + rank, copy.end());
      benchmark::DoNotOptimize(copy[static_cast<size_t>(rank)]);
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
  std::vector<Ratio> ratios;
  const std::string plain = "plain interpolation";
  RegisterWith(plain, InterpolateOnly);
  for (const auto& [name, function] :
       {std::pair("linearise", &LineariseDataset),
        {"linearise without flux", &LineariseDatasetNoFluxPreserve}}) {
    RegisterWith(name, Linearise, function);
    ratios.push_back({std::string(name) + " 1M points / " + plain, name, plain, 1.05});
  }
  RegisterWith("linearise regular", LineariseRegular);
  ratios.push_back(
      {"linearise regular 1M points / plain interpolation", "linearise regular", plain, 1.05});
  for (const auto& [kind, values] :
       {std::pair("noise", Values(false)), {"peaks", Values(true)}, {"mostly zero", Zeros()}}) {
    const std::string level = std::string("noise level/") + kind;
    const std::string selection = std::string("two nth_element/") + kind;
    RegisterWith(level, NoiseLevel, values);
    RegisterWith(selection, SelectTwice, values);
    ratios.push_back({level + ", 1M values / two nth_element", level, selection, 1});
  }
  return ratios;
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
