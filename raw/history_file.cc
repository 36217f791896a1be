#include "raw/history_file.h"

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/little_endian.h"
#include "raw/member_change.h"
#include "raw/member_files.h"

namespace tervalon::raw {
namespace {

// Offsets within an entry. Its six link words come first.
constexpr size_t kValues = 12;
constexpr size_t kType = 20;
constexpr size_t kName = 22;
constexpr size_t kCreated = 55;
constexpr size_t kParameters = 59;

void DecodeFrom(const uint8_t* bytes, RawHistoryHeader* header) {
  const auto word = [bytes](size_t i) { return Load<uint16_t>(bytes + 2 * i); };
  header->tree_count = word(0);
  header->highest_index = word(1);
  for (size_t i = 0; i < RAW_HISTORY_TREES; ++i) {
    header->roots[i] = word(2 + i);
    header->counts[i] = word(2 + RAW_HISTORY_TREES + i);
  }
}

void EncodeTo(const RawHistoryHeader& header, uint8_t* bytes) {
  const auto store = [bytes](size_t i, uint16_t word) { Store(bytes + 2 * i, word); };
  store(0, header.tree_count);
  store(1, header.highest_index);
  for (size_t i = 0; i < RAW_HISTORY_TREES; ++i) {
    store(2 + i, header.roots[i]);
    store(2 + RAW_HISTORY_TREES + i, header.counts[i]);
  }
}

void DecodeFrom(const uint8_t* bytes, RawHistoryEntry* entry) {
  entry->index = Load<uint16_t>(bytes);
  entry->parent = Load<uint16_t>(bytes + 2);
  entry->first_child = Load<uint16_t>(bytes + 4);
  entry->previous = Load<uint16_t>(bytes + 6);
  entry->next = Load<uint16_t>(bytes + 8);
  entry->flags = Load<uint16_t>(bytes + 10);
  std::memcpy(entry->values, bytes + kValues, sizeof(entry->values));
  RawHistoryProcess& process = entry->process;
  process.type = Load<uint16_t>(bytes + kType);
  std::memcpy(process.name, bytes + kName, sizeof(process.name));
  process.created = Load<uint32_t>(bytes + kCreated);
  std::memcpy(process.parameters, bytes + kParameters, sizeof(process.parameters));
}

void EncodeTo(const RawHistoryEntry& entry, uint8_t* bytes) {
  Store<uint16_t>(bytes, entry.index);
  Store<uint16_t>(bytes + 2, entry.parent);
  Store<uint16_t>(bytes + 4, entry.first_child);
  Store<uint16_t>(bytes + 6, entry.previous);
  Store<uint16_t>(bytes + 8, entry.next);
  Store<uint16_t>(bytes + 10, entry.flags);
  std::memcpy(bytes + kValues, entry.values, sizeof(entry.values));
  const RawHistoryProcess& process = entry.process;
  Store<uint16_t>(bytes + kType, process.type);
  std::memcpy(bytes + kName, process.name, sizeof(process.name));
  Store<uint32_t>(bytes + kCreated, process.created);
  std::memcpy(bytes + kParameters, process.parameters, sizeof(process.parameters));
}

// What a handle's caller knows of the history.
struct KnownHistory : KnownContent {
  History history;
  HistoryPlaces places = {};
  std::vector<uint8_t> file;  // as it was
  bool whole = false;         // the file had nothing else
};

std::unique_ptr<KnownHistory> Know(const RawHistoryHeader& header, const RawHistoryEntry* entries) {
  auto known = std::make_unique<KnownHistory>();
  known->history.header = header;
  std::copy_n(entries, size_t{HighestIndex(header)} + 1, known->history.entries.begin());
  for (uint16_t i = 0; i < RAW_HISTORY_ENTRIES; ++i) known->places[i] = i;
  known->whole = true;
  return known;
}

// Writes a caller's history. When others have changed it since the caller read it, only what the
// caller has changed itself.
int32_t Update(int32_t handle, const RawHistoryHeader& header, const RawHistoryEntry* entries) {
  auto known = Know(header, entries);
  const auto change = [&](const MemberContent& content, std::vector<uint8_t>* fresh) -> int32_t {
    const auto* before = dynamic_cast<const KnownHistory*>(KnownContentOf(handle, kHistory).get());
    const bool changed_by_others =
        before != nullptr && !content.absent && !(before->whole && content.bytes == before->file);
    int32_t error = RAW_OK;
    if (changed_by_others) {
      History current;
      DecodeHistory(content.bytes, &current.header, current.entries.data());
      known->places = before->places;
      error = MergeHistory(before->history, known->history, &known->places, &current);
      *fresh = EncodeHistory(current.header, current.entries.data());
      known->whole = false;
    } else {
      *fresh = EncodeHistory(header, entries);
    }
    known->file = *fresh;
    return error;
  };
  const int32_t error = ChangeMember(handle, kHistory, kLargestHistory, change);
  if (error == RAW_OK) KnownContentOf(handle, kHistory) = std::move(known);
  return error;
}

}  // namespace

RawHistoryHeader EmptyHistory() {
  RawHistoryHeader header = {};
  header.tree_count = RAW_HISTORY_TREES;
  return header;
}

int32_t DecodeHistory(std::span<const uint8_t> bytes, RawHistoryHeader* header,
                      RawHistoryEntry* entries) {
  if (bytes.size() < kHistoryHeaderSize) {
    *header = EmptyHistory();
    return RAW_HISTORY_CUT_OFF;
  }
  DecodeFrom(bytes.data(), header);
  if (entries == nullptr) return RAW_OK;
  bytes = bytes.subspan(kHistoryHeaderSize);
  const size_t count = size_t{HighestIndex(*header)} + 1;
  const size_t there = std::min(bytes.size() / kHistoryEntrySize, count);
  for (size_t i = 0; i < there; ++i) DecodeFrom(bytes.data() + i * kHistoryEntrySize, &entries[i]);
  std::fill(entries + there, entries + count, RawHistoryEntry{});
  return there == count ? RAW_OK : RAW_HISTORY_CUT_OFF;
}

std::vector<uint8_t> EncodeHistory(const RawHistoryHeader& header, const RawHistoryEntry* entries) {
  const size_t count = entries != nullptr ? size_t{HighestIndex(header)} + 1 : 0;
  std::vector<uint8_t> bytes(kHistoryHeaderSize + count * kHistoryEntrySize);
  EncodeTo(header, bytes.data());
  for (size_t i = 0; i < count; ++i) {
    EncodeTo(entries[i], bytes.data() + kHistoryHeaderSize + i * kHistoryEntrySize);
  }
  return bytes;
}

}  // namespace tervalon::raw

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL RawReadProcInfo(int32_t handle, RawHistoryHeader* header,
                                                 RawHistoryEntry* entries) {
  if (header == nullptr) return RAW_OK;
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    MemberContent content;
    const int32_t error = ReadMember(handle, kHistory, kLargestHistory, &content);
    if (error != RAW_OK) return error;
    int32_t result = RAW_MEMBER_NOT_OPEN;
    if (content.absent) {
      *header = EmptyHistory();
    } else {
      result = DecodeHistory(content.bytes, header, entries);
    }
    if (entries == nullptr) return content.absent ? RAW_OK : result;
    const History nothing;
    auto known = Know(*header, header->highest_index > 0 ? entries : nothing.entries.data());
    known->file = std::move(content.bytes);
    KnownContentOf(handle, kHistory) = std::move(known);
    return result;
  });
}

extern "C" int32_t TERVALON_CALL RawHistUpdateInfo(int32_t handle, const RawHistoryHeader* header,
                                                   const RawHistoryEntry* entries) {
  if (header == nullptr) return RAW_OK;
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (entries != nullptr) return Update(handle, *header, entries);
    const std::vector<uint8_t> bytes = EncodeHistory(*header, nullptr);
    return ReplaceMember(handle, kHistory, 0, bytes.data(), static_cast<uint32_t>(bytes.size()));
  });
}
