#include <algorithm>
#include <cstring>

#include "db3/catalogue.h"
#include "db3/causes.h"
#include "db3/field_text.h"
#include "tervalon/database_fields.h"

namespace {

using tervalon::db3::Catalogue;
using tervalon::db3::DatabaseType;
using tervalon::db3::FieldToMember;
using tervalon::db3::kFileWrite;
using tervalon::db3::kGeneralError;
using tervalon::db3::kSuccess;
using tervalon::db3::MemberToField;

bool IsUsable(const void* member, const char* record, const DB3FieldOffsetWidth* entry,
              int32_t conversion) {
  return member != nullptr && record != nullptr && entry != nullptr && entry->offset >= 0 &&
         entry->width >= 1 && entry->width <= 255 && conversion >= DB3_TEXT &&
         conversion <= DB3_EXPONENT;
}

int32_t ToRecord(const void* member, char* record, const DB3FieldOffsetWidth* entry,
                 int32_t decimals, int32_t conversion) {
  if (!IsUsable(member, record, entry, conversion) || decimals < 0) return kGeneralError;
  return MemberToField(conversion, member, record + entry->offset, entry->width, decimals)
             ? kSuccess
             : kFileWrite;
}

}  // namespace

extern "C" int32_t TERVALON_CALL DB3GetFields(int32_t type, DB3FieldDescriptor* fields,
                                              int32_t capacity) {
  const DatabaseType* const found = Catalogue(type);
  if (found == nullptr) return 0;
  const auto count = static_cast<int32_t>(found->fields.size());
  if (fields != nullptr) std::copy_n(found->fields.begin(), std::min(count, capacity), fields);
  return count;
}

extern "C" const char* TERVALON_CALL DB3GetTitle(int32_t type) {
  const DatabaseType* const found = Catalogue(type);
  return found != nullptr && found->title != nullptr ? found->title : "";
}

extern "C" int32_t TERVALON_CALL DB3SetFieldOffsetWidths(DB3FieldOffsetWidth* table,
                                                         const DB3FieldDescriptor* fields,
                                                         int32_t count) {
  if (table == nullptr || fields == nullptr || count < 0) return kGeneralError;
  int32_t offset = 0;
  for (int32_t i = 0; i < count; ++i) {
    table[i] = {offset, fields[i].width, fields[i].decimals};
    offset += fields[i].width;
  }
  return kSuccess;
}

extern "C" int32_t TERVALON_CALL DB3ConvertFldToDBFmt(const void* member, char* record,
                                                      const DB3FieldOffsetWidth* entry,
                                                      const DB3FieldDescriptor* field,
                                                      int32_t /*reserved*/, int32_t conversion) {
  const int32_t decimals = field != nullptr   ? field->decimals
                           : entry != nullptr ? entry->decimals
                                              : 0;
  return ToRecord(member, record, entry, decimals, conversion);
}

extern "C" int32_t TERVALON_CALL DB3ConvertFldToInternalFmt(const char* record, void* member,
                                                            const DB3FieldOffsetWidth* entry,
                                                            int32_t conversion) {
  if (!IsUsable(member, record, entry, conversion)) return kGeneralError;
  FieldToMember(conversion, record + entry->offset, entry->width, member);
  return kSuccess;
}

extern "C" int32_t TERVALON_CALL DB3ConvertPackedFldToDBFmt(const void* member, char* record,
                                                            const DB3FieldOffsetWidth* entry,
                                                            int32_t reserved, int32_t conversion) {
  return DB3ConvertFldToDBFmt(member, record, entry, nullptr, reserved, conversion);
}

extern "C" int32_t TERVALON_CALL DB3ConvertPackedFldToInternalFmt(const char* record, void* member,
                                                                  const DB3FieldOffsetWidth* entry,
                                                                  int32_t conversion) {
  return DB3ConvertFldToInternalFmt(record, member, entry, conversion);
}

extern "C" int32_t TERVALON_CALL DB3ConvertMnemonicToOffset(int32_t /*type*/, const char* mnemonic,
                                                            const char* const* mnemonics,
                                                            int32_t* position) {
  int32_t found = 0;
  if (mnemonic != nullptr && mnemonics != nullptr) {
    for (int32_t i = 0; mnemonics[i] != nullptr && mnemonics[i][0] != '\0'; ++i) {
      if (std::strcmp(mnemonics[i], mnemonic) == 0) {
        found = i;
        break;
      }
    }
  }
  if (position != nullptr) *position = found;
  return found;
}

extern "C" char* TERVALON_CALL DB3ConvertOffsetToMnemonic(int32_t position,
                                                          const char* const* mnemonics,
                                                          char* text) {
  if (text == nullptr) return nullptr;
  text[0] = '\0';
  if (mnemonics == nullptr || position < 0) return text;
  for (int32_t i = 0; mnemonics[i] != nullptr && mnemonics[i][0] != '\0'; ++i) {
    if (i == position) return std::strcpy(text, mnemonics[i]);
  }
  return text;
}
