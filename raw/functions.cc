// The function table and the state in which a function is read.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "raw/function_reader.h"
#include "raw/function_record.h"
#include "raw/function_table.h"
#include "raw/member_change.h"
#include "raw/member_files.h"
#include "raw/scan_files.h"
#include "raw/time_search.h"
#include "tervalon/raw_functions.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

using platform::File;

constexpr uint32_t kRecordSize = RAW_FUNCTION_RECORD_SIZE;

constexpr size_t kLargestTable = size_t{RAW_MAX_FUNCTIONS} * kRecordSize;

MemberParts PartsOf(const RawFunctionRecord* records, int32_t count) {
  MemberParts parts;
  for (int32_t i = 0; i < count; ++i) {
    parts.emplace_back(std::begin(records[i].bytes), std::end(records[i].bytes));
  }
  return parts;
}

MemberParts SplitTable(const std::vector<uint8_t>& bytes) {
  return SplitRecords(bytes, kRecordSize);
}

// Sets 0 when a file is missing or the data type is not stored, and with an error.
int32_t SetCompleteScans(int32_t handle, int32_t function, RawFunctionRecord* record) {
  SetScanCount(record, 0);
  const DataType* type = FindDataType(DataTypeCode(*record));
  if (type == nullptr) return RAW_OK;
  std::unique_ptr<File> index;
  std::unique_ptr<File> data;
  bool absent = false;
  int32_t error = OpenForReading(handle, kFunctionIndex, function, &index, &absent);
  if (error == RAW_OK) error = OpenForReading(handle, kFunctionData, function, &data, &absent);
  if (absent) return RAW_OK;
  uint32_t count = 0;
  if (error == RAW_OK) error = CountCompleteScans(*index, *data, *type, &count);
  SetScanCount(record, count);
  return error;
}

// With the data file open.
int32_t OpenIndexAndReader(int32_t handle, const ScanFiles& files, int32_t function,
                           int32_t process, const RawFunctionRecord& record,
                           const RawCalibration* calibration) {
  const int32_t error = RawFileOpen(handle, files.index_code, files.number, kReadMember);
  if (error != RAW_OK) return error;
  return PutScanBuffer(
      handle, function, process,
      std::make_unique<FunctionReader>(record, function, process, calibration,
                                       OpenMember(handle, files.index_code, files.number),
                                       OpenMember(handle, files.data_code, files.number)));
}

int32_t OpenReader(int32_t handle, int32_t function, int32_t process,
                   const RawFunctionRecord& record, const RawCalibration* calibration) {
  const ScanFiles files = ScanFilesOf(function, process);
  int32_t error = RawFileOpen(handle, files.data_code, files.number, kReadMember);
  if (error != RAW_OK) return error;
  const bool index_was_open = OpenMember(handle, files.index_code, files.number) != nullptr;
  try {
    error = OpenIndexAndReader(handle, files, function, process, record, calibration);
  } catch (const std::bad_alloc&) {
    error = RAW_NO_MEMORY_FOR_SCAN_BUFFER;
  }
  if (error == RAW_OK) return RAW_OK;
  if (!index_was_open) RawFileClose(handle, files.index_code, files.number);
  RawFileClose(handle, files.data_code, files.number);
  return error;
}

}  // namespace

int32_t tervalon::raw::ReadFunctionTable(int32_t handle, std::vector<RawFunctionRecord>* records) {
  MemberContent content;
  const int32_t error = ReadMember(handle, kFunctionTable, kLargestTable, &content);
  if (error != RAW_OK) return error;
  if (content.absent) return RAW_MEMBER_NOT_OPENED;
  records->resize(content.bytes.size() / kRecordSize);
  const uint8_t* bytes = content.bytes.data();
  for (RawFunctionRecord& record : *records) {
    std::copy_n(bytes, kRecordSize, record.bytes);
    bytes += kRecordSize;
  }
  return RAW_OK;
}

extern "C" int32_t TERVALON_CALL RawCreateFunctions(int32_t handle, int16_t count,
                                                    const RawFunctionRecord* records) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (count < 0 || count > RAW_MAX_FUNCTIONS || (records == nullptr && count > 0)) {
      return RAW_BAD_ARGUMENT;
    }
    return WriteParts(handle, kFunctionTable, kLargestTable, PartsOf(records, count), SplitTable);
  });
}

