#include "raw/member_change.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/file_change.h"

namespace tervalon::raw {
namespace {

using platform::ChangeLock;
using platform::ReplaceResult;
using Bytes = std::vector<uint8_t>;

// What a handle's caller knows of a member.
struct KnownParts : KnownContent {
  Bytes file;          // as it was
  bool whole = false;  // the file had nothing but the caller's parts
  MemberParts parts;
};

Bytes Join(const MemberParts& parts) {
  Bytes bytes;
  for (const std::string& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
  return bytes;
}

MemberParts Merge(const MemberParts& base, const MemberParts& mine, const MemberParts& theirs) {
  MemberParts merged = mine;
  for (size_t i = 0; i < mine.size() && i < base.size() && i < theirs.size(); ++i) {
    if (mine[i] == base[i]) merged[i] = theirs[i];
  }
  if (mine.size() == base.size() && theirs.size() > mine.size()) {
    merged.insert(merged.end(), theirs.begin() + static_cast<std::ptrdiff_t>(mine.size()),
                  theirs.end());
  }
  return merged;
}

int32_t ErrorOf(ReplaceResult result) {
  switch (result) {
    case ReplaceResult::kDone:
      return RAW_OK;
    case ReplaceResult::kBusy:
      return RAW_LOCK_FAILED;
    case ReplaceResult::kSeekFailed:
      return RAW_SEEK_FAILED;
    case ReplaceResult::kShortWrite:
      return RAW_SHORT_WRITE;
    case ReplaceResult::kNotClosed:
      return RAW_MEMBER_NOT_CLOSED;
    case ReplaceResult::kNotCreated:
    case ReplaceResult::kNotMoved:
      break;
  }
  return RAW_MEMBER_NOT_OPENED;
}

}  // namespace

int32_t ReadMember(int32_t handle, int32_t code, size_t limit, MemberContent* content) {
  *content = {};
  std::unique_ptr<platform::File> file;
  const int32_t error = OpenForReading(handle, code, 0, &file, &content->absent);
  if (error != RAW_OK) return content->absent ? RAW_OK : error;
  constexpr size_t kBlock = 16384;  // most members are shorter
  Bytes& bytes = content->bytes;
  for (bool ended = false; !ended && bytes.size() < limit;) {
    const size_t offset = bytes.size();
    const size_t wanted = std::min(kBlock, limit - offset);
    size_t read = 0;
    bytes.resize(offset + wanted);
    if (!file->ReadAt(offset, bytes.data() + offset, wanted, &read)) return RAW_SEEK_FAILED;
    bytes.resize(offset + read);
    ended = read < wanted;
  }
  return RAW_OK;
}

int32_t ChangeMember(int32_t handle, int32_t code, size_t limit, const MemberChange& change) {
  std::unique_ptr<ChangeLock> lock;
  int32_t error = LockMember(handle, code, 0, &lock);
  if (error != RAW_OK) return error;
  MemberContent content;
  Bytes fresh;
  error = ReadMember(handle, code, limit, &content);
  if (error == RAW_OK) error = change(content, &fresh);
  if (error != RAW_OK) return error;
  platform::Replacement replacement(lock.get());
  replacement.Write(0, fresh);
  return ErrorOf(replacement.Commit(platform::Force::kToDisk));
}

int32_t ReplaceMember(int32_t handle, int32_t code, int32_t number, const void* bytes,
                      uint32_t count) {
  std::unique_ptr<ChangeLock> lock;
  const int32_t error = LockMember(handle, code, number, &lock);
  if (error != RAW_OK) return error;
  platform::Replacement replacement(lock.get());
  replacement.Write(0, {static_cast<const uint8_t*>(bytes), count});
  return ErrorOf(replacement.Commit(platform::Force::kToDisk));
}

void RememberParts(int32_t handle, int32_t code, const MemberContent& content, MemberParts parts) {
  auto known = std::make_unique<KnownParts>();
  known->file = content.bytes;
  known->whole = true;
  known->parts = std::move(parts);
  KnownContentOf(handle, code) = std::move(known);
}

int32_t WriteParts(int32_t handle, int32_t code, size_t limit, MemberParts parts,
                   const std::function<MemberParts(const Bytes& bytes)>& split) {
  auto known = std::make_unique<KnownParts>();
  known->parts = std::move(parts);
  const auto change = [&](const MemberContent& content, Bytes* fresh) -> int32_t {
    const auto* before = dynamic_cast<const KnownParts*>(KnownContentOf(handle, code).get());
    known->whole =
        before == nullptr || content.absent || (before->whole && content.bytes == before->file);
    *fresh = Join(known->whole ? known->parts
                               : Merge(before->parts, known->parts, split(content.bytes)));
    known->file = *fresh;
    return RAW_OK;
  };
  const int32_t error = ChangeMember(handle, code, limit, change);
  if (error == RAW_OK) KnownContentOf(handle, code) = std::move(known);
  return error;
}

MemberParts SplitRecords(const Bytes& bytes, size_t record_size) {
  MemberParts records;
  for (size_t end = record_size; end <= bytes.size(); end += record_size) {
    records.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(end - record_size),
                         bytes.begin() + static_cast<std::ptrdiff_t>(end));
  }
  return records;
}

}  // namespace tervalon::raw
