// A field of a record, as the catalogue lists it and the header of a record file stores it.

#ifndef DB3_FIELD_DESCRIPTOR_H_
#define DB3_FIELD_DESCRIPTOR_H_

#include "tervalon/database_fields.h"

namespace tervalon::db3 {

using FieldDescriptor = DB3FieldDescriptor;
static_assert(sizeof(FieldDescriptor) == 14);

}  // namespace tervalon::db3

#endif  // DB3_FIELD_DESCRIPTOR_H_
