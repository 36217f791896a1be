#include "raw/data_reader.h"

#include <algorithm>

#include "tervalon/raw_directory.h"

namespace tervalon::raw {
namespace {

// One read call's worth. Smaller than the processor's second-level cache, so that what is read is
// decoded from there.
constexpr uint64_t kBlockBytes = 256 * 1024;

// A gap that costs less to read than another call.
constexpr uint64_t kSmallGap = 8 * 1024;

}  // namespace

int32_t DataReader::Fetch(uint64_t offset, uint64_t wanted, uint32_t least, const uint8_t** bytes,
                          uint64_t* available) {
  if (offset < begin_ || offset + std::min<uint64_t>(wanted, least) > end_) {
    const bool follows = offset >= last_ && offset - last_ <= kSmallGap;
    const uint64_t length = follows ? kBlockBytes : std::min(wanted, kBlockBytes);
    if (block_.size() < length) block_.resize(kBlockBytes);
    begin_ = end_ = 0;
    size_t read = 0;
    if (!file_->ReadAt(offset, block_.data(), static_cast<size_t>(length), &read)) {
      return RAW_SEEK_FAILED;
    }
    begin_ = offset;
    end_ = offset + read;
  }
  *available = std::min(wanted, end_ - offset);
  *bytes = block_.data() + (offset - begin_);
  last_ = offset + *available;
  return RAW_OK;
}

}  // namespace tervalon::raw
