// The viewer as somebody at the desk uses it: its windows, the mouse and the keys.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/temp_directory.h"

namespace tervalon {
namespace {

using testing::Native;
using testing::TempDirectory;

constexpr std::chrono::seconds kPatience(20);
constexpr UINT kAnswerTime = 20000;  // milliseconds

bool WaitFor(const std::function<bool()>& condition,
             std::chrono::milliseconds patience = kPatience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

std::string ProgramAt(const char* path) {
  return std::filesystem::absolute(path).make_preferred().string();
}

DWORD_PTR Ask(HWND window, UINT message, WPARAM first = 0, LPARAM second = 0) {
  DWORD_PTR answer = 0;
  SendMessageTimeoutW(window, message, first, second, SMTO_NORMAL, kAnswerTime, &answer);
  return answer;
}

std::string TextOf(HWND window) {
  wchar_t text[512] = L"";
  Ask(window, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text));
  std::string narrow;
  for (const wchar_t* c = text; *c != 0; ++c) narrow += static_cast<char>(*c);
  return narrow;
}

std::map<std::string, std::string> FilesOf(const std::string& directory) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(Native(directory))) {
    files[entry.path().filename().string()] = testing::ReadText(entry.path().string());
  }
  return files;
}

// The viewer while it runs.
class Viewer {
 public:
  explicit Viewer(const std::vector<std::string>& arguments)
      : program_(ProgramAt(TERVALON_VIEWER), arguments) {
    WaitFor([&] {
      frame_ = FindWindowW(L"TervalonViewFrame", nullptr);
      return frame_ != nullptr && IsWindowVisible(frame_) != FALSE;
    });
    area_ = FindWindowExW(frame_, nullptr, L"MDICLIENT", nullptr);
    status_ = FindWindowExW(frame_, nullptr, L"msctls_statusbar32", nullptr);
  }

  HWND frame() const { return frame_; }
  void Activate(HWND document) const {
    Ask(area_, WM_MDIACTIVATE, reinterpret_cast<WPARAM>(document));
  }
  HWND Front() const { return reinterpret_cast<HWND>(Ask(area_, WM_MDIGETACTIVE)); }

  std::vector<HWND> Documents() const {
    std::vector<HWND> documents;
    HWND window = nullptr;
    while ((window = FindWindowExW(area_, window, L"TervalonViewDocument", nullptr)) != nullptr) {
      documents.push_back(window);
    }
    return documents;
  }
  // What each document is called, and where it is in the frame.
  std::map<std::string, std::string> Places() const {
    std::map<std::string, std::string> places;
    for (const HWND window : Documents()) {
      RECT rect = {};
      GetWindowRect(window, &rect);
      MapWindowPoints(nullptr, area_, reinterpret_cast<POINT*>(&rect), 2);
      places[TextOf(window)] = std::to_string(rect.left) + " " + std::to_string(rect.top) + " " +
                               std::to_string(rect.right) + " " + std::to_string(rect.bottom);
    }
    return places;
  }
  // Waits for one whose title has that in it; nullptr: there is none.
  HWND Document(const std::string& title) const {
    HWND found = nullptr;
    WaitFor([&] {
      const std::vector<HWND> all = Documents();
      const auto place = std::ranges::find_if(
          all, [&](HWND window) { return TextOf(window).find(title) != std::string::npos; });
      found = place != all.end() ? *place : nullptr;
      return found != nullptr;
    });
    return found;
  }

  // A place in parts of a window's width and height.
  static LPARAM At(HWND window, double x, double y) {
    RECT client = {};
    GetClientRect(window, &client);
    return MAKELPARAM(static_cast<int>(client.right * x), static_cast<int>(client.bottom * y));
  }
  // What the status bar says of that place. Moved to from beside, so that it is news.
  std::string Read(HWND window, double x, double y) const {
    Ask(window, WM_MOUSEMOVE, 0, MAKELPARAM(0, 0));
    Ask(window, WM_MOUSEMOVE, 0, At(window, x, y));
    return TextOf(status_);
  }
  double Time(HWND window, double x) const { return std::atof(Read(window, x, 0.5).c_str()); }

