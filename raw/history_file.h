// The records of "_HISTORY.INF": the header, then entries 0 to the highest in use.

#ifndef RAW_HISTORY_FILE_H_
#define RAW_HISTORY_FILE_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tervalon/raw_history.h"

namespace tervalon::raw {

inline constexpr size_t kHistoryHeaderSize = 132;
inline constexpr size_t kHistoryEntrySize = 123;
static_assert(sizeof(RawHistoryHeader) == kHistoryHeaderSize);
static_assert(sizeof(RawHistoryEntry) == kHistoryEntrySize);
inline constexpr size_t kLargestHistory =
    kHistoryHeaderSize + size_t{RAW_HISTORY_ENTRIES} * kHistoryEntrySize;

// The highest index that may be used, whatever the header says.
inline uint16_t HighestIndex(const RawHistoryHeader& header) {
  return std::min<uint16_t>(header.highest_index, RAW_HISTORY_MAX_INDEX);
}

RawHistoryHeader EmptyHistory();

// A history of its own. Entries above the highest in use are free.
struct History {
  RawHistoryHeader header = EmptyHistory();
  std::vector<RawHistoryEntry> entries = std::vector<RawHistoryEntry>(RAW_HISTORY_ENTRIES);
};

// Decodes a file's content; without `entries` only its header. RAW_OK or RAW_HISTORY_CUT_OFF: what
// the file does not have is free, without a whole header all of it.
int32_t DecodeHistory(std::span<const uint8_t> bytes, RawHistoryHeader* header,
                      RawHistoryEntry* entries);

// The bytes of a file; without `entries` only the header's.
std::vector<uint8_t> EncodeHistory(const RawHistoryHeader& header, const RawHistoryEntry* entries);

// Rebuilds all links, indexes and counts of a history from its roots, first children and next
// siblings. Returns how many entries no tree leads to; they are freed.
int32_t MakeSound(History* history);

// The tree, from 1, that leads to an entry; 0 when none does.
int16_t TreeOf(const History& history, uint16_t index);

// Where a caller's entries are in the file, by their index.
using HistoryPlaces = std::array<uint16_t, RAW_HISTORY_ENTRIES>;

// Makes the changes that lead from `base` to `mine` in `current`, which others have changed since
// it was `base`: adds what was added, frees what was deleted, and copies what was changed in
// entries. `places` are those of base's entries, and become those of mine's. Returns RAW_OK or
// RAW_HISTORY_FULL.
int32_t MergeHistory(const History& base, const History& mine, HistoryPlaces* places,
                     History* current);

}  // namespace tervalon::raw

#endif  // RAW_HISTORY_FILE_H_
