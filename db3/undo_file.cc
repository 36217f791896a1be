#include "db3/undo_file.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "db3/file_bytes.h"

namespace tervalon::db3 {
namespace {

using platform::Files;
using platform::LockMode;
using platform::OpenMode;
using platform::PathStatus;

// The file holds one record: this head, the old bytes, as many new bytes.
struct Head {
  uint64_t magic;
  uint64_t check;   // over all that follows it
  uint64_t offset;  // in the file that is written over
  uint64_t count;   // of old bytes
};
constexpr uint64_t kMagic = 0x316F646E55334264;  // "dB3Undo1"
constexpr size_t kCheckedFrom = offsetof(Head, offset);
constexpr uint64_t kLargestCount = 1 << 16;  // no header or record is longer

// Mixes in eight bytes at a time: records are checked with every update.
uint64_t Check(std::span<const uint8_t> bytes) {
  uint64_t sum = bytes.size();
  while (!bytes.empty()) {
    uint64_t word = 0;
    const size_t length = std::min(bytes.size(), sizeof(word));
    std::memcpy(&word, bytes.data(), length);
    sum = std::rotl((sum ^ word) * 0x9E3779B97F4A7C15, 29);
    bytes = bytes.subspan(length);
  }
  return sum;
}

// False for what is no whole record.
bool Decode(std::span<const uint8_t> bytes, Head* head) {
  if (bytes.size() < sizeof(*head)) return false;
  std::memcpy(head, bytes.data(), sizeof(*head));
  if (head->magic != kMagic || head->count > kLargestCount) return false;
  const size_t size = sizeof(*head) + 2 * static_cast<size_t>(head->count);
  return size <= bytes.size() &&
         head->check == Check(bytes.subspan(kCheckedFrom, size - kCheckedFrom));
}

// Whether `found` is what a write of `new_bytes` over `old_bytes` leaves when it is cut short.
bool IsMixture(std::span<const uint8_t> found, const uint8_t* old_bytes, const uint8_t* new_bytes) {
  for (size_t i = 0; i < found.size(); ++i) {
    if (found[i] != old_bytes[i] && found[i] != new_bytes[i]) return false;
  }
  return true;
}

}  // namespace

bool UndoFile::Keep(uint64_t offset, std::span<const uint8_t> old_bytes,
                    std::span<const uint8_t> new_bytes) {
  if (file_ == nullptr) file_ = OpenLocked(path_, LockMode::kShared, /*anew=*/false);
  if (file_ == nullptr) return false;
  Head head = {kMagic, 0, offset, old_bytes.size()};
  record_.resize(sizeof(head));
  record_.insert(record_.end(), old_bytes.begin(), old_bytes.end());
  record_.insert(record_.end(), new_bytes.begin(), new_bytes.end());
  std::memcpy(record_.data(), &head, sizeof(head));
  head.check = Check(std::span(record_).subspan(kCheckedFrom));
  std::memcpy(record_.data(), &head, sizeof(head));
  return WriteWhole(file_.get(), 0, record_);
}

bool UndoFile::Forget() {
  constexpr uint8_t kNothing[sizeof(uint64_t)] = {};
  return file_ == nullptr || WriteWhole(file_.get(), 0, kNothing);
}

bool UndoFile::TakeBack(platform::File* target, bool finished_stands) {
  if (file_ == nullptr) {
    if (Files().Status(path_) != PathStatus::kFile) return true;
    file_ = Files().Open(path_, OpenMode::kReadWrite);
    if (file_ == nullptr) file_ = Files().Open(path_, OpenMode::kRead);
    if (file_ == nullptr) return Files().Status(path_) != PathStatus::kFile;
    if (!file_->Lock(LockMode::kExclusive)) {
      file_->Lock(LockMode::kShared,
                  std::chrono::milliseconds(200));  // waits for another who takes back
      file_.reset();
      return true;
    }
  }
  record_.assign(sizeof(Head) + 2 * kLargestCount, 0);
  size_t size = 0;
  if (!file_->ReadAt(0, record_.data(), record_.size(), &size)) return false;
  record_.resize(size);
  Head head = {};
  // A record that was cut short itself: nothing was written over yet.
  if (!Decode(record_, &head)) return true;

  const auto count = static_cast<size_t>(head.count);
  const uint8_t* old_bytes = record_.data() + sizeof(head);
  const uint8_t* new_bytes = old_bytes + count;
  std::vector<uint8_t> found(count);
  size_t read = 0;
  if (!target->ReadAt(head.offset, found.data(), count, &read)) return false;
  const bool untouched = std::equal(found.begin(), found.end(), old_bytes);
  const bool finished = finished_stands && std::equal(found.begin(), found.end(), new_bytes);
  if (read == count && !untouched && !finished && IsMixture(found, old_bytes, new_bytes) &&
      !WriteWhole(target, head.offset, {old_bytes, count})) {
    return false;
  }
  Forget();
  return true;
}

void UndoFile::Close() {
  if (file_ != nullptr && file_->Lock(LockMode::kExclusive)) Files().Remove(path_);
  file_.reset();
}

void UndoFile::Remove() {
  file_.reset();
  if (Files().Status(path_) == PathStatus::kFile) Files().Remove(path_);
}

}  // namespace tervalon::db3