  static void Drag(HWND window, double x, double to_x, double y) {
    PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, At(window, x, y));
    PostMessageW(window, WM_MOUSEMOVE, MK_LBUTTON, At(window, (x + to_x) / 2, y));
    PostMessageW(window, WM_MOUSEMOVE, MK_LBUTTON, At(window, to_x, y));
    PostMessageW(window, WM_LBUTTONUP, 0, At(window, to_x, y));
  }
  static void Click(HWND window, double x, double y) { Drag(window, x, x, y); }

  // Presses a key with others held down until that has happened.
  bool Press(std::vector<int> held, int key, const std::function<bool()>& happened) const {
    const DWORD thread = GetWindowThreadProcessId(frame_, nullptr);
    AttachThreadInput(GetCurrentThreadId(), thread, TRUE);
    BYTE keys[256] = {};
    for (const int one : held) keys[one] = 0x80;
    SetKeyboardState(keys);
    PostMessageW(Front(), WM_KEYDOWN, static_cast<WPARAM>(key), 0);
    const bool seen = WaitFor(happened);
    std::ranges::fill(keys, BYTE{0});
    SetKeyboardState(keys);
    AttachThreadInput(GetCurrentThreadId(), thread, FALSE);
    return seen;
  }

  // Its message box with such a text; nullptr: there is none.
  HWND MessageBoxWith(const std::string& text, std::chrono::milliseconds patience) const {
    HWND found = nullptr;
    WaitFor(
        [&] {
          HWND box = nullptr;
          while (found == nullptr &&
                 (box = FindWindowExW(nullptr, box, L"#32770", nullptr)) != nullptr) {
            if (GetWindow(box, GW_OWNER) != frame_) continue;
            HWND part = nullptr;
            while ((part = FindWindowExW(box, part, nullptr, nullptr)) != nullptr) {
              if (TextOf(part).find(text) != std::string::npos) found = box;
            }
          }
          return found != nullptr;
        },
        patience);
    return found;
  }

  // The exit status.
  int Close() {
    PostMessageW(frame_, WM_CLOSE, 0, 0);
    EXPECT_TRUE(WaitFor([&] { return !program_.Running(); }));
    return program_.Wait();
  }

 private:
  testing::Program program_;
  HWND frame_ = nullptr;
  HWND area_ = nullptr;
  HWND status_ = nullptr;
};

class WindowsViewer : public ::testing::Test {
 protected:
  WindowsViewer() {
    testing::SetEnvironment("APPDATA", Native(directory_.Path()).string());
    // The screen's own mouse points at nothing of the viewer.
    SetCursorPos(GetSystemMetrics(SM_CXSCREEN) - 1, GetSystemMetrics(SM_CYSCREEN) - 1);
  }

  std::string MakeRun(const std::string& name) const {
    const auto result =
        testing::RunProcess(ProgramAt(TERVALON_PROGRAM), {"simulate", name}, directory_.Path());
    EXPECT_EQ(result.status, 0) << result.err;
    return Native(directory_.Path(name)).make_preferred().string();
  }

  const TempDirectory directory_;
};

TEST_F(WindowsViewer, ShowsWhatTheMouseMarks) {
  const std::string run = MakeRun("A.RAW");
  const auto files = FilesOf(run);
  Viewer viewer({run});
  const HWND traces = viewer.Document("A.RAW: function 1 - Chromatogram");
  ASSERT_NE(traces, nullptr);
  ASSERT_TRUE(WaitFor([&] { return viewer.Time(traces, 0.5) > 0; }));

  // 240 scans in eight minutes.
  const double time = viewer.Time(traces, 0.3);
  Viewer::Click(traces, 0.3, 0.5);
  const HWND spectrum = viewer.Document("- Spectrum");
  ASSERT_NE(spectrum, nullptr);
  const std::string title = TextOf(spectrum);
  ASSERT_NE(title.find("scan "), std::string::npos) << title;
  EXPECT_NEAR(std::atoi(title.c_str() + title.find("scan ") + 5), time * 30 + 1, 1.01) << title;

  const double begin = viewer.Time(traces, 0.4);
  const double end = viewer.Time(traces, 0.6);
  Viewer::Drag(traces, 0.4, 0.6, 0.5);
  ASSERT_EQ(viewer.Document("mean of"), spectrum);
  double low = 0;
  double high = 0;
  const std::string combined = TextOf(spectrum);
  ASSERT_EQ(
      std::sscanf(combined.c_str() + combined.find("mean of"), "mean of %lf to %lf", &low, &high),
      2);
  EXPECT_NEAR(low, begin, 0.03);
  EXPECT_NEAR(high, end, 0.03);

  // Below the axis: the part that was marked becomes all that is seen, until a double click.
  const double left = viewer.Time(traces, 0.1);
  Viewer::Drag(traces, 0.4, 0.6, 0.95);
  EXPECT_TRUE(WaitFor([&] { return viewer.Time(traces, 0.1) > begin - 0.03; }));
  EXPECT_LT(viewer.Time(traces, 0.9), end + 0.03);
  PostMessageW(traces, WM_LBUTTONDBLCLK, MK_LBUTTON, Viewer::At(traces, 0.5, 0.5));
  EXPECT_TRUE(WaitFor([&] { return viewer.Time(traces, 0.1) == left; }));
  // The wheel zooms around the mouse.
  POINT middle = {LOWORD(Viewer::At(traces, 0.5, 0.5)), HIWORD(Viewer::At(traces, 0.5, 0.5))};
  const double centre = viewer.Time(traces, 0.5);
  ClientToScreen(traces, &middle);
  PostMessageW(traces, WM_MOUSEWHEEL, MAKEWPARAM(0, WHEEL_DELTA), MAKELPARAM(middle.x, middle.y));
  EXPECT_TRUE(WaitFor([&] { return viewer.Time(traces, 0.1) > left + 0.1; }));
  EXPECT_NEAR(viewer.Time(traces, 0.5), centre, 0.01);
  viewer.Activate(traces);
  EXPECT_TRUE(viewer.Press({}, VK_HOME, [&] { return viewer.Time(traces, 0.1) == left; }));

  EXPECT_EQ(viewer.Close(), 0);
  EXPECT_EQ(FilesOf(run), files);
}

