#include "db3/record_file.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "appsvc/export_guard.h"
#include "db3/file_bytes.h"
#include "platform/file_change.h"

namespace tervalon::db3 {
namespace {

using platform::Files;
using platform::Force;
using platform::LockMode;
using platform::OpenMode;
using platform::ReplaceResult;

constexpr size_t kMarkerBlock = 16384;  // read at a time when looking for deleted records

// A longer journal does not stay behind the file until the next change or the closing.
constexpr uint64_t kSmallJournal = 1 << 16;

std::span<const uint8_t> BytesOf(std::span<const char> text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

}  // namespace

std::string FromRoot(const std::string& path) {
  const bool has_drive = path.size() > 1 && path[1] == ':';
  if (has_drive || path.starts_with('\\') || path.starts_with('/')) return path;
  const std::string directory = Files().WorkingDirectory();
  return directory.empty() ? path : directory + "\\" + path;
}

Cause RecordFile::Create(const std::string& path, std::span<const FieldDescriptor> fields) {
  RecordHeader header;
  if (!MakeHeader(fields, &header)) return kFileCreation;
  header.bytes.push_back(kEndMark);
  const bool replaces = Files().Status(path) == platform::PathStatus::kFile;
  switch (platform::ReplaceFile(path, header.bytes, Force::kToDisk)) {
    case ReplaceResult::kDone:
      return kSuccess;
    case ReplaceResult::kNotMoved:
      return replaces ? kFileDeletion : kFileCreation;
    default:
      return kFileCreation;
  }
}

Cause RecordFile::Open(const std::string& path, std::unique_ptr<RecordFile>* file) {
  file->reset(new RecordFile(FromRoot(path)));
  const Cause cause = Turn(file->get(), LockMode::kShared).cause();
  if (cause != kSuccess) file->reset();
  return cause;
}

RecordFile::~RecordFile() {
  Guarded(kFileClose, [this] { return Close(); });
}

Cause RecordFile::Close() {
  if (file_ == nullptr) return kSuccess;
  bool closed = true;
  if (changed_) {
    // Not when others are at work: they do it.
    if (file_->Lock(LockMode::kExclusive)) DropJournal();
    closed = file_->Sync();
  }
  closed = file_->Close() && closed;
  file_.reset();
  return closed ? kSuccess : kFileClose;
}

// --- Turns ---

Cause RecordFile::OpenFile() {
  bool absent = false;
  loaded_ = false;
  file_ = Files().Open(path_, OpenMode::kReadWrite, &absent);
  if (file_ == nullptr && !absent) file_ = Files().Open(path_, OpenMode::kRead, &absent);
  if (file_ != nullptr) return kSuccess;
  return absent ? kFileMissing : kFileOpen;
}

Cause RecordFile::LockFile(LockMode mode) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + platform::kLockWait;
  std::chrono::milliseconds rest = platform::kLockWait;
  for (;;) {
    if (file_ == nullptr) {
      const Cause cause = OpenFile();
      if (cause != kSuccess) return cause;
    }
    if (file_->Lock(mode, rest)) {
      locked_ = true;
      return kSuccess;
    }
    rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (rest.count() <= 0) return mode == LockMode::kShared ? kFileRead : kFileWrite;
    file_.reset();  // another took its place
  }
}

Cause RecordFile::Enter(LockMode mode) {
  Cause cause = LockFile(mode);
  if (cause == kSuccess) cause = Refresh(mode);
  if (cause != kSuccess) Leave();
  return cause;
}

void RecordFile::Leave() {
  if (locked_ && file_ != nullptr) file_->Unlock();
  locked_ = false;
  read_number_ = 0;
}

Cause RecordFile::Refresh(LockMode mode) {
  HeaderStart start;
  const auto read = [&] { return ReadWhole(file_.get(), 0, start.data(), start.size()); };
  if (!read()) return loaded_ ? kFileRead : Load();
  if (start[kPendingOffset] == kPending) {
    if (mode == LockMode::kShared) {
      Leave();
      return Enter(LockMode::kExclusive);
    }
    const Cause cause = TakeBack();
    if (cause != kSuccess) return cause;
    if (!read()) return kFileRead;
  }
  if (!loaded_) return Load();
  if (!std::equal(start.begin(), start.end(), header_.bytes.begin())) {
    uint64_t size = 0;
    if (!file_->Size(&size)) return kFileRead;
    if (!header_.Follow(start) || OffsetOf(header_.stored) > size) return Load();
  }
  return DeletedStand() ? kSuccess : Load();
}

// A mark without a journal is another program's, or what a power cut left: it counts for nothing.
Cause RecordFile::TakeBack() {
  CopyBuffer buffer;
  bool kept = false;
  if (!UndoJournal::TakeBack(file_.get(), &buffer, &kept)) return kFileWrite;
  if (kept) loaded_ = false;
  changed_ = changed_ || kept;
  return kSuccess;
}

Cause RecordFile::Load() {
  loaded_ = false;
  RecordHeader header;
  std::vector<uint32_t> deleted;
  Cause cause = LoadHeader(&header);
  if (cause == kSuccess) cause = FindDeleted(header, &deleted);
  if (cause != kSuccess) return cause;
  if (!header_.fields.empty() && !SameFields(header.fields, header_.fields)) {
    return kRecordStructure;
  }
  header_ = std::move(header);
  deleted_ = std::move(deleted);
  loaded_ = true;
  return kSuccess;
}

Cause RecordFile::LoadHeader(RecordHeader* header) {
  uint64_t file_size = 0;
  uint8_t start[kHeaderStart];
  if (!file_->Size(&file_size)) return kFileRead;
  if (file_size < sizeof(start)) return kInvalidFormat;
  if (!ReadWhole(file_.get(), 0, start, sizeof(start))) return kFileRead;
  const size_t header_size = HeaderSize(start);
  if (header_size == 0 || header_size > file_size) return kInvalidFormat;
  std::vector<uint8_t> bytes(header_size);
  if (!ReadWhole(file_.get(), 0, bytes.data(), bytes.size())) return kFileRead;
  if (!DecodeHeader(std::move(bytes), header)) return kInvalidFormat;
  // More than the records is no fault: an end mark, padding, a record not yet counted.
  return header->OffsetOf(header->stored) <= file_size ? kSuccess : kInvalidFormat;
}

Cause RecordFile::FindDeleted(const RecordHeader& header, std::vector<uint32_t>* deleted) {
  const uint32_t size = header.record_size;
  const uint32_t per_block = std::max<uint32_t>(1, kMarkerBlock / size);
  std::vector<uint8_t> block(size_t{per_block - 1} * size + 1);
  for (uint32_t first = 0; first < header.stored; first += per_block) {
    const uint32_t records = std::min(per_block, header.stored - first);
    const size_t bytes = size_t{records - 1} * size + 1;
    if (!ReadWhole(file_.get(), header.OffsetOf(first), block.data(), bytes)) return kFileRead;
    for (uint32_t i = 0; i < records; ++i) {
      const uint8_t mark = block[size_t{i} * size];
      if (mark == kDeletedMark) deleted->push_back(first + i);
      // Anything else: the records do not begin where the header says, or are not of its length.
      if (mark != kDeletedMark && mark != kLiveMark) return kInvalidFormat;
    }
  }
  return kSuccess;
}

// No user of this library marks records or takes marks away, but each moves them: as many as there
// were are there, and these are all.
bool RecordFile::DeletedStand() {
  return std::all_of(deleted_.begin(), deleted_.end(), [this](uint32_t place) {
    uint8_t mark = 0;
    return place < header_.stored && ReadWhole(file_.get(), OffsetOf(place), &mark, 1) &&
           mark == kDeletedMark;
  });
}

// --- Records ---

uint32_t RecordFile::PlaceOf(int32_t number) const {
  const auto index = static_cast<uint32_t>(number - 1);
  // Before the k-th deleted record stand (its place - k) others.
  uint32_t low = 0;
  auto high = static_cast<uint32_t>(deleted_.size());
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (deleted_[middle] - middle <= index) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return index + low;
}

// Reads a record's mark, and as much behind it as there is room for. Other programs may have marked
// it meanwhile.
Cause RecordFile::Find(int32_t number, uint32_t* place, std::span<uint8_t> record) {
  for (int tries = 0; tries < 2; ++tries) {
    if (number < 1 || number > count()) return kRecordNumber;
    *place = PlaceOf(number);
    if (!ReadWhole(file_.get(), OffsetOf(*place), record.data(), record.size())) return kFileRead;
    if (record[0] == kLiveMark) return kSuccess;
    const Cause cause = Load();
    if (cause != kSuccess) return cause;
  }
  return kFileRead;
}

Cause RecordFile::Find(int32_t number, uint32_t* place) {
  uint8_t mark = 0;
  return Find(number, place, {&mark, 1});
}

Cause RecordFile::Read(int32_t number, std::span<char> text) {
  if (text.size() != text_size()) return kFileRead;
  uint32_t place = 0;
  record_.resize(header_.record_size);
  read_number_ = 0;
  const Cause cause = Find(number, &place, record_);
  if (cause != kSuccess) return cause;
  read_number_ = number;
  std::copy(record_.begin() + 1, record_.end(), text.begin());
  return kSuccess;
}

Cause RecordFile::Update(int32_t number, std::span<const char> text) {
  if (text.size() != text_size()) return kFileWrite;
  uint32_t place = PlaceOf(number);
  const bool is_read = read_number_ == number && number >= 1;  // in this turn, which is ours alone
  const Cause cause = is_read ? kSuccess : Find(number, &place);
  if (cause != kSuccess) return cause;
  const uint64_t offset = OffsetOf(place) + 1;
  Edit edit = {
      .old = {offset, offset + text.size()}, .bytes = BytesOf(text), .stored = header_.stored};
  if (is_read) edit.known = std::span(record_).subspan(1);
  read_number_ = 0;
  return Change(edit) ? kSuccess : kFileWrite;
}

Cause RecordFile::Insert(int32_t number, std::span<const char> text) {
  if (text.size() != text_size()) return kFileWrite;
  uint32_t place = header_.stored;
  const bool at_end = number == count() + 1;
  const Cause cause = at_end ? kSuccess : Find(number, &place);
  if (cause != kSuccess) return cause;
  record_.assign(1, kLiveMark);
  record_.insert(record_.end(), text.begin(), text.end());
  if (at_end) record_.push_back(kEndMark);
  const bool done = Change({.old = {OffsetOf(place), OffsetOf(header_.stored + 1) + 1},
                            .bytes = record_,
                            .kept_from = 0,
                            .kept_count = OffsetOf(header_.stored) - OffsetOf(place),
                            .stored = header_.stored + 1});
  if (!done) return kFileWrite;
  for (uint32_t& other : deleted_) {
    if (other >= place) ++other;
  }
  return kSuccess;
}

Cause RecordFile::Delete(int32_t number) {
  uint32_t place = 0;
  const Cause cause = Find(number, &place);
  if (cause != kSuccess) return cause;
  const bool done = Change({.old = {OffsetOf(place), OffsetOf(header_.stored) + 1},
                            .bytes = {},
                            .kept_from = header_.record_size,
                            .kept_count = OffsetOf(header_.stored) - OffsetOf(place + 1),
                            .stored = header_.stored - 1});
  if (!done) return kFileWrite;
  for (uint32_t& other : deleted_) {
    if (other >= place) --other;
  }
  return kSuccess;
}

// --- Changes ---

bool RecordFile::Change(Edit edit) {
  // Whatever needs memory comes before the first write.
  CopyBuffer buffer(edit.old.size() + UndoJournal::kTrailerSize);
  uint64_t end = 0;
  uint64_t size = 0;
  if (!UndoJournal::EndWithout(file_.get(), &end, &size)) return false;
  edit.old.end = std::min(edit.old.end, end);
  const uint64_t records_end = OffsetOf(std::max(header_.stored, edit.stored)) + 1;
  const uint64_t journal = std::max(end, records_end);
  const HeaderStart after = StartAfter(edit.stored);

  changed_ = true;
  const UndoJournal::Place place = {journal, size};
  if (!UndoJournal::Keep(file_.get(), edit.old, edit.known, header_.Start(), place, &buffer)) {
    file_->Resize(end);
    return false;
  }
  if (!Write(edit, journal, after, &buffer)) {
    // Where this fails, the next turn does it. The new header can be in the file although its
    // writing was reported to have failed, so the mark comes first.
    bool kept = false;
    if (WriteWhole(file_.get(), kPendingOffset, {&kPending, 1})) {
      UndoJournal::TakeBack(file_.get(), &buffer, &kept);
    }
    return false;
  }
  if (edit.stored < header_.stored) {
    file_->Resize(OffsetOf(edit.stored) + 1);
  } else if (edit.old.size() > kSmallJournal) {
    file_->Resize(journal);
  }
  header_.Follow(after);
  return true;
}

bool RecordFile::Write(const Edit& edit, uint64_t journal, const HeaderStart& after,
                       CopyBuffer* buffer) {
  const auto write = [this](uint64_t offset, std::span<const uint8_t> bytes) {
    return bytes.empty() || WriteWhole(file_.get(), offset, bytes);
  };
  const uint64_t behind = edit.old.begin + edit.bytes.size();
  const bool moves = edit.kept_count > 0 || edit.bytes.empty();
  return write(kPendingOffset, {&kPending, 1}) && write(edit.old.begin, edit.bytes) &&
         CopyBytes(file_.get(), journal + edit.kept_from, edit.kept_count, file_.get(), behind,
                   buffer) &&
         (!moves || write(OffsetOf(edit.stored), {&kEndMark, 1})) && write(0, after);
}

// The start of the header when a change is complete.
HeaderStart RecordFile::StartAfter(uint32_t stored) {
  const int64_t now = std::time(nullptr);
  if (now != looked_) today_ = Today();
  looked_ = now;
  return header_.StartWith(today_, stored);
}

void RecordFile::DropJournal() {
  uint8_t pending = kPending;
  uint64_t size = 0;
  uint64_t end = 0;
  if (ReadWhole(file_.get(), kPendingOffset, &pending, 1) && pending != kPending &&
      UndoJournal::EndWithout(file_.get(), &end, &size) && end < size) {
    file_->Resize(end);
  }
}

}  // namespace tervalon::db3
