// What the cheapest exports of each family cost in two builds of the shared library: nanoseconds a
// call, medians of interleaved rounds.
//
//   calls_bench BEFORE.so AFTER.so [threads]
//
// With "threads" another thread lives meanwhile, so that the system's locks take no short cut.

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tervalon/application.h"
#include "tervalon/axes.h"
#include "tervalon/coordinate_systems.h"
#include "tervalon/data_handles.h"
#include "tervalon/databases.h"
#include "tervalon/desktop.h"
#include "tervalon/drawing.h"
#include "tervalon/drawing_devices.h"
#include "tervalon/memory.h"
#include "tervalon/messages.h"
#include "tervalon/number_format.h"
#include "tervalon/plot_resources.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"
#include "tervalon/settings.h"

namespace {

constexpr int kRounds = 41;
constexpr int kCalls = 20000;
constexpr double kLimit = 20;  // ns more than before

struct Call {
  std::string name;
  std::function<void()> run;
};

int32_t TERVALON_CALL Answer(void*, const char*, const char*, uint32_t, TvWindow) { return 1; }

int32_t TERVALON_CALL ReadNothing(void*, int32_t, uint32_t, int32_t, void* const*) { return 0; }

int32_t TERVALON_CALL Same(const void*, const void*, int32_t) { return 1; }

// A library and the calls of it that are measured.
class Library {
 public:
  explicit Library(const char* path) : library_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    AddCalls();
  }

  const std::vector<Call>& calls() const { return calls_; }

 private:
  template <typename Function>
  Function* Find(Function* /*declared*/, const char* name) {
    auto* found = reinterpret_cast<Function*>(dlsym(library_, name));
    if (found == nullptr) throw std::runtime_error(name);
    return found;
  }

  void Add(const char* name, std::function<void()> run) {
    calls_.push_back({name, std::move(run)});
  }

  void AddCalls();

  void* library_;
  std::vector<Call> calls_;
};

// The library's own export of that name.
#define OF(name) Find<decltype(name)>(nullptr, #name)

