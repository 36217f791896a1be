// One process writes while others open, read and close the same directory again and again.
// TERVALON_ACQUISITION_TIME is how long, in seconds.

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
constexpr int kReaders = 3;

std::chrono::seconds WritingTime() {
  const char* const given = std::getenv("TERVALON_ACQUISITION_TIME");
  return std::chrono::seconds(given != nullptr ? std::atoi(given) : 3);
}

// From a few bytes to several of the writer's buffers.
Scan ScanOf(uint32_t number) { return NumberedScan(number, number * 7919 % 5000); }

float TotalOf(const Scan& scan) {
  double total = 0;
  for (const float intensity : scan.intensities) total += intensity;
  return static_cast<float>(total);
}

// The writer's process: appends scans for a while, some flushed, whose number it notes in `log`.
// Returns its exit status.
int Write(const std::string& directory, std::ostream* log) {
  int32_t handle = -1;
  if (RawReadOpen(directory.c_str(), &handle) != RAW_OK) return 2;
  if (RawCreateScanFile(handle, 1, 0, 0) != RAW_OK) return 4;
  const auto end = std::chrono::steady_clock::now() + WritingTime();
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
std::string EndOf(const std::string& directory) { return directory + ".end"; }

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

// Times and totals of some scans, the first and last ones and others between.
void ExpectChromatogram(int32_t handle, uint32_t scans, uint32_t pass) {
  constexpr uint32_t kRun = 20;
  if (scans < kRun) return;
  for (const uint32_t first : {1U, scans - kRun + 1, pass * 7919 % (scans - kRun + 1) + 1}) {
    std::vector<float> totals(kRun);
    std::vector<float> times(kRun);
    ASSERT_EQ(RawReadChrom(handle, 1, 0, static_cast<int32_t>(first), kRun, totals.data(),
                           times.data(), RAW_CHROM_TOTAL_ION),
              RAW_OK);
    for (uint32_t i = 0; i < kRun; ++i) {
      const Scan expected = ScanOf(first + i);
      ASSERT_EQ(totals[i], TotalOf(expected)) << first + i;
      ASSERT_EQ(times[i], expected.description.retention_time) << first + i;
    }
  }
}

// One reader's pass: the last scans counted, and those that appear until it closes.
void ReadOnce(const std::string& directory, uint32_t* seen, uint32_t* passes) {
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
    ASSERT_NO_FATAL_FAILURE(ExpectChromatogram(handle, scans, *passes));
  }
  ASSERT_EQ(RawReadClose(handle), RAW_OK);
  ++*passes;
}

// Run by itself in each reader's process, until the writer has ended.
TEST_F(ConcurrentTest, ReaderProcess) {
  const char* directory = std::getenv(kDirectoryVariable);
  if (directory == nullptr) GTEST_SKIP() << "the other test starts this one";
  uint32_t seen = 0;
  uint32_t first_seen = 0;
  uint32_t passes = 0;
  for (bool ended = false; !ended && !HasFailure();) {
    ended = Exists(EndOf(directory));  // and once more after that
    ReadOnce(directory, &seen, &passes);
    if (first_seen == 0) first_seen = seen;
  }
  if (HasFailure()) return;
  EXPECT_GT(passes, 2U);
  EXPECT_GT(seen, first_seen) << "the run did not grow while it was read";
  EXPECT_EQ(seen, std::stoul(ReadText(EndOf(directory)))) << "scans that nobody told of";
  std::printf("%u passes over %u scans\n", passes, seen);
}

TEST_F(ConcurrentTest, ReadersSeeOnlyWholeScans) {
  MakeRun({ScanningRecord(kType)}, {});
  SetEnvironment(kDirectoryVariable, Path());
  const auto run = [this](const char* test) {
    return std::async(std::launch::async, [this, test] {
      return RunProcess(ThisProgram(), {std::string("--gtest_filter=ConcurrentTest.") + test},
                        Path());
    });
  };
  auto writer = run("WriterProcess");
  std::vector<std::future<ProcessResult>> readers;
  for (int i = 0; i < kReaders; ++i) readers.push_back(run("ReaderProcess"));
  const ProcessResult wrote = writer.get();
  EXPECT_EQ(wrote.status, 0) << wrote.out << wrote.err;
  OpenRun();
  WriteText(EndOf(Path()), std::to_string(Get<uint32_t>(record_, 18)));
  CloseRun();
  for (auto& reader : readers) {
    const ProcessResult read = reader.get();
    EXPECT_EQ(read.status, 0) << read.out << read.err;
    if (read.status == 0)
      std::printf("%s", read.out.substr(read.out.rfind("passes over") - 8, 40).c_str());
  }
  SetEnvironment(kDirectoryVariable, "");
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
