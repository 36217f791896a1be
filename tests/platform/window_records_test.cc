#include "platform/headless/window_records.h"

#include <gtest/gtest.h>

#include "platform/atoms.h"

namespace tervalon::platform {
namespace {

class WindowRecordsTest : public ::testing::Test {
 protected:
  TvWindow Document(uint32_t style = 0) {
    const TvDocumentCreate create = {.window_class = "Doc",
                                     .title = "",
                                     .owner = nullptr,
                                     .x = 10,
                                     .y = 20,
                                     .width = 100,
                                     .height = 50,
                                     .style = style,
                                     .parameter = 0};
    return windows_.CreateDocument(area_, create);
  }

  WindowRecords windows_;
  TvWindow frame_ = windows_.Create({.window_class = "Frame",
                                     .style = kStyleVisible | kStyleCaption,
                                     .rect = {100, 100, 700, 600}});
  TvWindow area_ = windows_.Create({.window_class = "MDIClient", .parent = frame_});
};

TEST_F(WindowRecordsTest, NextVisitsEveryDocumentOnce) {
  const TvWindow a = Document();
  const TvWindow b = Document();
  const TvWindow c = Document();
  EXPECT_EQ(windows_.ActiveDocument(area_), c);
  windows_.ActivateNextDocument(area_, c);
  EXPECT_EQ(windows_.ActiveDocument(area_), b);
  windows_.ActivateNextDocument(area_, b);
  EXPECT_EQ(windows_.ActiveDocument(area_), a);
  windows_.ActivateNextDocument(area_, a);
  EXPECT_EQ(windows_.ActiveDocument(area_), c);
}

TEST_F(WindowRecordsTest, MaximisedStateGoesToTheActiveDocument) {
  const TvWindow a = Document();
  const TvWindow b = Document();
  windows_.Show(b, kShowMaximized);
  windows_.ActivateNextDocument(area_, b);
  EXPECT_TRUE(windows_.IsMaximized(a));
  EXPECT_FALSE(windows_.IsMaximized(b));
  windows_.RestoreDocument(area_, a);
  EXPECT_FALSE(windows_.IsMaximized(a));
}

TEST_F(WindowRecordsTest, OnlyANormalWindowShowsItsNormalRectangle) {
  const TvWindow document = Document();
  const TvPoint origin = windows_.ClientOrigin(area_);
  EXPECT_GT(origin.y, 100);
  EXPECT_EQ(windows_.Rect(document).left, origin.x + 10);
  EXPECT_EQ(windows_.Rect(document).bottom, origin.y + 70);
  windows_.Show(document, kShowMaximized);
  EXPECT_EQ(windows_.Rect(document).left, origin.x);
  windows_.Show(document, kShowMinimized);
  EXPECT_NE(windows_.Rect(document).left, origin.x + 10);
  windows_.RestoreBySystemMenu(document);
  EXPECT_TRUE(windows_.IsMaximized(document));
  windows_.Show(document, kShowNormal);
  EXPECT_EQ(windows_.Rect(document).left, origin.x + 10);
}

TEST_F(WindowRecordsTest, DestroyedWindowsAnswerNothing) {
  const TvWindow document = Document();
  windows_.SetProperty(document, "Line", 5);
  EXPECT_EQ(windows_.Property(document, "LINE"), 5U);
  windows_.Send(frame_, kCloseMessage, 0, 0);
  for (const TvWindow window : {frame_, area_, document, TvWindow{nullptr}}) {
    EXPECT_FALSE(windows_.IsWindow(window));
    EXPECT_FALSE(windows_.Show(window, kShowNormal));
    EXPECT_EQ(windows_.Property(window, "Line"), 0U);
    EXPECT_EQ(windows_.Send(window, kDocumentActiveMessage, 0, 0), 0);
    EXPECT_FALSE(windows_.Destroy(window));
  }
}

TEST(Atoms, KeepANameWhileItIsUsed) {
  AtomTable& atoms = Atoms();
  const uint16_t atom = atoms.Add("Tervalon test atom");
  ASSERT_NE(atom, 0);
  EXPECT_EQ(atoms.Add("TERVALON TEST ATOM"), atom);
  EXPECT_NE(atoms.Add("another test atom"), atom);
  EXPECT_EQ(atoms.Name(atom, 80), "Tervalon test atom");
  EXPECT_EQ(atoms.Name(atom, 8), "Tervalon");
  atoms.Delete(atom);
  EXPECT_EQ(atoms.Name(atom, 80), "Tervalon test atom");
  atoms.Delete(atom);
  EXPECT_EQ(atoms.Name(atom, 80), "");
  EXPECT_EQ(atoms.Add(""), 0);
  EXPECT_EQ(atoms.Add(std::string(256, 'x').c_str()), 0);
  EXPECT_EQ(atoms.Name(0, 80), "");
}

}  // namespace
}  // namespace tervalon::platform
