#include "appsvc/messages.h"

#include <gmock/gmock.h>

#include <clocale>
#include <cstdarg>
#include <limits>
#include <string>

#include "appsvc/application.h"
#include "platform/headless/window_records.h"
#include "tervalon/application.h"
#include "tervalon/desktop.h"
#include "tervalon/messages.h"
#include "tests/support/fault_services.h"

namespace tervalon::appsvc {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string Expand(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = ExpandFormat(format, arguments, 255);
  va_end(arguments);
  return text;
}

TEST(MessageFormat, ExpandsWhatPrintfExpands) {
  EXPECT_EQ(Expand("%d|%5i|%-5d|%05d|%+d|% d|%.3d", -7, 42, 42, -42, 1, 2, 5),
            "-7|   42|42   |-0042|+1| 2|005");
  EXPECT_EQ(Expand("%u|%x|%#X|%o|%#o", 4294967295U, 255U, 255U, 8U, 8U),
            "4294967295|ff|0XFF|10|010");
  EXPECT_EQ(
      Expand("%hd|%hhu|%ld|%lld|%I64d|%zu", 65537, 257, 5L, 1LL << 40, -(1LL << 40), sizeof(char)),
      "1|1|5|1099511627776|-1099511627776|1");
  EXPECT_EQ(Expand("%s|%.2s|%4s|%-4s|%c|%%", "text", "text", "ab", "ab", 'x'),
            "text|te|  ab|ab  |x|%");
  EXPECT_EQ(
      Expand("%f|%.2f|%e|%G|%08.3f|%*.*f", 1.5, 2.345, 12345.678, 1e-10, -3.14159, 7, 1, 2.25),
      "1.500000|2.35|1.234568e+04|1E-10|-003.142|    2.2");
  EXPECT_EQ(Expand("%#.0f|%#.0e|%#g|%#.3G|%#g", 12.0, 3e7, 0.0025, 1e9, 0.0),
            "12.|3.e+07|0.00250000|1.00E+09|0.00000");
  EXPECT_EQ(Expand("%lld", std::numeric_limits<long long>::min()), "-9223372036854775808");
}

TEST(MessageFormat, IgnoresTheLocale) {
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) std::setlocale(LC_ALL, "");
  EXPECT_EQ(Expand("%.1f", 0.5), "0.5");
  std::setlocale(LC_ALL, "C");
}

TEST(MessageFormat, ReadsNoMoreThanItUnderstandsOrShows) {
  EXPECT_EQ(Expand("%s", nullptr), "(null)");
  EXPECT_EQ(Expand("50%"), "50%");
  EXPECT_EQ(Expand("a %y b %s", "unread"), "a %y b %s");
  int32_t count = 77;
  EXPECT_EQ(Expand("ab%nc%d", &count, 3), "abc3");
  EXPECT_EQ(count, 77);
  // Without a terminating zero behind what a precision lets it read.
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_EQ(Expand("%.3s", unterminated), "abc");
}

TEST(MessageFormat, CutsTheText) {
  const std::string longer(300, 'x');
  EXPECT_EQ(Expand("%s%s", longer.c_str(), longer.c_str()), std::string(255, 'x'));
  EXPECT_EQ(Expand("%999999999d", 1), std::string(255, ' '));
  EXPECT_EQ(Expand("%.999999999f", 1e308).size(), 255U);
}

TEST(MessageHeader, TakesTheFirstKeywordOfEachGroup) {
  const struct {
    const char* header;
    uint32_t style;
    bool log;
  } kCases[] = {
      {"YESNO QUESTION NOLOG", 0x24, false},
      {"STOP", 0x10, true},
      {"", 0x30, false},
      {" \t|", 0x30, false},
      {"OK OKCANCEL", 0x30, true},
      {"OKCANCEL|OK\tDEFBUTTON2 DEFBUTTON3", 0x131, true},
      {"NONE STOP", 0, false},
      {"ok Stop UNKNOWN", 0x30, true},
      {"HAND NOLOG LOG", 0x10, false},
      {"ASTERISK ABORTRETRYIGNORE DEFBUTTON3 LOG", 0x242, true},
      {"INFORMATION RETRYCANCEL DEFBUTTON1", 0x45, false},
      {"YESNOCANCEL", 0x33, true},
  };
  for (const auto& [header, style, log] : kCases) {
    SCOPED_TRACE(header);
    EXPECT_EQ(ParseMessageHeader(header).style, style);
    EXPECT_EQ(ParseMessageHeader(header).log, log);
  }
}

TEST(MessageSeverity, DecidesIconAndLevel) {
  const struct {
    const char* text;
    int16_t style;
    int16_t level;
    const char* message;
  } kCases[] = {
      {"1 Hint", 0x40, 1, "Hint"},
      {"2 Sorry", 0x30, 2, "Sorry"},
      {"3\tStop", 0x10, 3, "Stop"},
      {"No number", 0, 3, "No number"},
      {"23 Many", 0, 3, "Many"},
      {"2 3 files", 0x30, 2, "files"},
      {"", 0, 3, ""},
      {"-1 x", 0, 3, "-1 x"},
  };
  for (const auto& [text, style, level, message] : kCases) {
    SCOPED_TRACE(text);
    int16_t got_style = -1;
    int16_t got_level = -1;
    EXPECT_STREQ(MsgGetErrorLevel(text, &got_style, &got_level), message);
    EXPECT_EQ(got_style, style);
    EXPECT_EQ(got_level, level);
  }
  EXPECT_EQ(MsgGetErrorLevel(nullptr, nullptr, nullptr), nullptr);
}

