// Writing spectra, scan by scan.

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "appsvc/export_guard.h"
#include "raw/data_types.h"
#include "raw/lane_sum.h"
#include "raw/member_files.h"
#include "raw/scan_files.h"
#include "raw/scan_index.h"
#include "tervalon/raw_spectra.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

constexpr uint32_t kWaitingRecords = 50;

// The points of one scan, as the caller gave them.
struct ScanPoints {
  int32_t type_code;
  PointArrays arrays;
  uint32_t count;
};

// Total and largest of the intensities as they are stored.
struct ScanSummary {
  LaneSum total;
  float highest = 0;
  std::array<uint8_t, BasePeak::kSize> base_peak = {};
};

// The place of the first of the highest values, of at least one.
uint32_t FindHighest(const float* values, uint32_t count) {
  constexpr uint32_t kLanes = 8;  // independent maxima, for vector code
  float lanes[kLanes];
  std::fill_n(lanes, kLanes, values[0]);
  uint32_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    for (uint32_t k = 0; k < kLanes; ++k) {
      lanes[k] = values[i + k] > lanes[k] ? values[i + k] : lanes[k];
    }
  }
  float highest = *std::max_element(lanes, lanes + kLanes);
  for (; i < count; ++i) highest = std::max(highest, values[i]);
  return static_cast<uint32_t>(std::find(values, values + count, highest) - values);
}

// Gathers packed points and index records and appends them to the files, data before the records
// that name them. A scan that fails leaves the writer as it was before.
class FunctionWriter : public ScanBuffer {
 public:
  FunctionWriter(int32_t handle, const ScanFiles& files) : handle_(handle), files_(files) {}

  int32_t Append(const RawScanDescription& description, const ScanPoints& points) {
    const uint64_t scan_start = block_start_ + used_;
    const DataType& type = *FindDataType(points.type_code);
    // Refused here and not when the block is written, which would lose the scans waiting in it.
    if (scan_start + uint64_t{type.Units(points.count)} * type.unit_bytes > kLargestMember) {
      return RAW_SHORT_WRITE;
    }
    ScanSummary summary;
    int32_t error = PackPoints(points, &summary);
    if (error == RAW_OK) {
      Describe(description, points.count, scan_start, summary);
      ++waiting_;
      if (waiting_ == kWaitingRecords) error = Flush();
      if (error != RAW_OK) --waiting_;
    }
    if (error != RAW_OK) ForgetDataFrom(scan_start);
    return error;
  }

  int32_t Flush() override {
    const int32_t error = FlushData();
    if (error != RAW_OK || waiting_ == 0) return error;
    const int32_t index_error =
        RawFileWrite(handle_, files_.index_code, files_.number, records_.data(),
                     waiting_ * IndexRecord::kSize, nullptr);
    if (index_error == RAW_OK) waiting_ = 0;
    return index_error;
  }

 private:
  int32_t FlushData() {
    const int32_t error = RawFileWrite(handle_, files_.data_code, files_.number, block_.data(),
                                       static_cast<uint32_t>(used_), nullptr);
    if (error == RAW_OK) {
      block_start_ += used_;
      used_ = 0;
    }
    return error;
  }

  // Drops what a failed scan left in the block, or behind the data in the file, where it is written
  // over.
  void ForgetDataFrom(uint64_t offset) {
    if (offset >= block_start_) {
      used_ = static_cast<size_t>(offset - block_start_);
      return;
    }
    block_start_ = offset;
    used_ = 0;
    RawFileSeek(handle_, MemberSlot(files_.data_code, files_.number),
                static_cast<uint32_t>(offset));
  }

  int32_t PackPoints(const ScanPoints& points, ScanSummary* summary) {
    const DataType& type = *FindDataType(points.type_code);
    for (uint32_t done = 0; done < points.count;) {
      if (block_.size() - used_ < type.unit_bytes) {
        const int32_t error = FlushData();
        if (error != RAW_OK) return error;
      }
      const auto room = static_cast<uint32_t>(block_.size() - used_) / type.unit_bytes;
      const uint32_t packed = std::min(room * type.unit_points, points.count - done);
      uint8_t* bytes = block_.data() + used_;
      type.pack({points.arrays.masses != nullptr ? points.arrays.masses + done : nullptr,
                 points.arrays.intensities + done,
                 points.arrays.flags != nullptr ? points.arrays.flags + done : nullptr},
                packed, bytes);
      Summarise(points.type_code, bytes, done, packed, summary);
      used_ += size_t{type.Units(packed)} * type.unit_bytes;
      done += packed;
    }
    return RAW_OK;
  }

