// The twenty database types: what each file holds, and how its records become structures.

#ifndef DB3_CATALOGUE_H_
#define DB3_CATALOGUE_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "db3/field_descriptor.h"

namespace tervalon::db3 {

using Member = DB3RecordMember;

inline constexpr int kDatabaseTypes = 20;

struct DatabaseType {
  const char* title;  // nullptr when the type has none
  int16_t code;       // by which the settings name the type
  const char* system_list_key;
  int16_t version;
  std::span<const FieldDescriptor> fields;  // the first is the version
  std::span<const Member> members;          // one for each field; the version's is not held
  uint32_t structure_size;
  uint32_t record_length;  // characters of all fields
};

// nullptr for a type outside 0..19.
const DatabaseType* Catalogue(int32_t type);

// Clears `structure` and fills its members from the text of a record. Returns a cause number:
// success, or the general error when the text is shorter than a record or the structure than its
// size.
int32_t ReadRecord(const DatabaseType& type, std::span<const char> text,
                   std::span<std::byte> structure);

// Writes the version and the members over the old text of a record. What already says the same as
// its member stays as it is: a number that reads as the member's value, a text that begins with the
// member. So do fields that the structure does not hold. Returns a cause number: success; the
// general error as ReadRecord does; the write error when a number does not fit its field. After an
// error the text is of no use.
int32_t UpdateRecord(const DatabaseType& type, std::span<const std::byte> structure,
                     std::span<char> text);

// Makes the text of a new record in the same way. Fields that the structure does not hold become
// blank, logical ones "F".
int32_t NewRecord(const DatabaseType& type, std::span<const std::byte> structure,
                  std::span<char> text);

}  // namespace tervalon::db3

#endif  // DB3_CATALOGUE_H_
