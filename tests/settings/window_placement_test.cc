#include "tervalon/window_placement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include "platform/atoms.h"
#include "platform/headless/window_records.h"
#include "platform/window_manager.h"
#include "settings/placement_text.h"
#include "tests/support/fault_services.h"
#include "tests/support/settings_fixture.h"

bool operator==(const IniWindPos& a, const IniWindPos& b) {
  return a.visible == b.visible && a.show_state == b.show_state && a.left == b.left &&
         a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// Beside the type, where the test framework looks for it.
std::ostream& operator<<(std::ostream& out, const IniWindPos& position) {
  return out << tervalon::settings::Placement{position}.EncodeTo();
}

namespace tervalon::settings {
namespace {

using platform::WindowSpec;

std::string Text(const IniWindPos& position) { return Placement{position}.EncodeTo(); }

class PlacementTest : public testing::SettingsFixture {
 protected:
  static std::string Get(const char* key) { return GetIni("Windows", key); }
  static void Set(const char* key, const std::string& value) { SetIni("Windows", key, value); }
  static std::string Obtain(TvWindow window) {
    IniWindPos placement;
    EXPECT_EQ(ObtainWindPos(window, &placement), 1);
    return Text(placement);
  }

  platform::WindowRecords windows_;
  platform::ScopedReplacement<platform::WindowManager> use_windows_{&windows_};
};

TEST_F(PlacementTest, LinesAreReadAsFarAsTheyGo) {
  const struct {
    const char* text;
    IniWindPos expected;
  } cases[] = {
      {"TRUE,SW_SHOWNORMAL,10,20,410,320", {1, 1, 10, 20, 410, 320}},
      {"FALSE,SW_SHOWMINIMIZED,-10,-20,0,5", {0, 2, -10, -20, 0, 5}},
      {"TRUE,SW_SHOWMAXIMIZED,1,2,3,4,5,6", {1, 3, 1, 2, 3, 4}},
      {"FALSE", {0, 2, 0, 0, 100, 100}},
      {"TRUE", {1, 2, 0, 0, 100, 100}},
      {"true,SW_SHOWMAXIMISED", {0, 1, 0, 0, 0, 0}},
      {"FALSE,,7,8,9,10", {0, 2, 0, 0, 100, 100}},
      {"TRUE,SW_SHOWMINIMIZED,1,,x, 4px", {1, 2, 1, 0, 0, 4}},
      {"TRUE,SW_SHOWNORMAL,-99999999999,99999999999", {1, 1, INT_MIN, INT_MAX, 0, 0}},
  };
  for (const auto& c : cases) {
    Set("W", c.text);
    IniWindPos placement = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(GetIniWindPos("Windows", "W", nullptr, &placement), 1) << c.text;
    EXPECT_EQ(placement, c.expected) << c.text;
    EXPECT_EQ(SetIniWindPos("Windows", "Again", &placement, 1), 1);
    EXPECT_EQ(GetIniWindPos("Windows", "Again", nullptr, &placement), 1);
    EXPECT_EQ(placement, c.expected) << c.text;
  }
  const IniWindPos odd = {-5, 77, 1, 2, 3, 4};
  SetIniWindPos("Windows", "W", &odd, 0);
  EXPECT_EQ(Get("W"), "TRUE,SW_SHOWNORMAL,1,2,3,4");

  // A key with no text is there, so that the default does not come in.
  const IniWindPos fallback = {1, 3, 5, 6, 7, 8};
  IniWindPos placement = odd;
  EXPECT_EQ(GetIniWindPos("Windows", "none", &fallback, &placement), 1);
  EXPECT_EQ(placement, fallback);
  EXPECT_EQ(GetIniWindPos("Windows", "none", nullptr, &placement), 0);
  EXPECT_EQ(placement, IniWindPos{});
  for (const char* nothing : {"", ",SW_SHOWNORMAL,1,2,3,4"}) {
    Set("W", nothing);
    EXPECT_EQ(GetIniWindPos("Windows", "W", &fallback, &placement), 0);
    EXPECT_EQ(placement, IniWindPos{});
  }

  EXPECT_EQ(GetIniWindPos("Windows", nullptr, nullptr, &placement), 0);
}

TEST_F(PlacementTest, NormalPlacesAreMeasuredInEveryState) {
  WindowSpec spec;
  spec.rect = {10, 20, 410, 320};
  const TvWindow window = windows_.Create(spec);
  EXPECT_EQ(Obtain(window), "TRUE,SW_SHOWNORMAL,10,20,410,320");
  EXPECT_TRUE(windows_.IsVisible(window));
  windows_.Show(window, platform::kShowMinimized);
  EXPECT_EQ(Obtain(window), "TRUE,SW_SHOWMINIMIZED,10,20,410,320");
  EXPECT_FALSE(windows_.IsVisible(window));
  windows_.Show(window, platform::kShowMaximized);
  EXPECT_EQ(Obtain(window), "TRUE,SW_SHOWMAXIMIZED,10,20,410,320");
  EXPECT_FALSE(windows_.IsVisible(window));

  // A child's place does not depend on where its parent is.
  spec.parent = window;
  spec.rect = {-5, 6, 70, 80};
  const TvWindow child = windows_.Create(spec);
  EXPECT_EQ(Obtain(child), "TRUE,SW_SHOWNORMAL,-5,6,70,80");
  windows_.Move(window, {300, 300, 900, 600}, false);
  EXPECT_EQ(Obtain(child), "TRUE,SW_SHOWNORMAL,-5,6,70,80");
  windows_.Show(child, platform::kShowMaximized);
  EXPECT_EQ(Obtain(child), "TRUE,SW_SHOWMAXIMIZED,-5,6,70,80");

  // A document is brought back by its area, and stays visible; the class in any case.
  const TvWindow area =
      windows_.Create({"MDIClient", nullptr, platform::kStyleVisible, {0, 0, 500, 400}});
  spec.parent = area;
  const TvWindow document = windows_.Create(spec);
  windows_.Show(document, platform::kShowMinimized);
  EXPECT_EQ(Obtain(document), "TRUE,SW_SHOWMINIMIZED,-5,6,70,80");
  EXPECT_TRUE(windows_.IsVisible(document));
  EXPECT_FALSE(windows_.IsMinimized(document));

  windows_.Destroy(document);
  EXPECT_EQ(Obtain(document), "FALSE,SW_SHOWNORMAL,0,0,0,0");
  EXPECT_EQ(Obtain(nullptr), "FALSE,SW_SHOWNORMAL,0,0,0,0");
  EXPECT_EQ(ObtainWindPos(area, nullptr), 0);
}

TEST_F(PlacementTest, RestoringMovesOnlyNormalWindows) {
  WindowSpec spec;
  spec.rect = {10, 20, 410, 320};
  const TvWindow window = windows_.Create(spec);
  IniWindPos placement = {0, TV_PLACEMENT_MINIMIZED, 1, 2, 3, 4};
  EXPECT_EQ(RestoreWindPos(window, &placement), 1);
  EXPECT_TRUE(windows_.IsMinimized(window));
  placement.show_state = TV_PLACEMENT_MAXIMIZED;
  EXPECT_EQ(RestoreWindPos(window, &placement), 1);
  EXPECT_TRUE(windows_.IsMaximized(window));
  windows_.Show(window, platform::kRestore);
  EXPECT_EQ(Obtain(window), "TRUE,SW_SHOWNORMAL,10,20,410,320");
  windows_.Show(window, platform::kShowMaximized);
  windows_.Show(window, platform::kHide);
  placement = {0, 8, 1, 2, 30, 40};
  EXPECT_EQ(RestoreWindPos(window, &placement), 1);
  EXPECT_EQ(Obtain(window), "TRUE,SW_SHOWNORMAL,1,2,30,40");
  EXPECT_TRUE(windows_.IsVisible(window));

  placement = {1, TV_PLACEMENT_NORMAL, INT_MIN, INT_MAX, INT_MAX, INT_MIN};
  EXPECT_EQ(RestoreWindPos(window, &placement), 1);
  EXPECT_EQ(RestoreWindPos(window, nullptr), 0);
  windows_.Destroy(window);
  for (const int32_t state : {1, 2, 3}) {
    placement.show_state = state;
    EXPECT_EQ(RestoreWindPos(window, &placement) + RestoreWindPos(nullptr, &placement), 0);
  }
}

// A frame with a document area.
class DesktopTest : public PlacementTest {
 protected:
  TvWindow Create(const std::string& key, uint32_t style = 0) {
    TvDocumentCreate create = {};
    create.window_class = "Document";
    create.style = style;
    return IniCreateMDIWnd(area_, "Windows", key.c_str(), &create);
  }
  int32_t Save(int32_t flags, TvWindow window, const char* key = "Desktop") {
    return IniSaveDesktop(window, flags, "Frame", key, 0);
  }
  static std::string List() { return GetIni("Frame", "Desktop"); }

  TvWindow frame_ = windows_.Create(
      {"Frame", nullptr, platform::kStyleVisible | platform::kStyleCaption, {50, 60, 850, 660}});
  TvWindow area_ =
      windows_.Create({"MDICLIENT", frame_, platform::kStyleVisible, {0, 0, 780, 560}});
};

TEST_F(DesktopTest, DocumentsComeBackWhereTheyWere) {
  Set("A", "TRUE,SW_SHOWNORMAL,10,20,210,170");
  Set("B", "TRUE,SW_SHOWMINIMIZED,30,40,330,240");
  Set("C", "TRUE,SW_SHOWMAXIMIZED,50,60,450,360");
  const TvWindow a = Create("A");
  const TvWindow b = Create("B");
  const TvWindow c = Create("C");
  EXPECT_EQ(Obtain(a), "TRUE,SW_SHOWNORMAL,10,20,210,170");
  EXPECT_TRUE(windows_.IsMinimized(b));
  EXPECT_TRUE(windows_.IsMaximized(c));
  EXPECT_EQ(platform::Atoms().Name(static_cast<uint16_t>(windows_.Property(c, "IniLine")), 80),
            "C");
  EXPECT_EQ(platform::Atoms().Name(static_cast<uint16_t>(windows_.Property(c, "IniParagraph")), 80),
            "Windows");

  windows_.Move(a, {11, 22, 222, 177}, false);
  EXPECT_EQ(Save(TV_SAVE_DESKTOP, area_), 1);
  EXPECT_EQ(Get("A"), "TRUE,SW_SHOWNORMAL,11,22,222,177");
  EXPECT_EQ(Get("B"), "TRUE,SW_SHOWMINIMIZED,30,40,330,240");
  EXPECT_EQ(Get("C"), "TRUE,SW_SHOWMAXIMIZED,50,60,450,360");
  EXPECT_EQ(List().substr(List().size() - 2), ",C");  // the active one is visited first
  EXPECT_EQ(List().size(), 5u);
  for (const TvWindow window : {a, b, c}) {
    EXPECT_FALSE(windows_.IsMinimized(window) || windows_.IsMaximized(window));
  }
}

TEST_F(DesktopTest, UnknownDocumentsArePlacedByTheArea) {
  TvDocumentCreate create = {};
  create.style = 1;
  const TvWindow window = IniCreateMDIWnd(area_, "Windows", "New", &create);
  ASSERT_NE(window, nullptr);
  for (const int32_t value : {create.x, create.y, create.width, create.height}) {
    EXPECT_EQ(value, INT_MIN);
  }
  EXPECT_EQ(create.style, 1u);
  EXPECT_FALSE(windows_.IsMinimized(window));
  Set("Far", "TRUE,SW_SHOWMAXIMIZED,-99999999999,5,99999999999,6");
  EXPECT_NE(IniCreateMDIWnd(area_, "Windows", "Far", &create), nullptr);
  EXPECT_EQ(create.style, 1u | platform::kStyleMaximized);
  EXPECT_NE(create.x, INT_MIN);
  EXPECT_GT(create.width, 0);
  EXPECT_EQ(IniCreateMDIWnd(frame_, "Windows", "New", &create), nullptr);
  EXPECT_EQ(IniCreateMDIWnd(nullptr, "Windows", "New", &create), nullptr);
  EXPECT_EQ(IniCreateMDIWnd(area_, "Windows", nullptr, &create), nullptr);
}

TEST_F(DesktopTest, MinimisedFramesAreRestoredHidden) {
  Create("A");
  windows_.Show(frame_, platform::kShowMinimized);
  EXPECT_EQ(Save(TV_SAVE_DESKTOP, area_), 1);
  EXPECT_FALSE(windows_.IsMinimized(frame_));
  EXPECT_FALSE(windows_.IsVisible(frame_));
  EXPECT_EQ(List(), "A");
}

TEST_F(DesktopTest, OneWindowIsSavedAlone) {
  Set("A", "TRUE,SW_SHOWMINIMIZED,10,20,210,170");
  const TvWindow a = Create("A");
  Create("B");
  Set("A", "");
  EXPECT_EQ(Save(TV_SAVE_WINDOW, a), 1);
  EXPECT_EQ(Get("A"), "TRUE,SW_SHOWMINIMIZED,10,20,210,170");
  EXPECT_FALSE(windows_.IsMinimized(a));
  EXPECT_EQ(Get("B"), "(none)");
  EXPECT_EQ(List(), "(none)");

  EXPECT_EQ(Save(0, area_) + Save(4, area_), 0);
  EXPECT_EQ(IniSaveDesktop(area_, TV_SAVE_DESKTOP, nullptr, "Desktop", 0), 0);
  EXPECT_EQ(Save(TV_SAVE_DESKTOP, area_, nullptr), 0);
  EXPECT_EQ(Save(TV_SAVE_WINDOW, nullptr, nullptr), 0);
  // No window at all: an empty list, so that the next start opens none.
  EXPECT_EQ(Save(TV_SAVE_WINDOW, nullptr), 1);
  EXPECT_EQ(List(), "");
  SetIni("Frame", "Desktop", "old");
  const TvWindow empty = windows_.Create({"mdiclient", frame_});
  EXPECT_EQ(Save(TV_SAVE_DESKTOP, empty), 1);
  EXPECT_EQ(List(), "");
}

TEST_F(DesktopTest, WhatCouldNotBeWrittenIsSaid) {
  const TvWindow a = Create("A");
  testing::FaultyProfile profile;
  const platform::ScopedReplacement<platform::Profile> use_profile(&profile);
  profile.write.FailNth(1);
  EXPECT_EQ(Save(TV_SAVE_WINDOW, a), 0);
  for (const int line : {1, 2}) {  // the placement, and the list
    profile.write.FailNth(line);
    EXPECT_EQ(Save(TV_SAVE_DESKTOP, area_), 0);
  }
  EXPECT_EQ(Save(TV_SAVE_DESKTOP, area_), 1);
}

TEST_F(DesktopTest, ListsHoldWholeNamesOfWindowsThatCarryThem) {
  TvDocumentCreate create = {};
  windows_.CreateDocument(area_, create);  // carries no names
  std::vector<std::string> keys;
  for (int i = 0; i < 12; ++i) {
    keys.push_back(std::string(70, static_cast<char>('a' + i)));
    Create(keys.back());
  }
  EXPECT_EQ(Save(TV_SAVE_DESKTOP, area_), 1);
  const std::string list = List();
  EXPECT_EQ(list.size(), 7u * 71 - 1);
  for (size_t i = 0; i < 7; ++i) {
    const std::string name = list.substr(i * 71, 70);
    EXPECT_NE(std::find(keys.begin(), keys.end(), name), keys.end()) << name;
  }
  for (const std::string& key : keys) EXPECT_NE(Get(key.c_str()), "(none)");
}

}  // namespace
}  // namespace tervalon::settings
