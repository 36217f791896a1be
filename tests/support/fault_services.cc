#include "tests/support/fault_services.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "tests/support/memory_limit.h"

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
    if (owner_->Fails(FileCall::kRead, path_)) {
      if (owner_->effect_ != Effect::kNone) real_->ReadAt(offset, buffer, count / 2, read);
      return false;
    }
    const bool success = real_->ReadAt(offset, buffer, count, read);
    owner_->bytes_read_ += *read;
    owner_->largest_read_ = std::max(owner_->largest_read_, count);
    return success;
  }

  bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) override {
    *written = 0;
    if (owner_->Fails(FileCall::kPosition, path_)) return false;
    if (owner_->Fails(FileCall::kWrite, path_)) {
      const bool whole = owner_->effect_ == Effect::kWhole;  // but told to be short
      if (whole) real_->WriteAt(offset, buffer, count, written);
      count = owner_->effect_ == Effect::kNone ? std::min(count, owner_->short_write_) : count / 2;
    }
    count = static_cast<size_t>(std::min<uint64_t>(count, owner_->space_));
    const bool success = count == 0 || real_->WriteAt(offset, buffer, count, written);

    if (owner_->space_ != std::numeric_limits<uint64_t>::max()) owner_->space_ -= *written;
    return success;
  }

  bool Size(uint64_t* size) override {
    return !owner_->Fails(FileCall::kSize, path_) && real_->Size(size);
  }

  bool Resize(uint64_t size) override {
    return owner_->Try(FileCall::kResize, path_, [&] { return real_->Resize(size); });
  }

  bool Sync() override {
    return owner_->Try(FileCall::kSync, path_, [&] { return real_->Sync(); });
  }

  bool Lock(platform::LockMode mode, std::chrono::milliseconds wait) override {
    return !owner_->Fails(FileCall::kLock, path_) && real_->Lock(mode, wait);
  }

  bool Unlock() override { return real_->Unlock(); }

  std::unique_ptr<File> TakeReal() { return std::move(real_); }

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

std::unique_ptr<File> FaultyFileSystem::Open(const std::string& path, OpenMode mode, bool* absent,
                                             platform::Spelling spelling) {
  if (absent != nullptr) *absent = false;
  if (Fails(FileCall::kOpen, path)) return nullptr;
  std::unique_ptr<File> file = real_.Open(path, mode, absent, spelling);
  if (file == nullptr) return nullptr;
  const Unwatched unwatched;
  return std::make_unique<FaultyFile>(this, path, std::move(file));
}

std::unique_ptr<File> FaultyFileSystem::OpenAlone(const std::string& path, bool* in_use) {
  *in_use = false;
  if (Fails(FileCall::kOpenAlone, path)) return nullptr;
  std::unique_ptr<File> file = real_.OpenAlone(path, in_use);
  if (file == nullptr) return nullptr;
  const Unwatched unwatched;
  return std::make_unique<FaultyFile>(this, path, std::move(file));
}

bool FaultyFileSystem::RemoveAlone(const std::string& path, std::unique_ptr<File> file) {
  const bool fails = Fails(FileCall::kRemove, path);
  if (fails && effect_ != Effect::kWhole) return false;
  const bool removed = real_.RemoveAlone(path, static_cast<FaultyFile*>(file.get())->TakeReal());
  return removed && !fails;
}

std::string FaultyFileSystem::Target(const std::string& path) {
  return Fails(FileCall::kTarget, path) ? std::string() : real_.Target(path);
}

bool FaultyFileSystem::CopyAccess(const std::string& like, const std::string& path) {
  return Try(FileCall::kCopyAccess, path, [&] { return real_.CopyAccess(like, path); });
}

platform::PathStatus FaultyFileSystem::Status(const std::string& path) {
  return Fails(FileCall::kStatus, path) ? platform::PathStatus::kUnknown : real_.Status(path);
}

bool FaultyFileSystem::Remove(const std::string& path) {
  return Try(FileCall::kRemove, path, [&] { return real_.Remove(path); });
}

bool FaultyFileSystem::MakeDirectory(const std::string& path) {
  return Try(FileCall::kMakeDirectory, path, [&] { return real_.MakeDirectory(path); });
}

bool FaultyFileSystem::RemoveEmptyDirectory(const std::string& path) {
  return Try(FileCall::kRemoveDirectory, path, [&] { return real_.RemoveEmptyDirectory(path); });
}

bool FaultyFileSystem::List(const std::string& path,
                            std::vector<platform::DirectoryEntry>* entries) {
  return !Fails(FileCall::kList, path) && real_.List(path, entries);
}

bool FaultyFileSystem::Touch(const std::string& path) {
  return Try(FileCall::kTouch, path, [&] { return real_.Touch(path); });
}

bool FaultyFileSystem::MoveOver(const std::string& from, const std::string& to,
                                platform::Force force) {
  return Try(FileCall::kMove, to, [&] { return real_.MoveOver(from, to, force); });
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
  const Unwatched unwatched;
  if (address != nullptr) ++locks_[block];
  return address;
}

int32_t FaultyMemory::Unlock(TvMemory block) {
  const Unwatched unwatched;
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

bool FaultyProfile::Load(const char* path, platform::ProfileText* text) {
  return !read.Hit() && real_.Load(path, text);
}

bool FaultyProfile::Change(const char* path, std::span<const platform::ProfileEdit> edits) {
  const auto text = [](const char* given) { return std::string(given != nullptr ? given : ""); };
  for (const platform::ProfileEdit& edit : edits) {
    writes.push_back({text(edit.section), text(edit.key), text(edit.value), text(path)});
  }
  return !write.Hit() && real_.Change(path, edits);
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
