// The header of a file in the dBASE III layout.

#ifndef DB3_RECORD_HEADER_H_
#define DB3_RECORD_HEADER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "db3/field_descriptor.h"

namespace tervalon::db3 {

// Bytes 0-31 of the header; the field descriptors follow.
inline constexpr size_t kHeaderStart = 32;
inline constexpr size_t kDateOffset = 1;
inline constexpr size_t kCountOffset = 4;
inline constexpr size_t kSizesOffset = 8;  // of the header and of a record
inline constexpr size_t kPendingOffset = 14;

// What a change ends with writing: as far as the byte that says it is going on.
inline constexpr size_t kChangingStart = kPendingOffset + 1;

using HeaderStart = std::array<uint8_t, kChangingStart>;

// The byte while a change is going on, or was when a process ended.
inline constexpr uint8_t kPending = 'U';

inline constexpr uint8_t kEndMark = 0x1A;
inline constexpr uint8_t kLiveMark = ' ';
inline constexpr uint8_t kDeletedMark = '*';

using HeaderDate = std::array<uint8_t, 3>;  // year - 1900, month, day

// Today in local time.
HeaderDate Today();

struct RecordHeader {
  std::vector<uint8_t> bytes;  // the whole header as it stands in the file
  std::vector<FieldDescriptor> fields;
  uint32_t record_size = 1;  // with the deletion marker
  uint32_t stored = 0;       // records in the file, with those that are marked deleted

  // Takes over the start of the file's header. False when more has changed than date and count, or
  // the count cannot be one.
  bool Follow(const HeaderStart& start);

  // As no change is going on.
  HeaderStart Start() const;
  HeaderStart StartWith(const HeaderDate& date, uint32_t count) const;

  uint64_t OffsetOf(uint32_t place) const { return bytes.size() + uint64_t{place} * record_size; }
};

bool SameFields(std::span<const FieldDescriptor> a, std::span<const FieldDescriptor> b);

// The length of the whole header, from its first 32 bytes; 0 when this is no such header.
size_t HeaderSize(std::span<const uint8_t, kHeaderStart> start);

// Takes a whole header apart. False when what it says does not fit together.
bool DecodeHeader(std::vector<uint8_t> bytes, RecordHeader* header);

// Makes a header from what is left of one: the field descriptors and the terminator have to be
// right, the numbers before them follow from these. `bytes` are the beginning of the file. False
// when there are no such descriptors.
bool MendHeader(std::span<const uint8_t> bytes, RecordHeader* header);

// The header of an empty file. False when the fields are too many or too wide for one.
bool MakeHeader(std::span<const FieldDescriptor> fields, RecordHeader* header);

}  // namespace tervalon::db3

#endif  // DB3_RECORD_HEADER_H_
