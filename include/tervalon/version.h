// The version of the library that a program is compiled with, and of the one that it runs with. The
// number stands here and nowhere else.
//
// The major number changes with the binary interface, the minor one with additions to it, the patch
// number with corrections.

#ifndef TERVALON_VERSION_H_
#define TERVALON_VERSION_H_

#define TERVALON_VERSION_MAJOR 1
#define TERVALON_VERSION_MINOR 0
#define TERVALON_VERSION_PATCH 0

// To compare: 10203 is version 1.2.3.
#define TERVALON_VERSION_NUMBER \
  (TERVALON_VERSION_MAJOR * 10000 + TERVALON_VERSION_MINOR * 100 + TERVALON_VERSION_PATCH)

// As text: "1.2.3".
#define TERVALON_VERSION \
  TERVALON_VERSION_TEXT_(TERVALON_VERSION_MAJOR, TERVALON_VERSION_MINOR, TERVALON_VERSION_PATCH)
#define TERVALON_VERSION_TEXT_(major, minor, patch) TERVALON_VERSION_QUOTED_(major, minor, patch)
#define TERVALON_VERSION_QUOTED_(major, minor, patch) #major "." #minor "." #patch

// Compilers of Windows resources read no further.
#if !defined(RC_INVOKED)

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Returns the version of the library that is loaded as text ("1.2.3"), which stays the library's;
// `number` (optional) receives it as TERVALON_VERSION_NUMBER counts.
TERVALON_API const char* TERVALON_CALL TvVersion(int32_t* number);

TERVALON_END_DECLS

#endif  // !defined(RC_INVOKED)

#endif  // TERVALON_VERSION_H_
