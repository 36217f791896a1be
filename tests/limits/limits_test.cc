// The ends of what there is room for: bytes, scans, functions, characters, open files. Those that
// take more than a second or a gigabyte run with TERVALON_LIMITS set.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tervalon/data_handles.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tervalon/paths.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tervalon/raw_spectra.h"
#include "tervalon/settings.h"
#include "tests/support/temp_directory.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tervalon/drawing_devices.h"
#endif

namespace tervalon::testing {
namespace {

constexpr int64_t kFourGiB = int64_t{1} << 32;

bool Long() { return std::getenv("TERVALON_LIMITS") != nullptr; }

class LimitsTest : public ::testing::Test {
 protected:
  void SetUp() override { RawHandlesInit(); }
  void TearDown() override { RawHandlesInit(); }

  // A directory with one function of continuum data, two bytes a point, open as handle_.
  void Create() {
    run_ = directory_.Path("R.RAW");
    ASSERT_EQ(RawCreateOpen(run_.c_str(), &handle_), RAW_OK);
    record_ = {};
    record_.bytes[1] = RAW_DATA_CONTINUUM << 2;
    const float high = 1000;
    std::memcpy(record_.bytes + 32, &high, sizeof high);
    ASSERT_EQ(RawCreateFunctions(handle_, 1, &record_), RAW_OK);
    ASSERT_EQ(RawCreateScanFile(handle_, 1, 0, 0), RAW_OK);
  }

  std::filesystem::path Member(const char* name) const { return Native(run_ + "\\" + name); }

  TempDirectory directory_;
  std::string run_;
  int32_t handle_ = -1;
  RawFunctionRecord record_ = {};
};

TEST_F(LimitsTest, ReadsUpToFourGiB) {
  Create();
  const std::vector<float> points = {1, 2, 3};
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(RawCreateScans(handle_, 1, 0, RAW_DATA_CONTINUUM, 0, 0, 0, static_cast<float>(i),
                             nullptr, points.data(), nullptr, 3),
              RAW_OK);
  }
  ASSERT_EQ(RawCreateClose(handle_), RAW_OK);
  // The second scan moves to the last bytes that an offset names; what is between is a hole.
  std::vector<uint8_t> stored(6);
  std::ifstream(Member("_FUNC001.DAT"), std::ios::binary)
      .seekg(6)
      .read(reinterpret_cast<char*>(stored.data()), 6);
  std::error_code error;
  std::filesystem::resize_file(Member("_FUNC001.DAT"), static_cast<uintmax_t>(kFourGiB - 1), error);
  if (error) GTEST_SKIP() << "no files of 4 GiB: " << error.message();
  const uint32_t offset = 0xFFFFFFFFu - 6;
  std::fstream data(Member("_FUNC001.DAT"), std::ios::binary | std::ios::in | std::ios::out);
  data.seekp(offset).write(reinterpret_cast<const char*>(stored.data()), 6);
  data.close();
  std::fstream index(Member("_FUNC001.IDX"), std::ios::binary | std::ios::in | std::ios::out);
  index.seekp(22).write(reinterpret_cast<const char*>(&offset), 4);
  index.close();
  ASSERT_EQ(RawReadOpen(run_.c_str(), &handle_), RAW_OK);
  int32_t scans = 0;
  EXPECT_EQ(RawReadScanCount(handle_, 1, 0, &scans), RAW_OK);
  EXPECT_EQ(scans, 2);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_OK);
  float read[4] = {};
  int32_t count = 4;
  EXPECT_EQ(RawReadSpectrum(handle_, 1, 0, 2, 1, &count, nullptr, nullptr, read, nullptr, 0),
            RAW_OK);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(read[2], 3);
}

