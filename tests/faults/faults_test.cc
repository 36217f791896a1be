// TERVALON_FAULTS_ALL in the environment: every call fails, not only some of a step that has many,
// and power is cut more often.

#include <gmock/gmock.h>

#include "tests/faults/scenarios.h"

namespace tervalon::testing {
namespace {

std::vector<Scenario> AllScenarios() {
  return {
    Acquisition(), RawReading(), RawChanges(), RawRepair(), SettingsUse(), DatabaseUse(),
        DataHandleUse(),
#if !defined(_WIN32)
        PictureUse(),
#endif
  };
}

class FaultsTest : public ::testing::TestWithParam<Scenario> {};

TEST_P(FaultsTest, WhateverFails) { FailEachCall(GetParam()); }
TEST_P(FaultsTest, PowerCut) { CutPower(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultsTest, ::testing::ValuesIn(AllScenarios()),
                         [](const auto& scenario) { return scenario.param.name; });

}  // namespace
}  // namespace tervalon::testing
