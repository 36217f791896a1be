// The records of "_HISTORY.INF": the header, then entries 0 to the highest in use.

#ifndef RAW_HISTORY_FILE_H_
#define RAW_HISTORY_FILE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tervalon/raw_history.h"

namespace tervalon::raw {

inline constexpr size_t kHistoryHeaderSize = 132;
inline constexpr size_t kHistoryEntrySize = 123;
static_assert(sizeof(RawHistoryHeader) == kHistoryHeaderSize);
static_assert(sizeof(RawHistoryEntry) == kHistoryEntrySize);

// The highest index that may be used, whatever the header says.
inline uint16_t HighestIndex(const RawHistoryHeader& header) {
  return std::min<uint16_t>(header.highest_index, RAW_HISTORY_MAX_INDEX);
}

RawHistoryHeader EmptyHistory();

void DecodeFrom(const uint8_t* bytes, RawHistoryHeader* header);
void EncodeTo(const RawHistoryHeader& header, uint8_t* bytes);

void DecodeFrom(const uint8_t* bytes, RawHistoryEntry* entry);
void EncodeTo(const RawHistoryEntry& entry, uint8_t* bytes);

}  // namespace tervalon::raw

#endif  // RAW_HISTORY_FILE_H_
