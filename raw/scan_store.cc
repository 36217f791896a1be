#include "raw/scan_store.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "raw/lane_sum.h"
#include "raw/scan_index.h"

namespace tervalon::raw {
namespace {

using Bytes = std::vector<uint8_t>;

// Reads the first `count` records of the index.
int32_t ReadRecords(int32_t handle, const ScanFiles& files, uint32_t count, Bytes* records) {
  if (count == 0) return RAW_OK;
  std::unique_ptr<platform::File> index;
  const int32_t error = OpenForReading(handle, files.index_code, files.number, &index);
  if (error != RAW_OK) return error;
  records->resize(size_t{count} * IndexRecord::kSize);
  size_t read = 0;
  const bool placed = index->ReadAt(0, records->data(), records->size(), &read);
  return placed && read == records->size() ? RAW_OK : RAW_SEEK_FAILED;
}

Bytes Pack(const DataType& type, const NewScan& scan) {
  Bytes bytes(size_t{type.Units(scan.count)} * type.unit_bytes);
  if (scan.count > 0) type.pack(scan.points, scan.count, bytes.data());
  return bytes;
}

// Sums up the points as they are stored.
void Summarise(const DataType& type, const NewScan& scan, const Bytes& bytes, IndexRecord* record) {
  if (scan.count == 0) return;
  std::vector<float> stored(size_t{type.Units(scan.count)} * type.unit_points);
  type.decode_intensities(bytes.data(), type.Units(scan.count), stored.data());
  LaneSum total;
  total.Add(stored.data(), scan.count);
  record->total_ion_current = static_cast<float>(total.Total());
  const auto highest = static_cast<uint32_t>(
      std::max_element(stored.begin(), stored.begin() + static_cast<ptrdiff_t>(scan.count)) -
      stored.begin());
  const uint32_t unit = highest / type.unit_points;
  EncodeBasePeak(
      scan.type_code,
      {bytes.data() + size_t{unit} * type.unit_bytes, highest % type.unit_points, highest},
      record->base_peak.data());
}

// Appends to the ".DAT" file, which is made if it is missing, and stores where the bytes begin.
int32_t AppendData(int32_t handle, const ScanFiles& files, Bytes* bytes, uint32_t* offset) {
  const int32_t code = files.data_code;
  int32_t error = RawFileOpen(handle, code, files.number, kReadWriteMember);
  if (error == RAW_MEMBER_NOT_OPENED) {
    error = RawFileOpen(handle, code, files.number, kCreateMember);
  }
  if (error != RAW_OK) return error;
  error = RawFileSize(handle, code, files.number, offset);
  if (error == RAW_OK) error = RawFileSeek(handle, MemberSlot(code, files.number), *offset);
  if (error == RAW_OK) {
    error = RawFileWrite(handle, code, files.number, bytes->data(),
                         static_cast<uint32_t>(bytes->size()), nullptr);
  }
  const int32_t close_error = RawFileClose(handle, code, files.number);
  return error != RAW_OK ? error : close_error;
}

}  // namespace

int32_t StoreScan(int32_t handle, const ScanFiles& files, uint32_t number, const NewScan& scan) {
  const DataType* type = FindDataType(scan.type_code);
  if (type == nullptr || scan.count > RAW_MAX_POINTS) return RAW_BAD_ARGUMENT;
  const uint32_t scans = CountScans(handle, files, *type);
  if (number < 1 || number > scans + 1) return RAW_SCAN_ABSENT;
  Bytes records;
  int32_t error = ReadRecords(handle, files, scans, &records);
  if (error != RAW_OK) return error;

  IndexRecord record;
  record.Describe(scan.description, scan.count);
  Bytes bytes = Pack(*type, scan);
  Summarise(*type, scan, bytes, &record);
  error = AppendData(handle, files, &bytes, &record.offset);
  if (error != RAW_OK) return error;
  if (number > scans) records.resize(records.size() + IndexRecord::kSize);
  record.EncodeTo(records.data() + size_t{number - 1} * IndexRecord::kSize);
  return ReplaceMember(handle, files.index_code, files.number, records.data(),
                       static_cast<uint32_t>(records.size()));
}

uint32_t CountScans(int32_t handle, const ScanFiles& files, const DataType& type) {
  std::unique_ptr<platform::File> index;
  std::unique_ptr<platform::File> data;
  if (OpenForReading(handle, files.index_code, files.number, &index) != RAW_OK ||
      OpenForReading(handle, files.data_code, files.number, &data) != RAW_OK) {
    return 0;
  }
  return CountCompleteScans(*index, *data, type);
}

}  // namespace tervalon::raw
