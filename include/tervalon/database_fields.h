// One field of a database record: where it stands in the record's text, and its conversion between
// that text and a member of a structure.
//
// The text of a record is its fields one after the other, each as wide as its descriptor says. It
// begins with the first field: the deletion marker that a file has in front is no part of it.

#ifndef TERVALON_DATABASE_FIELDS_H_
#define TERVALON_DATABASE_FIELDS_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// A field as a file describes it. 14 bytes.
typedef struct DB3FieldDescriptor {
  char name[11];     // at most 10 characters, filled up with zeros
  char type;         // 'N' number, 'C' text, 'L' logical
  uint8_t width;     // characters
  uint8_t decimals;  // of them behind the decimal point
} DB3FieldDescriptor;

// Where a field stands in the text of its record. 12 bytes.
typedef struct DB3FieldOffsetWidth {
  int32_t offset;
  int32_t width;
  int32_t decimals;
} DB3FieldOffsetWidth;

// The internal form of a member and its text.
enum {
  DB3_NOT_HELD = -1,  // only in DB3RecordMember: the structure has no member for the field
  // As many characters as the field is wide; written, it ends at its first zero.
  DB3_TEXT = 0,
  // int32_t: written "F" for 0, else "T"; everything but "F" reads as 1, blanks too.
  DB3_LOGICAL = 1,
  // Whole numbers, right-aligned. They read as far as the text is a number; one beyond the type's
  // range reads as the nearest limit.
  DB3_INT16 = 2,
  DB3_UINT16 = 3,
  DB3_INT32 = 4,
  DB3_UINT32 = 5,
  // Numbers with the field's decimals as ftoa writes them, right-aligned.
  DB3_FLOAT = 6,
  DB3_DOUBLE = 7,
  // Two int32_t, left-aligned with a blank between them.
  DB3_COMPOUND = 8,
  // As DB3_TEXT, without the blanks in front.
  DB3_LEFT_TEXT = 9,
  // double with the field's decimals as etoa writes it, right-aligned.
  DB3_EXPONENT = 10
};

// Where a structure of tervalon/database_records.h holds a field. 8 bytes.
typedef struct DB3RecordMember {
  int32_t offset;
  int16_t size;  // bytes; of a text, less than the field's width when it is only its beginning
  int16_t conversion;
} DB3RecordMember;

// Copies the fields of a database type, at most `capacity`, to `fields` (optional). Returns how
// many the type has; 0 for a type outside 0..19.
TERVALON_API int32_t TERVALON_CALL DB3GetFields(int32_t type, DB3FieldDescriptor* fields,
                                                int32_t capacity);

// Returns the title of a database type as messages show it; empty for type 19, which has none, and
// for a type outside 0..19.
TERVALON_API const char* TERVALON_CALL DB3GetTitle(int32_t type);

// Fills one entry of `table` for each of `count` fields: the first has offset 0, each other follows
// the one before it. Returns 0; 1 for a negative count.
TERVALON_API int32_t TERVALON_CALL DB3SetFieldOffsetWidths(DB3FieldOffsetWidth* table,
                                                           const DB3FieldDescriptor* fields,
                                                           int32_t count);

// Writes a member into its field of `record`. The decimals are the descriptor's, or without one
// (NULL) the entry's. A text is cut to the field or filled up with blanks. A number that its field
// cannot hold (too wide, infinite or not a number) becomes asterisks. `reserved` is 0. The member
// needs no alignment.
// Returns 0; 7 after writing asterisks; 1 for a conversion that there is none of, an entry with a
// negative offset, decimals below 0, or a width outside 1..255.
TERVALON_API int32_t TERVALON_CALL DB3ConvertFldToDBFmt(const void* member, char* record,
                                                        const DB3FieldOffsetWidth* entry,
                                                        const DB3FieldDescriptor* field,
                                                        int32_t reserved, int32_t conversion);

// Reads a member from its field of `record`. Text that is no number, asterisks too, reads as 0.
// Returns 0; 1 as DB3ConvertFldToDBFmt does, and changes nothing.
TERVALON_API int32_t TERVALON_CALL DB3ConvertFldToInternalFmt(const char* record, void* member,
                                                              const DB3FieldOffsetWidth* entry,
                                                              int32_t conversion);

// The same for structures without gaps between their members.
TERVALON_API int32_t TERVALON_CALL DB3ConvertPackedFldToDBFmt(const void* member, char* record,
                                                              const DB3FieldOffsetWidth* entry,
                                                              int32_t reserved, int32_t conversion);
TERVALON_API int32_t TERVALON_CALL DB3ConvertPackedFldToInternalFmt(
    const char* record, void* member, const DB3FieldOffsetWidth* entry, int32_t conversion);

// Finds a mnemonic, the name of a field, in an array of texts that an empty one (or NULL) ends;
// upper and lower case differ. `type` is not looked at. `position` (optional) gets the result too.
// Returns the position of the first equal text; 0, which is also the first text's, when there is
// none.
TERVALON_API int32_t TERVALON_CALL DB3ConvertMnemonicToOffset(int32_t type, const char* mnemonic,
                                                              const char* const* mnemonics,
                                                              int32_t* position);

// Copies the text at `position` of such an array to `text`, which has room for it; an empty one
// for a position outside the array.
// Returns `text`.
TERVALON_API char* TERVALON_CALL DB3ConvertOffsetToMnemonic(int32_t position,
                                                            const char* const* mnemonics,
                                                            char* text);

TERVALON_END_DECLS

#endif  // TERVALON_DATABASE_FIELDS_H_
