#include "raw/calibration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "tervalon/raw_functions.h"
#include "tests/support/special_values.h"

namespace tervalon::raw {
namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kNan;

RawCaliCoeffs Set(std::initializer_list<double> coefficients, int32_t type = 0) {
  RawCaliCoeffs set = {};
  set.order = static_cast<int32_t>(coefficients.size()) - 1;
  std::copy(coefficients.begin(), coefficients.end(), set.coefficients);
  set.type = type;
  return set;
}

RawCaliCoeffs Parsed(const char* text) {
  RawCaliCoeffs set;
  std::memset(&set, 0xFF, sizeof(set));
  EXPECT_EQ(RawParseCaliCoeffs(&set, text), &set);
  EXPECT_EQ(set.standard_deviation, 0.0);
  return set;
}

std::string Formatted(const RawCaliCoeffs& set) {
  char text[RAW_CALIBRATION_TEXT_SIZE];
  EXPECT_EQ(RawFormatCaliCoeffs(&set, text), text);
  return text;
}

// A function calibration of one segment, and a modification where one is given.
RawFunctionCalibration One(const RawCaliCoeffs& segment,
                           const RawCaliCoeffs* modification = nullptr) {
  RawFunctionCalibration calibration = DefaultFunctionCalibration();
  RawSetFuncSegCoeffs(&calibration, 0, &segment);
  if (modification != nullptr) {
    calibration.has_modification = 1;
    calibration.modification = *modification;
  }
  return calibration;
}

TEST(CalibrationText, ParsesFields) {
  const RawCaliCoeffs set = Parsed("1.5, 2.0,T1");
  EXPECT_EQ(set.order, 1);
  EXPECT_EQ(set.coefficients[0], 1.5);
  EXPECT_EQ(set.coefficients[1], 2.0);
  EXPECT_EQ(set.coefficients[2], 0.0);
  EXPECT_EQ(set.type, 1);

  const RawCaliCoeffs seven = Parsed("1,2,3,4,5,6,7");
  EXPECT_EQ(seven.order, 5);
  EXPECT_EQ(seven.coefficients[5], 6.0);

  const RawCaliCoeffs gaps = Parsed("  T2x,-1e-3 junk,  ,4,,1");  // the type may stand anywhere
  EXPECT_EQ(gaps.order, 4) << "an empty field is a coefficient of 0";
  EXPECT_EQ(gaps.coefficients[1], 0.0);
  EXPECT_EQ(gaps.coefficients[2], 4.0);
  EXPECT_EQ(Parsed(",1").order, 1);
  EXPECT_EQ(Parsed("T2,-1e-3 junk").coefficients[0], -1e-3);
  EXPECT_EQ(Parsed("T2,-1e-3").type, 2);
  EXPECT_EQ(Parsed("1,2,").order, 1);
  EXPECT_EQ(Parsed("1,2, ").order, 1);
  EXPECT_EQ(Parsed("").order, -1);
  EXPECT_EQ(Parsed(nullptr).order, -1);
  EXPECT_EQ(Parsed("x,1e999").coefficients[1], DBL_MAX);
  EXPECT_EQ(RawParseCaliCoeffs(nullptr, "1"), nullptr);
}

TEST(CalibrationText, FormatsFields) {
  EXPECT_EQ(Formatted(DefaultCoefficients()), "0.000000000000000e0,1.000000000000000e0,T0");
  EXPECT_EQ(Formatted(Set({-3.1e-4, 1.0000412}, 1)),
            "-3.100000000000000e-4,1.000041200000000e0,T1");
  EXPECT_EQ(Formatted(Set({}, INT_MIN)), "T-2147483648");
  RawCaliCoeffs hostile =
      Set({-1.5e-300, -1.5e-300, -1.5e-300, -1.5e-300, -1.5e-300, kNan}, INT_MIN);
  hostile.order = INT_MAX;
  EXPECT_EQ(Parsed(Formatted(hostile).c_str()).coefficients[4], -1.5e-300);
  EXPECT_EQ(RawFormatCaliCoeffs(&hostile, nullptr), nullptr);

  RawCaliCoeffs set = DefaultCoefficients();
  char text[64];
  EXPECT_EQ(RawParseCaliStdDevs(&set, " 1.75e-3"), &set);
  EXPECT_EQ(set.coefficients[1], 1.0);
  EXPECT_STREQ(RawFormatCaliStdDevs(&set, text), "1.750000000000000e-3");
}

TEST(CalibrationRecord, FunctionsAreBoundedByTheRecordsCount) {
  RawCalibration calibration;
  ResetCalibration(&calibration);
  const RawFunctionCalibration stored = One(Set({1, 2, 3}));
  EXPECT_EQ(RawSetFuncCalib(&calibration, 16, &stored), 1);
  EXPECT_EQ(calibration.function_count, 0);
  for (const int32_t function : {0, -1, 17, INT_MAX, INT_MIN}) {
    EXPECT_EQ(RawSetFuncCalib(&calibration, function, &stored), 0);
  }

  calibration.function_count = INT_MAX;
  for (const int32_t function : {0, -1, 17, INT_MAX}) {
    RawFunctionCalibration out = stored;
    EXPECT_EQ(RawGetFuncCalib(&calibration, function, &out), 0) << function;
    EXPECT_EQ(out.segment_count, 0);
    EXPECT_EQ(out.segments[0].order, 1);
  }
  RawFunctionCalibration out;
  EXPECT_EQ(RawGetFuncCalib(&calibration, 16, &out), 1);
  EXPECT_EQ(out.segments[0].order, 2);
  calibration.function_count = 15;
  EXPECT_EQ(RawGetFuncCalib(&calibration, 16, &out), 0);
  EXPECT_EQ(RawGetFuncCalib(nullptr, 1, &out), 0);
  EXPECT_EQ(RawGetFuncCalib(&calibration, 1, nullptr), 0);
}

TEST(CalibrationRecord, Segments) {
  RawFunctionCalibration calibration = DefaultFunctionCalibration();
  const RawCaliCoeffs set = Set({7});
  RawCaliCoeffs out = set;
  EXPECT_EQ(RawGetFuncSegCoeffs(&calibration, 0, &out), 0);
  EXPECT_EQ(out.order, 1);

  EXPECT_EQ(RawSetFuncSegCoeffs(&calibration, 12, &set), 0);
  EXPECT_EQ(RawSetFuncSegCoeffs(&calibration, 3, &set), 1);
  EXPECT_EQ(calibration.segment_count, 4);
  EXPECT_EQ(RawSetFuncSegCoeffs(&calibration, -5, &set), 1);
  EXPECT_EQ(calibration.segment_count, 4);
  EXPECT_EQ(calibration.segments[0].order, 0);
  EXPECT_EQ(RawGetFuncSegCoeffs(&calibration, -1, &out), 1);
  EXPECT_EQ(RawGetFuncSegCoeffs(&calibration, 3, &out), 1);
  EXPECT_EQ(out.coefficients[0], 7.0);
  EXPECT_EQ(RawGetFuncSegCoeffs(&calibration, 4, &out), 0);
  calibration.segment_count = INT_MAX;
  EXPECT_EQ(RawGetFuncSegCoeffs(&calibration, 12, &out), 0);
}

TEST(CalibrationRecord, FunctionTypesChooseAnalyserAndRootMass) {
  RawCalibration calibration;
  ResetCalibration(&calibration);
  calibration.ms1_dynamic = Set({1});
  calibration.ms2_dynamic = Set({2});
  std::string analysers;
  std::string root_mass;
  for (uint8_t type = 0; type < 32; ++type) {
    RawFunctionRecord record = {};
    record.bytes[0] = static_cast<uint8_t>(type | 0xE0);  // the ionisation mode does not matter
    record.bytes[1] = 0xFF;
    RawFunctionCalibration made;
    EXPECT_EQ(RawFuncDefaultCalib(&calibration, &record, &made), 1);
    EXPECT_EQ(made.segment_count, 1);
    EXPECT_EQ(made.has_modification, 0);
    EXPECT_EQ(made.segments[0].coefficients[0], RawReadGetFuncCalibNum(type));
    analysers += std::to_string(RawReadGetFuncCalibNum(type));
    root_mass += std::to_string(RawIsRootMassCalibration(&record));
    record.bytes[25] = 1;
    EXPECT_EQ(RawIsRootMassCalibration(&record), type != 17 && root_mass.back() == '1');
  }
  EXPECT_EQ(analysers, "11111122221211111111111121111111");
  EXPECT_EQ(root_mass, "00000000000001011111000000000000");
  EXPECT_EQ(RawReadGetFuncCalibNum(-1), 1);
  EXPECT_EQ(RawUseRootMassCali(1), 1);
  EXPECT_EQ(RawUseRootMassCali(0), 0);
}

TEST(MassCalibration, AppliesPolynomialRootMassAndModification) {
  EXPECT_EQ(ApplyCoefficients(Set({1, 2, 3}), 10.0), 321.0);
  EXPECT_EQ(ApplyCoefficients(Set({1, 2}, 1), 9.0), 49.0);
  EXPECT_EQ(ApplyCoefficients(Set({5}), 9.0), 5.0);

  const RawCaliCoeffs modification = Set({1, 1}, 1);
  const MassCalibration both(One(Set({1, 2}), &modification), 1);
  EXPECT_EQ(both.Apply(4.0f), 16.0f);  // 2 * 4 + 1 = 9, (sqrt 9 + 1)^2 = 16
  EXPECT_FALSE(both.identity());

  // No rounding to float between the two polynomials.
  const RawCaliCoeffs back = Set({-1e9, 1});
  EXPECT_EQ(MassCalibration(One(Set({1e9, 1}), &back), 1).Apply(500.25f), 500.25f);
}

TEST(MassCalibration, SegmentNumbersCountFromOneAndZeroIsTheFirst) {
  RawFunctionCalibration calibration = One(Set({1, 1}));
  const RawCaliCoeffs second = Set({2, 1});
  RawSetFuncSegCoeffs(&calibration, 1, &second);
  calibration.has_modification = 1;
  calibration.modification = Set({0, 10});
  EXPECT_EQ(MassCalibration(calibration, 0).Apply(100.0f), 1010.0f);
  EXPECT_EQ(MassCalibration(calibration, 1).Apply(100.0f), 1010.0f);
  EXPECT_EQ(MassCalibration(calibration, 2).Apply(100.0f), 1020.0f);
  for (const int32_t segment : {3, 13, INT_MAX}) {
    EXPECT_TRUE(MassCalibration(calibration, segment).identity());
  }
  calibration.segment_count = INT_MAX;
  EXPECT_TRUE(MassCalibration(calibration, 13).identity());
  EXPECT_TRUE(MassCalibration(DefaultFunctionCalibration(), 1).identity());
}

TEST(MassCalibration, IdentityIsRecognisedAndExact) {
  const RawCaliCoeffs plain = DefaultCoefficients();
  const RawCaliCoeffs root = Set({0, 1}, 1);
  const RawCaliCoeffs shifted = Set({0, 1.0000001});
  EXPECT_TRUE(MassCalibration(One(plain), 1).identity());
  EXPECT_TRUE(MassCalibration(One(root, &plain), 1).identity());
  EXPECT_FALSE(MassCalibration(One(root, &shifted), 1).identity());
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const float mass = std::fabs(std::bit_cast<float>(static_cast<uint32_t>(random())));
    if (!std::isfinite(mass)) continue;
    ASSERT_EQ(static_cast<float>(ApplyCoefficients(root, mass)), mass);
  }
}

