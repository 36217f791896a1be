#include "db3/record_header.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>
#include <utility>

#include "platform/little_endian.h"
#include "platform/local_time.h"

namespace tervalon::db3 {
namespace {

// Offsets in the header.
constexpr size_t kHeaderSizeOffset = 8;
constexpr size_t kRecordSizeOffset = 10;

// A field descriptor and its offsets.
constexpr size_t kDescriptorSize = 32;
constexpr size_t kTypeOffset = 11;
constexpr size_t kWidthOffset = 16;
constexpr size_t kDecimalsOffset = 17;

constexpr uint8_t kTerminator = 0x0D;

// The version byte of a file without memo texts. Later programs set the upper bits to tell about
// memo texts and tables of their own.
constexpr uint8_t kVersion = 0x03;
constexpr uint8_t kVersionMask = 0x07;

// False for a descriptor that cannot be one.
bool DecodeField(const uint8_t* bytes, FieldDescriptor* field) {
  *field = {};
  // Some programs leave rubbish behind the name's end.
  const void* end = std::memchr(bytes, '\0', sizeof(field->name));
  if (end == nullptr || end == bytes) return false;
  std::memcpy(field->name, bytes, static_cast<size_t>(static_cast<const uint8_t*>(end) - bytes));
  field->type = static_cast<char>(bytes[kTypeOffset]);
  field->width = bytes[kWidthOffset];
  field->decimals = bytes[kDecimalsOffset];
  return field->width > 0;
}

void EncodeField(const FieldDescriptor& field, uint8_t* bytes) {
  std::memcpy(bytes, field.name, sizeof(field.name) - 1);
  bytes[kTypeOffset] = static_cast<uint8_t>(field.type);
  bytes[kWidthOffset] = field.width;
  bytes[kDecimalsOffset] = field.decimals;
}

bool IsCount(uint32_t count) { return count < uint32_t{std::numeric_limits<int32_t>::max()}; }

uint32_t RecordSize(std::span<const FieldDescriptor> fields) {
  uint32_t size = 1;
  for (const FieldDescriptor& field : fields) size += field.width;
  return size;
}

}  // namespace

HeaderDate Today() {
  std::tm local = {};
  if (!platform::LocalTime(std::time(nullptr), &local)) return {};
  return {static_cast<uint8_t>(local.tm_year), static_cast<uint8_t>(local.tm_mon + 1),
          static_cast<uint8_t>(local.tm_mday)};
}

HeaderStart RecordHeader::Start() const {
  HeaderStart start;
  std::copy_n(bytes.begin(), start.size(), start.begin());
  if (start[kPendingOffset] == kPending) start[kPendingOffset] = 0;
  return start;
}

HeaderStart RecordHeader::StartWith(const HeaderDate& date, uint32_t count) const {
  HeaderStart start = Start();
  std::copy(date.begin(), date.end(), start.begin() + kDateOffset);
  Store(&start[kCountOffset], count);
  return start;
}

bool RecordHeader::Follow(const HeaderStart& start) {
  const auto same = [&](ptrdiff_t begin, ptrdiff_t end) {
    return std::equal(start.begin() + begin, start.begin() + end, bytes.begin() + begin);
  };
  const uint32_t count = Load<uint32_t>(&start[kCountOffset]);
  if (!same(0, kDateOffset) || !same(kSizesOffset, kPendingOffset) || !IsCount(count)) return false;
  std::copy(start.begin(), start.end(), bytes.begin());
  stored = count;
  return true;
}

bool SameFields(std::span<const FieldDescriptor> a, std::span<const FieldDescriptor> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const FieldDescriptor& x, const FieldDescriptor& y) {
                      return std::strncmp(x.name, y.name, sizeof(x.name)) == 0 &&
                             x.type == y.type && x.width == y.width && x.decimals == y.decimals;
                    });
}

size_t HeaderSize(std::span<const uint8_t, kHeaderStart> start) {
  const size_t size = Load<uint16_t>(start.data() + kHeaderSizeOffset);
  const bool possible = size > kHeaderStart + kDescriptorSize;
  return (start[0] & kVersionMask) == kVersion && possible ? size : 0;
}

bool DecodeHeader(std::vector<uint8_t> bytes, RecordHeader* header) {
  header->bytes = std::move(bytes);
  header->fields.clear();
  const std::vector<uint8_t>& all = header->bytes;
  size_t position = kHeaderStart;
  while (position < all.size() && all[position] != kTerminator) {
    FieldDescriptor field;
    if (all.size() - position <= kDescriptorSize || !DecodeField(&all[position], &field)) {
      return false;
    }
    header->fields.push_back(field);
    position += kDescriptorSize;
  }
  // Behind the terminator some programs have a zero or data of their own.
  if (position >= all.size() || header->fields.empty()) return false;
  header->record_size = RecordSize(header->fields);
  header->stored = Load<uint32_t>(&all[kCountOffset]);
  return header->record_size == Load<uint16_t>(&all[kRecordSizeOffset]) && IsCount(header->stored);
}

bool MendHeader(std::span<const uint8_t> bytes, RecordHeader* header) {
  size_t terminator = kHeaderStart;
  FieldDescriptor field;
  while (bytes.size() > terminator + kDescriptorSize && bytes[terminator] != kTerminator &&
         DecodeField(&bytes[terminator], &field)) {
    header->fields.push_back(field);
    terminator += kDescriptorSize;
  }
  header->record_size = RecordSize(header->fields);
  constexpr size_t kLargest = std::numeric_limits<uint16_t>::max();
  if (header->fields.empty() || terminator >= bytes.size() || terminator >= kLargest ||
      bytes[terminator] != kTerminator || header->record_size > kLargest) {
    return false;
  }
  // Other programs' headers may be longer.
  const size_t told = Load<uint16_t>(&bytes[kHeaderSizeOffset]);
  const bool fits = told > terminator && told <= bytes.size() && told <= terminator + 300;
  const size_t size = fits ? told : terminator + 1;
  header->bytes.assign(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
  if ((header->bytes[0] & kVersionMask) != kVersion) header->bytes[0] = kVersion;
  header->stored = Load<uint32_t>(&bytes[kCountOffset]);
  Store(&header->bytes[kHeaderSizeOffset], static_cast<uint16_t>(size));
  Store(&header->bytes[kRecordSizeOffset], static_cast<uint16_t>(header->record_size));
  return true;
}

bool MakeHeader(std::span<const FieldDescriptor> fields, RecordHeader* header) {
  constexpr size_t kLargest = std::numeric_limits<uint16_t>::max();
  const size_t size = kHeaderStart + fields.size() * kDescriptorSize + 1;
  header->record_size = RecordSize(fields);
  if (fields.empty() || size > kLargest || header->record_size > kLargest) return false;
  header->fields.assign(fields.begin(), fields.end());
  header->bytes.assign(size, 0);
  header->bytes[0] = kVersion;
  header->stored = 0;
  const HeaderDate today = Today();
  std::copy(today.begin(), today.end(), header->bytes.begin() + kDateOffset);
  Store(&header->bytes[kHeaderSizeOffset], static_cast<uint16_t>(size));
  Store(&header->bytes[kRecordSizeOffset], static_cast<uint16_t>(header->record_size));
  uint8_t* descriptor = &header->bytes[kHeaderStart];
  for (const FieldDescriptor& field : fields) {
    EncodeField(field, descriptor);
    descriptor += kDescriptorSize;
  }
  *descriptor = kTerminator;
  return true;
}

}  // namespace tervalon::db3
