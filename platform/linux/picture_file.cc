#include "platform/linux/picture_file.h"

#include <new>

namespace tervalon::platform {
namespace {

constexpr size_t kBufferSize = size_t{1} << 16;

}  // namespace

std::unique_ptr<PictureFile> PictureFile::Create(const std::string& path) {
  if (path.empty() || Files().Status(path) == PathStatus::kDirectory) return nullptr;
  std::unique_ptr<PictureFile> picture(new PictureFile(path));
  return picture->replacement_.file() != nullptr ? std::move(picture) : nullptr;
}

void PictureFile::Append(std::string_view text) {
  Write(this, reinterpret_cast<const unsigned char*>(text.data()),
        static_cast<unsigned int>(text.size()));
}

cairo_status_t PictureFile::Write(void* closure, const unsigned char* data, unsigned int length) {
  auto* picture = static_cast<PictureFile*>(closure);
  try {
    picture->buffer_.insert(picture->buffer_.end(), data, data + length);
  } catch (const std::bad_alloc&) {
    picture->failed_ = true;
  }
  if (picture->buffer_.size() >= kBufferSize) picture->Flush();
  return picture->failed_ ? CAIRO_STATUS_WRITE_ERROR : CAIRO_STATUS_SUCCESS;
}

void PictureFile::Flush() {
  failed_ |= replacement_.Write(written_, buffer_) != ReplaceResult::kDone;
  written_ += buffer_.size();
  buffer_.clear();
}

bool PictureFile::Complete() {
  Flush();
  return !failed_ && replacement_.Commit(Force::kNo) == ReplaceResult::kDone;
}

}  // namespace tervalon::platform
