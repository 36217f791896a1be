#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <utility>

#include "tervalon/memory.h"
#include "tervalon/processing_spectra.h"
#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"
#include "tests/support/special_values.h"

namespace tervalon::testing {
namespace {

using Floats = std::vector<float>;
using Runs = std::vector<std::pair<int32_t, int32_t>>;

struct Combined {
  int32_t code = PRC_OK;
  PrcSpectrum about = {};
  Floats masses;
  Floats intensities;

  double Sum() const { return std::accumulate(intensities.begin(), intensities.end(), 0.0); }
};

Floats TakeBlock(TvMemory block, int32_t count) {
  const auto* const values = static_cast<const float*>(TvMemLock(block));
  Floats copy(values, values + count);
  TvMemUnlock(block);
  TvMemFree(block);
  return copy;
}

PrcCombining How(const Runs& scans, const Runs& background = {}, float factor = 1) {
  PrcCombining how = {};
  for (size_t i = 0; i < scans.size(); ++i) how.scans[i] = {scans[i].first, scans[i].second};
  for (size_t i = 0; i < background.size(); ++i) {
    how.background[i] = {background[i].first, background[i].second};
  }
  how.factor = factor;
  return how;
}

class CombineTest : public RawTest {
 protected:
  Combined Combine(const PrcCombining& how) {
    Combined result;
    result.code = PrcCombine(handle_, 1, 0, &how, &result.about);
    if (result.code != PRC_OK) return result;
    result.masses = TakeBlock(result.about.masses, result.about.count);
    result.intensities = TakeBlock(result.about.intensities, result.about.count);
    return result;
  }
  Combined Combine(const Runs& scans) { return Combine(How(scans)); }

  // Function 1 with scans of a data type, open for reading.
  void Make(int32_t data_type, const std::vector<Scan>& scans,
            const RawCalibration* calibration = nullptr) {
    MakeRun({RecordFor(data_type)}, {scans});
    OpenFunction(calibration);
  }

  std::vector<Scan> RandomScans(size_t count, size_t points) {
    std::vector<Scan> scans;
    for (uint32_t i = 0; i < count; ++i) {
      scans.push_back(NumberedScan(i, points));
      for (float& intensity : scans.back().intensities) {
        intensity = static_cast<float>(random_() % 2000);
      }
    }
    return scans;
  }
};

TEST_F(CombineTest, OneScanIsThatScan) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    Make(type, {NumberedScan(1, 20), NumberedScan(2, 31), NumberedScan(3, 0)});
    for (const int32_t method : {PRC_COMBINE_MEAN, PRC_COMBINE_SUM}) {
      PrcCombining how = How({{2, 2}});
      how.method = method;
      Combined result = Combine(how);
      Spectrum scan = Read(handle_, 1, 0, 2);
      if (result.about.centroids != 0) {  // those of no intensity are left out
        for (size_t i = scan.masses.size(); i-- > 0;) {
          if (scan.intensities[i] > 0) continue;
          scan.masses.erase(scan.masses.begin() + static_cast<ptrdiff_t>(i));
          scan.intensities.erase(scan.intensities.begin() + static_cast<ptrdiff_t>(i));
        }
      }
      EXPECT_EQ(result.masses, scan.masses);
      EXPECT_EQ(result.intensities, scan.intensities);
      EXPECT_EQ(result.about.scan_count, 1);
      EXPECT_EQ(result.about.retention_time, scan.header.retention_time);
    }
    const std::set<int16_t> continuum = {2, 3, 4, 6, 11, 12};
    EXPECT_NE(Combine({{1, 1}}).about.centroids, continuum.contains(type) ? 1 : 0);
    EXPECT_EQ(Combine({{3, 3}}).masses, Floats());
    CloseRun();
  }
}