  static void Summarise(int32_t type_code, const uint8_t* bytes, uint32_t first, uint32_t count,
                        ScanSummary* summary) {
    const DataType& type = *FindDataType(type_code);
    std::array<float, kSpectrumBufferBytes / 2> stored;  // no type packs a point in less
    type.decode_intensities(bytes, type.Units(count), stored.data());
    summary->total.Add(stored.data(), count);
    const uint32_t highest = FindHighest(stored.data(), count);
    if (first > 0 && stored[highest] <= summary->highest) return;
    summary->highest = stored[highest];
    const uint32_t unit = highest / type.unit_points;
    EncodeBasePeak(
        type_code,
        {bytes + size_t{unit} * type.unit_bytes, highest % type.unit_points, first + highest},
        summary->base_peak.data());
  }

  void Describe(const RawScanDescription& description, uint32_t points, uint64_t offset,
                const ScanSummary& summary) {
    IndexRecord record;
    record.offset = static_cast<uint32_t>(offset);
    record.Describe(description, points);
    record.total_ion_current = static_cast<float>(summary.total.Total());
    record.base_peak = summary.base_peak;
    record.EncodeTo(records_.data() + size_t{waiting_} * IndexRecord::kSize);
  }

  int32_t handle_;
  ScanFiles files_;
  uint64_t block_start_ = 0;  // where the block goes in the ".DAT" file
  size_t used_ = 0;
  uint32_t waiting_ = 0;
  std::array<uint8_t, kSpectrumBufferBytes> block_ = {};
  std::array<uint8_t, size_t{kWaitingRecords}* IndexRecord::kSize> records_ = {};
};

// Creates both files, the index first: an index never outlives the data that it names.
int32_t CreateScanFiles(int32_t handle, const ScanFiles& files) {
  const int32_t error = RawFileOpen(handle, files.index_code, files.number, kCreateMember);
  if (error != RAW_OK) return error;
  const int32_t data_error = RawFileOpen(handle, files.data_code, files.number, kCreateMember);
  if (data_error != RAW_OK) RawFileClose(handle, files.index_code, files.number);
  return data_error;
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawCreateScanFile(int32_t handle, int16_t function,
                                                   int16_t process, int32_t /*flags*/) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    ScanBuffer* present = nullptr;
    int32_t error = GetScanBuffer(handle, function, process, &present);
    if (error == RAW_OK) return RAW_SCAN_BUFFER_EXISTS;
    if (error != RAW_SCAN_BUFFER_ABSENT) return error;
    const ScanFiles files = ScanFilesOf(function, process);
    std::unique_ptr<ScanBuffer> writer(new (std::nothrow) FunctionWriter(handle, files));
    if (writer == nullptr) return RAW_NO_MEMORY_FOR_SCAN_BUFFER;
    error = CreateScanFiles(handle, files);
    return error == RAW_OK ? PutScanBuffer(handle, function, process, std::move(writer)) : error;
  });
}

extern "C" int32_t TERVALON_CALL RawCreateScansEx(int32_t handle, int16_t function, int16_t process,
                                                  int16_t selector,
                                                  const RawScanDescription* description,
                                                  const float* masses, const float* intensities,
                                                  const uint8_t* flags, int32_t count) {
  FunctionWriter* writer = nullptr;
  const int32_t error = GetScanBufferAs(handle, function, process, &writer);
  if (error != RAW_OK) return error;
  const DataType* type = FindDataType(selector);
  if (type == nullptr || description == nullptr || count < 0 || count > RAW_MAX_POINTS ||
      (count > 0 && intensities == nullptr) ||
      (count > 0 && masses == nullptr && type->stores_masses())) {
    return RAW_BAD_ARGUMENT;
  }
  return writer->Append(*description,
                        {selector, {masses, intensities, flags}, static_cast<uint32_t>(count)});
}

extern "C" int32_t TERVALON_CALL RawCreateScans(int32_t handle, int16_t function, int16_t process,
                                                int16_t selector, uint32_t flag_d, uint32_t flag_b,
                                                uint32_t flag_c, float time, const float* masses,
                                                const float* intensities, const uint8_t* flags,
                                                int32_t count) {
  const RawScanDescription description = {flag_d, flag_b, flag_c, time, 0, 0};
  return RawCreateScansEx(handle, function, process, selector, &description, masses, intensities,
                          flags, count);
}

extern "C" int32_t TERVALON_CALL RawCreateScansFlush(int32_t handle, int16_t function,
                                                     int16_t process) {
  FunctionWriter* writer = nullptr;
  const int32_t error = GetScanBufferAs(handle, function, process, &writer);
  return error == RAW_OK ? writer->Flush() : error;
}

extern "C" int32_t TERVALON_CALL RawCreateScansEnd(int32_t handle, int16_t function,
                                                   int16_t process) {
  FunctionWriter* writer = nullptr;
  const int32_t error = GetScanBufferAs(handle, function, process, &writer);
  if (error != RAW_OK) return error;
  const int32_t flush_error = writer->Flush();
  const int32_t close_error = CloseScanFiles(handle, ScanFilesOf(function, process));
  FreeScanBuffer(handle, function, process);
  return flush_error != RAW_OK ? flush_error : close_error;
}
