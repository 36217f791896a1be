// What only a real desktop can show: boxes on the screen, messages to real windows, the DLL's
// classes.

#if defined(_WIN32)

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "appsvc/application.h"
#include "tervalon/application.h"
#include "tervalon/messages.h"

namespace tervalon {
namespace {

std::string TextOf(HWND window) {
  char text[512] = {};
  GetWindowTextA(window, text, sizeof(text));
  return text;
}

// Reads a message box of this process back from the screen and presses one of its buttons.
class BoxReader {
 public:
  BoxReader(std::string caption, int button)
      : caption_(std::move(caption)), button_(button), thread_([this] { Run(); }) {}
  ~BoxReader() { Join(); }
  BoxReader(const BoxReader&) = delete;
  BoxReader& operator=(const BoxReader&) = delete;

  void Join() {
    if (thread_.joinable()) thread_.join();
  }

  bool shown = false;
  std::vector<std::string> texts;
  std::vector<int> buttons;
  HICON icon = nullptr;
  HWND owner = nullptr;

 private:
  void Run() {
    for (int tries = 0; tries < 200; ++tries, Sleep(50)) {
      HWND box = FindWindowA("#32770", caption_.c_str());
      DWORD process = 0;
      if (box != nullptr) GetWindowThreadProcessId(box, &process);
      if (process != GetCurrentProcessId() || !IsWindowVisible(box)) continue;
      shown = true;
      owner = GetWindow(box, GW_OWNER);
      EnumChildWindows(box, ReadControl, reinterpret_cast<LPARAM>(this));
      PostMessageA(box, WM_COMMAND, static_cast<WPARAM>(button_), 0);
      return;
    }
  }

  static BOOL CALLBACK ReadControl(HWND control, LPARAM parameter) {
    auto* reader = reinterpret_cast<BoxReader*>(parameter);
    char name[32] = {};
    GetClassNameA(control, name, sizeof(name));
    if (lstrcmpiA(name, "Button") == 0) {
      if (IsWindowVisible(control)) reader->buttons.push_back(GetDlgCtrlID(control));
    } else if ((GetWindowLongA(control, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) {
      reader->icon = reinterpret_cast<HICON>(SendMessageA(control, STM_GETICON, 0, 0));
    } else if (!TextOf(control).empty()) {
      reader->texts.push_back(TextOf(control));
    }
    return TRUE;
  }

  std::string caption_;
  int button_;
  std::thread thread_;  // last: it uses the others
};

HWND MakeWindow() {
  return CreateWindowExA(0, "STATIC", "test", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                         GetModuleHandleA(nullptr), nullptr);
}

TEST(RealMessageBox, ShowsTheLibrarysOwnText) {
  BoxReader reader("Real peaks", IDOK);
  EXPECT_EQ(MsgReport(7, "Real peaks", "C:\\A.PDB"), 1);
  reader.Join();
  ASSERT_TRUE(reader.shown);
  EXPECT_EQ(reader.texts, std::vector<std::string>{"File not found: C:\\A.PDB"});
  EXPECT_EQ(reader.buttons, std::vector<int>{IDOK});
  EXPECT_EQ(reader.icon, LoadIconA(nullptr, IDI_EXCLAMATION));
  EXPECT_EQ(reader.owner, nullptr);
}

TEST(RealMessageBox, ReturnsThePressedButton) {
  HWND owner = MakeWindow();
  ASSERT_NE(owner, nullptr);
  BoxReader reader("Real range", IDNO);
  EXPECT_EQ(GenMessage(owner, "Mass", "Real range", MB_YESNO | MB_ICONQUESTION, "1", "2"), IDNO);
  reader.Join();
  ASSERT_TRUE(reader.shown);
  EXPECT_EQ(reader.texts, std::vector<std::string>{"Mass\nMin Value: 1\nMax Value: 2"});
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
