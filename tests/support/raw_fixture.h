// What the tests of raw/ share: a fixture with a directory of its own, and builders of function
// records, scans and member files.

#ifndef TESTS_SUPPORT_RAW_FIXTURE_H_
#define TESTS_SUPPORT_RAW_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"
#include "tests/support/fault_services.h"
#include "tests/support/temp_directory.h"

namespace tervalon::testing {

using Bytes = std::vector<uint8_t>;

template <typename T>
void Put(RawFunctionRecord* record, size_t offset, T value) {
  std::memcpy(record->bytes + offset, &value, sizeof(value));
}

template <typename T>
T Get(const RawFunctionRecord& record, size_t offset) {
  T value;
  std::memcpy(&value, record.bytes + offset, sizeof(value));
  return value;
}

template <typename T>
void Append(Bytes* bytes, T value) {
  const auto* begin = reinterpret_cast<const uint8_t*>(&value);
  bytes->insert(bytes->end(), begin, begin + sizeof(value));
}

// A single-segment scanning function.
RawFunctionRecord ScanningRecord(int32_t data_type, float low = 100, float high = 1100);

// A selected-ion function.
RawFunctionRecord ChannelRecord(int32_t data_type, const std::vector<float>& masses);

// A function of any type that makes sense for the data type: channels for 2 and 11.
RawFunctionRecord RecordFor(int32_t data_type);

// One scan, as a writer is given it.
struct Scan {
  RawScanDescription description = {};
  std::vector<float> masses;
  std::vector<float> intensities;
  std::vector<uint8_t> flags;
};

// Ascending masses and intensities that any data type can hold; `number` decides them and the time,
// so that a reader can tell a scan by its content.
Scan NumberedScan(uint32_t number, size_t points);

// Appends a scan to a function that is open for writing.
int32_t WriteScan(int32_t handle, int16_t function, int16_t process, int16_t type,
                  const Scan& scan);

// What RawReadSpectrum delivered.
struct Spectrum {
  int32_t error = 0;
  RawScanHeader header = {};
  std::vector<float> masses;
  std::vector<float> intensities;
  std::vector<uint8_t> flags;
};

Spectrum Read(int32_t handle, int16_t function, int16_t process, int32_t scan, int32_t first = 1,
              int32_t count = RAW_MAX_POINTS, bool skip_flagged = false);

// An index record by its fields; the second word is `points` and the flags above it.
struct IndexEntry {
  uint32_t offset = 0;
  uint32_t word = 0;
  float total = 0;
  float time = 0;
  Bytes base_peak = Bytes(6, 0);
};

Bytes IndexBytes(const std::vector<IndexEntry>& entries);

class RawTest : public ::testing::Test {
 protected:
  RawTest() { RawHandlesInit(); }
  ~RawTest() override;

  // A member of the test's raw directory, or the directory itself.
  std::string Path(const std::string& member = "") const;

  // Makes the directory with a function table and, for each function in turn, its scans.
  void MakeRun(const std::vector<RawFunctionRecord>& records,
               const std::vector<std::vector<Scan>>& scans);

  // Makes the directory with function 1's files as given.
  void MakeRun(const RawFunctionRecord& record, const Bytes& index, const Bytes& data);

  // Opens the directory, and takes the record of a function (0: of none).
  void OpenRun(int16_t function = 1);

  // Closes what OpenRun opened.
  void CloseRun();

  // OpenRun, and function 1 for reading.
  void OpenFunction(const RawCalibration* calibration = nullptr);

  // Makes the directory, with function 1 of a data type open for writing.
  void OpenWriter(int32_t data_type);

  // Ends what OpenWriter began.
  void CloseWriter();

  // A scan of a data type as it comes back from a run that has only it, which stays open.
  Spectrum Stored(int32_t data_type, const Scan& scan);

  // A second handle of the directory, with function 1 open for reading.
  int32_t OpenReader(const RawFunctionRecord& record) const;

  // Collects the percentages that are reported from now on.
  void RecordProgress();

  // Puts a file system that fails on demand in place, until the test ends or asks for another.
  // Handles that are open then are dropped.
  FaultyFileSystem& UseFaultyFiles();

  TempDirectory temp_;
  std::unique_ptr<FaultyFileSystem> faulty_files_;
  std::unique_ptr<platform::ScopedReplacement<platform::FileSystem>> replaced_;
  int32_t handle_ = -1;
  RawFunctionRecord record_ = {};
  std::vector<int32_t> progress_;
  std::mt19937 random_{20240607};
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_RAW_FIXTURE_H_