void Library::AddCalls() {
  static char text[512];
  static float masses[8] = {100, 200, 300, 400, 500, 600, 700, 800};

  Add("ftoa (no state)", [f = OF(ftoa)] { f(3.25, text, 2); });

  const TvMemory block = OF(TvMemAlloc)(100);
  Add("TvMemSize", [f = OF(TvMemSize), block] { f(block); });
  Add("TvMemLock", [f = OF(TvMemLock), block] { f(block); });
  Add("TvMemUnlock", [f = OF(TvMemUnlock), block] { f(block); });

  Add("AppGetWindow", [f = OF(AppGetWindow)] { f(3); });
  Add("AppSetService", [f = OF(AppSetService)] { f(3, nullptr, 0); });
  OF(TvSetMessageHandler)(Answer, nullptr);
  Add("GenMessage", [f = OF(GenMessage)] { f(nullptr, "text", "caption", 0, nullptr, nullptr); });

  const int32_t system = OF(CosCreate)(0, 0);
  Add("CosValidHandle", [f = OF(CosValidHandle), system] { f(system); });
  Add("CosXPosOfValue", [f = OF(CosXPosOfValue), system] { f(system, 5); });
  Add("CosCreate, CosDelete", [f = OF(CosCreate), g = OF(CosDelete)] { g(f(0, 0)); });
  const int32_t axes = OF(AxsCreate)(1, 0, 1, 1);
  Add("AxsValidHandle", [f = OF(AxsValidHandle), axes] { f(axes); });
  Add("AxsGetValue", [f = OF(AxsGetValue), axes] { f(axes, 0, 5, 0, 0); });
  const TvRect rect = {0, 0, 5, 5};
  Add("AxsCheckHeaderRect", [f = OF(AxsCheckHeaderRect), rect] { f(&rect); });

  const TvDC dc = OF(TvCreateImageDC)(50, 50, 96);
  Add("PltGetResources", [f = OF(PltGetResources), dc] {
    PltResources resources;
    f(dc, &resources);
  });
  Add("AxsGetDataPen", [f = OF(AxsGetDataPen)] { f(1, nullptr, nullptr); });
  Add("TvCreatePen, TvDeleteObject",
      [f = OF(TvCreatePen), g = OF(TvDeleteObject)] { g(f(0, 1, 0)); });

  const std::string run = std::filesystem::temp_directory_path() / "tervalon-calls.raw";
  int32_t handle = -1;
  const RawFunctionRecord empty = {};
  if (OF(RawCreateOpen)(run.c_str(), &handle) != RAW_OK) throw std::runtime_error("RawCreateOpen");
  RawFunctionRecord record = empty;
  record.bytes[0] = 0;
  record.bytes[1] = RAW_DATA_STANDARD_CENTROID << 2;
  OF(RawCreateFunctions)(handle, 1, &record);
  OF(RawCreateScanFile)(handle, 1, 0, 0);
  OF(RawCreateScans)
  (handle, 1, 0, RAW_DATA_STANDARD_CENTROID, 0, 0, 0, 1, masses, masses, nullptr, 8);
  OF(RawCreateClose)(handle);
  OF(RawReadOpen)(run.c_str(), &handle);
  OF(RawReadFuncInfo)(handle, 1, &record, nullptr);
  OF(RawReadFuncInit)(handle, 1, 0, &record, nullptr);
  Add("RawHandleGetClusterName", [f = OF(RawHandleGetClusterName), handle] { f(handle, text); });
  Add("RawReadSpectrum (header)", [f = OF(RawReadSpectrum), handle] {
    RawScanHeader header;
    f(handle, 1, 0, 1, 1, nullptr, &header, nullptr, nullptr, nullptr, 0);
  });
  Add("RawUpdateInit", [f = OF(RawUpdateInit)] { f(nullptr, nullptr); });

  const DmAdapter adapter = {ReadNothing, nullptr, nullptr, Same};
  OF(DmRegisterAdapter)(DM_TYPE_GENERIC, &adapter);
  static uint32_t descriptor = 1;
  const auto grant = [f = OF(DmGetHandle)](uint16_t flags) {
    return f(DM_TYPE_GENERIC, sizeof(descriptor), &descriptor, 1, sizeof(float), flags);
  };
  const int32_t data = grant(0);
  OF(DmGetData)(data, 1, 10, 0);
  Add("DmGetData (resident)", [f = OF(DmGetData), data] { f(data, 1, 10, 0); });
  Add("DmLockData", [f = OF(DmLockData), data] { f(data, 0, 1, 10); });
  Add("DmUnlockData", [f = OF(DmUnlockData), data] { f(data, 0); });
  Add("DmFreezeHandle", [f = OF(DmFreezeHandle), data] { f(data, 0); });
  Add("DmGetHandle, DmReleaseHandle (shared)",
      [grant, f = OF(DmReleaseHandle)] { f(grant(0), 0); });
  Add("DmDataRead", [f = OF(DmDataRead)] { f(DM_TYPE_GENERIC, nullptr, 0, 1, 0, nullptr); });

  OF(InitGlobal)(0);
  OF(SetGlobalLong)("Bench", "key", 5, 1);
  Add("GetGlobalString", [f = OF(GetGlobalString)] { f("Bench", "key", "", text, sizeof(text)); });
  Add("SetGlobalLong", [f = OF(SetGlobalLong)] { f("Bench", "key", 5, 1); });
  Add("IsGCMD", [f = OF(IsGCMD)] { f(); });
  Add("GetTervalonWorkingDir", [f = OF(GetTervalonWorkingDir)] { f(text); });

  Add("DB3GetCurrentRecordNum", [f = OF(DB3GetCurrentRecordNum)] { f(9); });
  Add("DB3GetRecordsInDB (closed)", [f = OF(DB3GetRecordsInDB)] { f(9); });
}

// Processor time, which other work on the machine disturbs least.
double Nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Measure(const Call& call) {
  const double start = Nanoseconds();
  for (int i = 0; i < kCalls; ++i) call.run();
  return (Nanoseconds() - start) / kCalls;
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

int Compare(const Library& before, const Library& after) {
  int above = 0;
  std::printf("%-40s %9s %9s %9s\n", "ns a call", "before", "after", "more");
  for (size_t i = 0; i < after.calls().size(); ++i) {
    std::vector<double> taken[2];
    std::vector<double> more;
    for (int round = 0; round < kRounds; ++round) {
      const double first = Measure(before.calls()[i]);
      const double second = Measure(after.calls()[i]);
      taken[0].push_back(first);
      taken[1].push_back(second);
      more.push_back(second - first);
    }
    const double difference = Median(more);
    if (difference > kLimit) ++above;
    std::printf("%-40s %9.1f %9.1f %9.1f%s\n", after.calls()[i].name.c_str(), Median(taken[0]),
                Median(taken[1]), difference, difference > kLimit ? "  above the limit" : "");
  }
  return above == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::fprintf(stderr, "usage: calls_bench BEFORE.so AFTER.so [threads]\n");
    return 2;
  }
  std::atomic<bool> ended = false;
  std::thread idle;
  if (count > 3 && std::strcmp(arguments[3], "threads") == 0) {
    idle = std::thread([&ended] { ended.wait(false); });
  }
  int status = 2;
  try {
    const Library before(arguments[1]);
    const Library after(arguments[2]);
    status = Compare(before, after);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  ended = true;
  ended.notify_all();
  if (idle.joinable()) idle.join();
  return status;
}
