#include "tests/support/fault_services.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tervalon::testing {

using platform::File;
using platform::OpenMode;

class FaultyFileSystem::FaultyFile : public File {
 public:
  FaultyFile(FaultyFileSystem* owner, std::string path, std::unique_ptr<File> real)
      : owner_(owner), path_(std::move(path)), real_(std::move(real)) {
    ++owner_->open_files_;
  }
  ~FaultyFile() override {
    if (!closed_) --owner_->open_files_;
  }

  bool ReadAt(uint64_t offset, void* buffer, size_t count, size_t* read) override {
    *read = 0;
    if (owner_->Fails(FileCall::kPosition, path_)) return false;
    if (owner_->Fails(FileCall::kRead, path_)) return false;
    const bool success = real_->ReadAt(offset, buffer, count, read);
    owner_->bytes_read_ += *read;
    owner_->largest_read_ = std::max(owner_->largest_read_, count);
    return success;
  }

  bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) override {
    *written = 0;
    if (owner_->Fails(FileCall::kPosition, path_)) return false;
    if (owner_->Fails(FileCall::kWrite, path_)) count = std::min(count, owner_->short_write_);
    count = static_cast<size_t>(std::min<uint64_t>(count, owner_->space_));
    const bool success = count == 0 || real_->WriteAt(offset, buffer, count, written);

    if (owner_->space_ != std::numeric_limits<uint64_t>::max()) owner_->space_ -= *written;
    return success;
  }

  bool Size(uint64_t* size) override {
    return !owner_->Fails(FileCall::kSize, path_) && real_->Size(size);
  }

  bool Lock(platform::LockMode mode) override { return real_->Lock(mode); }

  bool Close() override {
    closed_ = true;
    --owner_->open_files_;
    const bool success = real_->Close();
    return !owner_->Fails(FileCall::kClose, path_) && success;
  }

 private:
  FaultyFileSystem* owner_;
  std::string path_;
  std::unique_ptr<File> real_;
  bool closed_ = false;
};

bool FaultyFileSystem::Fails(FileCall call, const std::string& path) {
  return path.find(path_part_) != std::string::npos && On(call).Hit();
}

std::unique_ptr<File> FaultyFileSystem::Open(const std::string& path, OpenMode mode) {
  if (Fails(FileCall::kOpen, path)) return nullptr;
  std::unique_ptr<File> file = real_.Open(path, mode);
  if (file == nullptr) return nullptr;
  return std::make_unique<FaultyFile>(this, path, std::move(file));
}

platform::PathStatus FaultyFileSystem::Status(const std::string& path) {
  return Fails(FileCall::kStatus, path) ? platform::PathStatus::kNothing : real_.Status(path);
}

bool FaultyFileSystem::Remove(const std::string& path) {
  return !Fails(FileCall::kRemove, path) && real_.Remove(path);
}

bool FaultyFileSystem::MakeDirectory(const std::string& path) {
  return !Fails(FileCall::kMakeDirectory, path) && real_.MakeDirectory(path);
}

bool FaultyFileSystem::RemoveEmptyDirectory(const std::string& path) {
  return !Fails(FileCall::kRemoveDirectory, path) && real_.RemoveEmptyDirectory(path);
}

bool FaultyFileSystem::List(const std::string& path,
                            std::vector<platform::DirectoryEntry>* entries) {
  return !Fails(FileCall::kList, path) && real_.List(path, entries);
}

bool FaultyFileSystem::Touch(const std::string& path) {
  return !Fails(FileCall::kTouch, path) && real_.Touch(path);
}

bool FaultyFileSystem::MoveOver(const std::string& from, const std::string& to) {
  return !Fails(FileCall::kMove, to) && real_.MoveOver(from, to);
}

std::string FaultyFileSystem::WorkingDirectory() { return real_.WorkingDirectory(); }

TvMemory FaultyMemory::Allocate(size_t size) {
  if (allocate.Hit()) return nullptr;
  const TvMemory block = real_.Allocate(size);
  if (block != nullptr) ++live_blocks_;
  return block;
}

TvMemory FaultyMemory::Reallocate(TvMemory block, size_t size) {
  return reallocate.Hit() ? nullptr : real_.Reallocate(block, size);
}

void* FaultyMemory::Lock(TvMemory block) {
  if (lock.Hit()) return nullptr;
  void* address = real_.Lock(block);
  if (address != nullptr) ++locks_[block];
  return address;
}

int32_t FaultyMemory::Unlock(TvMemory block) {
  int64_t& locks = locks_[block];
  locks = std::max<int64_t>(locks - 1, 0);  // unlocking what is not locked is allowed
  return real_.Unlock(block);
}

int64_t FaultyMemory::live_locks() const {
  return std::accumulate(locks_.begin(), locks_.end(), int64_t{0},
                         [](int64_t sum, const auto& block) { return sum + block.second; });
}

bool FaultyMemory::Free(TvMemory block) {
  const bool success = real_.Free(block);
  if (success) {
    --live_blocks_;
    locks_.erase(block);
  }
  return success;
}

uint32_t FaultyProfile::Read(const char* section, const char* key, const char* fallback, char* out,
                             uint32_t size, const char* path) {
  const std::string missing = std::string(path) + ".missing";
  return real_.Read(section, key, fallback, out, size, read.Hit() ? missing.c_str() : path);
}

bool FaultyProfile::Write(const char* section, const char* key, const char* value,
                          const char* path) {
  const auto text = [](const char* given) { return std::string(given != nullptr ? given : ""); };
  writes.push_back({text(section), text(key), text(value), text(path)});
  return !write.Hit() && real_.Write(section, key, value, path);
}

int32_t RecordingDesktop::ShowMessage(TvWindow owner, const char* text, const char* caption,
                                      uint32_t style) {
  messages.push_back({owner, text, caption != nullptr ? caption : "", style});
  return answer;
}

platform::FileChoiceResult RecordingDesktop::ChooseFile(platform::FileChoice* choice,
                                                        uint32_t* error) {
  file_choices.push_back(*choice);
  *error = file_error;
  if (file_result != platform::FileChoiceResult::kChosen) return file_result;
  if (choice->accept && !choice->accept(choice->owner, chosen_path)) {
    return platform::FileChoiceResult::kCancelled;
  }
  choice->path = chosen_path;
  return platform::FileChoiceResult::kChosen;
}

bool RecordingDesktop::LoadText(TvInstance instance, uint16_t number, std::string* text) {
  const auto found = strings.find({instance, number});
  if (found == strings.end()) return false;
  *text = found->second;
  return true;
}

}  // namespace tervalon::testing
