#include <gtest/gtest.h>

#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "datamgr/data_handles.h"
#include "db3/catalogue.h"
#include "db3/record_file.h"
#include "tervalon/database_descriptor.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tests/support/temp_directory.h"

namespace tervalon::datamgr {
namespace {

// A peak list of five peaks, and what handles on it deliver.
class DatabaseHandles : public ::testing::Test {
 protected:
  DatabaseHandles() {
    const db3::DatabaseType& type = *db3::Catalogue(DB3_PEAK_LIST);
    std::unique_ptr<db3::RecordFile> file;
    EXPECT_EQ(db3::RecordFile::Create(path_, type.fields), db3::kSuccess);
    EXPECT_EQ(db3::RecordFile::Open(path_, &file), db3::kSuccess);
    const db3::RecordFile::Turn turn(file.get(), platform::LockMode::kExclusive);
    for (int32_t i = 1; i <= 5; ++i) {
      const DB3PeakList peak = Peak(i);
      std::string text(type.record_length, ' ');
      db3::NewRecord(type, std::as_bytes(std::span(&peak, 1)), text);
      EXPECT_EQ(file->Insert(i, text), db3::kSuccess);
    }
  }
  ~DatabaseHandles() override { ResetDataHandles(); }

  static DB3PeakList Peak(int32_t i) {
    DB3PeakList peak = {};
    std::memset(peak.name, 'a' + i, sizeof(peak.name));
    peak.found_time = i * 1.125;
    peak.predicted_scan = -i;
    return peak;
  }

  static int16_t Field(const std::string& name) {
    const auto fields = db3::Catalogue(DB3_PEAK_LIST)->fields;
    int16_t position = 0;
    while (name != fields[static_cast<size_t>(position)].name) ++position;
    return position;
  }

  DmDatabaseDescriptor Select(const std::vector<int16_t>& fields) const {
    DmDatabaseDescriptor descriptor = {};
    path_.copy(descriptor.path, sizeof(descriptor.path) - 1);
    descriptor.type = DB3_PEAK_LIST;
    std::copy(fields.begin(), fields.end(), descriptor.fields);
    return descriptor;
  }

  static int32_t Get(DmDatabaseDescriptor* descriptor, const std::vector<uint32_t>& sizes,
                     uint16_t flags = 0) {
    return DmGetHandleEx(DM_TYPE_DATABASE, sizeof(*descriptor), descriptor,
                         static_cast<int16_t>(sizes.size()), sizes.data(), flags);
  }

  template <typename Element>
  static std::vector<Element> Elements(int32_t handle, int32_t item, uint32_t first,
                                       int32_t count) {
    const auto* const elements =
        static_cast<const Element*>(DmLockData(handle, item, first, count));
    EXPECT_NE(elements, nullptr);
    if (elements == nullptr) return {};
    std::vector<Element> copy(elements, elements + count);
    DmUnlockData(handle, item);
    return copy;
  }

