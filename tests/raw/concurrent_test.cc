// One process writes while another opens, reads and closes the same directory again and again.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "tests/support/process.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

constexpr int16_t kType = RAW_DATA_STANDARD_CENTROID;
constexpr auto kWritingTime = std::chrono::milliseconds(1500);

// From a few bytes to several of the writer's buffers.
Scan ScanOf(uint32_t number) { return NumberedScan(number, number * 7919 % 5000); }

// The writer's process: appends scans for a while, some flushed, whose number it notes in `log`.
// Returns its exit status.
int Write(const std::string& directory, std::ostream* log) {
  int32_t handle = -1;
  if (RawReadOpen(directory.c_str(), &handle) != RAW_OK) return 2;
  if (RawCreateScanFile(handle, 1, 0, 0) != RAW_OK) return 4;
  const auto end = std::chrono::steady_clock::now() + kWritingTime;
  for (uint32_t number = 1; std::chrono::steady_clock::now() < end; ++number) {
    if (WriteScan(handle, 1, 0, kType, ScanOf(number)) != RAW_OK) return 5;
    if (number % 7 != 0) continue;
    if (RawCreateScansFlush(handle, 1, 0) != RAW_OK) return 6;
    *log << number << std::endl;
  }
  return RawCreateScansEnd(handle, 1, 0) == RAW_OK && RawCreateClose(handle) == RAW_OK ? 0 : 7;
}

constexpr char kDirectoryVariable[] = "TERVALON_CONCURRENT_WRITER_DIRECTORY";
constexpr char kLifetimeVariable[] = "TERVALON_CONCURRENT_WRITER_LIFETIME";  // microseconds

std::string LogOf(const std::string& directory) { return directory + ".log"; }

using ConcurrentTest = RawTest;

// Run by itself in the writer's process.
TEST_F(ConcurrentTest, WriterProcess) {
  const char* directory = std::getenv(kDirectoryVariable);
  if (directory == nullptr) GTEST_SKIP() << "the other test starts this one";
  std::thread killer;
  if (const char* lifetime = std::getenv(kLifetimeVariable); lifetime != nullptr) {
    killer = std::thread([lifetime = std::atoi(lifetime)] {
      std::this_thread::sleep_for(std::chrono::microseconds(lifetime));
      std::_Exit(9);
    });
  }
  std::ofstream log(Native(LogOf(directory)));
  EXPECT_EQ(Write(directory, &log), 0);
  if (killer.joinable()) killer.join();
}

void ExpectScan(int32_t handle, uint32_t number) {
  const Spectrum read = Read(handle, 1, 0, static_cast<int32_t>(number));
  const Scan expected = ScanOf(number);
  ASSERT_EQ(read.error, RAW_OK) << number;
  ASSERT_EQ(read.header.retention_time, expected.description.retention_time);
  ASSERT_EQ(read.intensities, expected.intensities) << number;
  ASSERT_EQ(read.masses, expected.masses) << number;
}

// One reader's pass: the last scans counted, and those that appear until it closes.
void ReadOnce(const std::string& directory, uint32_t* seen) {
  int32_t handle = -1;
  RawFunctionRecord record;
  ASSERT_EQ(RawReadOpen(directory.c_str(), &handle), RAW_OK);
  const int32_t error = RawReadFuncInfo(handle, 1, &record, nullptr);
  if (error == RAW_OK && RawReadFuncInit(handle, 1, 0, &record, nullptr) == RAW_OK) {
    const auto scans = Get<uint32_t>(record, 18);
    EXPECT_GE(scans, *seen) << "scans have vanished";
    *seen = scans;
    for (uint32_t number = scans > 5 ? scans - 5 : 1; number <= scans; ++number) {
      ASSERT_NO_FATAL_FAILURE(ExpectScan(handle, number));
    }
    int32_t last = 0;
    ASSERT_EQ(RawReadTimeScan(handle, 1, 0, &record, 1e9f, &last), RAW_OK);
    ASSERT_GE(static_cast<uint32_t>(last), scans);
    if (last > 0) {
      ASSERT_NO_FATAL_FAILURE(ExpectScan(handle, static_cast<uint32_t>(last)));
    }
    // Any scan that the index has is whole, counted or not.
    uint32_t next = scans + 1;
    while (Read(handle, 1, 0, static_cast<int32_t>(next)).error == RAW_OK) {
      ASSERT_NO_FATAL_FAILURE(ExpectScan(handle, next));
      if (++next > scans + 20) break;
    }
    if (scans > 0) {
      std::vector<float> totals(scans);
      ASSERT_EQ(RawReadChrom(handle, 1, 0, 1, static_cast<int32_t>(scans), totals.data(), nullptr,
                             RAW_CHROM_TOTAL_ION),
                RAW_OK);
    }
  }
  ASSERT_EQ(RawReadClose(handle), RAW_OK);
}

