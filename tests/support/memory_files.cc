#include "tests/support/memory_files.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"
#include "tests/support/memory_limit.h"

namespace tervalon::testing {

using platform::File;
using platform::OpenMode;
using platform::PathStatus;

MemoryLimit memory_limit;

namespace {

constexpr size_t kSector = 512;

std::string ParentOf(const std::string& path) {
  const size_t end = path.find_last_of("\\/");
  return end == std::string::npos ? "" : path.substr(0, end);
}

// What platforms allocate for a path, once, before anything is done.
class PathCall {
 public:
  explicit PathCall(const std::string& path)
      : path_(path + "\\a path longer than texts in place") {}

 private:
  std::string path_;
  Unwatched unwatched_;
};

void Write(Bytes* to, uint64_t offset, const Bytes& bytes, size_t begin, size_t end) {
  if (end > begin) to->resize(std::max(to->size(), static_cast<size_t>(offset) + end));
  std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes.begin() + static_cast<std::ptrdiff_t>(end),
            to->begin() + static_cast<std::ptrdiff_t>(offset + begin));
}

}  // namespace

struct MemoryFileSystem::Node {
  int number = 0;
  Bytes bytes;
  std::map<const File*, platform::LockMode> locks;
};

class MemoryFileSystem::MemoryFile : public File {
 public:
  MemoryFile(MemoryFileSystem* owner, std::string path, std::shared_ptr<Node> node, OpenMode mode)
      : owner_(owner),
        path_(std::move(path)),
        node_(std::move(node)),
        writable_(mode != OpenMode::kRead) {
    ++owner_->open_files_;
  }
  ~MemoryFile() override {
    node_->locks.erase(this);
    --owner_->open_files_;
  }

  bool ReadAt(uint64_t offset, void* buffer, size_t count, size_t* read) override {
    *read = 0;
    if (owner_->Fails()) return false;
    const Bytes& bytes = node_->bytes;
    *read = offset < bytes.size() ? std::min(count, bytes.size() - static_cast<size_t>(offset)) : 0;
    std::copy_n(bytes.data() + (*read > 0 ? static_cast<size_t>(offset) : 0), *read,
                static_cast<uint8_t*>(buffer));
    return true;
  }

  bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) override {
    const Unwatched unwatched;
    *written = 0;
    if (owner_->Fails()) return false;
    if (!writable_ || offset > kLargestFile || count > kLargestFile - offset) return true;
    const auto* from = static_cast<const uint8_t*>(buffer);
    DiskStep step = {.kind = DiskStep::kWrite,
                     .file = node_->number,
                     .offset = offset,
                     .bytes = Bytes(from, from + count)};
    Write(&node_->bytes, offset, step.bytes, 0, count);
    owner_->Note(std::move(step));
    *written = count;
    return true;
  }

  bool Size(uint64_t* size) override {
    *size = node_->bytes.size();
    return !owner_->Fails();
  }

  bool Resize(uint64_t size) override {
    const Unwatched unwatched;
    if (owner_->Fails() || !writable_ || size > kLargestFile) return false;
    node_->bytes.resize(static_cast<size_t>(size));
    owner_->Note({.kind = DiskStep::kResize, .file = node_->number, .offset = size});
    return true;
  }

  bool Sync() override {
    const Unwatched unwatched;
    if (owner_->Fails()) return false;
    ++owner_->forced_;
    owner_->Note({.kind = DiskStep::kForceFile, .file = node_->number});
    owner_->Note({.kind = DiskStep::kForceNames, .path = ParentOf(path_)});
    return true;
  }

  bool Lock(platform::LockMode mode, std::chrono::milliseconds /*wait*/) override {
    const Unwatched unwatched;
    node_->locks.erase(this);
    for (const auto& other : node_->locks) {
      if (mode == platform::LockMode::kExclusive || other.second == mode) continue;
      return false;
    }
    if (mode == platform::LockMode::kExclusive && !node_->locks.empty()) return false;
    const auto named = owner_->files_.find(path_);
    if (named == owner_->files_.end() || named->second != node_) return false;
    node_->locks[this] = mode;
    return true;
  }

  bool Unlock() override {
    node_->locks.erase(this);
    return true;
  }

  bool Close() override {
    node_->locks.erase(this);
    return !owner_->Fails();
  }

 private:
  MemoryFileSystem* owner_;
  std::string path_;
  std::shared_ptr<Node> node_;
  bool writable_;
};

