// What an application registers with the library. Without an application everything has a defined
// answer: nothing happens at the yield point, and there is no pen-procedure provider.

#ifndef TERVALON_APPLICATION_H_
#define TERVALON_APPLICATION_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Called from time to time by long reads, so that the application can handle its messages.
typedef void(TERVALON_CALL* AppYieldCallback)(void* user);

// Supplies the analog data of raw directories when the setting "IsGCMD" of section "Acquisition" is
// "TRUE". Both functions are given the raw directory's path; user is the value registered.
typedef struct AppPenProcedures {
  // Returns the number of analog channels, or a negative number on failure.
  int32_t(TERVALON_CALL* channel_count)(void* user, const char* directory);
} AppPenProcedures;

// Sets the yield point (NULL: none). Returns 1.
TERVALON_API int32_t TERVALON_CALL AppSetYield(AppYieldCallback callback, void* user);

// Sets the pen-procedure provider (NULL: none). The structure is copied. Returns 1.
TERVALON_API int32_t TERVALON_CALL AppSetPenProcedures(const AppPenProcedures* procedures,
                                                       void* user);

TERVALON_END_DECLS

#endif  // TERVALON_APPLICATION_H_
