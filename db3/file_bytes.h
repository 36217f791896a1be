// Reads and writes that count only as a whole, and files that several processes have to do with.

#ifndef DB3_FILE_BYTES_H_
#define DB3_FILE_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

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

// Opens a file for writing, or makes it, and locks it. `anew`: its bytes go, but only when nobody
// else has it locked. nullptr on failure.
inline std::unique_ptr<platform::File> OpenLocked(const std::string& path, platform::LockMode mode,
                                                  bool anew) {
  using platform::Files;
  using platform::OpenMode;
  // Whoever looks for files that ended processes left may lock and remove this one meanwhile.
  for (int tries = 0; tries < 20; ++tries) {
    std::unique_ptr<platform::File> file = Files().Open(path, OpenMode::kReadWrite);
    const std::chrono::milliseconds wait(mode == platform::LockMode::kShared ? 200 : 0);
    if (file != nullptr && !file->Lock(mode, wait)) continue;
    if (file == nullptr || anew) {
      file = Files().Open(path, OpenMode::kCreate);
      if (file == nullptr || !file->Lock(mode, wait)) continue;
    }
    return file;
  }
  return nullptr;
}

}  // namespace tervalon::db3

#endif  // DB3_FILE_BYTES_H_
