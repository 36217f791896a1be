// Result codes in words. The codes of different families do not overlap, but for 0, 1 and -1: the
// Raw error codes are in raw_directory.h, the causes of the record databases in databases.h, and
// the exports of data handles return either, as their sources do, or -1.

#ifndef TERVALON_RESULT_CODES_H_
#define TERVALON_RESULT_CODES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Returns what a result code says, as it may stand behind the name of the file or directory and a
// colon: in English, without a capital or a full stop; "" for a number that is no result code. The
// text stays the library's.
TERVALON_API const char* TERVALON_CALL TvErrorText(int32_t code);

TERVALON_END_DECLS

#endif  // TERVALON_RESULT_CODES_H_
