// Reads and writes that count only as a whole.

#ifndef DB3_FILE_BYTES_H_
#define DB3_FILE_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <span>

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

}  // namespace tervalon::db3

#endif  // DB3_FILE_BYTES_H_