TEST_F(WindowsViewer, CopiesAndShowsThePageBeforeItIsPrinted) {
  Viewer viewer({MakeRun("A.RAW")});
  const HWND traces = viewer.Document("- Chromatogram");
  ASSERT_NE(traces, nullptr);
  ASSERT_TRUE(OpenClipboard(nullptr));
  EmptyClipboard();
  CloseClipboard();
  EXPECT_TRUE(viewer.Press({VK_CONTROL}, 'C', [] {
    return IsClipboardFormatAvailable(CF_ENHMETAFILE) && IsClipboardFormatAvailable(CF_BITMAP);
  }));
  ASSERT_TRUE(OpenClipboard(nullptr));
  const auto metafile = static_cast<HENHMETAFILE>(GetClipboardData(CF_ENHMETAFILE));
  ENHMETAHEADER header = {};
  EXPECT_NE(GetEnhMetaFileHeader(metafile, sizeof header, &header), 0U);
  EXPECT_GT(header.nRecords, 100U);
  CloseClipboard();

  HWND page = nullptr;
  EXPECT_TRUE(viewer.Press({VK_CONTROL, VK_SHIFT}, 'P', [&] {
    page = FindWindowW(L"TervalonViewPage", nullptr);
    return page != nullptr && IsWindowVisible(page) != FALSE;
  }));
  EXPECT_FALSE(IsWindowEnabled(viewer.frame()));
  PostMessageW(page, WM_KEYDOWN, VK_ESCAPE, 0);
  EXPECT_TRUE(WaitFor([&] { return !IsWindow(page) && IsWindowEnabled(viewer.frame()); }));
  EXPECT_EQ(viewer.Close(), 0);
}

TEST_F(WindowsViewer, ComesBackAsItWas) {
  const std::string gone = MakeRun("GONE.RAW");
  const std::string run = MakeRun("A.RAW");
  std::map<std::string, std::string> places;
  std::string front;
  {
    Viewer viewer({gone, run});
    const HWND traces = viewer.Document("A.RAW: function 1 - Chromatogram");
    ASSERT_NE(traces, nullptr);
    ASSERT_TRUE(WaitFor([&] { return viewer.Time(traces, 0.5) > 0; }));
    Viewer::Click(traces, 0.3, 0.5);
    const HWND spectrum = viewer.Document("A.RAW: function 1, scan");
    ASSERT_NE(spectrum, nullptr);
    SetWindowPos(spectrum, nullptr, 30, 40, 500, 300, SWP_NOZORDER);
    SetWindowPos(traces, nullptr, 200, 100, 400, 350, SWP_NOZORDER);
    SetWindowPos(viewer.frame(), nullptr, 15, 25, 900, 650, SWP_NOZORDER);
    places = viewer.Places();
    front = TextOf(viewer.Front());
    EXPECT_EQ(viewer.Close(), 0);
  }
  std::filesystem::remove_all(Native(gone));
  std::erase_if(places, [](const auto& place) { return place.first.starts_with("GONE"); });
  ASSERT_EQ(places.size(), 2U);
  Viewer viewer({});
  WaitFor([&] { return viewer.Places() == places; });
  EXPECT_EQ(viewer.Places(), places);
  EXPECT_EQ(TextOf(viewer.Front()), front);
  RECT frame = {};
  GetWindowRect(viewer.frame(), &frame);
  EXPECT_EQ(frame.left, 15);
  EXPECT_EQ(frame.bottom, 25 + 650);
  EXPECT_EQ(viewer.Close(), 0);
}

TEST_F(WindowsViewer, SaysOnceThatARunIsGone) {
  const std::string run = MakeRun("A.RAW");
  Viewer viewer({run, MakeRun("B.RAW")});
  const HWND other = viewer.Document("B.RAW");
  ASSERT_NE(other, nullptr);
  std::filesystem::rename(Native(run), Native(run + ".away"));
  const HWND box = viewer.MessageBoxWith("A.RAW", kPatience);
  ASSERT_NE(box, nullptr);
  PostMessageW(box, WM_COMMAND, IDOK, 0);
  EXPECT_TRUE(WaitFor([&] { return !IsWindow(box); }));
  EXPECT_EQ(viewer.MessageBoxWith("RAW", std::chrono::milliseconds(2500)), nullptr);
  EXPECT_GT(viewer.Time(other, 0.5), 0);
  EXPECT_EQ(viewer.Documents().size(), 2U);
  EXPECT_EQ(viewer.Close(), 0);
}

}  // namespace
}  // namespace tervalon