TEST_F(CombineTest, AsALoopOverTheScans) {
  for (const int32_t type : {2, 3, 4, 12}) {
    SCOPED_TRACE(type);
    std::vector<Scan> made = RandomScans(12, type == 2 ? 5 : 5000);
    for (Scan& scan : made) scan.masses = made[0].masses;
    Make(type, made);
    const auto mean = [this](const std::vector<int32_t>& scans, size_t point) {
      double sum = 0;
      for (const int32_t scan : scans) sum += Read(handle_, 1, 0, scan).intensities[point];
      return sum / static_cast<double>(scans.size());
    };
    PrcCombining how = How({{3, 5}, {9, 9}}, {{1, 2}, {12, 12}}, 0.25F);
    const Combined with_mean = Combine(how);
    how.method = PRC_COMBINE_SUM;
    const Combined with_sum = Combine(how);
    EXPECT_EQ(with_mean.masses, Read(handle_, 1, 0, 3).masses);
    EXPECT_EQ(with_mean.about.scan_count, 4);
    EXPECT_FLOAT_EQ(with_mean.about.retention_time, (2 + 3 + 4 + 8) * 0.0625F / 4);
    for (size_t i = 0; i < with_mean.masses.size(); i += 97) {
      const double scans = mean({3, 4, 5, 9}, i);
      const double background = mean({1, 2, 12}, i);
      ASSERT_FLOAT_EQ(with_mean.intensities[i], static_cast<float>(scans - background / 4)) << i;
      ASSERT_FLOAT_EQ(with_sum.intensities[i], static_cast<float>(scans * 4 - background / 4)) << i;
    }
    CloseRun();
  }
}

TEST_F(CombineTest, OrderAndOverlapsChangeNothing) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    Make(type, RandomScans(20, type == 2 || type == 11 ? 4 : 300));
    PrcCombining how = How({{2, 9}, {15, 20}}, {{1, 1}, {11, 14}});
    how.tolerance = 0.2F;
    const Combined once = Combine(how);
    EXPECT_GT(once.masses.size(), 3U);
    how = How({{15, 18}, {5, 9}, {17, 20}, {2, 5}}, {{11, 14}, {1, 1}});
    how.tolerance = 0.2F;
    const Combined again = Combine(how);
    EXPECT_EQ(again.intensities, once.intensities);
    EXPECT_EQ(again.masses, once.masses);
    EXPECT_EQ(again.about.scan_count, 14);
    CloseRun();
  }
}

TEST_F(CombineTest, PartsAddUp) {
  Make(RAW_DATA_CONTINUUM, RandomScans(30, 400));
  const auto sum = [this](int32_t first, int32_t last) {
    PrcCombining how = How({{first, last}});
    how.method = PRC_COMBINE_SUM;
    return Combine(how);
  };
  const Combined whole = sum(1, 30);
  for (const int32_t cut : {1, 10, 29}) {
    const Combined front = sum(1, cut);
    const Combined back = sum(cut + 1, 30);
    for (size_t i = 0; i < whole.masses.size(); ++i) {
      ASSERT_FLOAT_EQ(front.intensities[i] + back.intensities[i], whole.intensities[i]);
    }
  }
}

// Whatever is near enough to be merged, nothing of it is lost, and its centre stays where it is.
TEST_F(CombineTest, MergedCentroidsAddUp) {
  for (int i = 0; i < 20; ++i) {
    std::vector<Scan> scans = RandomScans(12, 1 + random_() % 200);
    double total = 0;
    double moment = 0;
    for (Scan& scan : scans) {
      for (float& mass : scan.masses) mass = 100 + static_cast<float>(random_() % 4000) / 64;
      std::sort(scan.masses.begin(), scan.masses.end());
      for (size_t k = 0; k < scan.masses.size(); ++k) {
        total += double{scan.intensities[k]};
        moment += double{scan.intensities[k]} * double{scan.masses[k]};
      }
    }
    Make(RAW_DATA_FLOAT, scans);
    PrcCombining how = How({{1, 12}});
    how.method = PRC_COMBINE_SUM;
    how.tolerance = static_cast<float>(random_() % 100) * (i % 2 == 0 ? 0.01F : 50.0F);
    how.tolerance_in_ppm = i % 2;
    const Combined whole = Combine(how);
    EXPECT_TRUE(std::is_sorted(whole.masses.begin(), whole.masses.end()));
    EXPECT_NEAR(whole.Sum(), total, 1e-6 * total);
    EXPECT_NEAR(std::inner_product(whole.masses.begin(), whole.masses.end(),
                                   whole.intensities.begin(), 0.0),
                moment, 1e-6 * moment);
  }
}

