// Every build of the library, whatever the platform and the optimisation, gives the same bits: the
// digest below was taken from one of them.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tervalon/linearisation.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/retention_indices.h"
#include "tervalon/trace_strings.h"
#include "tests/support/digest.h"

namespace {

using tervalon::testing::Digest;
using Floats = std::vector<float>;

// Sums of random numbers with a peak here and there, and positions that drift.
struct Signal {
  Signal(std::mt19937* random, int32_t count) : n(count) {
    float position = 100.25f;
    for (int32_t i = 0; i < count; ++i) {
      position += 0.01f + static_cast<float>((*random)() % 1000) * 1e-4f;
      x.push_back(position);
      const auto noise = static_cast<float>((*random)() % 10007) / 7.0f;
      y.push_back(i % 97 < 6 ? noise * 1234.5f : noise);
    }
  }
  int32_t n;
  Floats x;
  Floats y;
};

void AddLinearised(const Signal& signal, float step, Digest* digest) {
  LinDataset result = {};
  LineariseDataset(signal.x.data(), signal.y.data(), signal.n, step, &result);
  digest->AddBlock(result.values, result.count);
  LineariseDatasetNoFluxPreserve(signal.x.data(), signal.y.data(), signal.n, step, &result);
  digest->AddBlock(result.values, result.count);
  LineariseRegularDataset(signal.x[0], step * 1.37f, signal.y.data(), signal.n, step, &result);
  digest->AddBlock(result.values, result.count);
  LinVarianceDataset both = {};
  LineariseDatasetPreserveVariance(signal.x.data(), signal.y.data(), signal.y.data(), signal.n,
                                   step, &both);
  digest->AddBlock(both.values, both.count);
  digest->AddBlock(both.variances, both.count);
}

void AddScaled(const Signal& signal, float scale, Digest* digest) {
  for (const auto function : {&LinScalePSF, &LinScalePSFNoFluxPreserve}) {
    Floats y = signal.y;
    y.resize(y.size() * 4);
    int32_t count = 0;
    function(signal.x[0], 0.0625f * scale, y.data(), signal.n, &count, scale);
    digest->Add(y.data(), static_cast<size_t>(count) * sizeof(float));
  }
}

void AddNoise(const Signal& signal, Digest* digest) {
  float noise = 0;
  for (int32_t order = 0; order <= 20; ++order) {
    ChroStatCalcNoiseLevel(signal.y.data(), signal.n, order, &noise);
    digest->Add(noise);
  }
  CalcMassChroNoiseLevel(signal.y.data(), signal.n, &noise);
  digest->Add(noise);
}

void AddIndices(const Signal& signal, Digest* digest) {
  RTCalibration calibration = {};
  calibration.point_count = RT_MAX_POINTS;
  for (size_t i = 0; i < RT_MAX_POINTS; ++i) {
    calibration.times[i] = signal.x[i * 3];
    calibration.indices[i] = signal.y[i];
    calibration.log_p[i] = signal.x[i] / 33.3f;
  }
  for (int32_t i = 0; i < 100; ++i) {
    const float time = signal.x[static_cast<size_t>(i)] + 0.0049f;
    float value = 0;
    RTIndicesCalculateIndex(time, &calibration, &value);
    digest->Add(value);
    RTIndicesCalculateLogP(time, &calibration, &value);
    digest->Add(value);
  }
}

void AddTexts(const Signal& signal, Digest* digest) {
  for (const float mass : signal.x) {
    char text[32];
    digest->Add(text, static_cast<size_t>(DmRawFormatMass(mass, text)));
    const std::string trace = std::string(text) + "1234567+" + text;
    float list[DM_TRACE_LIST_SIZE];
    DmRawStrToMass(trace.c_str(), list, DM_MAX_TRACE_MASSES, nullptr);
    digest->Add(list, 4 * sizeof(float));
  }
}

TEST(SameBits, OnEveryBuild) {
  std::mt19937 random(2024);
  Digest digest;
  for (const int32_t n : {101, 1000, 20011}) {
    const Signal signal(&random, n);
    for (const float step : {0.01f, 0.0625f, 1.0f / 3}) AddLinearised(signal, step, &digest);
    for (const float scale : {0.3f, 1.0f, 1.7f, 3.9f}) AddScaled(signal, scale, &digest);
    AddNoise(signal, &digest);
    AddIndices(signal, &digest);
    AddTexts(signal, &digest);
  }
  EXPECT_EQ(digest.value(), 1894038541286839809u);
}

}  // namespace
