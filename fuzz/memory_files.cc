#include "fuzz/memory_files.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/text.h"

namespace tervalon::fuzz {
namespace {

using platform::File;
using platform::LockMode;
using platform::OpenMode;
using platform::PathStatus;

// "\a\b" of any spelling of it; a path without a beginning is in the working directory.
std::string Normal(const std::string& path) {
  const auto separates = [](char c) { return c == '\\' || c == '/'; };
  std::string normal = path.empty() || !separates(path.front()) ? "\\w" : "";
  for (size_t at = 0; at < path.size();) {
    const size_t end = static_cast<size_t>(
        std::find_if(path.begin() + static_cast<ptrdiff_t>(at), path.end(), separates) -
        path.begin());
    const std::string part = path.substr(at, end - at);
    at = end + 1;
    if (part == "..") normal.resize(std::min(normal.size(), normal.rfind('\\')));
    if (!part.empty() && part != "." && part != "..") normal.append("\\").append(part);
  }
  return normal;
}

std::string Parent(const std::string& normal) {
  return normal.substr(0, std::min(normal.size(), normal.rfind('\\')));
}

}  // namespace

struct MemoryFiles::Content {
  Bytes bytes;
  bool named = true;
  int shared = 0;
  int exclusive = 0;
};

class MemoryFiles::OpenFile : public File {
 public:
  OpenFile(MemoryFiles* files, std::shared_ptr<Content> content, bool writable)
      : files_(files), content_(std::move(content)), writable_(writable) {
    ++files_->open_files_;
  }
  ~OpenFile() override {
    Unlock();
    --files_->open_files_;
  }

  bool ReadAt(uint64_t offset, void* buffer, size_t count, size_t* read) override {
    *read = 0;
    if (files_->Fails()) return false;
    const Bytes& bytes = content_->bytes;
    *read = offset < bytes.size() ? std::min<size_t>(count, bytes.size() - offset) : 0;
    if (*read > 0) std::memcpy(buffer, bytes.data() + offset, *read);
    return true;
  }

  bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) override {
    *written = 0;
    if (files_->Fails()) return false;
    if (!writable_ || offset > kLargestFile || count > kLargestFile - offset) return true;
    if (content_->bytes.size() < offset + count) content_->bytes.resize(offset + count);
    if (count > 0) std::memcpy(content_->bytes.data() + offset, buffer, count);
    *written = count;
    return true;
  }

  bool Size(uint64_t* size) override {
    *size = content_->bytes.size();
    return !files_->Fails();
  }

  bool Resize(uint64_t size) override {
    if (files_->Fails() || !writable_ || size > kLargestFile) return false;
    content_->bytes.resize(size);
    return true;
  }

  bool Sync() override { return !files_->Fails(); }

  bool Lock(LockMode mode, std::chrono::milliseconds) override {
    Unlock();
    const bool shared = mode == LockMode::kShared;
    const bool free = content_->exclusive == 0 && (shared || content_->shared == 0);
    if (!free || !content_->named) return false;
    held_ = shared ? &content_->shared : &content_->exclusive;
    ++*held_;
    return true;
  }

  bool Unlock() override {
    if (held_ != nullptr) --*std::exchange(held_, nullptr);
    return true;
  }

  bool Close() override {
    Unlock();
    return !files_->Fails();
  }

 private:
  MemoryFiles* files_;
  std::shared_ptr<Content> content_;
  bool writable_;
  int* held_ = nullptr;
};

MemoryFiles::Place MemoryFiles::Find(const std::string& path, bool any_case) const {
  const std::string normal = Normal(path);
  if (const auto file = files_.find(normal); file != files_.end()) {
    return {normal, file->second, false};
  }
  if (directories_.count(normal) != 0) return {normal, nullptr, true};
  if (any_case) {
    for (const auto& [name, content] : files_) {
      if (platform::EqualWithoutCase(name, normal)) return {name, content, false};
    }
    for (const std::string& name : directories_) {
      if (platform::EqualWithoutCase(name, normal)) return {name, nullptr, true};
    }
  }
  return {normal, nullptr, false};
}

void MemoryFiles::Fail(uint64_t first, uint64_t last) {
  first_failure_ = calls_ + first;
  last_failure_ = calls_ + last;
}

void MemoryFiles::Put(const std::string& path, const Bytes& bytes) {
  const std::string normal = Normal(path);
  for (std::string above = Parent(normal); !above.empty(); above = Parent(above)) {
    directories_.insert(above);
  }
  files_[normal] = std::make_shared<Content>();
  files_[normal]->bytes = bytes;
}