TEST(MassCalibration, BlocksEqualSingleMassesBitForBit) {
  std::mt19937 random(2);
  std::uniform_real_distribution<float> mass(-10.0f, 3000.0f);
  const RawCaliCoeffs modification = Set({-4e-3, 1.00001}, 1);
  for (size_t order = 0; order <= 5; ++order) {
    for (const int32_t type : {0, 1}) {
      RawCaliCoeffs set = Set({1.25e-2, 0.99994, 3.5e-8, -1e-11, 2e-15, -1e-19}, type);
      set.order = static_cast<int32_t>(order);
      const MassCalibration calibration(One(set, order % 2 == 0 ? &modification : nullptr), 1);
      std::vector<float> masses(700 + order);
      for (float& m : masses) m = mass(random);
      std::vector<float> block = masses;
      calibration.Apply(block.data(), block.size());
      for (size_t i = 0; i < masses.size(); ++i) {
        ASSERT_EQ(std::bit_cast<uint32_t>(block[i]),
                  std::bit_cast<uint32_t>(calibration.Apply(masses[i])));
      }
    }
  }
}

TEST(MassCalibration, NoCalibrationMakesAMassThatIsNoNumber) {
  EXPECT_EQ(MassCalibration(One(Set({1, 2}, 1)), 1).Apply(-4.0f), -4.0f);
  const RawCaliCoeffs zero = Set({0, 0});
  for (const RawCaliCoeffs& set : {Set({DBL_MAX, DBL_MAX, DBL_MAX}), Set({kNan, 1}),
                                   Set({0, 1e300, -1e300}, 1), Set({0, 1e38})}) {
    EXPECT_EQ(MassCalibration(One(set), 1).Apply(500.0f), 500.0f);
    EXPECT_TRUE(std::isfinite(MassCalibration(One(set, &zero), 1).Apply(500.0f)));
  }
  EXPECT_EQ(MassCalibration(One(Set({1, 2})), 1).Apply(kInfinity), kInfinity);

  RawCaliCoeffs hostile = Set({0, 1, 0, 0, 0, 1});
  for (const int32_t order : {6, INT_MAX}) {
    hostile.order = order;
    EXPECT_EQ(MassCalibration(One(hostile), 1).Apply(2.0f), 34.0f);
  }
  for (const int32_t order : {-1, INT_MIN}) {
    hostile.order = order;
    EXPECT_TRUE(MassCalibration(One(hostile), 1).identity());
    EXPECT_EQ(ApplyCoefficients(hostile, 2.0), 2.0);
  }
}

}  // namespace
}  // namespace tervalon::raw
