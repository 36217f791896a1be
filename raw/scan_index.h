// The scan index of a function: one record per scan that locates the scan's data.

#ifndef RAW_SCAN_INDEX_H_
#define RAW_SCAN_INDEX_H_

#include <array>
#include <cstdint>
#include <vector>

#include "platform/file_system.h"
#include "raw/data_types.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::raw {

// One record of an ".IDX" file. Layout of the second word: bits 0..21 number of points, 22..25
// segment, 26 flag A, 27 set when flag C is stored, 28 flag C, 29 flag D, 30 flag B, 31 flag E.
struct IndexRecord {
  static constexpr uint32_t kSize = 22;
  // Places of what is read alone.
  static constexpr size_t kTotalIonCurrent = 8;
  static constexpr size_t kRetentionTime = 12;
  static constexpr size_t kBasePeak = 16;

  uint32_t offset = 0;
  uint32_t word = 0;
  float total_ion_current = 0;
  float retention_time = 0;
  std::array<uint8_t, BasePeak::kSize> base_peak = {};

  void DecodeFrom(const uint8_t* bytes);
  void EncodeTo(uint8_t* bytes) const;

  // Takes what a writer says of a scan of `points` points.
  void Describe(const RawScanDescription& description, uint32_t points);

  uint32_t points() const { return word & 0x3FFFFF; }
  uint32_t segment() const { return word >> 22 & 15; }
  bool flag_a() const { return (word >> 26 & 1) != 0; }
  bool flag_c() const { return (word >> 27 & 3) == 3; }
  bool flag_d() const { return (word >> 29 & 1) != 0; }
  bool flag_b() const { return (word >> 30 & 1) != 0; }
  bool flag_e() const { return (word >> 31 & 1) != 0; }
};

// Counts the scans whose data lie whole in the ".DAT" file: the number of the last such record.
// Record 1 is never dropped. RAW_OK, or RAW_SEEK_FAILED when a file cannot be read, with 0.
int32_t CountCompleteScans(platform::File& index, platform::File& data, const DataType& type,
                           uint32_t* count);

// Records that follow each other, as they are stored.
struct IndexRun {
  const uint8_t* bytes;
  size_t records;
};

// Reads index records through a cached run of them: long runs when the scans asked for follow each
// other, short ones when they do not. Who asks for many scans out of order gets runs that are kept.
// The file may grow meanwhile; with `replaceable`, records may be written over too.
class IndexReader {
 public:
  explicit IndexReader(platform::File* file, bool replaceable = false)
      : file_(file), replaceable_(replaceable) {}

  // Stores the record of `scan` (from 1). Returns RAW_OK, RAW_SCAN_ABSENT or RAW_SEEK_FAILED.
  int32_t Read(uint32_t scan, IndexRecord* record);

  // The same for the cached records from `scan` on, at least one. They stay until the next call.
  int32_t ReadRun(uint32_t scan, IndexRun* run);

  // Whether the record of `scan` is cached.
  bool Holds(uint32_t scan) const { return InRun(scan) || IsKept(scan); }

 private:
  static constexpr uint32_t kKeptRecords = 4096;  // of each run that is kept
  static constexpr uint32_t kKeptRuns = 64;       // a large file has more

  bool InRun(uint32_t scan) const { return scan >= first_ && scan - first_ < count_; }
  bool IsKept(uint32_t scan) const {
    const size_t place = (scan - 1) / kKeptRecords;
    return scan > 0 && place < kept_.size() &&
           (scan - 1) % kKeptRecords < kept_[place].size() / IndexRecord::kSize;
  }
  bool Keep(uint32_t scan);
  void UseKept(uint32_t scan);
  int32_t Load(uint32_t scan, size_t records);
  bool ReadRecords(uint32_t scan, size_t records, std::vector<uint8_t>* run) const;

  platform::File* file_;
  bool replaceable_;
  std::vector<uint8_t> run_;
  std::vector<std::vector<uint8_t>> kept_;
  uint32_t out_of_order_ = 0;         // loads since a run could not be kept
  const uint8_t* records_ = nullptr;  // the run in use: run_ or one of kept_
  uint32_t first_ = 1;                // scan of its first record
  uint32_t count_ = 0;
};

}  // namespace tervalon::raw

#endif  // RAW_SCAN_INDEX_H_
