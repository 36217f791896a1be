// What only a real desktop can show: boxes on the screen, messages to real windows, the DLL's
// classes.

#if defined(_WIN32)

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "appsvc/application.h"
#include "tervalon/application.h"
#include "tervalon/messages.h"
#include "tests/support/screen.h"

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

TEST(Library, RegistersItsClassesWhileLoaded) {
  DWORD handles_before = 0;
  for (int round = 0; round < 100; ++round) {
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
    ASSERT_TRUE(FreeLibrary(library));
    ASSERT_EQ(GetModuleHandleA("tervalon.dll"), nullptr) << round;
    for (const char* name : kClasses) ASSERT_FALSE(IsRegistered(name)) << name << " " << round;

    DWORD handles = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &handles));
    if (round == 4) handles_before = handles;  // once the system's own tables have been made
    if (round > 4) {
      ASSERT_LE(handles, handles_before) << round;
    }
  }
}

}  // namespace
}  // namespace tervalon

#endif  // defined(_WIN32)