MemoryFileSystem::MemoryFileSystem(std::string working_directory)
    : working_directory_(std::move(working_directory)) {
  Load({});
}
MemoryFileSystem::~MemoryFileSystem() = default;

void MemoryFileSystem::Note(DiskStep step) {
  if (records_) steps_.push_back(std::move(step));
}

Disk MemoryFileSystem::Now() const {
  Disk disk;
  disk.directories = directories_;
  for (const auto& [path, node] : files_) disk.files[path] = node->bytes;
  return disk;
}

void MemoryFileSystem::Load(const Disk& disk) {
  files_.clear();
  directories_ = disk.directories;
  directories_.insert(working_directory_);
  last_file_ = 0;
  for (const auto& [path, bytes] : disk.files) Add(path)->bytes = bytes;
  std::vector<DiskStep>().swap(steps_);
  forced_ = 0;
}

void MemoryFileSystem::Put(const std::string& given, const Bytes& bytes) {
  const std::string path = Bare(given);
  for (std::string above = ParentOf(path); !above.empty(); above = ParentOf(above)) {
    directories_.insert(above);
  }
  Add(path)->bytes = bytes;
}

Bytes MemoryFileSystem::Get(const std::string& path) const {
  const auto found = files_.find(Bare(path));
  return found != files_.end() ? found->second->bytes : Bytes();
}

void MemoryFileSystem::Fail(uint64_t first, uint64_t last) {
  first_failure_ = calls_ + first;
  last_failure_ = calls_ + last;
}

std::string MemoryFileSystem::Bare(const std::string& path) const {
  constexpr char kSeparators[] = "\\/";
  const bool drive = path.size() >= 2 && path[1] == ':';
  const bool whole = path.find_first_of(kSeparators) == 0;
  std::string bare = drive ? path.substr(0, 2) : whole ? "" : working_directory_;
  for (size_t at = drive ? 2 : 0; at < path.size();) {
    const size_t end = std::min(path.size(), path.find_first_of(kSeparators, at));
    const std::string part = path.substr(at, end - at);
    at = end + 1;
    if (part == "..") bare = ParentOf(bare);
    if (!part.empty() && part != "." && part != "..") bare.append("\\").append(part);
  }
  return bare;
}

std::shared_ptr<MemoryFileSystem::Node> MemoryFileSystem::Add(const std::string& path) {
  auto node = std::make_shared<Node>();
  node->number = ++last_file_;
  files_[path] = node;
  Note({.kind = DiskStep::kName, .file = node->number, .path = path});
  return node;
}