Bytes MemoryFiles::Get(const std::string& path) const {
  const Place place = Find(path, false);
  return place.file != nullptr ? place.file->bytes : Bytes();
}

std::vector<std::string> MemoryFiles::Paths(const std::string& beginning) const {
  std::vector<std::string> paths;
  for (const auto& [path, content] : files_) {
    if (path.starts_with(beginning)) paths.push_back(path);
  }
  return paths;
}

std::unique_ptr<File> MemoryFiles::Open(const std::string& path, OpenMode mode, bool* absent,
                                        platform::Spelling spelling) {
  if (absent != nullptr) *absent = false;
  if (Fails()) return nullptr;
  const bool make = mode == OpenMode::kCreate || mode == OpenMode::kCreateNew;
  Place place = Find(path, !make && spelling == platform::Spelling::kAnyCase);
  const bool there = place.file != nullptr || place.directory;
  if (absent != nullptr) *absent = !there;
  if (place.directory || (mode == OpenMode::kCreateNew && there)) return nullptr;
  if (make) {
    if (directories_.count(Parent(place.path)) == 0) return nullptr;
    if (place.file == nullptr) place.file = files_[place.path] = std::make_shared<Content>();
    place.file->bytes.clear();
  }
  if (place.file == nullptr) return nullptr;
  return std::make_unique<OpenFile>(this, place.file, mode != OpenMode::kRead);
}

std::unique_ptr<File> MemoryFiles::OpenAlone(const std::string& path, bool* in_use) {
  *in_use = false;
  const bool there = Find(path, false).file != nullptr;
  bool absent = false;
  auto file = Open(path, there ? OpenMode::kReadWrite : OpenMode::kCreateNew, &absent,
                   platform::Spelling::kAsGiven);
  if (file == nullptr || file->Lock(LockMode::kExclusive, {})) return file;
  *in_use = true;
  return nullptr;
}

bool MemoryFiles::RemoveAlone(const std::string& path, std::unique_ptr<File> file) {
  const bool removed = Remove(path);
  file.reset();
  return removed;
}

PathStatus MemoryFiles::Status(const std::string& path) {
  if (Fails()) return PathStatus::kUnknown;
  const Place place = Find(path);
  if (place.directory) return PathStatus::kDirectory;
  return place.file != nullptr ? PathStatus::kFile : PathStatus::kNothing;
}

bool MemoryFiles::Exists(const std::string& path) {
  const Place place = Find(path, false);
  return place.file != nullptr || place.directory;
}

bool MemoryFiles::Remove(const std::string& path) {
  if (Fails()) return false;
  const auto found = files_.find(Normal(path));
  if (found == files_.end()) return false;
  found->second->named = false;
  files_.erase(found);
  return true;
}

bool MemoryFiles::MakeDirectory(const std::string& path) {
  const std::string normal = Normal(path);
  if (Fails() || Exists(path) || directories_.count(Parent(normal)) == 0) return false;
  directories_.insert(normal);
  return true;
}

bool MemoryFiles::RemoveEmptyDirectory(const std::string& path) {
  std::vector<platform::DirectoryEntry> entries;
  return List(path, &entries) && entries.empty() && directories_.erase(Normal(path)) != 0;
}

bool MemoryFiles::List(const std::string& path, std::vector<platform::DirectoryEntry>* entries) {
  const Place place = Find(path);
  if (Fails() || !place.directory) return false;
  const auto inside = [&](const std::string& other) { return Parent(other) == place.path; };
  const size_t skip = place.path.size() + 1;
  for (const auto& [name, content] : files_) {
    if (inside(name)) entries->push_back({name.substr(skip), false, true});
  }
  for (const std::string& name : directories_) {
    if (inside(name)) entries->push_back({name.substr(skip), true, false});
  }
  return true;
}

bool MemoryFiles::MoveOver(const std::string& from, const std::string& to, platform::Force) {
  const auto found = files_.find(Normal(from));
  if (Fails() || found == files_.end() || directories_.count(Normal(to)) != 0) return false;
  const std::shared_ptr<Content> content = found->second;
  files_.erase(found);
  if (const auto old = files_.find(Normal(to)); old != files_.end()) old->second->named = false;
  files_[Normal(to)] = content;
  return true;
}

}  // namespace tervalon::fuzz
