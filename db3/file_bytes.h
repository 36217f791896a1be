// Reads, writes and copies that count only as a whole.

#ifndef DB3_FILE_BYTES_H_
#define DB3_FILE_BYTES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/file_system.h"

namespace tervalon::db3 {

inline bool ReadWhole(platform::File* file, uint64_t offset, void* buffer, size_t count) {
  size_t read = 0;
  return file->ReadAt(offset, buffer, count, &read) && read == count;
}

inline bool WriteWhole(platform::File* file, uint64_t offset, std::span<const uint8_t> bytes) {
  size_t written = 0;
  return file->WriteAt(offset, bytes.data(), bytes.size(), &written) && written == bytes.size();
}

// Through which bytes are copied. It is made before a file is changed, which then needs no memory.
class CopyBuffer {
 public:
  // For so many bytes at a time, within limits.
  explicit CopyBuffer(uint64_t size = kLargest)
      : bytes_(static_cast<size_t>(std::min<uint64_t>(size, kLargest))) {}

  std::span<uint8_t> Part(uint64_t count) {
    return std::span(bytes_).first(static_cast<size_t>(std::min<uint64_t>(count, bytes_.size())));
  }

 private:
  static constexpr size_t kLargest = 1 << 18;

  std::vector<uint8_t> bytes_;
};

// Reads `count` bytes from `offset` on piece by piece and hands each over with its position among
// them. `use` returns false to give up.
template <typename Use>
bool ForEachPiece(platform::File* file, uint64_t offset, uint64_t count, CopyBuffer* buffer,
                  Use use) {
  for (uint64_t done = 0; done < count;) {
    const std::span<uint8_t> piece = buffer->Part(count - done);
    if (!ReadWhole(file, offset + done, piece.data(), piece.size()) || !use(piece, done)) {
      return false;
    }
    done += piece.size();
  }
  return true;
}

// Copies bytes of one file to another place, or another file, that they do not overlap.
inline bool CopyBytes(platform::File* from, uint64_t offset, uint64_t count, platform::File* to,
                      uint64_t target, CopyBuffer* buffer) {
  return ForEachPiece(from, offset, count, buffer,
                      [=](std::span<const uint8_t> piece, uint64_t done) {
                        return WriteWhole(to, target + done, piece);
                      });
}

}  // namespace tervalon::db3

#endif  // DB3_FILE_BYTES_H_
