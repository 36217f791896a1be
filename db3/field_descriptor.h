// A field of a record, as the catalogue lists it and the header of a record file stores it.

#ifndef DB3_FIELD_DESCRIPTOR_H_
#define DB3_FIELD_DESCRIPTOR_H_

#include <cstdint>

namespace tervalon::db3 {

struct FieldDescriptor {
  char name[11];  // at most 10 characters, padded with zeros
  char type;      // 'N' number, 'C' text, 'L' logical
  uint8_t width;
  uint8_t decimals;
};
static_assert(sizeof(FieldDescriptor) == 14);

}  // namespace tervalon::db3

#endif  // DB3_FIELD_DESCRIPTOR_H_
