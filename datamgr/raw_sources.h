// The raw directories that data handles read. Each is opened once, however many handles read it,
// unless several threads read it at the same time; it stays open until it is released. As raw
// handles are few, those not used for the longest time are closed early and open again when they
// are read.

#ifndef DATAMGR_RAW_SOURCES_H_
#define DATAMGR_RAW_SOURCES_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "raw/function_reader.h"
#include "tervalon/raw_calibration.h"
#include "tervalon/raw_functions.h"

namespace tervalon::datamgr {

// A function or processed data set that is open for reading. Valid until the next call on its
// source.
struct OpenData {
  raw::FunctionReader* reader = nullptr;
  const RawFunctionRecord* record = nullptr;
};

// An open raw directory.
class RawSource {
 public:
  explicit RawSource(std::string directory) : directory_(std::move(directory)) {}
  RawSource(const RawSource&) = delete;
  RawSource& operator=(const RawSource&) = delete;

  const std::string& directory() const { return directory_; }
  int32_t handle() const { return handle_; }
  int16_t CountAnalogChannels() const;

  // The record of a function (from 1) as the function table has it. Returns a Raw error code.
  int32_t ReadRecord(int16_t function, RawFunctionRecord* record);

  // Opens a data set for reading if it is not open. A processed data set is packed as data_type, -1
  // being the function's. Returns a Raw error code.
  int32_t OpenDataSet(int16_t function, int16_t process, int32_t data_type, OpenData* data);

  // Ends reading of a processed data set. False while another call reads this source.
  bool EndProcess(int16_t process);

 private:
  friend class RawSourceTable;

  struct DataSet {
    int16_t function;
    int16_t process;
    int32_t data_type;
    RawFunctionRecord record;
  };

  int32_t Open();
  void Close();
  int32_t AddDataSet(int16_t function, int16_t process, int32_t data_type);
  bool IsOpen() const;  // false when all raw handles were reset meanwhile

  const std::string directory_;
  int32_t handle_ = -1;
  uint32_t generation_ = 0;  // of the handle
  RawCalibration calibration_ = {};
  std::vector<RawFunctionRecord> functions_;  // read in this lease, which reads them once
  std::vector<DataSet> data_sets_;            // open ones, the one opened last at the end
  // Set under the table's lock, the first two by the thread that leases the source.
  int32_t users_ = 0;     // leases
  uintptr_t thread_ = 0;  // that has them all
  bool opening_ = false;
  bool closing_ = false;  // closes with the last lease
};

// The use of a directory for a scope, by the thread that makes it. A directory that the lease had
// to open is closed with it, unless it is kept.
class SourceLease {
 public:
  explicit SourceLease(const std::string& directory);
  ~SourceLease();
  SourceLease(const SourceLease&) = delete;
  SourceLease& operator=(const SourceLease&) = delete;

  // A Raw error code: RAW_OK when there is a source.
  int32_t error() const { return error_; }
  RawSource& operator*() const { return *source_; }
  RawSource* operator->() const { return source_; }
  void Keep() { opened_ = false; }

 private:
  RawSource* source_ = nullptr;
  bool opened_ = false;
  int32_t error_;
};

// Closes a directory, at the end of its leases.
void CloseRawSource(const std::string& directory);

// Closes what else reads the directory of a source, which has been written through that one.
void CloseOtherSources(const RawSource& written);

void CloseAllRawSources();

}  // namespace tervalon::datamgr

#endif  // DATAMGR_RAW_SOURCES_H_
