#include "tervalon/application.h"

#include <array>

#include "appsvc/application.h"
#include "platform/lock.h"
#include "platform/window_manager.h"

namespace {

struct Service {
  TvWindow window = nullptr;
  bool running = false;
};

struct Yield {
  AppYieldCallback callback = nullptr;
  void* user = nullptr;
};

struct PenProvider {
  AppPenProcedures procedures = {};
  void* user = nullptr;
};

struct ServiceCloser {
  AppCloseServiceCallback callback = nullptr;
  void* user = nullptr;
};

struct MainWindow {
  TvWindow window = nullptr;
  TvInstance instance = nullptr;
};

// What the application registered; every registration can be taken back with NULL.
struct Registrations {
  Yield yield;
  PenProvider pen;
  ServiceCloser close_service;
  MainWindow main_window;
  std::array<TvWindow, APP_WINDOW_SLOTS> windows = {};
  std::array<Service, APP_SERVICE_SLOTS> services = {};
};
constinit tervalon::platform::Mutex lock;
Registrations registered;  // under the lock, which callbacks are called without

template <typename Value>
Value Get(const Value& from) {
  const tervalon::platform::Held held(&lock);
  return from;
}
template <typename Value>
void Set(Value* to, const Value& value) {
  const tervalon::platform::Held held(&lock);
  *to = value;
}

bool IsWindowSlot(int32_t slot) { return slot >= 0 && slot < APP_WINDOW_SLOTS; }
bool IsServiceSlot(int32_t slot) { return slot >= 1 && slot < APP_SERVICE_SLOTS; }

TvWindow& WindowIn(int32_t slot) { return registered.windows[static_cast<size_t>(slot)]; }
Service& ServiceIn(int32_t slot) { return registered.services[static_cast<size_t>(slot)]; }

}  // namespace

extern "C" int32_t TERVALON_CALL AppSetYield(AppYieldCallback callback, void* user) {
  Set(&registered.yield, {callback, user});
  return 1;
}

extern "C" int32_t TERVALON_CALL AppSetPenProcedures(const AppPenProcedures* procedures,
                                                     void* user) {
  Set(&registered.pen, {procedures != nullptr ? *procedures : AppPenProcedures{}, user});
  return 1;
}

extern "C" int32_t TERVALON_CALL AppSetMainWindow(TvWindow window, TvInstance instance) {
  Set(&registered.main_window, {window, instance});
  return 1;
}

extern "C" TvWindow TERVALON_CALL AppGetMainWindow() { return Get(registered.main_window).window; }

extern "C" TvInstance TERVALON_CALL AppGetInstance() {
  return Get(registered.main_window).instance;
}

extern "C" int32_t TERVALON_CALL AppSetWindow(int32_t slot, TvWindow window) {
  if (!IsWindowSlot(slot)) return 0;
  Set(&WindowIn(slot), window);
  return 1;
}

extern "C" TvWindow TERVALON_CALL AppGetWindow(int32_t slot) {
  return IsWindowSlot(slot) ? Get(WindowIn(slot)) : nullptr;
}

extern "C" int32_t TERVALON_CALL AppSetService(int32_t slot, TvWindow window, int32_t running) {
  if (!IsServiceSlot(slot)) return 0;
  Set(&ServiceIn(slot), {window, running != 0});
  return 1;
}

extern "C" int32_t TERVALON_CALL AppGetService(int32_t slot, TvWindow* window) {
  const Service service = IsServiceSlot(slot) ? Get(ServiceIn(slot)) : Service{};
  if (window != nullptr) *window = service.window;
  return service.running ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL AppSetCloseService(AppCloseServiceCallback callback, void* user) {
  Set(&registered.close_service, {callback, user});
  return 1;
}

namespace tervalon::appsvc {

void YieldToApplication() {
  const Yield yield = Get(registered.yield);
  if (yield.callback != nullptr) yield.callback(yield.user);
}

bool PenChannelCount(const char* directory, int32_t* count) {
  const auto [pen, user] = Get(registered.pen);
  if (pen.channel_count == nullptr) return false;
  *count = pen.channel_count(user, directory);
  return *count >= 0;
}

bool PenRecordCount(const char* directory, int32_t* count) {
  const auto [pen, user] = Get(registered.pen);
  if (pen.record_count == nullptr) return false;
  *count = pen.record_count(user, directory);
  return *count >= 0;
}

bool PenReadRecords(const char* directory, int32_t channel, int32_t first, int32_t count,
                    float* intensities, float* times) {
  const auto [pen, user] = Get(registered.pen);
  return pen.read_records != nullptr &&
         pen.read_records(user, directory, channel, first, count, intensities, times) >= 0;
}

bool AskToCloseService(int32_t slot) {
  const ServiceCloser closer = Get(registered.close_service);
  return closer.callback != nullptr && closer.callback(closer.user, slot) != 0;
}

bool ApplicationInstance(TvInstance* instance) {
  const MainWindow main = Get(registered.main_window);
  if (main.window == nullptr) return false;
  *instance = platform::Windows().Instance(main.window);
  if (*instance == nullptr) *instance = main.instance;
  return true;
}

void ResetApplication() { Set(&registered, {}); }

}  // namespace tervalon::appsvc
