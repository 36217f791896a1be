// What only a real desktop can show: boxes on the screen, messages to real windows, the DLL's
// classes.

#if defined(_WIN32)

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "appsvc/application.h"
#include "tervalon/application.h"
#include "tervalon/axes.h"
#include "tervalon/drawing.h"
#include "tervalon/memory.h"
#include "tervalon/messages.h"
#include "tervalon/paths.h"
#include "tervalon/projects.h"
#include "tests/support/screen.h"
#include "tests/support/temp_directory.h"

namespace tervalon {
namespace {

using testing::BoxReader;

HWND MakeWindow() {
  return CreateWindowExA(0, "STATIC", "test", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                         GetModuleHandleA(nullptr), nullptr);
}

TEST(RealMessageBox, ShowsTheLibrarysOwnText) {
  BoxReader reader("Real peaks", IDOK);
  EXPECT_EQ(MsgReport(7, "Real peaks", "C:\\A.PDB"), 1);
  ASSERT_TRUE(reader.Join());
  EXPECT_EQ(reader.text, "File not found: C:\\A.PDB");
  EXPECT_EQ(reader.buttons, std::vector<int>{IDOK});
  EXPECT_EQ(reader.icon, LoadIconA(nullptr, IDI_EXCLAMATION));
  EXPECT_EQ(reader.owner, nullptr);
}

TEST(RealMessageBox, ShowsWhatTheApplicationsTextsAskFor) {
  const testing::ResourceModule module(
      {testing::StringResource(35, "RETRYCANCEL STOP DEFBUTTON2 NOLOG, Vial %d of %s: no answer")});
  BoxReader reader("Attention", IDRETRY);
  EXPECT_EQ(MsgReportMsg(module.instance(), 35, nullptr, 12, "rack B"), IDRETRY);
  ASSERT_TRUE(reader.Join());
  EXPECT_EQ(reader.text, "Vial 12 of rack B: no answer");
  EXPECT_EQ(reader.buttons, (std::vector<int>{IDRETRY, IDCANCEL}));
  EXPECT_EQ(reader.icon, LoadIconA(nullptr, IDI_HAND));
  BoxReader missing("Vials", IDOK);
  EXPECT_EQ(MsgReportMsg(module.instance(), 36, "Vials"), IDOK);
  ASSERT_TRUE(missing.Join());
  EXPECT_EQ(missing.text, "Application Error: 36");
}

TEST(RealMessageBox, BelongsToItsOwner) {
  HWND owner = MakeWindow();
  ASSERT_NE(owner, nullptr);
  BoxReader reader("Real range", IDNO);
  EXPECT_EQ(GenMessage(owner, "Mass", "Real range", MB_YESNO | MB_ICONQUESTION, "1", "2"), IDNO);
  ASSERT_TRUE(reader.Join());
  EXPECT_EQ(reader.text, "Mass\nMin Value: 1\nMax Value: 2");
  EXPECT_EQ(reader.buttons, (std::vector<int>{IDYES, IDNO}));
  EXPECT_EQ(reader.icon, LoadIconA(nullptr, IDI_QUESTION));
  EXPECT_EQ(reader.owner, owner);
  DestroyWindow(owner);
}

int32_t messages_received = 0;
LRESULT CALLBACK CountMessages(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_USER + 12 && first == 3 && second == 4) ++messages_received;
  return DefWindowProcA(window, message, first, second);
}

TEST(RealBroadcast, ReachesRealWindows) {
  HWND first = MakeWindow();
  HWND second = MakeWindow();
  HWND unregistered = MakeWindow();
  for (HWND window : {first, second, unregistered}) {
    SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(CountMessages));
  }
  AppSetWindow(0, first);
  AppSetWindow(29, second);
  messages_received = 0;
  EXPECT_EQ(BroadcastMessage(WM_USER + 12, 3, 4), 0);
  EXPECT_EQ(messages_received, 2);
  DestroyWindow(second);
  EXPECT_EQ(BroadcastMessage(WM_USER + 12, 3, 4), 0);
  EXPECT_EQ(messages_received, 3);
  appsvc::ResetApplication();
  DestroyWindow(first);
  DestroyWindow(unregistered);
}