// The library's texts come from where they really are: a table here, resources on Windows.
TEST(LibraryStrings, AreInThePlatformsTable) {
  platform::Desktop& desktop = platform::TheDesktop();
  std::string text;
  ASSERT_TRUE(desktop.LoadText(desktop.LibraryInstance(), 1, &text));
  EXPECT_EQ(text, "2 Sorry - Not yet implemented");
  ASSERT_TRUE(desktop.LoadText(desktop.LibraryInstance(), 9, &text));
  EXPECT_EQ(text, "2 Invalid %s");
  EXPECT_FALSE(desktop.LoadText(desktop.LibraryInstance(), 10, &text));
  EXPECT_FALSE(desktop.LoadText(desktop.LibraryInstance(), 0, &text));
}

int32_t TERVALON_CALL AnswerRetry(void* user, const char* text, const char* caption, uint32_t style,
                                  TvWindow owner) {
  EXPECT_EQ(style, 0x1010U);
  EXPECT_EQ(owner, nullptr);
  *static_cast<std::string*>(user) = std::string(caption) + ": " + text;
  return platform::kAnswerRetry;
}

// On every platform, so that programs without a user never wait for one.
TEST(MessageHandler, AnswersInPlaceOfTheBox) {
  std::string seen;
  EXPECT_EQ(TvSetMessageHandler(&AnswerRetry, &seen), 1);
  EXPECT_EQ(MsgReportMsg(nullptr, 30000, "Library"), platform::kAnswerRetry);
  EXPECT_EQ(seen, "Library: Out of memory");
  EXPECT_EQ(TvSetMessageHandler(nullptr, nullptr), 1);
}

class MessagesTest : public ::testing::Test {
 protected:
  ~MessagesTest() override { ResetApplication(); }

  void Text(TvInstance instance, uint16_t number, const char* text) {
    desktop_.strings[{instance, number}] = text;
  }
  void ExpectBox(const std::string& text, const std::string& caption, uint32_t style,
                 TvWindow owner = nullptr) {
    using Message = testing::RecordingDesktop::Message;
    EXPECT_THAT(desktop_.messages, ElementsAre(Message{owner, text, caption, style}));
    desktop_.messages.clear();
  }

  char module_ = 0;
  TvInstance program_ = reinterpret_cast<TvInstance>(&module_);
  testing::RecordingDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> use_desktop_{&desktop_};
  platform::WindowRecords windows_;
  platform::ScopedReplacement<platform::WindowManager> use_windows_{&windows_};
  TvInstance library_ = desktop_.LibraryInstance();
};

TEST_F(MessagesTest, ShortFormShowsTheTextBehindItsSeverity) {
  Text(library_, 7, "2 File not found: %s");
  desktop_.answer = platform::kAnswerCancel;
  EXPECT_EQ(MsgReport(7, "Peaks", "A.PDB"), 1);
  ExpectBox("File not found: A.PDB", "Peaks", 0x2030);
  EXPECT_THAT(desktop_.beeps, IsEmpty());

  Text(library_, 7, "1 %s");
  MsgReport(7, nullptr, std::string(1000, 'x').c_str());
  ExpectBox(std::string(253, 'x'), "", 0x2040);
}

TEST_F(MessagesTest, BothFormsReportMissingTexts) {
  MsgReport(65535, "C");
  ExpectBox("Application Error: 65535", "C", 0x2010);
  EXPECT_EQ(MsgReportMsg(program_, 4, nullptr), platform::kAnswerOk);
  ExpectBox("Application Error: 4", "Attention", 0x2010);
  EXPECT_THAT(desktop_.beeps, ElementsAre(platform::kPlainBeep));

  // Running out of memory needs none.
  Text(library_, 30000, "1 not this one");
  MsgReport(30000, "C");
  ExpectBox("Out of memory", "C", 0x1010);
  EXPECT_EQ(MsgReportMsg(nullptr, 30000, "C"), platform::kAnswerOk);
  ExpectBox("Out of memory", "C", 0x1010);
}

TEST_F(MessagesTest, LongFormTakesItsStyleFromTheText) {
  Text(program_, 5, "YESNO QUESTION NOLOG , \t%s, %d files?");
  desktop_.answer = platform::kAnswerNo;
  EXPECT_EQ(MsgReportMsg(program_, 5, "Delete", "Really", 3), platform::kAnswerNo);
  ExpectBox("Really, 3 files?", "Delete", 0x2024);
  EXPECT_THAT(desktop_.beeps, ElementsAre(platform::kPlainBeep));

  Text(program_, 6, "INFORMATION,Done");
  desktop_.beeps.clear();
  MsgReportMsg(program_, 6, nullptr);
  EXPECT_THAT(desktop_.beeps, IsEmpty());
}

