#include "raw/history_file.h"

#include <cstring>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/little_endian.h"
#include "raw/member_files.h"

namespace tervalon::raw {
namespace {

// Offsets within an entry. Its six link words come first.
constexpr size_t kValues = 12;
constexpr size_t kType = 20;
constexpr size_t kName = 22;
constexpr size_t kCreated = 55;
constexpr size_t kParameters = 59;

int32_t ReadHistory(platform::File& file, RawHistoryHeader* header, RawHistoryEntry* entries) {
  uint8_t header_bytes[kHistoryHeaderSize];
  size_t read = 0;
  if (!file.ReadAt(0, header_bytes, sizeof(header_bytes), &read)) return RAW_SEEK_FAILED;
  if (read < sizeof(header_bytes)) {
    *header = EmptyHistory();
    return RAW_HISTORY_CUT_OFF;
  }
  DecodeFrom(header_bytes, header);
  if (entries == nullptr) return RAW_OK;
  // What the file does not have stays zero: free entries.
  std::vector<uint8_t> bytes((size_t{HighestIndex(*header)} + 1) * kHistoryEntrySize);
  if (!file.ReadAt(kHistoryHeaderSize, bytes.data(), bytes.size(), &read)) return RAW_SEEK_FAILED;
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(read - read % kHistoryEntrySize),
            bytes.end(), uint8_t{0});
  for (size_t i = 0; i * kHistoryEntrySize < bytes.size(); ++i) {
    DecodeFrom(bytes.data() + i * kHistoryEntrySize, &entries[i]);
  }
  return read == bytes.size() ? RAW_OK : RAW_HISTORY_CUT_OFF;
}

}  // namespace

RawHistoryHeader EmptyHistory() {
  RawHistoryHeader header = {};
  header.tree_count = RAW_HISTORY_TREES;
  return header;
}

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

}  // namespace tervalon::raw

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL RawReadProcInfo(int32_t handle, RawHistoryHeader* header,
                                                 RawHistoryEntry* entries) {
  if (header == nullptr) return RAW_OK;
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    int32_t error = RawFileOpen(handle, kHistory, 0, kReadMember);
    if (error == RAW_MEMBER_NOT_OPENED) {
      // A history that is there but cannot be opened is not an empty one: callers would replace it.
      const std::string path = MemberPath(HandleDirectory(handle), kHistory, 0);
      if (platform::Files().Status(path) != platform::PathStatus::kNothing) return error;
      *header = EmptyHistory();
      return entries == nullptr ? RAW_OK : RAW_MEMBER_NOT_OPEN;
    }
    if (error != RAW_OK) return error;
    error = ReadHistory(*OpenMember(handle, kHistory, 0), header, entries);
    const int32_t close_error = RawFileClose(handle, kHistory, 0);
    return error != RAW_OK ? error : close_error;
  });
}

extern "C" int32_t TERVALON_CALL RawHistUpdateInfo(int32_t handle, const RawHistoryHeader* header,
                                                   const RawHistoryEntry* entries) {
  if (header == nullptr) return RAW_OK;
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    const size_t count = entries != nullptr ? size_t{HighestIndex(*header)} + 1 : 0;
    std::vector<uint8_t> bytes(kHistoryHeaderSize + count * kHistoryEntrySize);
    EncodeTo(*header, bytes.data());
    for (size_t i = 0; i < count; ++i) {
      EncodeTo(entries[i], bytes.data() + kHistoryHeaderSize + i * kHistoryEntrySize);
    }
    return ReplaceMember(handle, kHistory, 0, bytes.data(), static_cast<uint32_t>(bytes.size()));
  });
}