TEST_F(ConcurrentTest, ReadersSeeOnlyWholeScans) {
  MakeRun({ScanningRecord(kType)}, {});
  SetEnvironment(kDirectoryVariable, Path());
  auto writer = std::async(std::launch::async, [this] {
    return RunProcess(ThisProgram(), {"--gtest_filter=ConcurrentTest.WriterProcess"}, Path());
  });
  uint32_t seen = 0;
  int32_t passes = 0;
  uint32_t first_seen = 0;
  while (writer.wait_for(std::chrono::seconds(0)) != std::future_status::ready && !HasFailure()) {
    ReadOnce(Path(), &seen);
    if (first_seen == 0) first_seen = seen;
    ++passes;
  }
  const ProcessResult result = writer.get();
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  SetEnvironment(kDirectoryVariable, "");
  if (HasFailure()) return;
  EXPECT_GT(passes, 5);
  EXPECT_GT(seen, first_seen) << "the readers did not see the run grow";
  ReadOnce(Path(), &seen);
}

// A writer that dies leaves every scan that it has flushed, whole ones only, and the way free for
// the next, which nobody has while it lives.
TEST_F(ConcurrentTest, WritersThatDieLeaveWholeScans) {
  MakeRun({ScanningRecord(kType)}, {});
  SetEnvironment(kDirectoryVariable, Path());
  uint32_t refused = 0;
  for (int round = 0; round < 15 && !HasFailure(); ++round) {
    std::filesystem::remove(Native(LogOf(Path())));
    SetEnvironment(kLifetimeVariable, std::to_string(500 + random_() % 60000));
    auto writer = std::async(std::launch::async, [this] {
      return RunProcess(ThisProgram(), {"--gtest_filter=ConcurrentTest.WriterProcess"}, Path());
    });
    int32_t handle = -1;
    ASSERT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
    int32_t error = RAW_SCAN_BUFFER_ABSENT;
    while (error == RAW_SCAN_BUFFER_ABSENT &&
           writer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
      if (!Exists(LogOf(Path())) || ReadText(LogOf(Path())).empty()) continue;
      error = RawCreateScanFile(handle, 1, 0, 0);
    }
    EXPECT_EQ(writer.get().status, 9);
    RawReadClose(handle);
    if (error == RAW_OK) continue;  // it had just died, and its scans are gone
    if (error == RAW_LOCK_FAILED) ++refused;
    uint32_t flushed = 0;
    std::istringstream log(Exists(LogOf(Path())) ? ReadText(LogOf(Path())) : "");
    for (uint32_t number = 0; log >> number;) flushed = number;
    OpenRun();
    const auto scans = Get<uint32_t>(record_, 18);
    EXPECT_GE(scans, flushed);
    if (scans == 0) continue;
    ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_OK);
    for (uint32_t number = 1; number <= scans; ++number) {
      ASSERT_NO_FATAL_FAILURE(ExpectScan(handle_, number));
    }
    CloseRun();
  }
  EXPECT_GT(refused, 0u);
  SetEnvironment(kLifetimeVariable, "");
  SetEnvironment(kDirectoryVariable, "");
}

}  // namespace
}  // namespace tervalon::testing