constexpr const char* kClasses[] = {"TervalonArrowSpin", "TervalonEarSpin", "TervalonBrowser",
                                    "TervalonToolbar", "TervalonStatusBar"};

bool IsRegistered(const char* name) {
  WNDCLASSA description = {};
  return GetClassInfoA(GetModuleHandleA(nullptr), name, &description) != FALSE;
}

// What a process has, so that what a library leaves behind can be seen.
struct Holdings {
  DWORD handles = 0;
  DWORD gdi_objects = 0;
  DWORD user_objects = 0;
  int atoms = 0;         // of the process alone: other tables are everybody's
  int thread_slots = 0;  // of thread-local values
  size_t committed = 0;  // bytes of memory
  size_t heap = 0;       // bytes in use

  static Holdings Now() {
    Holdings now;
    for (uintptr_t handle = 4; handle < 0x4000; handle += 4) {
      DWORD flags = 0;
      if (GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) ++now.handles;
    }
    now.gdi_objects = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    now.user_objects = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    std::vector<DWORD> free_slots;
    while (free_slots.empty() || free_slots.back() != TLS_OUT_OF_INDEXES) {
      free_slots.push_back(TlsAlloc());
    }
    for (const DWORD slot : free_slots) TlsFree(slot);
    now.thread_slots = -static_cast<int>(free_slots.size());
    char name[256];
    for (unsigned atom = 0xC000; atom < 0xD000; ++atom) {
      if (GetAtomNameA(static_cast<ATOM>(atom), name, sizeof(name)) != 0) ++now.atoms;
    }
    MEMORY_BASIC_INFORMATION region = {};
    for (char* at = nullptr; VirtualQuery(at, &region, sizeof(region)) != 0;
         at = static_cast<char*>(region.BaseAddress) + region.RegionSize) {
      if (region.State == MEM_COMMIT) now.committed += region.RegionSize;
    }
    HANDLE heaps[64];
    const DWORD heap_count = GetProcessHeaps(64, heaps);
    for (DWORD i = 0; i < heap_count && i < 64; ++i) {
      PROCESS_HEAP_ENTRY entry = {};
      while (HeapWalk(heaps[i], &entry)) {
        if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) now.heap += entry.cbData;
      }
    }
    return now;
  }
};

