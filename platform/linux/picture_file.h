// A picture on its way to the disk.

#ifndef PLATFORM_LINUX_PICTURE_FILE_H_
#define PLATFORM_LINUX_PICTURE_FILE_H_

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_change.h"

namespace tervalon::platform {

// One that is not completed leaves nothing behind.
class PictureFile {
 public:
  // nullptr when no file can be written there.
  static std::unique_ptr<PictureFile> Create(const std::string& path);

  // Puts the file in its place. False when anything of it could not be written.
  bool Complete();

  void Append(std::string_view text);

  // For Cairo's stream functions; the closure is the PictureFile.
  static cairo_status_t Write(void* closure, const unsigned char* data, unsigned int length);

 private:
  explicit PictureFile(const std::string& path) : replacement_(path) {}
  void Flush();

  Replacement replacement_;
  std::vector<unsigned char> buffer_;  // Cairo writes a few bytes at a time
  uint64_t written_ = 0;
  bool failed_ = false;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_PICTURE_FILE_H_