TEST_F(MessagesTest, LongFormWithoutACommaShowsNothing) {
  Text(program_, 5, "STOP No comma in %d");
  EXPECT_EQ(MsgReportMsg(program_, 5, nullptr, 1), 0);
  // The comma is cut off.
  Text(program_, 6, "%s,text");
  EXPECT_EQ(MsgReportMsg(program_, 6, nullptr, std::string(300, 'x').c_str()), 0);
  EXPECT_THAT(desktop_.messages, IsEmpty());
  EXPECT_THAT(desktop_.beeps, IsEmpty());
}

TEST_F(MessagesTest, LongFormFindsTheApplicationsModule) {
  EXPECT_EQ(MsgReportMsg(nullptr, 5, nullptr), 0);
  EXPECT_THAT(desktop_.messages, IsEmpty());

  Text(program_, 5, "NONE,Hello");
  AppSetMainWindow(windows_.Create({.window_class = "Main", .instance = program_}), nullptr);
  EXPECT_EQ(MsgReportMsg(nullptr, 5, nullptr), platform::kAnswerOk);
  ExpectBox("Hello", "Attention", 0x2000);
}

TEST_F(MessagesTest, RangeComplaintNamesTheLimitsThatItHas) {
  const TvWindow owner = windows_.Create({});
  const struct {
    const char* minimum;
    const char* maximum;
    const char* text;
  } kCases[] = {
      {"1", "2", "Mass\nMin Value: 1\nMax Value: 2"},
      {"1", "", "Mass\nMin Value: 1"},
      {nullptr, "2", "Mass\nMax Value: 2"},
      {"", nullptr, "Mass"},
  };
  for (const auto& [minimum, maximum, text] : kCases) {
    EXPECT_EQ(GenMessage(owner, "Mass", "Range", 0x30, minimum, maximum), platform::kAnswerOk);
    ExpectBox(text, "Range", 0x30, owner);
  }
}

TEST_F(MessagesTest, RangeComplaintBeepsForEachAlarmBitAndNeedsALiveOwner) {
  const TvWindow owner = windows_.Create({});
  const auto beeps = [&](TvWindow window, uint32_t style) {
    desktop_.beeps.clear();
    GenMessage(window, "x", "c", style, "", "");
    return desktop_.beeps;
  };
  EXPECT_THAT(beeps(owner, 0x10), ElementsAre(0x30, 0x10));
  EXPECT_THAT(beeps(owner, 0x20), ElementsAre(0x30));
  EXPECT_THAT(beeps(owner, 0x40), IsEmpty());
  desktop_.messages.clear();
  windows_.Destroy(owner);
  for (const TvWindow gone : {owner, TvWindow{}}) {
    EXPECT_EQ(GenMessage(gone, "x", "c", 0x30, "", ""), -1);
    EXPECT_THAT(beeps(gone, 0x30), IsEmpty());
  }
  EXPECT_THAT(desktop_.messages, IsEmpty());
}

TEST_F(MessagesTest, BroadcastReachesEveryRegisteredWindow) {
  EXPECT_EQ(BroadcastMessage(1024, 1, 2), 0);  // without an application
  std::vector<int32_t> reached;
  for (const int32_t slot : {0, 7, 29}) {
    const TvWindow window = windows_.Create({});
    windows_.SetHandler(
        window,
        [&, slot](TvWindow, uint32_t message, uintptr_t first, intptr_t second) -> intptr_t {
          EXPECT_EQ(message, 0xC123U);
          EXPECT_EQ(first, 65535U);
          EXPECT_EQ(static_cast<uint32_t>(second), 0xFFFFFFFFU);
          reached.push_back(slot);
          if (slot == 0) AppSetWindow(7, nullptr);  // one that leaves meanwhile
          return 1;
        });
    ASSERT_EQ(AppSetWindow(slot, window), 1);
  }
  EXPECT_EQ(BroadcastMessage(0xC123, 65535, 0xFFFFFFFF), 0);
  EXPECT_THAT(reached, ElementsAre(0, 29));
}

TEST_F(MessagesTest, ApplicationSlotsHaveEnds) {
  const TvWindow window = windows_.Create({});
  for (const int32_t slot : {-1, 30, std::numeric_limits<int32_t>::max()}) {
    EXPECT_EQ(AppSetWindow(slot, window), 0);
    EXPECT_EQ(AppGetWindow(slot), nullptr);
    EXPECT_EQ(AppSetService(slot, window, 1), 0);
    EXPECT_EQ(AppGetService(slot, nullptr), 0);
  }
  EXPECT_EQ(AppSetService(0, window, 1), 0);
  EXPECT_EQ(AppSetService(29, window, 1), 1);
  TvWindow found = nullptr;
  EXPECT_EQ(AppGetService(29, &found), 1);
  EXPECT_EQ(found, window);
  ResetApplication();
  EXPECT_EQ(AppGetService(29, &found), 0);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(AppGetMainWindow(), nullptr);
}

}  // namespace
}  // namespace tervalon::appsvc