extern "C" int32_t TERVALON_CALL RawAppendFunction(int32_t handle, const RawFunctionRecord* record,
                                                   int16_t* function) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (function != nullptr) *function = 0;
    if (record == nullptr) return RAW_BAD_ARGUMENT;
    int16_t number = 0;
    const auto append = [&](const MemberContent& table, std::vector<uint8_t>* fresh) -> int32_t {
      if (table.absent) return RAW_MEMBER_NOT_OPENED;
      const size_t whole = table.bytes.size() / kRecordSize;
      if (whole >= RAW_MAX_FUNCTIONS) return RAW_SLOT_OUT_OF_RANGE;
      *fresh = table.bytes;
      fresh->resize(whole * kRecordSize);
      fresh->insert(fresh->end(), record->bytes, record->bytes + kRecordSize);
      number = static_cast<int16_t>(whole + 1);
      return RAW_OK;
    };
    int32_t error = CheckHandle(handle);
    if (error != RAW_OK) return error;
    std::unique_ptr<KnownContent>& known = KnownContentOf(handle, kFunctionTable);
    error = ChangeMember(handle, kFunctionTable, kLargestTable, append);
    if (error == RAW_SEEK_FAILED) return RAW_OK;  // callers test the number
    if (error != RAW_OK) return error;
    known = nullptr;
    if (function != nullptr) *function = number;
    return RAW_OK;
  });
}

extern "C" int32_t TERVALON_CALL RawReadFuncInfo(int32_t handle, int16_t function,
                                                 RawFunctionRecord* records, int16_t* flags) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (records == nullptr) return RAW_BAD_ARGUMENT;
    if (function < 0 || function > RAW_MAX_FUNCTIONS) return RAW_SLOT_OUT_OF_RANGE;
    MemberContent content;
    int32_t error = ReadMember(handle, kFunctionTable, kLargestTable, &content);
    if (error != RAW_OK) return error;
    if (content.absent) return RAW_MEMBER_NOT_OPENED;
    MemberParts table = SplitTable(content.bytes);
    const auto count = static_cast<int32_t>(table.size());
    const int32_t last = function == 0 ? count : function;
    if (last > count) return RAW_BAD_ARGUMENT;
    const int32_t first = function == 0 ? 1 : function;
    for (int32_t number = first; number <= last; ++number) {
      RawFunctionRecord& record = records[number - first];
      std::string& part = table[static_cast<size_t>(number - 1)];
      std::memcpy(record.bytes, part.data(), kRecordSize);
      const int32_t count_error = SetCompleteScans(handle, number, &record);
      if (error == RAW_OK) error = count_error;
      std::memcpy(part.data(), record.bytes, kRecordSize);
    }
    if (function != 0) return error;
    if (flags != nullptr) std::fill_n(flags, last, int16_t{0});
    RememberParts(handle, kFunctionTable, content, std::move(table));
    return error;
  });
}

extern "C" int32_t TERVALON_CALL RawReadFuncInit(int32_t handle, int16_t function, int16_t process,
                                                 const RawFunctionRecord* record,
                                                 const RawCalibration* calibration) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    ScanBuffer* present = nullptr;
    const int32_t error = GetScanBuffer(handle, function, process, &present);
    if (error == RAW_OK) return RAW_SCAN_BUFFER_EXISTS;
    if (error != RAW_SCAN_BUFFER_ABSENT) return error;
    if (record == nullptr || FindDataType(DataTypeCode(*record)) == nullptr) {
      return RAW_BAD_ARGUMENT;
    }
    return OpenReader(handle, function, process, *record, calibration);
  });
}

extern "C" int32_t TERVALON_CALL RawReadFuncEnd(int32_t handle, int16_t function, int16_t process) {
  FunctionReader* reader = nullptr;
  int32_t error = GetScanBufferAs(handle, function, process, &reader);
  if (error != RAW_OK) return error;
  error = CloseScanFiles(handle, ScanFilesOf(function, process));
  FreeScanBuffer(handle, function, process);
  return error;
}

// Here and not with the other handle exports, because it ends what RawReadFuncInit began.
extern "C" int32_t TERVALON_CALL RawReadClose(int32_t handle) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  for (int16_t function = 0; function < RAW_MAX_FUNCTIONS; ++function) {
    RawReadFuncEnd(handle, function, 0);
  }
  ReleaseHandle(handle);
  return RAW_OK;
}

extern "C" int32_t TERVALON_CALL RawReadTimeScan(int32_t handle, int16_t function, int16_t process,
                                                 const RawFunctionRecord* record, float time,
                                                 int32_t* scan) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (record == nullptr || scan == nullptr) return RAW_BAD_ARGUMENT;
    *scan = 0;
    FunctionReader* reader = nullptr;
    int32_t error = GetScanBufferAs(handle, function, process, &reader);
    uint32_t scans = 0;
    if (error == RAW_OK) error = reader->CountScans(&scans);
    if (error != RAW_OK || scans == 0) return error;
    const float last_time = FloatAt(*record, kLastTime);
    if (last_time != 0 && time >= last_time) {
      *scan = static_cast<int32_t>(scans);
      return RAW_OK;
    }
    if (time < FloatAt(*record, kFirstTime)) {
      *scan = 1;
      return RAW_OK;
    }
    const auto time_of = [reader](uint32_t number, float* value) {
      IndexRecord index;
      const int32_t index_error = reader->ReadIndex(number, &index);
      *value = index.retention_time;
      return index_error;
    };
    return SearchTime(scans, time, time_of, scan);
  });
}
