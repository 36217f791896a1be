#include "tervalon/application.h"

#include "appsvc/application.h"

namespace {

// What the application registered; both registrations can be taken back with NULL.
struct Registrations {
  AppYieldCallback yield = nullptr;
  void* yield_user = nullptr;
  AppPenProcedures pen = {};
  void* pen_user = nullptr;
};
Registrations registered;

}  // namespace

extern "C" int32_t TERVALON_CALL AppSetYield(AppYieldCallback callback, void* user) {
  registered.yield = callback;
  registered.yield_user = user;
  return 1;
}

extern "C" int32_t TERVALON_CALL AppSetPenProcedures(const AppPenProcedures* procedures,
                                                     void* user) {
  registered.pen = procedures != nullptr ? *procedures : AppPenProcedures{};
  registered.pen_user = user;
  return 1;
}

namespace tervalon::appsvc {

void YieldToApplication() {
  if (registered.yield != nullptr) registered.yield(registered.yield_user);
}

bool PenChannelCount(const char* directory, int32_t* count) {
  if (registered.pen.channel_count == nullptr) return false;
  *count = registered.pen.channel_count(registered.pen_user, directory);
  return *count >= 0;
}

}  // namespace tervalon::appsvc