TEST_F(LimitsTest, WritesNoFurtherThanFourGiB) {
  if (!Long()) GTEST_SKIP() << "TERVALON_LIMITS is not set";
  Create();
  const std::vector<float> points(RAW_MAX_POINTS, 1);
  int32_t written = 0;
  int32_t error = RAW_OK;
  while (error == RAW_OK && written < 600) {
    error = RawCreateScans(handle_, 1, 0, RAW_DATA_CONTINUUM, 0, 0, 0, static_cast<float>(written),
                           nullptr, points.data(), nullptr, RAW_MAX_POINTS);
    if (error == RAW_OK) error = RawCreateScansFlush(handle_, 1, 0);
    if (error == RAW_OK) ++written;
  }
  EXPECT_EQ(error, RAW_SHORT_WRITE);
  EXPECT_EQ(written, kFourGiB / (2 * int64_t{RAW_MAX_POINTS}));
  const std::vector<float> few = {7, 8};
  EXPECT_EQ(RawCreateScans(handle_, 1, 0, RAW_DATA_CONTINUUM, 0, 0, 0, 600, nullptr, few.data(),
                           nullptr, 2),
            RAW_OK)
      << "a small one has room";
  EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
  ASSERT_EQ(RawReadOpen(run_.c_str(), &handle_), RAW_OK);
  int32_t scans = 0;
  EXPECT_EQ(RawReadScanCount(handle_, 1, 0, &scans), RAW_OK);
  EXPECT_EQ(scans, written + 1);
}

TEST_F(LimitsTest, MillionsOfScans) {
  const int32_t scans = Long() ? 10'000'000 : 300'000;
  Create();
  ASSERT_EQ(RawCreateClose(handle_), RAW_OK);
  std::vector<uint8_t> index(size_t{22} * static_cast<size_t>(scans));
  for (int32_t scan = 0; scan < scans; ++scan) {  // without points; each second, in minutes
    const float values[] = {static_cast<float>(scan % 1000), static_cast<float>(scan) / 16};
    std::memcpy(index.data() + size_t{22} * static_cast<size_t>(scan) + 8, values, 8);
  }
  WriteFile(run_ + "\\_FUNC001.IDX", index);
  index = {};
  ASSERT_EQ(RawReadOpen(run_.c_str(), &handle_), RAW_OK);
  int32_t counted = 0;
  ASSERT_EQ(RawReadScanCount(handle_, 1, 0, &counted), RAW_OK);
  EXPECT_EQ(counted, scans);
  ASSERT_EQ(RawReadFuncInfo(handle_, 1, &record_, nullptr), RAW_OK);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_OK);
  for (const int32_t wanted : {1, scans / 2, scans - 1, scans}) {
    int32_t found = 0;
    EXPECT_EQ(RawReadTimeScan(handle_, 1, 0, &record_, static_cast<float>(wanted - 1) / 16, &found),
              RAW_OK);
    EXPECT_EQ(found, wanted);
  }
  std::vector<float> values(static_cast<size_t>(scans) + 1, -1);
  ASSERT_EQ(RawReadChrom(handle_, 1, 0, 1, scans, values.data(), nullptr, RAW_CHROM_TOTAL_ION),
            RAW_OK);
  for (int32_t scan = 0; scan < scans; ++scan) {
    ASSERT_EQ(values[static_cast<size_t>(scan)], static_cast<float>(scan % 1000));
  }
  EXPECT_EQ(values.back(), -1);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, scans, 2, values.data(), nullptr, RAW_CHROM_TOTAL_ION),
            RAW_SCAN_ABSENT);
}

