// What the tests of raw data behind data handles share: raw directories with a header, descriptors
// that select from them, and data as a handle delivers them.

#ifndef TESTS_DATAMGR_RAW_DATA_FIXTURE_H_
#define TESTS_DATAMGR_RAW_DATA_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "datamgr/data_handles.h"
#include "tervalon/data_handles.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_header.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::datamgr {

using Floats = std::vector<float>;

class RawDataTest : public testing::RawTest {
 protected:
  ~RawDataTest() override { ResetDataHandles(); }

  // Makes the fixture's directory, with a header.
  void MakeData(const std::vector<RawFunctionRecord>& records,
                const std::vector<std::vector<testing::Scan>>& scans) {
    ASSERT_NO_FATAL_FAILURE(MakeRun(records, scans));
    AddHeader(Path());
  }

  static void AddHeader(const std::string& directory) {
    int32_t handle = -1;
    const RawHeader header = {};
    const RawCalibration calibration = {};
    ASSERT_EQ(RawReadOpen(directory.c_str(), &handle), RAW_OK);
    ASSERT_EQ(RawCreateHeader(handle, &header, &calibration), RAW_OK);
    ASSERT_EQ(RawReadClose(handle), RAW_OK);
  }

  // A copy of the fixture's directory.
  std::string CopyData(const std::string& name) const {
    std::filesystem::copy(testing::Native(Path()), testing::Native(temp_.Path(name)));
    return temp_.Path(name);
  }

  SystemRawFile RawFile(int16_t function = 1) const {
    SystemRawFile file = {};
    const std::string path = Path();
    const size_t name = path.find_last_of("\\/") + 1;
    std::strcpy(file.directory, path.substr(0, name).c_str());
    const size_t point = std::min(path.rfind('.'), path.size());
    std::strcpy(file.name, path.substr(name, point - name).c_str());
    if (point < path.size()) std::strcpy(file.extension, path.substr(point + 1).c_str());
    file.function = function;
    return file;
  }

  DmRawDescriptor Spectrum(int32_t scan, int16_t function = 1, int16_t process = 0) const {
    DmRawDescriptor descriptor = Data(DM_RAW_SPECTRUM, function, process);
    descriptor.selection = DM_SELECT_SCAN;
    descriptor.scan = scan;
    return descriptor;
  }

  DmRawDescriptor Chromatogram(uint32_t type, const Floats& masses = {},
                               int16_t function = 1) const {
    DmRawDescriptor descriptor = Data(DM_RAW_CHROMATOGRAM, function, 0);
    descriptor.trace.type = type;
    std::copy(masses.begin(), masses.end(), descriptor.trace.masses);
    return descriptor;
  }

  static int32_t Grant(DmRawDescriptor* descriptor, uint16_t flags = 0) {
    return DmGetHandle(DM_TYPE_RAW, sizeof(*descriptor), descriptor, 2, sizeof(float), flags);
  }

  // Resident elements of an array; none when not all of them are.
  static Floats Values(int32_t handle, int32_t item, uint32_t first, int32_t count) {
    const auto* values = static_cast<const float*>(DmLockData(handle, item, first, count));
    if (values == nullptr) return {};
    Floats copy(values, values + count);
    DmUnlockData(handle, item);
    return copy;
  }

  static DmRawDescriptor Stored(int32_t handle) {
    const auto* stored = static_cast<const DmRawDescriptor*>(DmLockID(handle));
    const DmRawDescriptor copy = stored != nullptr ? *stored : DmRawDescriptor();
    DmUnlockID(handle);
    return copy;
  }

  struct Items {
    Floats first;
    Floats second;
  };

  // Everything that a descriptor selects, through a handle of its own; and the descriptor after
  // that.
  static Items ReadAll(DmRawDescriptor* descriptor) {
    const int32_t handle = Grant(descriptor);
    if (handle == 0) {
      ADD_FAILURE() << "not granted";
      return {};
    }
    const auto count = static_cast<int32_t>(descriptor->element_count);
    EXPECT_EQ(DmGetData(handle, 1, count, 0), 0);
    Items items = {Values(handle, 0, 1, count), Values(handle, 1, 1, count)};
    *descriptor = Stored(handle);
    EXPECT_EQ(DmReleaseHandle(handle, 0), 0);
    return items;
  }

  static Items ReadAll(DmRawDescriptor descriptor) { return ReadAll(&descriptor); }

  // Raw handles that can still be opened.
  int32_t FreeRawHandles() const {
    std::vector<int32_t> handles;
    int32_t handle = -1;
    while (RawReadOpen(Path().c_str(), &handle) == RAW_OK) handles.push_back(handle);
    for (const int32_t open : handles) RawReadClose(open);
    return static_cast<int32_t>(handles.size());
  }

 private:
  DmRawDescriptor Data(int16_t kind, int16_t function, int16_t process) const {
    DmRawDescriptor descriptor = {};
    std::strcpy(descriptor.directory, Path().c_str());
    descriptor.function = function;
    descriptor.process = process;
    descriptor.kind = kind;
    return descriptor;
  }
};

}  // namespace tervalon::datamgr

#endif  // TESTS_DATAMGR_RAW_DATA_FIXTURE_H_
