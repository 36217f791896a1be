#include "tervalon/application.h"

#include <array>

#include "appsvc/application.h"
#include "platform/window_manager.h"

namespace {

struct Service {
  TvWindow window = nullptr;
  bool running = false;
};

// What the application registered; every registration can be taken back with NULL.
struct Registrations {
  AppYieldCallback yield = nullptr;
  void* yield_user = nullptr;
  AppPenProcedures pen = {};
  void* pen_user = nullptr;
  AppCloseServiceCallback close_service = nullptr;
  void* close_service_user = nullptr;
  TvWindow main_window = nullptr;
  TvInstance instance = nullptr;
  std::array<TvWindow, APP_WINDOW_SLOTS> windows = {};
  std::array<Service, APP_SERVICE_SLOTS> services = {};
};
Registrations registered;

bool IsWindowSlot(int32_t slot) { return slot >= 0 && slot < APP_WINDOW_SLOTS; }
bool IsServiceSlot(int32_t slot) { return slot >= 1 && slot < APP_SERVICE_SLOTS; }

TvWindow& WindowIn(int32_t slot) { return registered.windows[static_cast<size_t>(slot)]; }
Service& ServiceIn(int32_t slot) { return registered.services[static_cast<size_t>(slot)]; }

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

extern "C" int32_t TERVALON_CALL AppSetMainWindow(TvWindow window, TvInstance instance) {
  registered.main_window = window;
  registered.instance = instance;
  return 1;
}

extern "C" TvWindow TERVALON_CALL AppGetMainWindow() { return registered.main_window; }

extern "C" TvInstance TERVALON_CALL AppGetInstance() { return registered.instance; }

extern "C" int32_t TERVALON_CALL AppSetWindow(int32_t slot, TvWindow window) {
  if (!IsWindowSlot(slot)) return 0;
  WindowIn(slot) = window;
  return 1;
}

extern "C" TvWindow TERVALON_CALL AppGetWindow(int32_t slot) {
  return IsWindowSlot(slot) ? WindowIn(slot) : nullptr;
}

extern "C" int32_t TERVALON_CALL AppSetService(int32_t slot, TvWindow window, int32_t running) {
  if (!IsServiceSlot(slot)) return 0;
  ServiceIn(slot) = {window, running != 0};
  return 1;
}

extern "C" int32_t TERVALON_CALL AppGetService(int32_t slot, TvWindow* window) {
  const Service service = IsServiceSlot(slot) ? ServiceIn(slot) : Service{};
  if (window != nullptr) *window = service.window;
  return service.running ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL AppSetCloseService(AppCloseServiceCallback callback, void* user) {
  registered.close_service = callback;
  registered.close_service_user = user;
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

bool PenRecordCount(const char* directory, int32_t* count) {
  if (registered.pen.record_count == nullptr) return false;
  *count = registered.pen.record_count(registered.pen_user, directory);
  return *count >= 0;
}

bool PenReadRecords(const char* directory, int32_t channel, int32_t first, int32_t count,
                    float* intensities, float* times) {
  return registered.pen.read_records != nullptr &&
         registered.pen.read_records(registered.pen_user, directory, channel, first, count,
                                     intensities, times) >= 0;
}

bool AskToCloseService(int32_t slot) {
  return registered.close_service != nullptr &&
         registered.close_service(registered.close_service_user, slot) != 0;
}

bool ApplicationInstance(TvInstance* instance) {
  if (registered.main_window == nullptr) return false;
  *instance = platform::Windows().Instance(registered.main_window);
  if (*instance == nullptr) *instance = registered.instance;
  return true;
}

void ResetApplication() { registered = {}; }

}  // namespace tervalon::appsvc