template <typename Function>
Function* Find(HMODULE library, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// Asks for more memory than there is, for which the library has an exception of its own.
void RunOutOfMemory(HMODULE library) {
  const HDC dc = CreateCompatibleDC(nullptr);
  const int32_t axes = Find<decltype(AxsCreate)>(library, "AxsCreate")(1, 0, 1, 1);
  const TvRect area = {0, 0, 100, 100};
  const TvRect margins = {};
  EXPECT_EQ(Find<decltype(AxsSize)>(library, "AxsSize")(axes, &area, &margins), 1);
  const AxsPlotLabel label = {};
  AxsPlotBlock plot = {};
  plot.flags = AXS_PLOT_ANNOTATE;
  plot.labels = &label;
  plot.label_count = INT32_MAX;
  EXPECT_EQ(Find<decltype(AxsPlotData)>(library, "AxsPlotData")(dc, axes, &plot), -1);
  EXPECT_EQ(SaveDC(dc), 1);
  DeleteDC(dc);
}

// Some of what callers do, memory and a failure included.
void Use(HMODULE library) {
  char path[TV_PATH_SIZE] = {};
  EXPECT_EQ(Find<decltype(CreatePathName)>(library, "CreatePathName")("A", "C:\\D", "E", path, 260),
            1);
  EXPECT_STREQ(path, "C:\\D\\A.E");
  EXPECT_EQ(Find<decltype(AppSetMainWindow)>(library, "AppSetMainWindow")(nullptr, library), 1);
  const TvMemory block = Find<decltype(TvMemAlloc)>(library, "TvMemAlloc")(100000);
  EXPECT_EQ(Find<decltype(TvMemFree)>(library, "TvMemFree")(block), 1);
  SystemFile none = {0, "C:\\none\\", "", "RAW", 0, 0};
  EXPECT_EQ(Find<decltype(ProFindFirstFileName)>(library, "ProFindFirstFileName")(&none, 0), 0);
  RunOutOfMemory(library);
}

TEST(Library, LeavesNothingOfItsOwnBehind) {
  constexpr int kRounds = 100;
  constexpr int kFirst = 5;  // once the system's own tables have been made
  // What the compiler's runtime, which is a part of the library, leaves each time: semaphores, the
  // slot in which it keeps a thread's exceptions, memory that it sets aside for exceptions.
  constexpr int kCounted = kRounds - kFirst;
  constexpr int kRuntimesHandles = 2;
  constexpr int kRuntimesSlots = 1;
  // 64 exceptions of 1 KiB, or 32 of half a KiB, and what it notes of each.
  constexpr size_t kRuntimesHeap = sizeof(void*) == 8 ? 75300 : 19500;
  Holdings before;
  for (int round = 0; round < kRounds; ++round) {
    if (round == kFirst) before = Holdings::Now();
    HMODULE library = LoadLibraryA("tervalon.dll");
    ASSERT_NE(library, nullptr) << round;
    for (const char* name : kClasses) ASSERT_TRUE(IsRegistered(name)) << name << " " << round;
    HWND window = CreateWindowExA(0, kClasses[round % 5], "", WS_POPUP, 0, 0, 10, 10, nullptr,
                                  nullptr, library, nullptr);
    ASSERT_NE(window, nullptr) << round;
    DestroyWindow(window);
    char text[64] = {};
    ASSERT_GT(LoadStringA(library, 6, text, sizeof(text)), 0);
    ASSERT_STREQ(text, "2 Out of Memory");
    Use(library);
    ASSERT_TRUE(FreeLibrary(library));
    ASSERT_EQ(GetModuleHandleA("tervalon.dll"), nullptr) << round;
    for (const char* name : kClasses) ASSERT_FALSE(IsRegistered(name)) << name << " " << round;
  }
  const Holdings after = Holdings::Now();
  EXPECT_LE(after.handles, before.handles + kRuntimesHandles * kCounted);
  EXPECT_LE(after.gdi_objects, before.gdi_objects);
  EXPECT_LE(after.user_objects, before.user_objects);
  EXPECT_LE(after.atoms, before.atoms);
  EXPECT_LT(after.committed, before.committed + kRuntimesHeap * kCounted + 0x10000)
      << "the system's own heaps grow by pages";
  EXPECT_LT(after.heap, before.heap + kRuntimesHeap * kCounted);
  EXPECT_LE(after.thread_slots, before.thread_slots + kRuntimesSlots * kCounted);
}

// Another module may have brought the shared form of the compiler's runtime; a copy of the library
// under its name stands for it.
TEST(Library, KeepsItsExceptionsBesideAnotherRuntime) {
  const testing::TempDirectory directory;
  const std::string shared = directory.Path("libgcc_s_dw2-1.dll");
  HMODULE library = LoadLibraryA("tervalon.dll");
  char path[TV_PATH_SIZE] = {};
  GetModuleFileNameA(library, path, sizeof(path));
  FreeLibrary(library);
  ASSERT_TRUE(CopyFileA(path, shared.c_str(), TRUE));
  HMODULE runtime = LoadLibraryA(shared.c_str());
  ASSERT_NE(runtime, nullptr);
  ASSERT_EQ(GetModuleHandleW(L"libgcc_s_dw2-1.dll"), runtime);
  library = LoadLibraryA("tervalon.dll");
  RunOutOfMemory(library);
  EXPECT_TRUE(FreeLibrary(library));
  EXPECT_TRUE(FreeLibrary(runtime));
  EXPECT_EQ(GetModuleHandleW(L"libgcc_s_dw2-1.dll"), nullptr) << "held by the library";
}

}  // namespace
}  // namespace tervalon

#endif  // defined(_WIN32)
