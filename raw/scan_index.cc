#include "raw/scan_index.h"

#include <algorithm>
#include <utility>

#include "platform/file_change.h"
#include "platform/little_endian.h"
#include "tervalon/raw_directory.h"

namespace tervalon::raw {
namespace {

constexpr size_t kLongRun = 65536 / IndexRecord::kSize;
constexpr size_t kShortRun = 64;

}  // namespace

void IndexRecord::DecodeFrom(const uint8_t* bytes) {
  offset = Load<uint32_t>(bytes);
  word = Load<uint32_t>(bytes + 4);
  total_ion_current = Load<float>(bytes + kTotalIonCurrent);
  retention_time = Load<float>(bytes + kRetentionTime);
  std::copy_n(bytes + kBasePeak, base_peak.size(), base_peak.begin());
}

void IndexRecord::EncodeTo(uint8_t* bytes) const {
  Store(bytes, offset);
  Store(bytes + 4, word);
  Store(bytes + kTotalIonCurrent, total_ion_current);
  Store(bytes + kRetentionTime, retention_time);
  std::copy(base_peak.begin(), base_peak.end(), bytes + kBasePeak);
}

void IndexRecord::Describe(const RawScanDescription& description, uint32_t points) {
  word = points | (description.segment & 15) << 22 | (description.flag_a & 1) << 26 | 1u << 27 |
         (description.flag_c & 1) << 28 | (description.flag_d & 1) << 29 |
         (description.flag_b & 1) << 30;
  retention_time = description.retention_time;
}

int32_t CountCompleteScans(platform::File& index, platform::File& data, const DataType& type,
                           uint32_t* count) {
  *count = 0;
  // A writer appends data before the records that name them, so the index's size is taken first.
  uint64_t index_bytes = 0;
  uint64_t data_bytes = 0;
  if (!index.Size(&index_bytes) || !data.Size(&data_bytes)) return RAW_SEEK_FAILED;
  const uint64_t records = std::min<uint64_t>(index_bytes / IndexRecord::kSize, INT32_MAX);
  std::vector<uint8_t> run(kShortRun * IndexRecord::kSize);
  for (uint64_t end = records; end > 1;) {
    const uint64_t begin = end - std::min<uint64_t>(end, run.size() / IndexRecord::kSize);
    size_t read = 0;
    const auto wanted = static_cast<size_t>(end - begin) * IndexRecord::kSize;
    if (!index.ReadAt(begin * IndexRecord::kSize, run.data(), wanted, &read) || read < wanted) {
      return RAW_SEEK_FAILED;
    }
    for (; end > begin && end > 1; --end) {
      IndexRecord record;
      record.DecodeFrom(run.data() + (end - begin - 1) * IndexRecord::kSize);
      if (record.offset + type.CompleteBytes(record.points()) <= data_bytes) {
        *count = static_cast<uint32_t>(end);
        return RAW_OK;
      }
    }
    run.resize(kLongRun * IndexRecord::kSize);
  }
  *count = static_cast<uint32_t>(std::min<uint64_t>(records, 1));
  return RAW_OK;
}

int32_t IndexReader::Read(uint32_t scan, IndexRecord* record) {
  IndexRun run;
  const int32_t error = ReadRun(scan, &run);
  if (error == RAW_OK) record->DecodeFrom(run.bytes);
  return error;
}

int32_t IndexReader::ReadRun(uint32_t scan, IndexRun* run) {
  if (scan < 1) return RAW_SCAN_ABSENT;
  if (!InRun(scan)) {
    const bool follows = scan == first_ + count_;
    if (IsKept(scan) || (!follows && Keep(scan))) {
      UseKept(scan);
    } else {
      const int32_t error = Load(scan, follows ? kLongRun : kShortRun);
      if (error != RAW_OK) return error;
    }
  }
  const size_t skipped = scan - first_;
  *run = {records_ + skipped * IndexRecord::kSize, count_ - skipped};
  return RAW_OK;
}

// Loads the run of a scan to be kept, once some have been asked for out of order. The last records
// of a file are not kept: those of a writer that failed may be replaced.
bool IndexReader::Keep(uint32_t scan) {
  constexpr uint32_t kFew = 32;
  constexpr uint32_t kLastRecords = 64;  // more than are written at once
  constexpr uint32_t kLastBytes = kLastRecords * IndexRecord::kSize;
  const uint32_t place = (scan - 1) / kKeptRecords;
  if (replaceable_ || place >= kKeptRuns || ++out_of_order_ <= kFew) return false;
  std::vector<uint8_t> run;
  const bool read = ReadRecords(place * kKeptRecords + 1, kKeptRecords + kLastRecords, &run);
  run.resize(read && run.size() > kLastBytes ? run.size() - kLastBytes : 0);
  if (kept_.size() <= place) kept_.resize(place + 1);
  kept_[place] = std::move(run);
  if (IsKept(scan)) return true;
  out_of_order_ = 0;
  return false;
}

void IndexReader::UseKept(uint32_t scan) {
  const uint32_t place = (scan - 1) / kKeptRecords;
  records_ = kept_[place].data();
  first_ = place * kKeptRecords + 1;
  count_ = static_cast<uint32_t>(kept_[place].size() / IndexRecord::kSize);
}

int32_t IndexReader::Load(uint32_t scan, size_t records) {
  count_ = 0;
  first_ = scan;
  // Without the lock, should a writer keep it for long, a record that it replaces might be read in
  // the middle of that; better than not at all.
  const bool locked = replaceable_ && file_->Lock(platform::LockMode::kShared, platform::kLockWait);
  const bool done = ReadRecords(scan, records, &run_);
  if (locked) file_->Unlock();
  if (!done) return RAW_SEEK_FAILED;
  records_ = run_.data();
  count_ = static_cast<uint32_t>(run_.size() / IndexRecord::kSize);
  return count_ > 0 ? RAW_OK : RAW_SCAN_ABSENT;
}

bool IndexReader::ReadRecords(uint32_t scan, size_t records, std::vector<uint8_t>* run) const {
  run->resize(records * IndexRecord::kSize);
  size_t read = 0;
  if (!file_->ReadAt(uint64_t{scan - 1} * IndexRecord::kSize, run->data(), run->size(), &read)) {
    return false;
  }
  run->resize(read);
  return true;
}

}  // namespace tervalon::raw
