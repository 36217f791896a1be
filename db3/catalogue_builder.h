// Makes the fields and members of a database type, at compile time, from the rows of its table.
//
// A table (db3/tables/*.inc) has a row for each field or run of numbered fields, in the order of
// the file, and is included inside a function template whose parameter Record is the structure:
//
//   FIELD(name, type, width, decimals, member)
//   FIELDS(name, first, last, type, width, decimals, array)
//
// A row whose member the structure does not have is a field that it does not hold.

#ifndef DB3_CATALOGUE_BUILDER_H_
#define DB3_CATALOGUE_BUILDER_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "db3/catalogue.h"

namespace tervalon::db3::builder {

inline constexpr Member kNotHeld = {0, 0, DB3_NOT_HELD};

// One field, or a run of `count` fields numbered from `first`, whose members follow each other.
struct Row {
  const char* name;
  int first;
  int count;
  char type;
  uint8_t width;
  uint8_t decimals;
  Member member;  // of the first
};

// Stops the compiler where a table is wrong.
inline void TableIsWrong(const char*) {}

constexpr void Check(bool right, const char* rule) {
  if (!right) TableIsWrong(rule);
}

template <typename Value>
constexpr Member MemberOf(size_t offset, char type) {
  constexpr bool kText = std::is_array_v<Value>;
  constexpr int kConversion = kText                            ? DB3_TEXT
                              : std::is_same_v<Value, double>  ? DB3_DOUBLE
                              : std::is_same_v<Value, float>   ? DB3_FLOAT
                              : std::is_same_v<Value, int32_t> ? DB3_INT32
                                                               : DB3_NOT_HELD;
  static_assert(kConversion != DB3_NOT_HELD);
  Check(kText == (type == 'C'), "only texts are arrays");
  Check(type != 'L' || kConversion == DB3_INT32, "logicals are int32_t");
  return {static_cast<int32_t>(offset), static_cast<int16_t>(sizeof(Value)),
          static_cast<int16_t>(type == 'L' ? DB3_LOGICAL : kConversion)};
}

// The name of field `number` of a run; the row's own name when it is no run.
constexpr void SetName(const Row& row, int number, char (&name)[11]) {
  size_t length = 0;
  const auto append = [&](char c) {
    Check(length < 10, "a name has at most 10 characters");
    name[length++] = c;
  };
  for (const char* c = row.name; *c != '\0'; ++c) append(*c);
  if (row.first == 0) return;
  if (number >= 10) append(static_cast<char>('0' + number / 10));
  append(static_cast<char>('0' + number % 10));
}

template <size_t kFields>
struct Table {
  std::array<FieldDescriptor, kFields> fields = {};
  std::array<Member, kFields> members = {};
  uint32_t record_length = 0;
};

template <size_t kFields, typename Record>
constexpr Table<kFields> MakeTable(std::span<const Row> rows) {
  Table<kFields> table;
  size_t count = 0;
  int32_t end = 0;
  for (const Row& row : rows) {
    for (int i = 0; i < row.count; ++i) {
      FieldDescriptor& field = table.fields[count];
      SetName(row, row.first + i, field.name);
      field.type = row.type;
      field.width = row.width;
      field.decimals = row.decimals;
      table.record_length += row.width;

      Member& member = table.members[count++];
      member = row.member;
      if (member.conversion == DB3_NOT_HELD) continue;
      member.offset += i * member.size;
      Check(member.offset >= end, "members follow the fields");
      Check(row.type != 'C' || member.size <= row.width, "no text is longer than its field");
      end = member.offset + member.size;
    }
  }
  Check(count == kFields, "the type has so many fields");
  Check(end <= static_cast<int32_t>(sizeof(Record)), "members are inside the structure");
  return table;
}

}  // namespace tervalon::db3::builder

#endif  // DB3_CATALOGUE_BUILDER_H_
