// The text of one field, and the member of a structure that goes with it. Members need no
// alignment. `width` is 1..255 and `decimals` 0 or more.

#ifndef DB3_FIELD_TEXT_H_
#define DB3_FIELD_TEXT_H_

namespace tervalon::db3 {

// A number that the field cannot hold becomes asterisks, and the result false.
bool MemberToField(int conversion, const void* member, char* field, int width, int decimals);

void FieldToMember(int conversion, const char* field, int width, void* member);

// Writes a text of up to `size` characters that ends before at its first zero, and blanks up to
// `width`.
void PutText(const char* text, int size, char* field, int width);

}  // namespace tervalon::db3

#endif  // DB3_FIELD_TEXT_H_
