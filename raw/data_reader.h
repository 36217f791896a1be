// Reads a ".DAT" file in blocks: read-ahead while requests follow each other, exactly what is asked
// for when they do not.

#ifndef RAW_DATA_READER_H_
#define RAW_DATA_READER_H_

#include <cstdint>
#include <vector>

#include "platform/file_system.h"

namespace tervalon::raw {

class DataReader {
 public:
  explicit DataReader(platform::File* file) : file_(file) {}

  // Finds bytes at `offset`: *available of them at *bytes, at most `wanted`, fewer than `least`
  // only at the file's end. Valid until the next call. Returns RAW_OK or RAW_SEEK_FAILED.
  int32_t Fetch(uint64_t offset, uint64_t wanted, uint32_t least, const uint8_t** bytes,
                uint64_t* available);

  // Drops what was read ahead.
  void Forget() { begin_ = end_ = 0; }

 private:
  platform::File* file_;
  std::vector<uint8_t> block_;
  uint64_t begin_ = 0;  // the file's bytes begin_ .. end_ are in the block
  uint64_t end_ = 0;
  uint64_t last_ = UINT64_MAX;  // where the last request ended
};

}  // namespace tervalon::raw

#endif  // RAW_DATA_READER_H_