// A write reaches the disk in sectors, some of which may be missing.
Disk MemoryFileSystem::AfterPowerCut(const Disk& loaded, const std::vector<DiskStep>& steps,
                                     size_t count, std::mt19937* random) {
  // How much is lost: now and then nothing, or all that can be.
  const auto kept_of_8 = (*random)() % 9;
  const auto kept = [&] { return (*random)() % 8 < kept_of_8; };
  std::map<int, size_t> file_forced;  // up to which step
  std::map<std::string, size_t> names_forced;
  for (size_t i = 0; i < count; ++i) {
    if (steps[i].kind == DiskStep::kForceFile) file_forced[steps[i].file] = i;
    if (steps[i].kind == DiskStep::kForceNames) names_forced[steps[i].path] = i;
  }
  std::map<int, Bytes> bytes;
  std::map<std::string, int> names;
  Disk disk = {{}, loaded.directories};
  int number = 0;
  for (const auto& [path, content] : loaded.files) {
    bytes[names[path] = ++number] = content;
  }
  for (size_t i = 0; i < count; ++i) {
    const DiskStep& step = steps[i];
    const bool content = step.kind == DiskStep::kWrite || step.kind == DiskStep::kResize;
    const bool sure = content ? i < file_forced[step.file] : i < names_forced[ParentOf(step.path)];
    if (step.kind == DiskStep::kWrite) {
      for (size_t begin = 0; begin < step.bytes.size();) {
        const size_t end =
            std::min<size_t>(step.bytes.size(), begin + kSector - (step.offset + begin) % kSector);
        if (sure || kept()) Write(&bytes[step.file], step.offset, step.bytes, begin, end);
        begin = end;
      }
    } else if (step.kind == DiskStep::kForceFile || step.kind == DiskStep::kForceNames) {
    } else if (!sure && !kept()) {
    } else if (step.kind == DiskStep::kResize) {
      bytes[step.file].resize(static_cast<size_t>(step.offset));
    } else if (step.kind == DiskStep::kMakeDirectory) {
      disk.directories.insert(step.path);
    } else if (step.kind == DiskStep::kRemoveDirectory) {
      disk.directories.erase(step.path);  // with whatever names in it were to go
      std::erase_if(names, [&](const auto& name) { return ParentOf(name.first) == step.path; });
    } else {
      names.erase(step.from);
      names.erase(step.path);
      if (step.file != 0) names[step.path] = step.file;
    }
  }
  for (const auto& [path, file] : names) {
    if (disk.directories.contains(ParentOf(path))) disk.files[path] = bytes[file];
  }
  return disk;
}

std::unique_ptr<File> MemoryFileSystem::Make(const std::string& path, std::shared_ptr<Node> node,
                                             OpenMode mode) {
  return std::make_unique<MemoryFile>(this, path, std::move(node), mode);
}

std::unique_ptr<File> MemoryFileSystem::Open(const std::string& given, OpenMode mode, bool* absent,
                                             platform::Spelling spelling) {
  const PathCall call(given);
  if (absent != nullptr) *absent = false;
  if (Fails()) return nullptr;
  const bool makes = mode == OpenMode::kCreate || mode == OpenMode::kCreateNew;
  const std::string path =
      makes || spelling == platform::Spelling::kAsGiven ? Bare(given) : Bare(Resolve(given));
  const auto found = files_.find(path);
  if (directories_.contains(path)) return nullptr;
  if (found == files_.end()) {
    if (absent != nullptr) *absent = true;
    if (!makes || !directories_.contains(ParentOf(path))) return nullptr;
    return Make(path, Add(path), mode);
  }
  if (mode == OpenMode::kCreateNew) return nullptr;
  if (mode == OpenMode::kCreate) {
    found->second->bytes.clear();
    Note({.kind = DiskStep::kResize, .file = found->second->number});
  }
  return Make(path, found->second, mode);
}

std::unique_ptr<File> MemoryFileSystem::OpenAlone(const std::string& given, bool* in_use) {
  *in_use = false;
  const PathCall call(given);
  if (Fails()) return nullptr;
  const std::string path = Bare(given);
  const auto found = files_.find(path);
  if (directories_.contains(path) || !directories_.contains(ParentOf(path))) return nullptr;
  std::unique_ptr<File> file =
      Make(path, found != files_.end() ? found->second : Add(path), OpenMode::kReadWrite);
  *in_use = !file->Lock(platform::LockMode::kExclusive, {});
  if (*in_use) file.reset();
  return file;
}

bool MemoryFileSystem::RemoveAlone(const std::string& path, std::unique_ptr<File> file) {
  const bool removed = Remove(path);
  file.reset();
  return removed;
}

