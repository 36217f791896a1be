#include "platform/file_change.h"

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <utility>

#include "platform/patience.h"

namespace tervalon::platform {
namespace {

// A lock file's content: this, the name of the temporary file, a line end.
constexpr std::string_view kMark = "Tervalon change\n";
constexpr std::string_view kLockEnding = ".lock";
constexpr std::string_view kNextEnding = ".next";
constexpr std::string_view kTemporaryEnding = ".tmp";
constexpr size_t kDigits = 16;        // of a temporary name
constexpr size_t kLongestStem = 220;  // so that no name beside is too long for the system
constexpr int kTriesForName = 100;

struct SplitPath {
  std::string directory;  // with its separator
  std::string name;
};

SplitPath Split(std::string path) {
  while (path.size() > 1 && (path.back() == '\\' || path.back() == '/')) path.pop_back();
  const size_t begin = path.find_last_of("\\/:") + 1;
  return {path.substr(0, begin), path.substr(begin)};
}

std::string Stem(const std::string& name) { return name.substr(0, kLongestStem); }

std::string TemporaryName(const std::string& name, uint64_t number) {
  std::string digits(kDigits, '0');
  for (char& digit : digits) {
    digit = "0123456789abcdef"[number & 15];
    number >>= 4;
  }
  return Stem(name) + "." + digits + std::string(kTemporaryEnding);
}

// Whether a temporary file for `name` may have that name.
bool IsTemporaryName(std::string_view text, const std::string& name) {
  const std::string stem = Stem(name) + ".";
  if (text.size() != stem.size() + kDigits + kTemporaryEnding.size()) return false;
  if (!text.starts_with(stem) || !text.ends_with(kTemporaryEnding)) return false;
  return text.substr(stem.size(), kDigits).find_first_not_of("0123456789abcdef") ==
         std::string_view::npos;
}

// Whose turn it is to wait for the lock itself, so that one who releases it and wants it again
// stands behind those who have waited, however busy the machine is. Killed there, it leaves an
// empty file that the next who waits removes.
class NextInLine {
 public:
  explicit NextInLine(std::string path) : path_(std::move(path)) {}
  ~NextInLine() {
    try {
      char byte = 0;
      size_t count = 0;
      if (file_ != nullptr && file_->ReadAt(0, &byte, 1, &count) && count == 0) {
        Files().RemoveAlone(path_, std::move(file_));
      }
    } catch (const std::bad_alloc&) {
    }
  }
  NextInLine(const NextInLine&) = delete;
  NextInLine& operator=(const NextInLine&) = delete;

  bool Wait(Patience* patience, bool* in_use) {
    while (file_ == nullptr) {
      file_ = Files().OpenAlone(path_, in_use);
      if (file_ == nullptr && !(*in_use && patience->Wait())) return false;
    }
    return true;
  }