#if !defined(_WIN32)  // which takes shorter ones for directories
// Every export that takes a path: one of 259 characters is a name like any other, a longer one is
// refused.
TEST_F(LimitsTest, PathsOf259Characters) {
  int32_t handle = -1;
  const auto path_of = [&](size_t length, char fill) {
    std::string path = directory_.Path("");
    while (path.size() + 101 < length) {  // names have an end, too
      path += std::string(99, fill) + "\\";
      std::filesystem::create_directories(Native(path));
    }
    return path + std::string(length - path.size(), fill);
  };
  const std::string fits = path_of(TV_PATH_SIZE - 1, 'a');
  const std::string longer = path_of(TV_PATH_SIZE, 'a');
  EXPECT_EQ(RawFileExists(fits.c_str()), 0);
  ASSERT_EQ(RawCreateOpen(fits.c_str(), &handle), RAW_OK);
  EXPECT_EQ(RawCreateClose(handle), RAW_OK);
  EXPECT_EQ(RawFileExists(fits.c_str()), 16);
  EXPECT_EQ(DirectoryExists(fits.c_str()), 1);
  EXPECT_EQ(RawReadOpen(fits.c_str(), &handle), RAW_OK);
  char back[TV_PATH_SIZE];
  EXPECT_EQ(RawHandleGetClusterName(handle, back), RAW_OK);
  EXPECT_EQ(back, fits);
  EXPECT_EQ(RawReadClose(handle), RAW_OK);
  EXPECT_EQ(DmRawOpen(fits.c_str()), RAW_OK);
  EXPECT_EQ(RawCheckDirectory(fits.c_str(), nullptr, nullptr, nullptr), RAW_OK);
  EXPECT_EQ(RawFileErase(fits.c_str()), RAW_OK);
  EXPECT_EQ(RawFileExists(fits.c_str()), 0);

  std::filesystem::create_directory(Native(longer));
  EXPECT_EQ(RawReadOpen(longer.c_str(), &handle), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(RawCreateOpen(longer.c_str(), &handle), RAW_DIRECTORY_NOT_CREATED);
  EXPECT_EQ(handle, -1);
  EXPECT_EQ(RawCheckDirectory(longer.c_str(), nullptr, nullptr, nullptr), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(RawRepairDirectory(longer.c_str(), nullptr, nullptr, nullptr), RAW_DIRECTORY_ABSENT);
  EXPECT_NE(DmRawOpen(longer.c_str()), RAW_OK);
  std::filesystem::remove(Native(longer));

  DB3SetReportErrors(DB3_PEP_MOD, 0);
  const auto mode_of = [](const std::string& path, int32_t mode) {
    return DB3Open(DB3_PEP_MOD, path.c_str(), mode);
  };
  const std::string database = path_of(251, 'd') + ".MDB";  // a file record's name has 255
  EXPECT_EQ(mode_of(database, DB3_MODE_CREATE), DB3_SUCCESS);
  EXPECT_EQ(mode_of(database, DB3_MODE_FILE_EXISTS), DB3_SUCCESS);
  EXPECT_EQ(mode_of(database, DB3_MODE_DELETE), DB3_SUCCESS);
  for (const size_t length : {252, 255, 256, 300, 1000}) {
    const std::string long_database = path_of(length, 'd') + ".MDB";
    for (const int32_t mode :
         {DB3_MODE_CREATE, DB3_MODE_OPEN, DB3_MODE_DELETE, DB3_MODE_FILE_EXISTS}) {
      EXPECT_EQ(mode_of(long_database, mode), DB3_GENERAL_ERROR) << length << " " << mode;
      EXPECT_FALSE(Exists(long_database));
    }
  }

  char out[TV_PATH_SIZE];
  EXPECT_EQ(CreatePathName(fits.c_str(), nullptr, nullptr, out, TV_PATH_SIZE), 1);
  EXPECT_EQ(CreatePathName(longer.c_str(), nullptr, nullptr, out, TV_PATH_SIZE), 0);
  const TvDC dc = TvCreateImageDC(10, 10, 96);
  EXPECT_EQ(TvSavePng(dc, fits.c_str()), 1);
  TvDeleteDC(dc);
}

// Twenty descriptors, all but `free` of them taken: what needs more fails with its code, and
// nothing that is stored is lost.
TEST_F(LimitsTest, FewDescriptors) {
  Create();
  const std::vector<float> points = {1, 2, 3};
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(RawCreateScans(handle_, 1, 0, RAW_DATA_CONTINUUM, 0, 0, 0, static_cast<float>(i),
                             nullptr, points.data(), nullptr, 3),
              RAW_OK);
  }
  RawHeader header = {};
  static RawCalibration calibration = {};
  ASSERT_EQ(RawCreateHeader(handle_, &header, &calibration), RAW_OK);
  ASSERT_EQ(RawCreateClose(handle_), RAW_OK);
  const std::string database = directory_.Path("D.MDB");
  DB3SetReportErrors(DB3_PEP_MOD, 0);
  ASSERT_EQ(DB3Open(DB3_PEP_MOD, database.c_str(), DB3_MODE_CREATE), DB3_SUCCESS);

  // Each returns whether it did what it is for; the code that it gets otherwise is one of its own.
  const auto read = [&] {
    int32_t handle = -1;
    int32_t scans = -1;
    if (RawReadOpen(run_.c_str(), &handle) != RAW_OK) return false;
    const int32_t error = RawReadScanCount(handle, 1, 0, &scans);
    EXPECT_TRUE(error == RAW_MEMBER_NOT_OPENED || scans == 10) << error << " " << scans;
    const bool opened = RawReadFuncInit(handle, 1, 0, &record_, nullptr) == RAW_OK;
    int32_t count = 3;
    float values[3] = {};
    if (opened) {
      EXPECT_EQ(RawReadSpectrum(handle, 1, 0, 10, 1, &count, nullptr, nullptr, values, nullptr, 0),
                RAW_OK);
      EXPECT_EQ(values[2], 3);
    }
    EXPECT_EQ(RawReadClose(handle), RAW_OK);
    return opened && error == RAW_OK;
  };
  const auto write_header = [&] {
    int32_t handle = -1;
    if (RawReadOpen(run_.c_str(), &handle) != RAW_OK) return false;
    const int32_t error = RawCreateHeader(handle, &header, &calibration);
    EXPECT_TRUE(error == RAW_OK || error == RAW_MEMBER_NOT_OPENED || error == RAW_LOCK_FAILED)
        << error;
    RawReadClose(handle);
    return error == RAW_OK;
  };
  const auto insert = [&] {
    if (DB3Open(DB3_PEP_MOD, database.c_str(), DB3_MODE_OPEN) != DB3_SUCCESS) return false;
    const int32_t before = DB3GetRecordsInDB(DB3_PEP_MOD);
    DB3PepMod record = {};
    const int32_t cause =
        DB3HandleRecord(DB3_PEP_MOD, DB3_HANDLE_INSERT, before + 1, &record, DB3_INSERT_INTO_EMPTY);
    EXPECT_EQ(DB3GetRecordsInDB(DB3_PEP_MOD), before + (cause == DB3_SUCCESS ? 1 : 0));
    DB3Close(DB3_PEP_MOD);
    return cause == DB3_SUCCESS;
  };
  const auto picture = [&] {
    const TvDC dc = TvCreateImageDC(10, 10, 96);
    const bool saved = TvSavePng(dc, directory_.Path("p.png").c_str()) == 1;
    TvDeleteDC(dc);
    return saved;
  };
  const std::function<bool()> works[] = {read, write_header, insert, picture};

  rlimit before = {};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few = {20, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  std::vector<int> taken;
  for (int file = 0; (file = open("/dev/null", O_RDONLY)) >= 0;) taken.push_back(file);
  ASSERT_GT(taken.size(), 6u);
  size_t done = 0;
  for (size_t free = 0; free <= 6; ++free) {
    for (const auto& work : works) done += work() ? 1 : 0;
    close(taken.back());
    taken.pop_back();
  }
  EXPECT_GT(done, 4u) << "with some free nothing worked either";
  for (const int file : taken) close(file);
  for (const auto& work : works) EXPECT_TRUE(work()) << "not usable afterwards";
  setrlimit(RLIMIT_NOFILE, &before);
}
#endif

}  // namespace
}  // namespace tervalon::testing
