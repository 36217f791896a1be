// Every build of the library gives the same bits: the digest below was taken from one of them.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "tervalon/processing.h"
#include "tervalon/processing_peaks.h"
#include "tervalon/processing_spectra.h"
#include "tests/support/digest.h"
#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

// Peaks of several widths, in noise; made of whole numbers, so that they are the same everywhere.
std::vector<float> AnySignal(std::mt19937* random, size_t count) {
  std::vector<float> values;
  for (size_t i = 0; i < count; ++i) {
    const auto distance = static_cast<float>(i % 40) - 20;
    values.push_back(static_cast<float>((*random)() % 1009) / 7 +
                     90000 / (3 + distance * distance + static_cast<float>(i % 7)));
  }
  return values;
}

class ProcessingBits : public RawTest {};

TEST_F(ProcessingBits, OnEveryBuild) {
  std::mt19937 random(2026);
  Digest digest;
  for (const size_t count : {100U, 1003U, 20011U}) {
    const std::vector<float> values = AnySignal(&random, count);
    const auto size = static_cast<int32_t>(count);
    std::vector<float> axis;
    for (size_t i = 0; i < count; ++i) axis.push_back(100 + static_cast<float>(i) * 0.03F);
    std::vector<float> out(count);
    std::vector<float> masses(count);
    for (const PrcSmoothing& how : {PrcSmoothing{PRC_SMOOTH_MEAN, 4, 3, 0},
                                    {PRC_SMOOTH_SAVITZKY_GOLAY, 9, 2, 4},
                                    {PRC_SMOOTH_SAVITZKY_GOLAY, 25, 1, 15}}) {
      EXPECT_EQ(PrcSmooth(&how, axis.data(), values.data(), size, out.data()), PRC_OK);
      digest.Add(out.data(), count * sizeof(float));
    }
    int32_t peaks = 0;
    const PrcCentroiding areas = {PRC_THRESHOLD_PERCENT, 1, 0.2F, 1, 5000, PRC_INTENSITY_AREA};
    for (const PrcCentroiding* how : {static_cast<const PrcCentroiding*>(nullptr), &areas}) {
      EXPECT_EQ(
          PrcCentroid(how, axis.data(), values.data(), size, masses.data(), out.data(), &peaks),
          PRC_OK);
      digest.Add(masses.data(), static_cast<size_t>(peaks) * sizeof(float));
      digest.Add(out.data(), static_cast<size_t>(peaks) * sizeof(float));
    }
    for (const int32_t baseline :
         {PRC_BASELINE_DROPPED, PRC_BASELINE_VALLEYS, PRC_BASELINE_TANGENT}) {
      const PrcPeakSearch search = {
          {PRC_SMOOTH_SAVITZKY_GOLAY, 2, 1, 2}, PRC_THRESHOLD_NOISE, 2, baseline, 0.7F};
      PrcPeaks found = {};
      EXPECT_EQ(PrcFindPeaks(&search, axis.data(), values.data(), size, nullptr, &found), PRC_OK);
      digest.AddBlock(found.peaks, static_cast<uint32_t>(found.count), sizeof(PrcPeak));
    }
  }
  for (const int16_t type : kStoredTypes) {
    std::vector<Scan> scans;
    for (uint32_t i = 0; i < 9; ++i) scans.push_back(NumberedScan(i, i == 3 ? 90 : 100));
    MakeRun({RecordFor(type)}, {scans});
    OpenFunction();
    PrcCombining how = {};
    how.scans[0] = {2, 7};
    how.background[0] = {8, 9};
    how.factor = 0.3F;
    how.tolerance = 500;
    how.tolerance_in_ppm = 1;
    PrcSpectrum result = {};
    EXPECT_EQ(PrcCombine(handle_, 1, 0, &how, &result), PRC_OK) << type;
    digest.AddBlock(result.masses, static_cast<uint32_t>(result.count));
    digest.AddBlock(result.intensities, static_cast<uint32_t>(result.count));
    CloseRun();
  }
  EXPECT_EQ(digest.value(), 14286924329932019667u);
}

}  // namespace
}  // namespace tervalon::testing