  testing::TempDirectory directory_;
  std::string path_ = directory_.Path("P1.DBF");
};

TEST_F(DatabaseHandles, DeliverColumnsAndWholeRecords) {
  DmDatabaseDescriptor descriptor = Select({Field("FOUND_RT"), Field("PRED_SCAN"), 0, 1});
  const std::vector<uint32_t> sizes = {8, 4, sizeof(DB3PeakList), 254};
  const int32_t handle = Get(&descriptor, sizes);
  ASSERT_GT(handle, 0);
  EXPECT_EQ(descriptor.element_count, 5U);
  ASSERT_EQ(DmGetData(handle, 4, 2, 0), 0);
  ASSERT_EQ(DmGetData(handle, 2, 1, 0), 0);
  EXPECT_EQ(Elements<double>(handle, 0, 2, 4), (std::vector<double>{2.25, 3.375, 4.5, 5.625}));
  EXPECT_EQ(Elements<int32_t>(handle, 1, 2, 4), (std::vector<int32_t>{-2, -3, -4, -5}));
  EXPECT_EQ(std::string(Elements<DB3PeakList>(handle, 2, 3, 1)[0].name, 3), "ddd");
  EXPECT_EQ(*static_cast<const char*>(DmLockData(handle, 3, 5, 1)), ' ');

  EXPECT_EQ(DmGetData(handle, 0, 1, 0), -1);
  EXPECT_EQ(DmGetData(handle, 5, 2, 0), -1);
  EXPECT_EQ(DmGetData(handle, 6, INT32_MAX, 0), -1);
  EXPECT_EQ(DmWriteHandle(handle, 0), 0);
  EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
}

TEST_F(DatabaseHandles, AreSharedForTheSameSelection) {
  DmDatabaseDescriptor times = Select({Field("FOUND_RT")});
  DmDatabaseDescriptor same = times;
  DmDatabaseDescriptor heights = Select({Field("ST_HEIGHT")});
  const int32_t handle = Get(&times, {8});
  ASSERT_GT(handle, 0);
  EXPECT_EQ(Get(&same, {8}), handle);
  EXPECT_EQ(same.element_count, 5U);
  EXPECT_NE(Get(&heights, {8}), handle);
  EXPECT_EQ(DmDB3Compare(&times, &heights, 0), 0);
  EXPECT_EQ(DmDB3Compare(&times, &heights, 1), 1);
}

TEST_F(DatabaseHandles, DeliverOnlyWhatFits) {
  DmDatabaseDescriptor descriptor = Select({Field("FOUND_RT")});
  const int32_t narrow = Get(&descriptor, {4});
  ASSERT_GT(narrow, 0);
  EXPECT_EQ(DmGetData(narrow, 1, 1, 0), -1);
  EXPECT_EQ(DmReleaseHandle(narrow, 0), 0);
  EXPECT_EQ(DmGetHandle(DM_TYPE_DATABASE, sizeof(descriptor) - 1, &descriptor, 1, 8, 0), 0);
  EXPECT_EQ(DmGetHandle(DM_TYPE_DATABASE, 0, nullptr, 1, 8, 0), 0);
  for (const int16_t field : {int16_t{-1}, int16_t{140}}) {
    DmDatabaseDescriptor wrong = Select({field});
    EXPECT_EQ(DmDB3ItemSize(&wrong, 0), 0U);
    EXPECT_EQ(DmGetData(Get(&wrong, {8}), 1, 1, 0), -1);
  }
  // A field that the structure leaves out.
  DmDatabaseDescriptor method = Select({145});
  method.type = DB3_METHOD_FIND;
  EXPECT_EQ(DmDB3ItemSize(&method, 0), 0U);

  DmDatabaseDescriptor wrong = descriptor;
  wrong.type = DB3_TUNE;
  EXPECT_EQ(DmDB3Read(&wrong, 0, 0, 0, nullptr), DB3_RECORD_STRUCTURE);
  wrong.type = 20;
  EXPECT_EQ(DmDB3Read(&wrong, 0, 0, 0, nullptr), -1);
  wrong = descriptor;
  wrong.path[0] = '?';
  EXPECT_EQ(DmDB3Read(&wrong, 0, 0, 0, nullptr), DB3_FILE_MISSING);
  std::memset(wrong.path, 'x', sizeof(wrong.path));
  EXPECT_EQ(DmDB3Read(&wrong, 0, 0, 0, nullptr), -1);
  EXPECT_EQ(DmDB3Read(&wrong, 1, 0, 0, nullptr), 0);
}

// The caller may write into a handle's own descriptor.
TEST_F(DatabaseHandles, KeepElementsWithinTheirArrays) {
  DmDatabaseDescriptor descriptor = Select({Field("FOUND_RT")});
  const int32_t handle = Get(&descriptor, {8});
  static_cast<DmDatabaseDescriptor*>(DmLockID(handle))->fields[0] = 0;
  DmUnlockID(handle);
  EXPECT_EQ(DmGetData(handle, 1, 5, 0), -1);
}

TEST_F(DatabaseHandles, ReadWhatAnOpenDatabaseHolds) {
  ASSERT_EQ(DB3Open(DB3_PEAK_LIST, path_.c_str(), DB3_MODE_OPEN), DB3_SUCCESS);
  DB3PeakList peak = Peak(9);
  ASSERT_EQ(DB3HandleRecord(DB3_PEAK_LIST, DB3_HANDLE_INSERT, 1, &peak, 0), DB3_SUCCESS);
  DmDatabaseDescriptor descriptor = Select({Field("PRED_SCAN")});
  const int32_t handle = Get(&descriptor, {4});
  EXPECT_EQ(descriptor.element_count, 6U);
  ASSERT_EQ(DmGetData(handle, 1, 6, 0), 0);
  EXPECT_EQ(Elements<int32_t>(handle, 0, 1, 3), (std::vector<int32_t>{-9, -1, -2}));
  peak.predicted_scan = -10;
  ASSERT_EQ(DB3HandleRecord(DB3_PEAK_LIST, DB3_HANDLE_UPDATE, 6, &peak, 0), DB3_SUCCESS);
  ASSERT_EQ(DmGetData(handle, 6, 1, DM_DATA_DISCARD), 0);
  EXPECT_EQ(Elements<int32_t>(handle, 0, 6, 1), (std::vector<int32_t>{-10}));
  EXPECT_EQ(DB3Close(DB3_PEAK_LIST), DB3_SUCCESS);
}

}  // namespace
}  // namespace tervalon::datamgr
