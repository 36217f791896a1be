// The same methods in SciPy give the same.

#if !defined(_WIN32)

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "processing/tops.h"
#include "tervalon/processing.h"
#include "tests/support/process.h"
#include "tests/support/temp_directory.h"

namespace {

using tervalon::testing::ProcessResult;
using tervalon::testing::RunProcess;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

constexpr const char* kPython = "/usr/bin/python3";

// What the script prints for a file of cases, a line for each.
std::vector<Doubles> Reference(const std::string& cases) {
  const tervalon::testing::TempDirectory directory;
  const std::string path = directory.Path("cases");
  tervalon::testing::WriteText(path, cases);
  const ProcessResult result = RunProcess(
      kPython, {TERVALON_SCIPY_REFERENCE, tervalon::testing::Native(path).string()}, ".");
  EXPECT_EQ(result.status, 0) << result.err;
  std::vector<Doubles> all;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    all.emplace_back();
    for (double value = 0; words >> value;) all.back().push_back(value);
  }
  return all;
}

std::string Case(const std::string& options, const Floats& values) {
  std::ostringstream text;
  text.precision(9);
  text << options << ":";
  for (const float value : values) text << ' ' << value;
  text << '\n';
  return text.str();
}

// Peaks on a slope, in noise, and in every other case rounded so that values are equal.
Floats Trace(std::mt19937* random, size_t count, bool rounded) {
  std::normal_distribution<double> noise(0, 20);
  Floats values;
  for (size_t i = 0; i < count; ++i) {
    const double from_peak = static_cast<double>(i % 60) - 30;
    const double value = 0.5 * static_cast<double>(i) + noise(*random) +
                         1000 * std::exp(-from_peak * from_peak / 40);
    values.push_back(static_cast<float>(rounded ? std::round(value / 10) * 10 : value));
  }
  return values;
}

class ScipyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (RunProcess(kPython, {"-c", "import scipy.signal"}, ".").status == 0) return;
    ASSERT_EQ(std::getenv("CI"), nullptr) << "see scripts/install-deps.sh";
    GTEST_SKIP() << "SciPy is not installed";
  }

  std::mt19937 random_{19};
};

TEST_F(ScipyTest, SavitzkyGolay) {
  std::vector<PrcSmoothing> all;
  std::vector<Floats> inputs;
  std::string cases;
  for (const int32_t half_width : {1, 2, 3, 7, 25, 100}) {
    for (const int32_t degree : {1, 2, 3, 4, 6}) {
      // Its weights for high degrees and wide windows are off: they do not even add up to 1.
      if (degree > 2 * half_width || (degree == 6 && half_width > 25)) continue;
      const int32_t passes = degree == 2 ? 3 : 1;
      const auto window = static_cast<size_t>(2 * half_width + 1);
      for (const size_t count : {window, window + 1, 3 * window + 50}) {
        all.push_back({PRC_SMOOTH_SAVITZKY_GOLAY, half_width, passes, degree});
        inputs.push_back(Trace(&random_, count, false));
        std::ostringstream options;
        options << "savgol " << half_width << ' ' << degree << ' ' << passes;
        cases += Case(options.str(), inputs.back());
      }
    }
  }
  const std::vector<Doubles> expected = Reference(cases);
  ASSERT_EQ(expected.size(), all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    Floats& values = inputs[i];
    ASSERT_EQ(expected[i].size(), values.size());
    ASSERT_EQ(PrcSmooth(&all[i], nullptr, values.data(), static_cast<int32_t>(values.size()),
                        values.data()),
              PRC_OK);
    for (size_t k = 0; k < values.size(); ++k) {
      ASSERT_NEAR(values[k], expected[i][k], 1e-6 * std::max(100.0, std::abs(expected[i][k])))
          << "half width " << all[i].half_width << " degree " << all[i].degree << " point " << k;
    }
  }
}

TEST_F(ScipyTest, Tops) {
  std::vector<tervalon::processing::TopRules> all;
  std::vector<Floats> inputs;
  std::string cases;
  for (int i = 0; i < 60; ++i) {
    const bool rounded = i % 2 == 1;
    all.push_back({20.0 * (i % 7), rounded ? 0.0 : 15.0 * (i % 5)});
    inputs.push_back(Trace(&random_, 1 + static_cast<size_t>(i) * 20, rounded));
    std::ostringstream options;
    options << "tops " << all.back().least_height << ' ' << all.back().least_rise;
    cases += Case(options.str(), inputs.back());
  }
  const std::vector<Doubles> expected = Reference(cases);
  ASSERT_EQ(expected.size(), all.size());
  size_t tops = 0;
  for (size_t i = 0; i < all.size(); ++i) {
    const Floats& values = inputs[i];
    std::vector<double> found;
    for (const auto& top : tervalon::processing::FindTops(values.data(), values.size(), all[i])) {
      found.push_back(static_cast<double>(top.at));
      found.push_back(values[top.at] - top.base);
    }
    ASSERT_EQ(found.size(), expected[i].size()) << "case " << i;
    for (size_t k = 0; k < found.size(); k += 2) {
      ASSERT_EQ(found[k], expected[i][k]) << "case " << i;
      // Of tops that are equal SciPy knows no first one.
      if (i % 2 == 0) {
        ASSERT_NEAR(found[k + 1], expected[i][k + 1], 1e-4) << "case " << i;
      }
    }
    tops += found.size() / 2;
  }
  EXPECT_GT(tops, 1000U);
}

}  // namespace

#endif
