#include "raw/scan_writer.h"

#include <algorithm>
#include <utility>

#include "platform/file_change.h"
#include "raw/lane_sum.h"
#include "raw/point_kernels.h"
#include "tervalon/raw_functions.h"

namespace tervalon::raw {
namespace {

using platform::File;
using platform::LockMode;

int32_t WriteAll(File* file, uint64_t offset, const uint8_t* bytes, size_t count) {
  size_t written = 0;
  if (count > 0 && !file->WriteAt(offset, bytes, count, &written)) return RAW_SEEK_FAILED;
  return written == count ? RAW_OK : RAW_SHORT_WRITE;
}

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

// Packs a scan, and sums its intensities up as they are stored.
class ScanPacker {
 public:
  explicit ScanPacker(const NewScan& scan) : scan_(scan), type_(*FindDataType(scan.type_code)) {}

  // The points from `first` on.
  void Pack(uint32_t first, uint32_t count, uint8_t* bytes) {
    const auto from = [first](const auto* array) {
      return array != nullptr ? array + first : nullptr;
    };
    const PointArrays points = {from(scan_.points.masses), from(scan_.points.intensities),
                                from(scan_.points.flags)};
    switch (scan_.type_code) {
      case RAW_DATA_STANDARD_CENTROID:
        return Add(Kernels().packing->pairs(points.masses, points.intensities, count, bytes), first,
                   bytes);
      case RAW_DATA_SIR:
      case RAW_DATA_CONTINUUM:
        return Add(Kernels().packing->words(points.intensities, count, bytes), first, bytes);
      default:
        type_.pack(points, count, bytes);
        Add(bytes, first, count);
    }
  }

  void StoreIn(IndexRecord* record) const {
    record->total_ion_current = static_cast<float>(total_.Total() + static_cast<double>(whole_));
    record->base_peak = base_peak_;
  }

 private:
  void Add(const PackedRun& run, uint32_t first, const uint8_t* bytes) {
    whole_ += run.total;
    NotePeak(static_cast<float>(run.highest), first, static_cast<uint32_t>(run.place), bytes);
  }

  void Add(const uint8_t* bytes, uint32_t first, uint32_t count) {
    constexpr uint32_t kPoints = 1024;  // whole units of all types
    float stored[kPoints];
    for (uint32_t done = 0; done < count; done += kPoints) {
      const uint32_t points = std::min(kPoints, count - done);
      const uint8_t* const at = bytes + size_t{done / type_.unit_points} * type_.unit_bytes;
      type_.decoder().intensities(at, type_.Units(points), stored);
      total_.Add(stored, points);
      const uint32_t highest = FindHighest(stored, points);
      NotePeak(stored[highest], first + done, highest, at);
    }
  }

  // The highest of points that are packed at `bytes`, the first of which is `first`.
  void NotePeak(float intensity, uint32_t first, uint32_t place, const uint8_t* bytes) {
    if (first > 0 && intensity <= highest_) return;
    highest_ = intensity;
    const uint8_t* const unit = bytes + size_t{place / type_.unit_points} * type_.unit_bytes;
    EncodeBasePeak(scan_.type_code, {unit, place % type_.unit_points, first + place},
                   base_peak_.data());
  }

