#include <gmock/gmock.h>

#include "tests/programs/kinds.h"

namespace tervalon::testing {
namespace {

std::vector<Kind> AllKinds() {
  return {ReplacedFileKind(),      SettingsKind(),  SystemListKind(),    UpdatedRecordsKind(),
          MovedRecordsKind(),      RawHeaderKind(), FunctionTableKind(), AppendedFunctionsKind(),
          AnalogDescriptorsKind(), HistoryKind(),   ProcessedSetKind()};
}

class ProgramsTest : public ::testing::TestWithParam<Kind> {};

TEST_P(ProgramsTest, LoseNothingOfEachOther) { RunPrograms(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Kinds, ProgramsTest, ::testing::ValuesIn(AllKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
}  // namespace tervalon::testing

int main(int count, char** arguments) {
  using namespace tervalon::testing;  // NOLINT(google-build-using-namespace)
  const int status = RunAsProgram(count, arguments, AllKinds());
  if (status >= 0) return status;
  ::testing::InitGoogleMock(&count, arguments);
  return RUN_ALL_TESTS();
}