 private:
  std::string path_;
  std::unique_ptr<File> file_;
};

// A number that no other temporary file is likely to have.
uint64_t AnyNumber(const void* own) {
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return (static_cast<uint64_t>(now) ^ (reinterpret_cast<uintptr_t>(own) << 20)) *
         0x9E3779B97F4A7C15;
}

}  // namespace

std::unique_ptr<ChangeLock> ChangeLock::Take(const std::string& path,
                                             std::chrono::milliseconds wait, bool* in_use) {
  bool ignored = false;
  if (in_use == nullptr) in_use = &ignored;
  *in_use = false;
  std::string target = Files().Target(path);
  if (target.empty()) return nullptr;
  const SplitPath parts = Split(target);
  const std::string stem = parts.directory + Stem(parts.name);
  std::string lock_path = stem + std::string(kLockEnding);
  NextInLine next(stem + std::string(kNextEnding));
  Patience patience(wait);
  bool queue = Files().Exists(stem + std::string(kNextEnding));
  for (;; queue = true) {
    if (queue && !next.Wait(&patience, in_use)) return nullptr;
    std::unique_ptr<File> file = Files().OpenAlone(lock_path, in_use);
    if (file != nullptr) {
      return std::unique_ptr<ChangeLock>(
          new ChangeLock(std::move(target), std::move(lock_path), std::move(file)));
    }
    if (!*in_use || !patience.Wait()) return nullptr;
  }
}

ChangeLock::ChangeLock(std::string target, std::string lock_path, std::unique_ptr<File> file)
    : target_(std::move(target)), lock_path_(std::move(lock_path)), file_(std::move(file)) {
  RemoveLeftOver();
}

ChangeLock::~ChangeLock() {
  try {
    if (!own_) RemoveLeftOver();  // it may have been unreadable for a moment
    if (own_ && !left_over_) Files().RemoveAlone(lock_path_, std::move(file_));
  } catch (const std::bad_alloc&) {  // then the next user removes it
  }
  file_.reset();
}

bool ChangeLock::IsLeftOver(const std::string& lock_path) {
  std::array<char, kMark.size()> bytes;
  size_t count = 0;
  const std::unique_ptr<File> file = Files().Open(lock_path, OpenMode::kRead);
  return file != nullptr && file->ReadAt(0, bytes.data(), bytes.size(), &count) &&
         std::string_view(bytes.data(), count) == kMark && file->Lock(LockMode::kShared);
}

void ChangeLock::RemoveLeftOver() {
  std::array<char, 512> bytes;
  size_t count = 0;
  if (!file_->ReadAt(0, bytes.data(), bytes.size(), &count)) return;
  std::string_view text(bytes.data(), count);
  own_ = text.empty() || text.starts_with(kMark);
  if (text.empty() || !own_) return;
  text.remove_prefix(kMark.size());
  text = text.substr(0, text.find('\n'));
  const SplitPath parts = Split(target_);
  if (IsTemporaryName(text, parts.name)) Files().Remove(parts.directory + std::string(text));
}

std::unique_ptr<File> ChangeLock::MakeTemporary(std::string* path) {
  const SplitPath parts = Split(target_);
  uint64_t number = AnyNumber(this);
  for (int tries = 0; tries < kTriesForName; ++tries, ++number) {
    const std::string name = TemporaryName(parts.name, number);
    if (own_) {
      // Noted before it is there, so that it is never there without a note. That nothing can be
      // noted is no reason to give up.
      const std::string note = std::string(kMark) + name + "\n";
      size_t written = 0;
      file_->WriteAt(0, note.data(), note.size(), &written);
    }
    *path = parts.directory + name;
    std::unique_ptr<File> file = Files().Open(*path, OpenMode::kCreateNew);
    if (file != nullptr) return file;
    if (Files().Status(*path) == PathStatus::kNothing) break;
  }
  path->clear();
  return nullptr;
}

// What cannot be removed the next user of the lock removes.
void ChangeLock::RemoveTemporary(const std::string& path) {
  left_over_ = true;
  try {
    left_over_ = !Files().Remove(path) && Files().Exists(path);
  } catch (const std::bad_alloc&) {
  }
}

Replacement::Replacement(const std::string& path) : lock_(nullptr) {
  bool in_use = false;
  own_lock_ = ChangeLock::Take(path, kLockWait, &in_use);
  lock_ = own_lock_.get();
  if (lock_ == nullptr) result_ = in_use ? ReplaceResult::kBusy : ReplaceResult::kNotCreated;
  Begin();
}

Replacement::Replacement(ChangeLock* lock) : lock_(lock) { Begin(); }

void Replacement::Begin() {
  if (lock_ == nullptr) return;
  file_ = lock_->MakeTemporary(&temporary_);
  if (file_ == nullptr) {
    result_ = ReplaceResult::kNotCreated;
    return;
  }
  try {
    // What others may not read must not be read under the temporary name either.
    if (Files().Status(lock_->target()) == PathStatus::kFile) {
      Files().CopyAccess(lock_->target(), temporary_);
    }
  } catch (const std::bad_alloc&) {  // there is a file to be removed
    result_ = ReplaceResult::kNotCreated;
  }
}

Replacement::~Replacement() {
  file_.reset();
  if (!temporary_.empty()) lock_->RemoveTemporary(temporary_);
}

ReplaceResult Replacement::Write(uint64_t offset, std::span<const uint8_t> bytes) {
  if (result_ != ReplaceResult::kDone) return result_;
  size_t written = 0;
  if (!file_->WriteAt(offset, bytes.data(), bytes.size(), &written)) {
    result_ = ReplaceResult::kSeekFailed;
  } else if (written < bytes.size()) {
    result_ = ReplaceResult::kShortWrite;
  }
  return result_;
}

ReplaceResult Replacement::Commit(Force force) {
  if (file_ != nullptr) {
    const bool closed = file_->Close();
    file_.reset();
    if (!closed && result_ == ReplaceResult::kDone) result_ = ReplaceResult::kNotClosed;
  }
  if (result_ == ReplaceResult::kDone) {
    if (Files().MoveOver(temporary_, lock_->target(), force)) {
      temporary_.clear();
    } else {
      result_ = ReplaceResult::kNotMoved;
    }
  }
  return result_;
}

std::string FreeName(const std::string& path) {
  constexpr int kMostNames = 1000;
  std::string name = path;
  for (int number = 2; number <= kMostNames; ++number) {
    const PathStatus status = Files().Status(name);
    if (status == PathStatus::kUnknown) break;
    // Not of a link that leads nowhere, either.
    if (status == PathStatus::kNothing && !Files().Exists(name)) return name;
    name = path + std::to_string(number);
  }
  return {};
}

ReplaceResult ReplaceFile(const std::string& path, std::span<const uint8_t> bytes, Force force) {
  Replacement replacement(path);
  replacement.Write(0, bytes);
  return replacement.Commit(force);
}

}  // namespace tervalon::platform