// Scans of other numbers of points and of another segment's calibration come onto the first axis.
TEST_F(CombineTest, OtherAxes) {
  constexpr double kMass = 431.7;
  const auto peak_of = [](size_t points, double shift) {
    Scan scan;
    for (size_t i = 0; i < points; ++i) {
      const double mass =
          100 + 1000.0 * static_cast<double>(i) / static_cast<double>(points - 1) + shift;
      const double distance = (mass - kMass) / 8;
      scan.intensities.push_back(
          static_cast<float>(std::round(4000 * std::exp(-distance * distance / 2))));
    }
    scan.intensities.front() = 50;
    scan.intensities.back() = 70;
    return scan;
  };
  std::vector<Scan> scans = {peak_of(1001, 0), peak_of(1501, 0), peak_of(701, 0), peak_of(1001, 3)};
  scans[3].description.segment = 2;
  RawCalibration calibration = {};
  calibration.function_count = 1;
  for (const int32_t segment : {0, 1}) {
    RawCaliCoeffs set = {};
    set.order = 1;
    set.coefficients[0] = segment == 0 ? 0 : 3;
    set.coefficients[1] = 1;
    RawSetFuncSegCoeffs(&calibration.functions[0], segment, &set);
  }
  Make(RAW_DATA_CONTINUUM, scans, &calibration);
  for (int32_t scan = 1; scan <= 4; ++scan) {
    PrcCombining how = How({{1, 1}, {scan, scan}});
    how.method = PRC_COMBINE_SUM;
    const Combined result = Combine(how);
    const Spectrum first = Read(handle_, 1, 0, 1);
    const Spectrum other = Read(handle_, 1, 0, scan);
    EXPECT_EQ(result.masses, first.masses);
    double expected = scan == 1 ? 0 : first.header.total_ion_current;
    expected += other.header.total_ion_current;
    EXPECT_NEAR(result.Sum(), expected, 1e-6 * expected) << scan;
    double moment = 0;
    double sum = 0;
    for (size_t i = 200; i < 500; ++i) {
      sum += result.intensities[i];
      moment += result.intensities[i] * result.masses[i];
    }
    EXPECT_NEAR(moment / sum, kMass, 0.005) << scan;
  }
  // Spread, not put on some points only.
  PrcCombining how = How({{1, 1}, {3, 3}});
  how.method = PRC_COMBINE_SUM;
  const Combined both = Combine(how);
  const Floats first = Read(handle_, 1, 0, 1).intensities;
  for (size_t i = 1; i + 1 < first.size(); ++i) {
    ASSERT_NEAR(both.intensities[i] - first[i], 0.7 * first[i], 60) << i;
  }
}

TEST_F(CombineTest, Centroids) {
  const auto scan = [](Floats masses, Floats intensities) {
    Scan made;
    made.masses = std::move(masses);
    made.intensities = std::move(intensities);
    return made;
  };
  Make(RAW_DATA_FLOAT,
       {scan({100, 200.25F, 300}, {8, 50, 3}), scan({100.5F, 200, 400}, {24, 150, 0}),
        scan({99.5F, 100, 300.5F}, {2, 1, 9}), scan({500}, {7})});
  PrcCombining how = How({{1, 3}});
  how.method = PRC_COMBINE_SUM;
  Combined result = Combine(how);
  EXPECT_EQ(result.masses, Floats({99.5F, 100, 100.5F, 200, 200.25F, 300, 300.5F}));
  EXPECT_EQ(result.intensities, Floats({2, 9, 24, 150, 50, 3, 9}));

  // 100.5 is the highest: 100 is within its reach, 99.5 is not.
  how.tolerance = 0.5F;
  result = Combine(how);
  EXPECT_EQ(result.masses, Floats({99.5F, 100.5F - 0.5F * 9 / 33, 200.0625F, 300.5F - 0.125F}));
  EXPECT_EQ(result.intensities, Floats({2, 33, 200, 12}));

  how.tolerance_in_ppm = 1;
  how.tolerance = 2000;
  result = Combine(how);
  EXPECT_EQ(result.intensities, Floats({2, 9, 24, 200, 12}));

  // The background takes off what is near enough, moves no mass, and makes no peak.
  how = How({{1, 1}}, {{2, 4}}, 3);
  how.tolerance = 0.5F;
  result = Combine(how);
  EXPECT_EQ(result.masses, Floats());
  how.factor = 0.5F;
  result = Combine(how);
  EXPECT_EQ(result.masses, Floats({100, 200.25F, 300}));
  EXPECT_EQ(result.intensities, Floats({3.5F, 25, 1.5F}));
}