  const NewScan& scan_;
  const DataType& type_;
  LaneSum total_;
  uint64_t whole_ = 0;  // total of types whose intensities are whole numbers
  float highest_ = 0;
  std::array<uint8_t, BasePeak::kSize> base_peak_ = {};
};

}  // namespace

int32_t ScanWriter::Open(int32_t handle, const ScanFiles& files, std::chrono::milliseconds wait,
                         std::unique_ptr<ScanWriter>* writer) {
  std::unique_ptr<File> data;
  std::unique_ptr<File> index;
  int32_t error = OpenForWriting(handle, files.data_code, files.number, true, &data);
  if (error != RAW_OK) return error;
  if (!data->Lock(LockMode::kExclusive, wait)) return RAW_LOCK_FAILED;
  error = OpenForWriting(handle, files.index_code, files.number, true, &index);
  if (error == RAW_OK) writer->reset(new ScanWriter(std::move(data), std::move(index)));
  return error;
}

// The index first: a record never outlives the data that it names. Data that cannot be cut are
// written over.
int32_t ScanWriter::Clear() {
  if (!index_->Resize(0)) return RAW_SEEK_FAILED;
  data_->Resize(0);
  return RAW_OK;
}

int32_t ScanWriter::Continue(const DataType& type) {
  const DataType& smallest = *FindDataType(RAW_DATA_CONTINUUM);
  uint64_t index_bytes = 0;
  uint32_t possible = 0;
  if (!index_->Size(&index_bytes) || !data_->Size(&block_start_)) return RAW_SEEK_FAILED;
  int32_t error = CountCompleteScans(*index_, *data_, type, &written_);
  if (error == RAW_OK) error = CountCompleteScans(*index_, *data_, smallest, &possible);
  IndexRecord last;
  if (error == RAW_OK && written_ > 0) error = IndexReader(index_.get()).Read(written_, &last);
  if (error != RAW_OK) return error;
  // Scans that would be whole in another data type are no leftovers, and the first scan, which
  // counts even where its data are cut off, would get points of those that follow.
  if (possible > written_ || last.offset + type.CompleteBytes(last.points()) > block_start_) {
    return RAW_BAD_ARGUMENT;
  }
  // Records that name data which are not there would name those that follow.
  const uint64_t whole = uint64_t{written_} * IndexRecord::kSize;
  return index_bytes == whole || index_->Resize(whole) ? RAW_OK : RAW_SEEK_FAILED;
}

int32_t ScanWriter::Append(const NewScan& scan) {
  // Refused here and not when the records are written, which would lose the scans waiting.
  if (uint64_t{scans() + 1} * IndexRecord::kSize > kLargestMember) return RAW_SHORT_WRITE;
  const uint64_t scan_start = block_start_ + used_;
  IndexRecord record;
  int32_t error = Pack(scan, &record);
  if (error != RAW_OK) return error;
  record.EncodeTo(records_.data() + size_t{waiting_} * IndexRecord::kSize);
  ++waiting_;
  if (waiting_ == kWaitingRecords) error = Flush();
  if (error == RAW_OK) return RAW_OK;
  --waiting_;
  ForgetDataFrom(scan_start);
  return error;
}

int32_t ScanWriter::Replace(uint32_t number, const NewScan& scan) {
  int32_t error = Flush();
  if (error != RAW_OK) return error;
  const uint64_t scan_start = block_start_;
  IndexRecord record;
  error = Pack(scan, &record);
  if (error == RAW_OK) error = FlushData();
  if (error == RAW_OK) error = WriteOver(number, record);
  if (error != RAW_OK) ForgetDataFrom(scan_start);
  return error;
}

// Under a lock that readers of sets respect, so that they see the old record or the new one.
int32_t ScanWriter::WriteOver(uint32_t number, const IndexRecord& record) {
  const uint64_t place = uint64_t{number - 1} * IndexRecord::kSize;
  std::array<uint8_t, IndexRecord::kSize> old;
  std::array<uint8_t, IndexRecord::kSize> bytes;
  record.EncodeTo(bytes.data());
  if (!index_->Lock(LockMode::kExclusive, platform::kLockWait)) return RAW_LOCK_FAILED;
  size_t read = 0;
  const bool readable = index_->ReadAt(place, old.data(), old.size(), &read) && read == old.size();
  int32_t error = RAW_SEEK_FAILED;
  if (readable) error = WriteAll(index_.get(), place, bytes.data(), bytes.size());
  if (readable && error != RAW_OK) WriteAll(index_.get(), place, old.data(), old.size());
  index_->Unlock();
  return error;
}

int32_t ScanWriter::Flush() {
  int32_t error = FlushData();
  if (error != RAW_OK || waiting_ == 0) return error;
  error = WriteAll(index_.get(), uint64_t{written_} * IndexRecord::kSize, records_.data(),
                   size_t{waiting_} * IndexRecord::kSize);
  if (error == RAW_OK) written_ += std::exchange(waiting_, 0);
  return error;
}

int32_t ScanWriter::FlushData() {
  const int32_t error = WriteAll(data_.get(), block_start_, block_.get(), used_);
  if (error == RAW_OK) block_start_ += std::exchange(used_, 0);
  return error;
}

int32_t ScanWriter::End() {
  int32_t error = Flush();
  // Only now is a scan as safe as it can be: not each by itself, which would take far too long.
  if (error == RAW_OK && !(data_->Sync() && index_->Sync())) error = RAW_SHORT_WRITE;
  const bool data_closed = data_->Close();
  const bool index_closed = index_->Close();
  if (error == RAW_OK && !(data_closed && index_closed)) error = RAW_MEMBER_NOT_CLOSED;
  return error;
}

// Drops what a failed scan left in the block, or behind the data in the file, where it is written
// over.
void ScanWriter::ForgetDataFrom(uint64_t offset) {
  used_ = offset >= block_start_ ? static_cast<size_t>(offset - block_start_) : 0;
  block_start_ = std::min(block_start_, offset);
}

// Packs a scan behind the data and fills its record.
int32_t ScanWriter::Pack(const NewScan& scan, IndexRecord* record) {
  const DataType& type = *FindDataType(scan.type_code);
  const uint64_t start = block_start_ + used_;
  if (start + uint64_t{type.Units(scan.count)} * type.unit_bytes > kLargestMember) {
    return RAW_SHORT_WRITE;
  }
  record->offset = static_cast<uint32_t>(start);
  record->Describe(scan.description, scan.count);
  const int32_t error = PackPoints(scan, record);
  if (error != RAW_OK) ForgetDataFrom(start);
  return error;
}

int32_t ScanWriter::PackPoints(const NewScan& scan, IndexRecord* record) {
  const DataType& type = *FindDataType(scan.type_code);
  ScanPacker packer(scan);
  for (uint32_t done = 0; done < scan.count;) {
    if (kBlockBytes - used_ < type.unit_bytes) {
      const int32_t error = FlushData();
      if (error != RAW_OK) return error;
    }
    const auto room = static_cast<uint32_t>(kBlockBytes - used_) / type.unit_bytes;
    const uint32_t packed = std::min(room * type.unit_points, scan.count - done);
    packer.Pack(done, packed, block_.get() + used_);
    used_ += size_t{type.Units(packed)} * type.unit_bytes;
    done += packed;
  }
  packer.StoreIn(record);
  return RAW_OK;
}

int32_t ForceToDisk(int32_t handle, const ScanFiles& files) {
  for (const int32_t code : {files.data_code, files.index_code}) {
    std::unique_ptr<File> file;
    bool absent = false;
    int32_t error = OpenForReading(handle, code, files.number, &file, &absent);
    if (absent) continue;  // nothing has been stored
    if (error == RAW_OK) error = OpenForWriting(handle, code, files.number, false, &file);
    if (error != RAW_OK) return error;
    if (!file->Sync()) return RAW_SHORT_WRITE;
  }
  return RAW_OK;
}

}  // namespace tervalon::raw
