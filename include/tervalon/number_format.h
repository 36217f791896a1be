// Numbers as text, in the three forms in which the whole data system prints them. The C locale has
// no part in it: the decimal point is always ".".
//
// Mind the argument order: gtoa takes the digit count before the buffer. Infinities and
// not-a-numbers print as "inf", "-inf" and "nan" in all three forms. Each returns `text` (NULL for
// NULL).

#ifndef TERVALON_NUMBER_FORMAT_H_
#define TERVALON_NUMBER_FORMAT_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Writes `value` with `decimals` decimals (negative: 6), rounded as its exact binary value decides,
// exact ties to even, to `text` (at least 32 bytes). With 0 decimals there is no decimal point. A
// longer text is cut to its first 31 characters.
TERVALON_API char* TERVALON_CALL ftoa(double value, char* text, int32_t decimals);

// Writes the mantissa with `decimals` decimals (negative: 6) as ftoa does, then "e" and the decimal
// exponent, to `text` (at least 40 bytes): 1234.5 with 2 decimals is "1.23e3". A mantissa that
// rounds up to 10 stays so: 9.96 with 1 decimal is "10.0e0".
TERVALON_API char* TERVALON_CALL etoa(double value, char* text, int32_t decimals);

// Writes `value` with `digits` significant digits to `text` (at least 40 bytes): in exponential
// form below 10^-4 and above 10^digits in magnitude, else in fixed form, whole numbers without a
// decimal point.
TERVALON_API char* TERVALON_CALL gtoa(double value, int32_t digits, char* text);

TERVALON_END_DECLS

#endif  // TERVALON_NUMBER_FORMAT_H_
