// What small files can ask for is bounded by their size, or ended by the callback.

#include <gtest/gtest.h>

#include <ctime>

#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

class HostileTest : public RawTest {
 protected:
  Bytes RandomBytes(size_t size) {
    Bytes bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
    return bytes;
  }
};

// Every record claims millions of points, no two as many, all over the file, and masses fall: one
// scan costs no more than the file has.
TEST_F(HostileTest, AnIndexThatClaimsEverything) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    std::vector<IndexEntry> entries;
    for (uint32_t i = 0; i < 2000; ++i)
      entries.push_back({i % 3 == 0 ? 0xFFFFFFFF : i, 0xFFFFFFFF - i});
    RawFunctionRecord record = RecordFor(type);
    if (type != 2 && type != 11) record = ScanningRecord(type, 1100, 100);
    MakeRun(record, IndexBytes(entries), RandomBytes(3000));
    const std::clock_t start = std::clock();
    OpenFunction();
    EXPECT_EQ(Get<uint32_t>(record_, 18), 1u);
    RawTraceWindow window = {0, 1e6f, 0, 0, 0};
    RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
    std::vector<float> values(2000);
    float* arrays[1] = {values.data()};
    EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 2000, 1, &trace, arrays, nullptr), RAW_OK);
    EXPECT_LE(Read(handle_, 1, 0, 2).intensities.size(), 6000u);
    EXPECT_EQ(Read(handle_, 1, 0, 1).intensities.size(), 0u) << "data behind the file";
    EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC) << "processor time";
  }
}

// Small files can ask for much work: thousands of scans that share their points. Whoever is told of
// the progress can end it.
TEST_F(HostileTest, SharedPointsAreReadUntilTheCallbackEndsIt) {
  constexpr uint32_t kPoints = 1000000;
  constexpr int32_t kRecords = 3000;
  MakeRun(ScanningRecord(RAW_DATA_CONTINUUM),
          IndexBytes(std::vector<IndexEntry>(kRecords, {0, kPoints})), Bytes(2 * kPoints, 1));
  OpenFunction();
  EXPECT_EQ(Get<uint32_t>(record_, 18), static_cast<uint32_t>(kRecords));
  RawTraceWindow window = {0, 1e6f, 0, 0, 0};
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  std::vector<float> values(kRecords, -1);
  float* arrays[1] = {values.data()};
  RawUpdateInit(
      [](int32_t percent, void* handle) TERVALON_CALL -> int32_t {
        if (percent >= 1) RawReadFuncEnd(*static_cast<int32_t*>(handle), 1, 0);
        return 0;
      },
      &handle_);
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, kRecords, 1, &trace, arrays, nullptr),
            RAW_SCAN_BUFFER_ABSENT);
  EXPECT_GE(values[0], 0);
  EXPECT_EQ(values[kRecords / 50], -1) << "at one percent it has to end";
}

}  // namespace
}  // namespace tervalon::testing
