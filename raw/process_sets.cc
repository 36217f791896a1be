// How a processed data set is read: its function from the history, its data type from its files.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <tuple>
#include <vector>

#include "appsvc/export_guard.h"
#include "raw/function_record.h"
#include "raw/lane_sum.h"
#include "raw/scan_files.h"
#include "raw/scan_index.h"
#include "tervalon/raw_history.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

using platform::File;

constexpr int32_t kDataTypeCodes = 13;
constexpr size_t kRecordsLookedAt = 64;
constexpr size_t kScansDecoded = 4;

// A data set's first index records with points, and what its files hold.
struct Sample {
  std::unique_ptr<File> index;
  std::unique_ptr<File> data;
  uint64_t data_bytes = 0;
  std::vector<IndexRecord> scans;
  std::vector<IndexRecord> telling;  // the first that have intensities, or else the first of all
};

bool HasIntensities(const IndexRecord& record) { return record.total_ion_current != 0; }

int32_t TakeSample(int32_t handle, int16_t process, Sample* sample) {
  const ScanFiles files = ScanFilesOf(0, process);
  int32_t error = OpenForReading(handle, files.index_code, files.number, &sample->index);
  if (error == RAW_OK) {
    error = OpenForReading(handle, files.data_code, files.number, &sample->data);
  }
  if (error != RAW_OK) return error;
  std::vector<uint8_t> records(kRecordsLookedAt * IndexRecord::kSize);
  if (!sample->data->Size(&sample->data_bytes)) return RAW_SEEK_FAILED;
  // In front of its peaks a chromatogram may have nothing for long.
  size_t read = records.size();
  for (uint64_t offset = 0; read == records.size() && sample->telling.size() < kScansDecoded;
       offset += read) {
    if (!sample->index->ReadAt(offset, records.data(), records.size(), &read)) {
      return RAW_SEEK_FAILED;
    }
    for (size_t at = 0; at + IndexRecord::kSize <= read; at += IndexRecord::kSize) {
      IndexRecord record;
      record.DecodeFrom(records.data() + at);
      if (record.points() == 0) continue;
      if (offset == 0) sample->scans.push_back(record);
      if (HasIntensities(record)) sample->telling.push_back(record);
    }
  }
  if (sample->telling.empty()) sample->telling = sample->scans;
  return RAW_OK;
}

// Whether no scan reaches into the one that is stored behind it.
bool FitsOffsets(const DataType& type, const Sample& sample) {
  std::vector<IndexRecord> scans = sample.scans;
  const auto by_offset = [](const IndexRecord& a, const IndexRecord& b) {
    return a.offset < b.offset;
  };
  std::sort(scans.begin(), scans.end(), by_offset);
  const auto overlap = [&type](const IndexRecord& a, const IndexRecord& b) {
    return a.offset + type.CompleteBytes(a.points()) > b.offset;
  };
  return std::adjacent_find(scans.begin(), scans.end(), overlap) == scans.end();
}

// How well a data type agrees with the sample, in the order of what tells most.
struct Agreement {
  bool totals = true;     // the intensities make up the total ion currents
  bool in_range = true;   // the masses lie around the function's range
  bool ascending = true;  // the masses grow
  bool own = false;       // it is the function's type

  auto Values() const { return std::tie(totals, in_range, ascending, own); }
  bool operator>(const Agreement& other) const { return Values() > other.Values(); }
};

// Returns RAW_OK or RAW_SEEK_FAILED.
int32_t CompareScan(const DataType& type, const Sample& sample, const IndexRecord& scan,
                    const MassRange& range, Agreement* agreement) {
  const uint32_t units = type.Units(scan.points());
  const uint32_t points = scan.points();
  std::vector<uint8_t> bytes(size_t{units} * type.unit_bytes);
  size_t read = 0;
  if (!sample.data->ReadAt(scan.offset, bytes.data(), bytes.size(), &read)) return RAW_SEEK_FAILED;
  std::vector<float> values(size_t{units} * type.unit_points);
  type.decoder().intensities(bytes.data(), units, values.data());
  LaneSum total;
  total.Add(values.data(), points);
  for (float& value : values) value = std::fabs(value);
  LaneSum magnitude;
  magnitude.Add(values.data(), points);
  // Other writers' sums may have been rounded on the way.
  const double difference = std::fabs(total.Total() - static_cast<double>(scan.total_ion_current));
  if (!(difference <= 1e-3 * magnitude.Total())) agreement->totals = false;
  if (!type.stores_masses()) return RAW_OK;
  type.decoder().masses(bytes.data(), units, values.data());
  values.resize(points);
  const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
  if (!(*lowest >= range.low / 2 && *highest <= range.high * 2)) agreement->in_range = false;
  if (!std::is_sorted(values.begin(), values.end())) agreement->ascending = false;
  return RAW_OK;
}