PathStatus MemoryFileSystem::Status(const std::string& given) {
  const PathCall call(given);
  if (Fails()) return PathStatus::kUnknown;
  const std::string path = Bare(Resolve(given));
  if (directories_.contains(path)) return PathStatus::kDirectory;
  return files_.contains(path) ? PathStatus::kFile : PathStatus::kNothing;
}

bool MemoryFileSystem::Exists(const std::string& given) {
  const PathCall call(given);
  const std::string path = Bare(given);
  return files_.contains(path) || directories_.contains(path);
}

std::string MemoryFileSystem::Resolve(const std::string& given) {
  std::string resolved = given;
  const Unwatched unwatched;
  const std::string path = Bare(given);
  if (files_.contains(path) || directories_.contains(path)) return resolved;
  const auto same = [&](const std::string& other) {
    return platform::EqualWithoutCase(other, path);
  };
  for (const auto& file : files_) {
    if (same(file.first)) return file.first;
  }
  for (const std::string& directory : directories_) {
    if (same(directory)) return directory;
  }
  return resolved;
}

bool MemoryFileSystem::Remove(const std::string& given) {
  const PathCall call(given);
  const std::string path = Bare(given);
  if (Fails() || files_.erase(path) == 0) return false;
  Note({.kind = DiskStep::kName, .path = path});
  return true;
}

bool MemoryFileSystem::MakeDirectory(const std::string& given) {
  const PathCall call(given);
  const std::string path = Bare(given);
  if (Fails() || Exists(path) || !directories_.contains(ParentOf(path))) return false;
  directories_.insert(path);
  Note({.kind = DiskStep::kMakeDirectory, .path = path});
  ++forced_;
  Note({.kind = DiskStep::kForceNames, .path = ParentOf(path)});
  return true;
}

bool MemoryFileSystem::RemoveEmptyDirectory(const std::string& given) {
  const PathCall call(given);
  const std::string path = Bare(given);
  std::vector<platform::DirectoryEntry> entries;
  if (!List(path, &entries) || !entries.empty()) return false;
  if (directories_.erase(path) == 0) return false;
  Note({.kind = DiskStep::kRemoveDirectory, .path = path});
  return true;
}

bool MemoryFileSystem::List(const std::string& given,
                            std::vector<platform::DirectoryEntry>* entries) {
  const PathCall call(given);
  const std::string path = Bare(Resolve(given));
  entries->clear();
  if (Fails() || !directories_.contains(path)) return false;
  const auto add = [&](const std::string& inside, bool is_directory) {
    if (ParentOf(inside) != path) return;
    entries->push_back({inside.substr(path.size() + 1), is_directory, !is_directory});
  };
  for (const auto& file : files_) add(file.first, false);
  for (const std::string& directory : directories_) add(directory, true);
  return true;
}

bool MemoryFileSystem::CopyAccess(const std::string& like, const std::string& path) {
  return Exists(like) && Exists(path);
}

bool MemoryFileSystem::MoveOver(const std::string& given_from, const std::string& given_to,
                                platform::Force force) {
  const PathCall call(given_to);
  const std::string from = Bare(given_from);
  const std::string to = Bare(Resolve(given_to));
  const auto found = files_.find(from);
  if (Fails() || found == files_.end() || directories_.contains(to)) return false;
  if (!directories_.contains(ParentOf(to))) return false;
  const std::shared_ptr<Node> node = found->second;
  files_.erase(found);
  files_[to] = node;
  if (force == platform::Force::kToDisk) {
    ++forced_;
    Note({.kind = DiskStep::kForceFile, .file = node->number});
  }
  Note({.kind = DiskStep::kName, .file = node->number, .path = to, .from = from});
  if (force == platform::Force::kToDisk) {
    Note({.kind = DiskStep::kForceNames, .path = ParentOf(to)});
  }
  return true;
}

}  // namespace tervalon::testing