TEST_F(CombineTest, FindsScansByTime) {
  Make(RAW_DATA_CONTINUUM, RandomScans(20, 5));  // at 0, 1/16, ...
  PrcScans found = {-1, -1};
  const auto find = [&](double from, double to) {
    return PrcFindScans(handle_, 1, 0, static_cast<float>(from), static_cast<float>(to), &found);
  };
  EXPECT_EQ(find(0.0625, 0.25), PRC_OK);
  EXPECT_THAT((std::pair{found.first, found.last}), ::testing::Pair(2, 5));
  EXPECT_EQ(find(-5, 100), PRC_OK);
  EXPECT_THAT((std::pair{found.first, found.last}), ::testing::Pair(1, 20));
  for (const auto& [from, to] : {std::pair{0.01, 0.02}, {3.0, 4.0}, {0.5, 0.25}}) {
    EXPECT_EQ(find(from, to), PRC_NO_SCANS);
  }
  EXPECT_EQ(find(kNan, 1), PRC_NO_SCANS);
  EXPECT_THAT((std::pair{found.first, found.last}), ::testing::Pair(1, 20));
  EXPECT_EQ(PrcFindScans(handle_, 2, 0, 0, 1, &found), RAW_SCAN_BUFFER_ABSENT);
}

TEST_F(CombineTest, Refused) {
  Scan strange = NumberedScan(1, 3);
  Make(RAW_DATA_FLOAT, {strange, strange});
  const auto code = [this](auto change) {
    PrcCombining how = How({{1, 2}});
    change(&how);
    Combined result;
    result.about.count = 77;
    result.code = PrcCombine(handle_, 1, 0, &how, &result.about);
    EXPECT_EQ(result.about.count, 77);
    return result.code;
  };
  EXPECT_EQ(code([](auto* how) { how->scans[0] = {}; }), PRC_NO_SCANS);
  EXPECT_EQ(code([](auto* how) { how->scans[0] = {2, 1}; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->scans[1] = {-1, 1}; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->background[1] = {1, 0}; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->method = 2; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->points = 3; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->factor = kInfinity; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->tolerance = -1; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->tolerance = kNan; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code([](auto* how) { how->scans[0].last = 3; }), RAW_SCAN_ABSENT);
  EXPECT_EQ(code([](auto* how) { how->background[0] = {kMax, kMax}; }), RAW_SCAN_ABSENT);
  PrcSpectrum result = {};
  const PrcCombining how = How({{1, 2}});
  EXPECT_EQ(PrcCombine(handle_, 1, 1, &how, &result), RAW_SCAN_BUFFER_ABSENT);
}

TEST_F(CombineTest, ValuesThatAreNoNumbers) {
  // Of type 10 as the file has them: intensity, mass.
  for (const Floats& point : {Floats{kNan, 200}, Floats{5, kInfinity}}) {
    Bytes data;
    for (const float value : point) Append(&data, value);
    MakeRun(ScanningRecord(RAW_DATA_FLOAT), IndexBytes({{0, 1}}), data);
    OpenFunction();
    EXPECT_EQ(Combine({{1, 1}}).code, PRC_NOT_FINITE);
    CloseRun();
  }
}

}  // namespace
}  // namespace tervalon::testing
