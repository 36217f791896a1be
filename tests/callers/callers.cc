// Calls every export with usual and wrong arguments, in random order, in one process:
//
//   callers nulls            each argument wrong in turn
//   callers SEED STEPS       a random sequence; "callers SEED STEPS 7 9 12" takes these steps of it
//
// Files are made in the current directory. Before each call its step and arguments go to standard
// output. Ends with 0 when every wrong argument got its documented failure and changed no file,
// everything beside the buffers is as it was, and the library works afterwards.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>

#include "tests/callers/draw.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace tervalon::testing {
namespace {

constexpr int kLongestCall = 30;  // seconds of the processor, which a busy machine does not change
constexpr int kLongestWait = 120;

std::string current;          // the call that is under way
std::atomic<uint64_t> calls;  // so far
int problems = 0;

void Problem(const std::string& what) {
  std::printf("PROBLEM %s: %s\n", what.c_str(), current.c_str());
  ++problems;
}

void Check(bool fine, const char* what) {
  if (!fine) Problem(std::string("the library is not usable afterwards: ") + what);
}

// --- Files

using Tree = std::map<std::string, std::string>;  // names and contents

void ReadTree(const std::filesystem::path& directory, Tree* tree) {
  std::error_code error;  // a name that is too long to look into
  std::filesystem::directory_iterator entry(directory, error);
  for (; entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    std::string& content = (*tree)[entry->path().string()];
    if (entry->is_directory(error)) ReadTree(entry->path(), tree);
    if (!entry->is_regular_file(error)) continue;
    std::ifstream file(entry->path(), std::ios::binary);
    content = {std::istreambuf_iterator<char>(file), {}};
  }
}

Tree ReadTree() {
  Tree tree;
  ReadTree(".", &tree);
  return tree;
}

std::optional<Tree> files;  // where no call has changed them since

void ExpectSameFiles() {
  Tree now = ReadTree();
  for (const auto& [path, content] : now) {
    const auto before = files->find(path);
    if (before == files->end())
      Problem("makes " + path);
    else if (before->second != content)
      Problem("changes " + path);
  }
  for (const auto& [path, content] : *files) {
    if (!now.contains(path)) Problem("removes " + path);
  }
  files = std::move(now);
}

// --- Calls

template <typename R>
bool Fails(R result, Failure failure) {
  if constexpr (std::is_pointer_v<R>) {
    return failure == Failure::kAnything || result == nullptr;
  } else {
    switch (failure) {
      case Failure::kZero:
        return result == R{0};
      case Failure::kOne:
        return result == R{1};
      case Failure::kMinusOne:
        return result == static_cast<R>(-1);
      case Failure::kNotZero:
        return result != R{0};
      default:
        return true;
    }
  }
}

// A callee that does not remove its arguments, or more than these, moves it.
uintptr_t StackPointer() {
  uintptr_t value = 0;
#if defined(__i386__)
  __asm__ volatile("mov %%esp, %0" : "=r"(value));
#endif
  return value;
}

template <typename R>
void Keep(std::string_view name, R result) {
  if (!name.starts_with("TvCreate") && name != "TvMemAlloc") return;
  if constexpr (std::is_pointer_v<R>) {
    if (result == nullptr) return;
    if constexpr (std::is_same_v<R, TvDC>) held.dcs.push_back(result);
    if constexpr (std::is_same_v<R, TvPen>) held.pens.push_back(result);
    if constexpr (std::is_same_v<R, TvFont>) held.fonts.push_back(result);
    if constexpr (std::is_same_v<R, TvMemory>) held.blocks.push_back(result);
  }
}

// Windows may give the handle of a block that was freed to the library's own next one.
template <typename T>
void ForgetBlock([[maybe_unused]] T value) {
#if defined(_WIN32)
  if constexpr (std::is_same_v<T, TvMemory>) std::erase(held.blocks, value);
#endif
}

struct Export {
  const char* name;
  std::vector<const char*> arguments;
  std::function<void(const Export&, uint64_t seed, int wrong, double mischief)> call;
};

template <typename Call, typename R, typename... A, size_t... I>
void CallWith(const Export& self, Draw* draw, Call call, std::index_sequence<I...> /*indexes*/) {
  std::tuple<A...> values;
  // Numbers first: pointers need the counts.
  (draw->Scalar(I, &std::get<I>(values)), ...);
  (draw->Pointer(I, &std::get<I>(values)), ...);
  current += draw->text();
  std::printf("%s\n", current.c_str());
  std::fflush(stdout);
  const Failure failure = FailureOf(self.name);
  bool done = false;
  if (!draw->must_fail()) files.reset();
  if (draw->must_fail() && !files) files = ReadTree();
  if (std::string_view(self.name) == "TvMemFree") (ForgetBlock(std::get<I>(values)), ...);
  const uintptr_t stack = StackPointer();
  if constexpr (std::is_void_v<R>) {
    call(std::get<I>(values)...);
  } else {
    const R result = call(std::get<I>(values)...);
    if (StackPointer() != stack) Problem("the stack pointer has moved");
    if (draw->must_fail() && !Fails(result, failure)) Problem("not the documented failure");
    Keep(self.name, result);
    if constexpr (std::is_integral_v<R>) done = result == 0;
  }
  if (!draw->Intact()) Problem("written beside a buffer");
  if (draw->must_fail()) ExpectSameFiles();
  draw->Finish(done);
}

template <typename R, typename... A>
Export Make(const char* name, R(TERVALON_CALL* function)(A...), std::vector<const char*> names) {
  return {name, std::move(names),
          [function](const Export& self, uint64_t seed, int wrong, double mischief) {
            Draw draw(seed, self.name, self.arguments, wrong, mischief);
            CallWith<decltype(function), R, A...>(self, &draw, function,
                                                  std::index_sequence_for<A...>());
          }};
}

// The formats are the library's own or a string provider's: texts and numbers up to eight.
template <typename R, typename... A>
Export MakeVariadic(const char* name, R(TERVALON_VARARGS_CALL* function)(A..., ...),
                    std::vector<const char*> names) {
  return {name, std::move(names),
          [function](const Export& self, uint64_t seed, int wrong, double mischief) {
            Draw draw(seed, self.name, self.arguments, wrong, mischief);
            const auto call = [function](A... arguments) {
              const char* const t = "text";
              return function(arguments..., t, t, t, t, t, t, t, t);
            };
            CallWith<decltype(call), R, A...>(self, &draw, call, std::index_sequence_for<A...>());
          }};
}

const Export kExports[] = {
#define EXPORT(name, ...) Make(#name, name, {__VA_ARGS__}),
#define EXPORT_VARIADIC(name, ...) MakeVariadic(#name, name, {__VA_ARGS__}),
#include "exports.inc"
};

// --- States

int32_t TERVALON_CALL PressOk(void* /*user*/, const char* /*text*/, const char* /*caption*/,
                              uint32_t /*style*/, TvWindow /*owner*/) {
  return 1;
}
#if !defined(_WIN32)
int32_t TERVALON_CALL ChooseNothing(void* /*user*/, const char* /*title*/, char* /*path*/,
                                    uint32_t /*size*/) {
  return 0;
}
#endif

constexpr float kMasses[] = {100, 184.5, 300};

// A directory of three functions with ten scans each, analog data and a processed set.
void MakeRun(const char* path) {
  int32_t handle = -1;
  RawCreateOpen(path, &handle);
  RawFunctionRecord records[3] = {};
  for (RawFunctionRecord& record : records) record.bytes[1] = RAW_DATA_STANDARD_CENTROID << 2;
  RawHeader header = {};
  RawCalibration calibration = {};
  RawCreateHeader(handle, &header, &calibration);
  RawCreateFunctions(handle, 3, records);
  for (int16_t function = 1; function <= 4; ++function) {
    const auto process = static_cast<int16_t>(function == 4);
    RawCreateScanFile(handle, process != 0 ? int16_t{1} : function, process, 0);
    for (int scan = 0; scan < 10; ++scan) {
      RawCreateScans(handle, process != 0 ? int16_t{1} : function, process,
                     RAW_DATA_STANDARD_CENTROID, 0, 0, 0, static_cast<float>(scan), kMasses,
                     kMasses, nullptr, 3);
    }
    RawCreateScansEnd(handle, process != 0 ? int16_t{1} : function, process);
  }
  const RawAnalogDescriptor channels[2] = {};
  RawCreateAnalogInf(handle, 2, channels);
  RawCreateAnalogFile(handle);
  for (int i = 0; i < 20; ++i) RawCreateAnalogScan(handle, static_cast<float>(i), 2, kMasses);
  RawCreateAnalogEnd(handle);
  RawCreateClose(handle);
}

void BeginWith() {
  TvSetMessageHandler(PressOk, nullptr);
  RawHandlesInit();
  MakeRun("A.RAW");
  MakeRun("H.RAW");  // not among the names that calls get
  int32_t handle = -1;
  RawReadOpen("A.RAW", &handle);
  RawFunctionRecord record;
  for (int16_t function = 1; function <= 2; ++function) {
    RawReadFuncInfo(handle, function, &record, nullptr);
    RawReadFuncInit(handle, function, 0, &record, nullptr);
  }
  DB3Open(8, "T.MDB", DB3_MODE_CREATE);
  DB3Open(8, "T.MDB", DB3_MODE_OPEN);
  DB3PepMod entry = {};
  for (int i = 1; i < 4; ++i)
    DB3HandleRecord(8, DB3_HANDLE_INSERT, i, &entry, DB3_INSERT_INTO_EMPTY);
  const TvRect area = {0, 0, 300, 200};
  const TvRect margins = {20, 10, 5, 20};
  for (int i = 0; i < 2; ++i) AxsSize(AxsCreate(i + 1, 0, 10, 10), &area, &margins);
#if defined(_WIN32)
  const HDC dc = CreateCompatibleDC(nullptr);
  SelectObject(dc, CreateBitmap(300, 200, 1, 32, nullptr));
  held.dcs = {CreateCompatibleDC(nullptr), dc};
  DeleteDC(held.dcs.front());
  held.pens = {CreatePen(0, 1, 0), CreatePen(0, 1, 0)};
  DeleteObject(held.pens.front());
  held.fonts = {static_cast<TvFont>(GetStockObject(SYSTEM_FONT))};
#else
  TvSetFileChooser(ChooseNothing, nullptr);
  held.dcs = {TvCreateImageDC(300, 200, 96), TvCreateImageDC(300, 200, 96)};
  TvDeleteDC(held.dcs.front());
  held.pens = {TvCreatePen(0, 1, 0), TvCreatePen(0, 1, 0)};
  TvDeleteObject(held.pens.front());
  held.fonts = {TvCreateFont("", 12, 400)};
#endif
  held.blocks = {TvMemAlloc(100), TvMemAlloc(100)};
  const TvMemory freed = held.blocks.front();
  TvMemFree(freed);
  ForgetBlock(freed);
}

// What was not touched is there, and every family still does what it is for.
void CheckHealth() {
  current = "health";
  ++calls;
  RawUpdateEnd();
  AppSetYield(nullptr, nullptr);
  RawHandlesInit();
  for (int handle = 1; handle <= DM_MAX_HANDLES; ++handle) {
    for (int grant = 0; grant < 300 && DmReleaseHandle(handle, 0) == 0; ++grant) {
    }
  }
  RawHandlesInit();
  int32_t handle = -1;
  int32_t scans = 0;
  Check(RawReadOpen("H.RAW", &handle) == RAW_OK, "opening");
  Check(RawReadScanCount(handle, 3, 0, &scans) == RAW_OK && scans == 10, "scans");
  RawFunctionRecord record;
  RawReadFuncInfo(handle, 3, &record, nullptr);
  Check(RawReadFuncInit(handle, 3, 0, &record, nullptr) == RAW_OK, "a function");
  float masses[4] = {};
  int32_t count = 4;
  RawReadSpectrum(handle, 3, 0, 10, 1, &count, nullptr, masses, nullptr, nullptr, 0);
  Check(count == 3 && masses[1] == kMasses[1], "a spectrum");
  Check(RawReadClose(handle) == RAW_OK, "closing");

  DB3Close(8);
  DB3PepMod entry = {};
  entry.name[0] = 'h';
  for (int type = 0; type < DB3_TYPES; ++type) DB3Close(type);
  Check(DB3Open(8, "HEALTH.MDB", DB3_MODE_CREATE) == DB3_SUCCESS, "creating a database");
  Check(DB3Open(8, "HEALTH.MDB", DB3_MODE_OPEN) == DB3_SUCCESS, "opening a database");
  Check(DB3HandleRecord(8, DB3_HANDLE_INSERT, 1, &entry, DB3_INSERT_INTO_EMPTY) == 0, "inserting");
  entry = {};
  Check(DB3HandleRecord(8, DB3_HANDLE_READ, 1, &entry, 0) == 0 && entry.name[0] == 'h', "a record");
  DB3Close(8);

  char text[40] = {};
  Check(SetIniString("Health", "Key", std::string("value").data(), 0) != 0, "a setting");
  Check(GetIniString("Health", "Key", nullptr, text, 40) == 5, "reading a setting");
  Check(std::string(ftoa(1.5, text, 2)) == "1.50", "numbers");
  for (int axes = 1; axes < 50; ++axes) AxsDelete(axes);
  for (int system = 1; system < 120; ++system) CosDelete(system);
  const int32_t axes = AxsCreate(5, 0, 1, 1);
  const TvRect area = {0, 0, 300, 200};
  const TvRect margins = {};
  Check(AxsSize(axes, &area, &margins) == 5 && AxsDelete(axes) == 1, "axes");
  const TvMemory block = TvMemAlloc(10);
  Check(TvMemLock(block) != nullptr && TvMemUnlock(block) == 0 && TvMemFree(block) == 1, "memory");
#if !defined(_WIN32)
  const TvDC dc = TvCreateImageDC(10, 10, 96);
  Check(TvSavePng(dc, "health.png") == 1 && TvDeleteDC(dc) == 1, "drawing");
#endif
}

// --- Sequences

void Step(const Export& called, uint64_t step, uint64_t seed, int wrong, double mischief) {
#if defined(_WIN32)
  if (std::string_view(called.name) == "ProFileOpen") return;  // waits for somebody at the screen
#endif
  current = std::to_string(step) + " " + called.name;
  ++calls;
  called.call(called, seed * 1000003 + step, wrong, mischief);
}

void EachArgumentWrong() {
  uint64_t step = 0;
  for (const Export& called : kExports) {
    if (FailureOf(called.name) == Failure::kUnknown) {
      current = called.name;
      Problem("contract.cc says nothing of this export");
    }
    for (size_t i = 0; i < called.arguments.size(); ++i) {
      Step(called, ++step, 1, static_cast<int>(i), 0);
    }
  }
}

int Run(const std::vector<std::string>& arguments) {
  BeginWith();
  if (arguments.front() == "nulls") {
    EachArgumentWrong();
  } else {
    const uint64_t seed = std::stoull(arguments[0]);
    std::vector<uint64_t> steps;
    for (size_t i = 2; i < arguments.size(); ++i) steps.push_back(std::stoull(arguments[i]));
    for (uint64_t i = 1; arguments.size() == 2 && i <= std::stoull(arguments[1]); ++i) {
      steps.push_back(i);
    }
    for (const uint64_t step : steps) {
      std::mt19937_64 random(seed * 7919 + step);
      const Export& called = kExports[random() % std::size(kExports)];
      Step(called, step, seed, -1, random() % 2 == 0 ? 0.02 : 0.3);
    }
  }
  CheckHealth();
  return problems == 0 ? 0 : 1;
}

// Ends the process when one call takes too long.
void Watch() {
  uint64_t watched = 0;
  std::clock_t begin = std::clock();
  for (int seconds = 0;
       seconds < kLongestWait && std::clock() - begin < kLongestCall * CLOCKS_PER_SEC; ++seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    if (watched == calls) continue;
    watched = calls;
    seconds = 0;
    begin = std::clock();
  }
  // It stands still.
  std::printf("PROBLEM takes too long: %s\n", current.c_str());
  std::fflush(stdout);
  std::_Exit(3);
}

}  // namespace
}  // namespace tervalon::testing

int main(int argc, char** argv) {
  if (argc < 2) return 2;
#if defined(_WIN32)
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
#endif
  std::thread(tervalon::testing::Watch).detach();
  const int status = tervalon::testing::Run({argv + 1, argv + argc});
  std::fflush(stdout);
  std::_Exit(status);
}
