// Window placement with the windows of a real screen.

#ifdef _WIN32

#include <gtest/gtest.h>
#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "settings/settings.h"
#include "tervalon/settings.h"
#include "tervalon/window_placement.h"
#include "tests/support/temp_directory.h"

namespace tervalon::settings {
namespace {

constexpr const char* kFrameClass = "TervalonTestFrame";
constexpr const char* kDocumentClass = "TervalonTestDocument";

HWND area_of_frame = nullptr;

LRESULT CALLBACK FrameProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  return DefFrameProcA(window, area_of_frame, message, first, second);
}

void RegisterClasses() {
  static const bool registered = [] {
    WNDCLASSA frame = {};
    frame.lpfnWndProc = FrameProcedure;
    frame.hInstance = GetModuleHandleA(nullptr);
    frame.lpszClassName = kFrameClass;
    WNDCLASSA document = frame;
    document.lpfnWndProc = DefMDIChildProcA;
    document.lpszClassName = kDocumentClass;
    return RegisterClassA(&frame) != 0 && RegisterClassA(&document) != 0;
  }();
  ASSERT_TRUE(registered);
}

// A multiple-document frame on the screen.
class Frame {
 public:
  Frame() {
    RegisterClasses();
    window_ = CreateWindowA(kFrameClass, "Frame", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 30, 700,
                            500, nullptr, nullptr, GetModuleHandleA(nullptr), nullptr);
    CLIENTCREATESTRUCT create = {nullptr, 100};
    area_ = CreateWindowA("MDICLIENT", nullptr, WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0, 680,
                          460, window_, nullptr, GetModuleHandleA(nullptr), &create);
    area_of_frame = area_;
  }
  ~Frame() {
    area_of_frame = nullptr;
    DestroyWindow(window_);
  }
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  HWND window() const { return window_; }
  HWND area() const { return area_; }

  HWND Create(const char* key) const {
    TvDocumentCreate create = {};
    create.window_class = kDocumentClass;
    create.title = key;
    create.owner = GetModuleHandleA(nullptr);
    return IniCreateMDIWnd(area_, "Windows", key, &create);
  }

 private:
  HWND window_ = nullptr;
  HWND area_ = nullptr;
};

std::string Get(const char* section, const char* key) {
  char out[512];
  GetIniString(section, key, "(none)", out, sizeof(out));
  return out;
}

void Set(const char* key, std::string value) { SetIniString("Windows", key, value.data(), 0); }

class ScreenTest : public ::testing::Test {
 protected:
  ScreenTest() { ResetSettingsFile(directory_.Path().c_str()); }
  ~ScreenTest() override { ResetSettingsFile(nullptr); }

  testing::TempDirectory directory_;
};

TEST_F(ScreenTest, DocumentsOfAFrameComeBackAtTheSamePlaces) {
  const std::map<std::string, std::string> lines = {
      {"Normal", "TRUE,SW_SHOWNORMAL,10,20,310,220"},
      {"Minimised", "TRUE,SW_SHOWMINIMIZED,30,40,330,240"},
      {"Maximised", "TRUE,SW_SHOWMAXIMIZED,50,60,450,360"},
  };
  for (const auto& [key, line] : lines) Set(key.c_str(), line);
  // Twice: what the first frame saves is all that the second one has.
  for (int round = 0; round < 2; ++round) {
    const Frame frame;
    const HWND normal = frame.Create("Normal");
    const HWND minimised = frame.Create("Minimised");
    RECT rect;
    GetWindowRect(normal, &rect);
    MapWindowPoints(nullptr, frame.area(), reinterpret_cast<POINT*>(&rect), 2);
    EXPECT_EQ(rect.left, 10);
    EXPECT_EQ(rect.top, 20);
    EXPECT_EQ(rect.right, 310);
    EXPECT_EQ(rect.bottom, 220);
    const HWND maximised = frame.Create("Maximised");
    EXPECT_TRUE(IsIconic(minimised));
    EXPECT_TRUE(IsZoomed(maximised));
    ASSERT_TRUE(normal != nullptr && minimised != nullptr && maximised != nullptr);

    for (const auto& [key, line] : lines) Set(key.c_str(), "");
    EXPECT_EQ(IniSaveDesktop(frame.area(), TV_SAVE_DESKTOP, "Frame", "Desktop", 0), 1);
    for (const auto& [key, line] : lines) EXPECT_EQ(Get("Windows", key.c_str()), line);
    const std::string list = Get("Frame", "Desktop");
    for (const auto& [key, line] : lines) EXPECT_NE(list.find(key), std::string::npos) << list;
    EXPECT_EQ(list.size(), std::string("Normal,Minimised,Maximised").size());
    EXPECT_TRUE(list.ends_with(",Maximised")) << list;
    for (const HWND window : {normal, minimised, maximised}) {
      EXPECT_FALSE(IsIconic(window) || IsZoomed(window));
    }
  }
}

TEST_F(ScreenTest, FramesAreMeasuredInEveryState) {
  const Frame frame;
  const struct {
    int command;
    int32_t state;
  } cases[] = {{SW_SHOWNORMAL, TV_PLACEMENT_NORMAL},
               {SW_SHOWMINIMIZED, TV_PLACEMENT_MINIMIZED},
               {SW_SHOWMAXIMIZED, TV_PLACEMENT_MAXIMIZED}};
  for (const auto& [command, state] : cases) {
    ShowWindow(frame.window(), command);
    IniWindPos placement;
    EXPECT_EQ(ObtainWindPos(frame.window(), &placement), 1);
    EXPECT_EQ(placement.show_state, state);
    EXPECT_EQ(placement.left, 40);
    EXPECT_EQ(placement.top, 30);
    EXPECT_EQ(placement.right, 740);
    EXPECT_EQ(placement.bottom, 530);
    EXPECT_EQ(IsWindowVisible(frame.window()) != FALSE, state == TV_PLACEMENT_NORMAL);
    EXPECT_EQ(RestoreWindPos(frame.window(), &placement), 1);
    EXPECT_TRUE(IsWindowVisible(frame.window()));
    EXPECT_EQ(IsIconic(frame.window()) != FALSE, state == TV_PLACEMENT_MINIMIZED);
    EXPECT_EQ(IsZoomed(frame.window()) != FALSE, state == TV_PLACEMENT_MAXIMIZED);
    ShowWindow(frame.window(), SW_RESTORE);
  }
}

}  // namespace
}  // namespace tervalon::settings

#endif  // _WIN32