// Stores the data type in which the sample agrees best with its index, -1 when none does.
int32_t FindDataTypeOf(const Sample& sample, const RawFunctionRecord& record, int32_t* found) {
  const int32_t own = DataTypeCode(record);
  Agreement best;
  *found = -1;
  for (int32_t code = 0; code < kDataTypeCodes; ++code) {
    const DataType* type = FindDataType(code);
    const bool channels = code == RAW_DATA_SIR || code == RAW_DATA_ENHANCED_SIR;
    const bool possible = code == own || type == nullptr || type->stores_masses() ||
                          channels == IsChannelFunction(record);
    if (type == nullptr || !possible || !FitsOffsets(*type, sample)) continue;
    Agreement agreement;
    agreement.own = code == own;
    size_t decoded = 0;
    for (const IndexRecord& scan : sample.telling) {
      // What is cut off, or would be, tells nothing.
      if (scan.offset + type->CompleteBytes(scan.points()) > sample.data_bytes) continue;
      const int32_t error = CompareScan(*type, sample, scan, ReaderRange(record), &agreement);
      if (error != RAW_OK) return error;
      if (++decoded == kScansDecoded) break;
    }
    if (decoded == 0) agreement.totals = agreement.own && sample.scans.empty();
    if (agreement.totals && (*found < 0 || agreement > best)) {
      best = agreement;
      *found = code;
    }
  }
  return RAW_OK;
}

// The function in whose tree the history has the set, where several have it the last one to; with
// no such entry the only function of the directory. 0 when nothing tells.
int32_t FindFunctionOf(int32_t handle, int16_t process, int16_t* function) {
  *function = 0;
  RawHistoryHeader header = {};
  std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
  const int32_t history_error = RawReadProcInfo(handle, &header, entries.data());
  if (history_error == RAW_OK) {
    char name[16];
    (void)std::snprintf(name, sizeof(name), "_PROC%03d", process);
    uint32_t created = 0;
    for (int16_t tree = 1; tree <= RAW_MAX_FUNCTIONS; ++tree) {
      const auto entry =
          static_cast<uint32_t>(RawHistSearchTag(&header, entries.data(), tree, name));
      if (entry == 0 || (*function != 0 && entries[entry >> 16].process.created < created))
        continue;
      *function = tree;
      created = entries[entry >> 16].process.created;
    }
  }
  if (*function != 0) return RAW_OK;
  if (history_error != RAW_OK && history_error != RAW_MEMBER_NOT_OPEN) return history_error;
  std::unique_ptr<File> table;
  uint64_t bytes = 0;
  const int32_t error = OpenForReading(handle, kFunctionTable, 0, &table);
  if (error != RAW_OK) return error;
  if (!table->Size(&bytes)) return RAW_SEEK_FAILED;
  if (bytes / RAW_FUNCTION_RECORD_SIZE == 1) *function = 1;
  return RAW_OK;
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawReadProcFunction(int32_t handle, int16_t process,
                                                     int16_t* function, RawFunctionRecord* record) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (function == nullptr || record == nullptr) return RAW_BAD_ARGUMENT;
    int32_t error = CheckHandle(handle);
    if (error != RAW_OK) return error;
    if (process < 1 || process > RAW_MAX_PROCESSES) return RAW_SLOT_OUT_OF_RANGE;
    Sample sample;
    error = TakeSample(handle, process, &sample);
    int16_t source = *function;
    if (error == RAW_OK && source == 0) error = FindFunctionOf(handle, process, &source);
    if (error == RAW_OK && source == 0) error = RAW_BAD_ARGUMENT;
    RawFunctionRecord made;
    if (error == RAW_OK) error = RawReadFuncInfo(handle, source, &made, nullptr);
    int32_t code = 0;
    if (error == RAW_OK) error = FindDataTypeOf(sample, made, &code);
    if (error != RAW_OK) return error;
    if (code < 0) return RAW_BAD_ARGUMENT;
    SetDataType(&made, code);
    uint32_t scans = 0;
    error = CountCompleteScans(*sample.index, *sample.data, *FindDataType(code), &scans);
    if (error != RAW_OK) return error;
    SetScanCount(&made, scans);
    *function = source;
    *record = made;
    return RAW_OK;
  });
}
