#include "db3/undo_journal.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tervalon::db3 {
namespace {

using platform::File;

// What the file ends with, behind the kept bytes.
struct Trailer {
  uint64_t magic;
  uint64_t check;  // over the kept bytes and what follows here
  uint64_t offset;
  uint64_t count;     // of kept bytes
  uint8_t start[16];  // of the header; the last is 0
};
static_assert(sizeof(Trailer) == UndoJournal::kTrailerSize);
static_assert(sizeof(Trailer::start) > kChangingStart);
constexpr uint64_t kMagic = 0x326F646E55334264;  // "dB3Undo2"
constexpr size_t kCheckedFrom = offsetof(Trailer, offset);

// Mixes in eight bytes at a time: every update is checked.
class CheckSum {
 public:
  void Add(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
      uint64_t word = 0;
      const size_t length = std::min(bytes.size(), sizeof(word));
      std::memcpy(&word, bytes.data(), length);
      sum_ = std::rotl((sum_ ^ word) * 0x9E3779B97F4A7C15, 29);
      bytes = bytes.subspan(length);
    }
  }
  uint64_t Of(const Trailer& trailer) {
    uint8_t bytes[sizeof(trailer)];
    std::memcpy(bytes, &trailer, sizeof(trailer));
    Add(std::span(bytes).subspan(kCheckedFrom));
    return sum_;
  }

 private:
  uint64_t sum_ = 0;
};

struct Found {
  bool any = false;
  uint64_t begin = 0;  // of the kept bytes
  Trailer trailer;
};

// Looks for a journal at the end of a file of this size. False when the file cannot be read.
bool Find(File* file, uint64_t size, Found* found) {
  *found = {};
  Trailer& trailer = found->trailer;
  if (size < sizeof(trailer)) return true;
  const uint64_t end = size - sizeof(trailer);
  if (!ReadWhole(file, end, &trailer, sizeof(trailer))) return false;
  if (trailer.magic != kMagic || trailer.count > end) return true;
  found->begin = end - trailer.count;
  found->any = trailer.offset >= kHeaderStart && trailer.offset <= found->begin &&
               trailer.count <= found->begin - trailer.offset;
  return true;
}

// Looks for one whose check sum is right.
bool FindWhole(File* file, CopyBuffer* buffer, Found* found) {
  uint64_t size = 0;
  if (!file->Size(&size) || !Find(file, size, found)) return false;
  if (!found->any) return true;
  CheckSum check;
  const auto add = [&check](std::span<const uint8_t> piece, uint64_t) {
    check.Add(piece);
    return true;
  };
  if (!ForEachPiece(file, found->begin, found->trailer.count, buffer, add)) return false;
  found->any = check.Of(found->trailer) == found->trailer.check;
  return true;
}

}  // namespace

bool UndoJournal::EndWithout(File* file, uint64_t* end, uint64_t* size) {
  Found found;
  if (!file->Size(size) || !Find(file, *size, &found)) return false;
  *end = found.any ? found.begin : *size;
  return true;
}

bool UndoJournal::Keep(File* file, Range range, std::span<const uint8_t> known,
                       const HeaderStart& start, Place place, CopyBuffer* buffer) {
  const uint64_t at = place.at;
  Trailer trailer = {kMagic, 0, range.begin, range.size(), {}};
  std::copy(start.begin(), start.end(), trailer.start);
  const uint64_t end = at + range.size() + sizeof(trailer);
  if (place.file_size > end && !file->Resize(at)) return false;
  CheckSum check;
  // One write for what is short.
  const std::span<uint8_t> all = buffer->Part(range.size() + sizeof(trailer));
  if (all.size() == range.size() + sizeof(trailer)) {
    const std::span<uint8_t> kept = all.first(static_cast<size_t>(range.size()));
    if (known.size() == kept.size()) {
      std::copy(known.begin(), known.end(), kept.begin());
    } else if (!ReadWhole(file, range.begin, kept.data(), kept.size())) {
      return false;
    }
    check.Add(kept);
    trailer.check = check.Of(trailer);
    std::memcpy(all.data() + kept.size(), &trailer, sizeof(trailer));
    return WriteWhole(file, at, all);
  }
  const auto keep = [&](std::span<const uint8_t> piece, uint64_t done) {
    check.Add(piece);
    return WriteWhole(file, at + done, piece);
  };
  if (!ForEachPiece(file, range.begin, range.size(), buffer, keep)) return false;
  trailer.check = check.Of(trailer);
  uint8_t bytes[sizeof(trailer)];
  std::memcpy(bytes, &trailer, sizeof(trailer));
  return WriteWhole(file, at + range.size(), bytes);
}

bool UndoJournal::Look(File* file, CopyBuffer* buffer, bool* whole) {
  Found found;
  if (!FindWhole(file, buffer, &found)) return false;
  *whole = found.any;
  return true;
}

bool UndoJournal::TakeBack(File* file, CopyBuffer* buffer, bool* kept) {
  *kept = false;
  Found found;
  if (!FindWhole(file, buffer, &found)) return false;
  if (!found.any) return true;
  Trailer& trailer = found.trailer;
  trailer.start[kPendingOffset] = 0;  // also where somebody had set it before the change
  *kept = CopyBytes(file, found.begin, trailer.count, file, trailer.offset, buffer) &&
          WriteWhole(file, 0, std::span(trailer.start).first(kChangingStart));
  return *kept;
}

}  // namespace tervalon::db3
