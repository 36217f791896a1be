// Reads numbers from text the way atoi and atof do, whatever the C locale: leading white space and
// a sign are accepted, reading stops at the first character that cannot belong to the number, and
// text without a number is 0. A number beyond the type's range gives the nearest limit.

#ifndef APPSVC_TEXT_NUMBER_H_
#define APPSVC_TEXT_NUMBER_H_

#include <cstdint>
#include <string_view>

namespace tervalon::appsvc {

// nullptr reads as 0.
int32_t ParseInt(const char* text);

// Decimal forms only: "0x10", "inf" and "nan" read as 0.
double ParseDouble(const char* text);

// Of a text of at most 255 characters that nothing ends.
double ParseDouble(std::string_view text);

}  // namespace tervalon::appsvc

#endif  // APPSVC_TEXT_NUMBER_H_
