// Writes the scans of a function or of a processed data set, for acquisition and processing alike.

#ifndef RAW_SCAN_WRITER_H_
#define RAW_SCAN_WRITER_H_

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>

#include "raw/data_types.h"
#include "raw/member_files.h"
#include "raw/scan_files.h"
#include "raw/scan_index.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::raw {

// A scan as it is stored: `count` points (at most RAW_MAX_POINTS), packed as `type_code`.
struct NewScan {
  int32_t type_code;
  RawScanDescription description;
  PointArrays points;
  uint32_t count;
};

// Gathers packed points and index records and adds them to the files, data before the records that
// name them. What fails leaves the scans as they were before. All functions return RAW_OK,
// RAW_SHORT_WRITE (the disk is full, or a file would pass 4 GiB) or RAW_SEEK_FAILED.
class ScanWriter final : public ScanBuffer {
 public:
  // Opens both files past the member slots, makes those that are absent, and takes the right to
  // write them, which all programs respect until the writer is gone. Clear or Continue comes next.
  // RAW_LOCK_FAILED when another writer has it for longer than `wait`; a member-file error.
  static int32_t Open(int32_t handle, const ScanFiles& files, std::chrono::milliseconds wait,
                      std::unique_ptr<ScanWriter>* writer);

  // Starts without scans.
  int32_t Clear();

  // Goes on behind the complete scans that are there, whatever a writer that died left behind them.
  // RAW_BAD_ARGUMENT, with nothing changed, when the scans are not packed as `type`, or the data of
  // the first are cut off.
  int32_t Continue(const DataType& type);

  // Whether the files hold nothing; false also where that cannot be told.
  bool IsEmpty() const {
    uint64_t size = 0;
    return data_->Size(&size) && size == 0 && index_->Size(&size) && size == 0;
  }

  // The scans stored, those waiting included.
  uint32_t scans() const { return written_ + waiting_; }

  int32_t Append(const NewScan& scan);

  // Puts `scan` in the place of scan `number` (1..scans()). Its points go behind all others: those
  // of the present one stay for who is reading them.
  int32_t Replace(uint32_t number, const NewScan& scan);

  // Writes what is waiting.
  int32_t Flush();

  // Flush, forces the scans to the disk, and closes the files, also when something fails: the first
  // error then, or RAW_MEMBER_NOT_CLOSED.
  int32_t End() override;

 private:
  static constexpr uint32_t kWaitingRecords = 50;
  static constexpr size_t kBlockBytes = 256 * 1024;  // fewer take longer to write

  ScanWriter(std::unique_ptr<platform::File> data, std::unique_ptr<platform::File> index)
      : data_(std::move(data)), index_(std::move(index)), block_(new uint8_t[kBlockBytes]) {}

  int32_t Pack(const NewScan& scan, IndexRecord* record);
  int32_t PackPoints(const NewScan& scan, IndexRecord* record);
  int32_t FlushData();
  void ForgetDataFrom(uint64_t offset);
  int32_t WriteOver(uint32_t number, const IndexRecord& record);

  std::unique_ptr<platform::File> data_;  // its lock is the right to write both
  std::unique_ptr<platform::File> index_;
  uint64_t block_start_ = 0;  // where the block goes in the ".DAT" file
  size_t used_ = 0;
  uint32_t written_ = 0;  // index records
  uint32_t waiting_ = 0;
  std::unique_ptr<uint8_t[]> block_;  // of packed points
  std::array<uint8_t, size_t{kWaitingRecords}* IndexRecord::kSize> records_ = {};
};

// Forces what is stored of a data set to the disk. RAW_OK, RAW_SHORT_WRITE or a member-file error.
int32_t ForceToDisk(int32_t handle, const ScanFiles& files);

}  // namespace tervalon::raw

#endif  // RAW_SCAN_WRITER_H_
