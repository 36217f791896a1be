// Window placement and projects with the windows of a real screen.

#ifdef _WIN32

#include <gtest/gtest.h>
#include <windows.h>
// After it.
#include <dlgs.h>

#include <filesystem>
#include <map>
#include <string>

#include "appsvc/application.h"
#include "tervalon/application.h"
#include "tervalon/projects.h"
#include "tervalon/window_placement.h"
#include "tests/support/screen.h"
#include "tests/support/settings_fixture.h"

namespace tervalon::settings {
namespace {

namespace fs = std::filesystem;
using testing::BoxReader;
using testing::ScreenReader;

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

using ScreenTest = testing::SettingsFixture;

TEST_F(ScreenTest, DocumentsOfAFrameComeBackAtTheSamePlaces) {
  const std::map<std::string, std::string> lines = {
      {"Normal", "TRUE,SW_SHOWNORMAL,10,20,310,220"},
      {"Minimised", "TRUE,SW_SHOWMINIMIZED,30,40,330,240"},
      {"Maximised", "TRUE,SW_SHOWMAXIMIZED,50,60,450,360"},
  };
  for (const auto& [key, line] : lines) SetIni("Windows", key.c_str(), line);
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

    for (const auto& [key, line] : lines) SetIni("Windows", key.c_str(), "");
    EXPECT_EQ(IniSaveDesktop(frame.area(), TV_SAVE_DESKTOP, "Frame", "Desktop", 0), 1);
    for (const auto& [key, line] : lines) EXPECT_EQ(GetIni("Windows", key.c_str()), line);
    const std::string list = GetIni("Frame", "Desktop");
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
  // An owner is no parent: its windows are measured on the screen, where they are moved.
  const HWND owned = CreateWindowA("STATIC", "", WS_POPUP, 100, 90, 200, 150, frame.window(),
                                   nullptr, GetModuleHandleA(nullptr), nullptr);
  IniWindPos placement;
  EXPECT_EQ(ObtainWindPos(owned, &placement), 1);
  EXPECT_EQ(placement.left, 100);
  EXPECT_EQ(placement.top, 90);
  EXPECT_EQ(placement.right, 300);
  EXPECT_EQ(placement.bottom, 240);
}

LRESULT CALLBACK AgreeToClose(HWND window, UINT message, WPARAM first, LPARAM second) {
  return message == PRO_CLOSE_REQUEST ? 1 : DefWindowProcA(window, message, first, second);
}

// A directory with a path short enough for projects, and the settings file in it.
class RealProjectTest : public testing::SettingsFixture {
 protected:
  RealProjectTest() {
    fs::create_directory(short_);
    ResetSettingsFile(short_.c_str());
  }
  ~RealProjectTest() override {
    appsvc::ResetApplication();
    fs::remove_all(short_);
  }

  static HWND MakeWindow() {
    return CreateWindowA("STATIC", "", WS_OVERLAPPEDWINDOW, 0, 0, 90, 90, nullptr, nullptr,
                         GetModuleHandleA(nullptr), nullptr);
  }
  // What the user does with the dialog; the rest of its answers are message boxes.
  static void Press(HWND dialog, WORD button) { PostMessageA(dialog, WM_COMMAND, button, 0); }

  const std::string short_ = "C:\\tv" + std::to_string(GetCurrentProcessId());
};

TEST_F(RealProjectTest, IsOfferedCreatedAndSelected) {
  const HWND owner = MakeWindow();
  AppSetMainWindow(owner, nullptr);
  SystemFile project = {0, "", "Oils", "PRO", 0, 0};
  (short_ + "\\").copy(project.directory, sizeof(project.directory) - 1);
  EXPECT_EQ(SetGlobalFile("SystemList", "PROJECT", &project, 1), 1);
  project = {5, "", "", "", 6, 7};
  {
    ScreenReader dialog(ScreenReader::Kind::kFileDialog, "Select Project", [](HWND window) {
      EXPECT_EQ(testing::TextOf(GetDlgItem(window, stc3)), "Project &Name:");
      Press(window, IDCANCEL);
    });
    EXPECT_EQ(ProFileOpen(owner, &project), 0);
    EXPECT_TRUE(dialog.Join());
    EXPECT_STREQ(project.name, "");
  }
  {
    ScreenReader dialog(ScreenReader::Kind::kFileDialog, "Select Project",
                        [](HWND window) { Press(window, IDOK); });
    BoxReader offer("Select Project", IDYES);
    EXPECT_EQ(ProFileOpen(owner, &project), 1);
    EXPECT_TRUE(dialog.Join() && offer.Join());
    EXPECT_EQ(offer.text, short_ +
                              "\\Oils.PRO\n\nThis Project does not exist.\n"
                              "Create Project directory?");
    EXPECT_EQ(std::string(project.directory) + project.name, short_ + "\\Oils");
    EXPECT_TRUE(fs::is_directory(short_ + "\\Oils.PRO\\TABLEDB"));
  }

  fs::create_directory(short_ + "\\Oils.PRO\\DATA\\B.RAW");
  testing::WriteText(short_ + "\\Oils.PRO\\PEAKDB\\Palm.PDB", "");
  const HWND service = MakeWindow();
  SetWindowLongPtrA(service, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(AgreeToClose));
  AppSetService(3, service, 1);
  BoxReader question("Select Project", IDYES);
  EXPECT_EQ(ProSetCurrent(owner, &project), 1);
  EXPECT_TRUE(question.Join());
  EXPECT_EQ(question.owner, owner);
  EXPECT_EQ(question.icon, LoadIconA(nullptr, IDI_QUESTION));
  EXPECT_FALSE(IsWindow(service));
  FreeGlobal(0);
  const std::string parent = "0," + short_ + "\\Oils.PRO\\";
  const std::map<std::string, std::string> entries = {
      {"PROJECT", "5," + short_ + "\\,Oils,PRO,6,7"},
      {"CURVE_DB", parent + "CURVEDB\\,Oils,CDB,0,0"},
      {"RAW", parent + "DATA\\,B,RAW,0,0"},
      {"METHOD_DB", parent + "METHDB\\,Oils,MDB,0,0"},
      {"PEAK_DB", parent + "PEAKDB\\,Palm,PDB,0,0"},
      {"SAMPLES_DB", parent + "SAMPLEDB\\,Oils,SPL,0,0"},
      {"PTABLE_DB", parent + "TABLEDB\\,Oils,TDB,0,0"},
  };
  for (const auto& [key, entry] : entries) EXPECT_EQ(GetIni("SystemList", key.c_str()), entry);
  DestroyWindow(owner);
}

}  // namespace
}  // namespace tervalon::settings

#endif  // _WIN32
