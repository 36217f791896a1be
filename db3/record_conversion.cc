#include <algorithm>
#include <cstring>

#include "db3/catalogue.h"
#include "db3/causes.h"
#include "db3/field_text.h"

namespace tervalon::db3 {
namespace {

constexpr size_t kWidestField = 255;

bool Fits(const DatabaseType& type, size_t text_size, size_t structure_size) {
  return text_size >= type.record_length && structure_size >= type.structure_size;
}

// Whether a field that holds all of a number, or the beginning of a text, says what the member
// does.
bool Says(const Member& member, const std::byte* value, const char* field, int width) {
  if (member.conversion == DB3_TEXT) {
    char text[kWidestField];
    PutText(reinterpret_cast<const char*>(value), member.size, text, member.size);
    return std::memcmp(text, field, static_cast<size_t>(member.size)) == 0;
  }
  if (member.conversion == DB3_LOGICAL) return false;
  std::byte stored[sizeof(double)];
  FieldToMember(member.conversion, field, width, stored);
  return std::memcmp(stored, value, static_cast<size_t>(member.size)) == 0;
}

int32_t Write(const DatabaseType& type, std::span<const std::byte> structure, std::span<char> text,
              bool is_new) {
  if (!Fits(type, text.size(), structure.size())) return kGeneralError;
  char* field = text.data();
  MemberToField(DB3_INT16, &type.version, field, type.fields[0].width, 0);
  for (size_t i = 0; i < type.fields.size(); ++i) {
    const FieldDescriptor& form = type.fields[i];
    const Member& member = type.members[i];
    const std::byte* const value = structure.data() + member.offset;
    if (member.conversion == DB3_NOT_HELD) {
      if (is_new && form.type == 'L') field[0] = 'F';
    } else if (is_new || !Says(member, value, field, form.width)) {
      if (member.conversion == DB3_TEXT) {
        PutText(reinterpret_cast<const char*>(value), member.size, field, form.width);
      } else if (!MemberToField(member.conversion, value, field, form.width, form.decimals)) {
        return kFileWrite;
      }
    }
    field += form.width;
  }
  return kSuccess;
}

}  // namespace

int32_t ReadRecord(const DatabaseType& type, std::span<const char> text,
                   std::span<std::byte> structure) {
  if (!Fits(type, text.size(), structure.size())) return kGeneralError;
  std::memset(structure.data(), 0, type.structure_size);
  const char* field = text.data();
  for (size_t i = 0; i < type.fields.size(); ++i) {
    const Member& member = type.members[i];
    std::byte* const out = structure.data() + member.offset;
    if (member.conversion == DB3_TEXT) {
      std::memcpy(out, field, static_cast<size_t>(member.size));
    } else if (member.conversion != DB3_NOT_HELD) {
      FieldToMember(member.conversion, field, type.fields[i].width, out);
    }
    field += type.fields[i].width;
  }
  return kSuccess;
}

int32_t UpdateRecord(const DatabaseType& type, std::span<const std::byte> structure,
                     std::span<char> text) {
  return Write(type, structure, text, /*is_new=*/false);
}

int32_t NewRecord(const DatabaseType& type, std::span<const std::byte> structure,
                  std::span<char> text) {
  std::fill(text.begin(), text.end(), ' ');
  return Write(type, structure, text, /*is_new=*/true);
}

}  // namespace tervalon::db3
