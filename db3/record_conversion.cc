#include <cstring>

#include "db3/catalogue.h"
#include "db3/causes.h"
#include "db3/field_text.h"

namespace tervalon::db3 {
namespace {

bool Fits(const DatabaseType& type, size_t text_size, size_t structure_size) {
  return text_size >= type.record_length && structure_size >= type.structure_size;
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

int32_t WriteRecord(const DatabaseType& type, std::span<const std::byte> structure,
                    std::span<char> text) {
  if (!Fits(type, text.size(), structure.size())) return kGeneralError;
  char* field = text.data();
  MemberToField(DB3_INT16, &type.version, field, type.fields[0].width, 0);
  for (size_t i = 0; i < type.fields.size(); ++i) {
    const FieldDescriptor& form = type.fields[i];
    const Member& member = type.members[i];
    const std::byte* const value = structure.data() + member.offset;
    if (member.conversion == DB3_TEXT) {
      PutText(reinterpret_cast<const char*>(value), member.size, field, member.size);
    } else if (member.conversion != DB3_NOT_HELD &&
               !FieldSaysMember(member.conversion, value, field, form.width, form.decimals) &&
               !MemberToField(member.conversion, value, field, form.width, form.decimals)) {
      return kFileWrite;
    }
    field += form.width;
  }
  return kSuccess;
}

}  // namespace tervalon::db3
