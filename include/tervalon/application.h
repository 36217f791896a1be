// What an application registers with the library. Without an application everything has a defined
// answer: nothing happens at the yield point, and there is no pen-procedure provider.

#ifndef TERVALON_APPLICATION_H_
#define TERVALON_APPLICATION_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Called from time to time by long reads, so that the application can handle its messages.
typedef void(TERVALON_CALL* AppYieldCallback)(void* user);

// Supplies the analog data of raw directories when the setting "IsGCMD" of section "Acquisition" is
// "TRUE". All functions are given the raw directory's path; user is the value registered. One that
// is NULL, or returns a negative number, makes the call that needs it fail.
typedef struct AppPenProcedures {
  // Returns the number of analog channels.
  int32_t(TERVALON_CALL* channel_count)(void* user, const char* directory);
  // Returns the number of records: samples of each channel.
  int32_t(TERVALON_CALL* record_count)(void* user, const char* directory);
  // Reads `count` records of a channel (from 0) from record `first` (from 1) on, all of which
  // record_count has counted. Each array is optional; times are minutes. Returns how many it read.
  int32_t(TERVALON_CALL* read_records)(void* user, const char* directory, int32_t channel,
                                       int32_t first, int32_t count, float* intensities,
                                       float* times);
} AppPenProcedures;
TERVALON_STRUCT_SIZE(AppPenProcedures, 12, 24);

// Sets the yield point (NULL: none). Returns 1.
TERVALON_API int32_t TERVALON_CALL AppSetYield(AppYieldCallback callback, void* user);

// Sets the pen-procedure provider (NULL: none). The structure is copied. Returns 1.
TERVALON_API int32_t TERVALON_CALL AppSetPenProcedures(const AppPenProcedures* procedures,
                                                       void* user);

// The application's windows and services, by number; all numbers are free at first.
#define APP_WINDOW_SLOTS 30   // 0 to 29: windows that BroadcastMessage reaches
#define APP_SERVICE_SLOTS 30  // 1 to 29: services; 0 is not used

// Sets the main window (NULL: none) and the application's module, which holds the string resources
// of MsgReportMsg where the window knows no module of its own. Returns 1.
TERVALON_API int32_t TERVALON_CALL AppSetMainWindow(TvWindow window, TvInstance instance);

// Return the main window and the module registered with it, NULL without.
TERVALON_API TvWindow TERVALON_CALL AppGetMainWindow(void);
TERVALON_API TvInstance TERVALON_CALL AppGetInstance(void);

// Puts a window into a slot (NULL: frees it). Returns 1, 0 when there is no such slot.
TERVALON_API int32_t TERVALON_CALL AppSetWindow(int32_t slot, TvWindow window);

// Returns the window in a slot, NULL when it is free or there is no such slot.
TERVALON_API TvWindow TERVALON_CALL AppGetWindow(int32_t slot);

// Registers a service, which other programs or windows rely on, with its window (NULL: none) and
// whether it is running. Selecting another project asks running services to close: the window, by
// PRO_CLOSE_REQUEST, or, for a service without a window that lives, AppSetCloseService's callback.
// Returns 1, 0 when there is no such slot.
TERVALON_API int32_t TERVALON_CALL AppSetService(int32_t slot, TvWindow window, int32_t running);

// Returns 1 when a service is running, else 0; `window` (optional) receives its window, NULL when
// it has none.
TERVALON_API int32_t TERVALON_CALL AppGetService(int32_t slot, TvWindow* window);

// Closes the running service in a slot that has no window. Returns 0 to refuse; any other result
// frees the slot.
typedef int32_t(TERVALON_CALL* AppCloseServiceCallback)(void* user, int32_t slot);

// Sets who closes services without a window. NULL: nobody, so that such a service refuses while it
// runs. Returns 1.
TERVALON_API int32_t TERVALON_CALL AppSetCloseService(AppCloseServiceCallback callback, void* user);

TERVALON_END_DECLS

#endif  // TERVALON_APPLICATION_H_
