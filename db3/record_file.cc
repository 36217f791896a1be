#include "db3/record_file.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "appsvc/export_guard.h"
#include "db3/file_bytes.h"

namespace tervalon::db3 {
namespace {

using platform::Files;
using platform::LockMode;
using platform::OpenMode;

constexpr size_t kMarkerBlock = 16384;  // read at a time when looking for deleted records
constexpr size_t kCopyBlock = 1 << 18;

// A file that is being written, to take the place of the one at `path`.
std::string NewPath(const std::string& path) { return path + ".new"; }

void RemoveFile(const std::string& path) {
  if (Files().Status(path) == platform::PathStatus::kFile) Files().Remove(path);
}

// Makes the file that is to take the place of the one at `path`, over what a process left that
// ended while it wrote.
std::unique_ptr<platform::File> CreateNew(const std::string& path) {
  return OpenLocked(path, LockMode::kExclusive, /*anew=*/true);
}

// Removes such a file when no process has it in use.
void RemoveLeftOver(const std::string& path) {
  if (Files().Status(path) != platform::PathStatus::kFile) return;
  const std::unique_ptr<platform::File> file = Files().Open(path, OpenMode::kReadWrite);
  if (file != nullptr && file->Lock(LockMode::kExclusive)) Files().Remove(path);
}

// A record as it is stored, with room for the end mark.
std::vector<uint8_t> Stored(std::span<const char> text) {
  std::vector<uint8_t> record;
  record.reserve(text.size() + 2);
  record.push_back(kLiveMark);
  record.insert(record.end(), text.begin(), text.end());
  return record;
}

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
  const std::string beside = NewPath(path);
  const std::unique_ptr<platform::File> file = CreateNew(beside);
  if (file == nullptr) return kFileCreation;
  if (WriteWhole(file.get(), 0, header.bytes) && Files().MoveOver(beside, path)) {
    UndoFile(path).Remove();
    return kSuccess;
  }
  RemoveFile(beside);
  return kFileCreation;
}

Cause RecordFile::Open(const std::string& path, std::unique_ptr<RecordFile>* file) {
  file->reset(new RecordFile(FromRoot(path)));
  const Cause cause = (*file)->Load();
  if (cause != kSuccess) file->reset();
  return cause;
}

bool RecordFile::Remove(const std::string& path) {
  if (!Files().Remove(path)) return false;
  UndoFile(path).Remove();
  return true;
}

RecordFile::~RecordFile() {
  Guarded(kFileClose, [this] { return Close(); });
}

Cause RecordFile::Close() {
  if (!torn_) undo_.Close();
  torn_ = false;
  if (file_ == nullptr) return kSuccess;
  const bool closed = file_->Close();
  file_.reset();
  return closed ? kSuccess : kFileClose;
}

bool RecordFile::OpenFile() {
  file_ = Files().Open(path_, OpenMode::kReadWrite);
  if (file_ == nullptr) file_ = Files().Open(path_, OpenMode::kRead);
  return file_ != nullptr;
}

Cause RecordFile::Load() {
  if (!OpenFile()) {
    return Files().Status(path_) == platform::PathStatus::kNothing ? kFileMissing : kFileOpen;
  }
  if (!undo_.TakeBack(file_.get(), true)) {
    torn_ = true;  // for the next who opens the file
    return kFileWrite;
  }
  undo_.Close();
  Cause cause = LoadHeader();
  if (cause == kSuccess) cause = FindDeleted();
  if (cause == kSuccess) RemoveLeftOver(NewPath(path_));
  return cause;
}

Cause RecordFile::LoadHeader() {
  uint64_t file_size = 0;
  uint8_t start[kHeaderStart];
  if (!file_->Size(&file_size)) return kFileRead;
  if (file_size < sizeof(start)) return kInvalidFormat;
  if (!ReadWhole(file_.get(), 0, start, sizeof(start))) return kFileRead;
  const size_t header_size = HeaderSize(start);
  if (header_size == 0 || header_size > file_size) return kInvalidFormat;
  std::vector<uint8_t> bytes(header_size);
  if (!ReadWhole(file_.get(), 0, bytes.data(), bytes.size())) return kFileRead;
  if (!DecodeHeader(std::move(bytes), &header_)) return kInvalidFormat;
  // More than the records is no fault: an end mark, padding, a record not yet counted.
  return OffsetOf(header_.stored) <= file_size ? kSuccess : kInvalidFormat;
}

Cause RecordFile::FindDeleted() {
  const uint32_t size = header_.record_size;
  const uint32_t per_block = std::max<uint32_t>(1, kMarkerBlock / size);
  scratch_.resize(size_t{per_block - 1} * size + 1);
  deleted_.clear();
  for (uint32_t first = 0; first < header_.stored; first += per_block) {
    const uint32_t records = std::min(per_block, header_.stored - first);
    if (!ReadWhole(file_.get(), OffsetOf(first), scratch_.data(), size_t{records - 1} * size + 1)) {
      return kFileRead;
    }
    for (uint32_t i = 0; i < records; ++i) {
      const uint8_t mark = scratch_[size_t{i} * size];
      if (mark == kDeletedMark) deleted_.push_back(first + i);
      // Anything else: the records do not begin where the header says, or are not of its length.
      if (mark != kDeletedMark && mark != kLiveMark) return kInvalidFormat;
    }
  }
  return kSuccess;
}

bool RecordFile::Ready() {
  if (file_ == nullptr && !OpenFile()) return false;
  if (torn_) torn_ = !undo_.TakeBack(file_.get(), false);
  return !torn_;
}

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

Cause RecordFile::Read(int32_t number, std::span<char> text) {
  if (!Has(number)) return kRecordNumber;
  if (text.size() != text_size() || !Ready()) return kFileRead;
  const uint64_t offset = OffsetOf(PlaceOf(number)) + 1;
  return ReadWhole(file_.get(), offset, text.data(), text.size()) ? kSuccess : kFileRead;
}

Cause RecordFile::Update(int32_t number, std::span<const char> text) {
  if (!Has(number)) return kRecordNumber;
  if (text.size() != text_size() || !Ready()) return kFileWrite;
  if (!Overwrite(OffsetOf(PlaceOf(number)) + 1, BytesOf(text))) return kFileWrite;
  StampDate();
  return kSuccess;
}

Cause RecordFile::Insert(int32_t number, std::span<const char> text) {
  if (number != count() + 1 && !Has(number)) return kRecordNumber;
  if (text.size() != text_size() || !Ready()) return kFileWrite;
  const bool at_end = number > count();
  return (at_end ? Append(text) : Rewrite(PlaceOf(number), text)) ? kSuccess : kFileWrite;
}

Cause RecordFile::Delete(int32_t number) {
  if (!Has(number)) return kRecordNumber;
  return Ready() && Rewrite(PlaceOf(number), {}) ? kSuccess : kFileWrite;
}

bool RecordFile::Overwrite(uint64_t offset, std::span<const uint8_t> bytes) {
  scratch_.resize(bytes.size());
  if (!ReadWhole(file_.get(), offset, scratch_.data(), scratch_.size())) return false;
  if (!undo_.Keep(offset, scratch_, bytes)) return false;
  if (WriteWhole(file_.get(), offset, bytes)) {
    undo_.Forget();
    return true;
  }
  torn_ = !undo_.TakeBack(file_.get(), false);
  return false;
}

// The record that was changed is safe already: a date that cannot be written is no failure.
void RecordFile::StampDate() {
  const int64_t now = std::time(nullptr);
  if (now == stamped_) return;
  stamped_ = now;
  const HeaderDate today = Today();
  if (today != header_.Date() && Overwrite(kDateOffset, today)) header_.SetDate(today);
}

bool RecordFile::Append(std::span<const char> text) {
  const uint64_t end = OffsetOf(header_.stored);
  std::vector<uint8_t> record = Stored(text);
  record.push_back(kEndMark);
  RecordHeader counted = header_;
  counted.SetStored(header_.stored + 1);
  counted.SetDate(Today());
  if (!WriteWhole(file_.get(), end, record) ||
      !Overwrite(0, std::span(counted.bytes).first(kCountEnd))) {
    // Unless the torn header may yet turn out to count the record.
    if (!torn_) WriteWhole(file_.get(), end, {&kEndMark, 1});
    return false;
  }
  header_ = std::move(counted);
  return true;
}

bool RecordFile::Rewrite(uint32_t place, std::span<const char> inserted) {
  if (!undo_.Forget()) return false;  // records move
  RecordHeader changed = header_;
  changed.SetStored(inserted.empty() ? header_.stored - 1 : header_.stored + 1);
  changed.SetDate(Today());
  std::vector<uint32_t> deleted = deleted_;
  for (uint32_t& other : deleted) {
    if (other >= place) other += inserted.empty() ? uint32_t(-1) : 1;
  }
  const std::string beside = NewPath(path_);
  const std::unique_ptr<platform::File> target = CreateNew(beside);
  if (target == nullptr) return false;
  const bool complete =
      WriteWhole(target.get(), 0, changed.bytes) && WriteAnew(target.get(), place, inserted);
  if (complete) file_.reset();  // some systems do not replace what is open
  const bool moved = complete && Files().MoveOver(beside, path_);
  // A file that cannot be opened again now is tried with the next operation.
  if (file_ == nullptr) OpenFile();
  if (!moved) {
    RemoveFile(beside);
    return false;
  }
  header_ = std::move(changed);
  deleted_ = std::move(deleted);
  return true;
}

bool RecordFile::WriteAnew(platform::File* target, uint32_t place, std::span<const char> inserted) {
  uint64_t position = OffsetOf(0);
  const uint64_t kept_from = OffsetOf(inserted.empty() ? place + 1 : place);
  if (!Copy(OffsetOf(0), OffsetOf(place), target, &position)) return false;
  if (!inserted.empty()) {
    if (!WriteWhole(target, position, Stored(inserted))) return false;
    position += header_.record_size;
  }
  return Copy(kept_from, OffsetOf(header_.stored), target, &position) &&
         WriteWhole(target, position, {&kEndMark, 1});
}

bool RecordFile::Copy(uint64_t begin, uint64_t end, platform::File* target, uint64_t* position) {
  while (begin < end) {
    scratch_.resize(static_cast<size_t>(std::min<uint64_t>(end - begin, kCopyBlock)));
    if (!ReadWhole(file_.get(), begin, scratch_.data(), scratch_.size()) ||
        !WriteWhole(target, *position, scratch_)) {
      return false;
    }
    begin += scratch_.size();
    *position += scratch_.size();
  }
  return true;
}

}  // namespace tervalon::db3
