#include "appsvc/messages.h"

#include <cstdarg>

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "appsvc/text_number.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/window_manager.h"
#include "tervalon/application.h"
#include "tervalon/messages.h"

namespace tervalon::appsvc {
namespace {

using platform::IsSpace;
using platform::TheDesktop;

constexpr uint16_t kOutOfMemory = 30000;
constexpr size_t kLongestMessage = 255;
// The bits that the exclamation and stop icons have in common with others; a beep goes with them.
constexpr uint32_t kAlarmBits = 0x30;
constexpr uint32_t kStopBit = 0x10;

enum Group { kLog, kIcon, kButtons, kDefaultButton, kGroupCount };
struct Keyword {
  std::string_view text;
  Group group;
  uint32_t value;
};
constexpr Keyword kKeywords[] = {
    {"LOG", kLog, 1},
    {"NOLOG", kLog, 0},
    {"NONE", kIcon, 0},
    {"EXCLAMATION", kIcon, platform::kMessageIconExclamation},
    {"INFORMATION", kIcon, platform::kMessageIconInformation},
    {"ASTERISK", kIcon, platform::kMessageIconInformation},
    {"QUESTION", kIcon, platform::kMessageIconQuestion},
    {"STOP", kIcon, platform::kMessageIconStop},
    {"HAND", kIcon, platform::kMessageIconStop},
    {"ABORTRETRYIGNORE", kButtons, platform::kMessageAbortRetryIgnore},
    {"OK", kButtons, platform::kMessageOk},
    {"OKCANCEL", kButtons, platform::kMessageOkCancel},
    {"RETRYCANCEL", kButtons, platform::kMessageRetryCancel},
    {"YESNO", kButtons, platform::kMessageYesNo},
    {"YESNOCANCEL", kButtons, platform::kMessageYesNoCancel},
    {"DEFBUTTON1", kDefaultButton, 0},
    {"DEFBUTTON2", kDefaultButton, platform::kMessageDefaultSecond},
    {"DEFBUTTON3", kDefaultButton, platform::kMessageDefaultThird},
};

struct Severity {
  int32_t number;
  uint32_t icon;
  int16_t level;
};
constexpr Severity kSeverities[] = {
    {1, platform::kMessageIconInformation, 1},
    {2, platform::kMessageIconExclamation, 2},
    {3, platform::kMessageIconStop, 3},
};
constexpr Severity kOtherSeverity = {0, 0, 3};

struct Box {
  std::string text;
  uint32_t style = 0;
};

Box OutOfMemoryBox() {
  return {"Out of memory", platform::kMessageSystemModal | platform::kMessageIconStop};
}

Box MissingTextBox(uint16_t number) {
  return {"Application Error: " + std::to_string(number),
          platform::kMessageTaskModal | platform::kMessageIconStop};
}

Box ShortBox(const std::string& text) {
  int16_t style = 0;
  const char* message = MsgGetErrorLevel(text.c_str(), &style, nullptr);
  return {message, static_cast<uint32_t>(style) | platform::kMessageTaskModal};
}

bool LongBox(const std::string& text, Box* box) {
  const size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  size_t start = comma + 1;
  while (start < text.size() && IsSpace(text[start])) ++start;
  box->text = text.substr(start);
  box->style = ParseMessageHeader(std::string_view(text).substr(0, comma)).style |
               platform::kMessageTaskModal;
  return true;
}

int32_t Report(uint16_t number, const char* caption, va_list arguments) {
  Box box = OutOfMemoryBox();
  std::string text;
  if (number == kOutOfMemory) {
    // As it is.
  } else if (TheDesktop().LoadText(TheDesktop().LibraryInstance(), number, &text)) {
    box = ShortBox(ExpandFormat(text.c_str(), arguments, kLongestMessage));
  } else {
    box = MissingTextBox(number);
  }
  TheDesktop().ShowMessage(nullptr, box.text.c_str(), caption, box.style);
  return 1;
}

int32_t ReportMsg(TvInstance instance, uint16_t number, const char* caption, va_list arguments) {
  Box box = OutOfMemoryBox();
  if (number != kOutOfMemory) {
    if (instance == nullptr && !ApplicationInstance(&instance)) return 0;
    std::string text;
    if (!TheDesktop().LoadText(instance, number, &text)) {
      box = MissingTextBox(number);
    } else if (!LongBox(ExpandFormat(text.c_str(), arguments, kLongestMessage), &box)) {
      return 0;
    }
  }
  if (box.style & kAlarmBits) TheDesktop().Beep(platform::kPlainBeep);
  return TheDesktop().ShowMessage(nullptr, box.text.c_str(),
                                  caption != nullptr ? caption : "Attention", box.style);
}

std::string WithLimit(const char* title, const char* limit) {
  return limit != nullptr && *limit != '\0' ? std::string(title) + limit : "";
}

}  // namespace

MessageHeader ParseMessageHeader(std::string_view header) {
  constexpr std::string_view kSeparators = " \t|";
  uint32_t values[kGroupCount] = {};
  bool is_set[kGroupCount] = {};
  bool has_words = false;
  for (size_t at = header.find_first_not_of(kSeparators); at != std::string_view::npos;
       at = header.find_first_not_of(kSeparators, at)) {
    const std::string_view word = header.substr(at, header.find_first_of(kSeparators, at) - at);
    at += word.size();
    has_words = true;
    for (const Keyword& keyword : kKeywords) {
      if (keyword.text != word || is_set[keyword.group]) continue;
      is_set[keyword.group] = true;
      values[keyword.group] = keyword.value;
    }
  }
  if (!is_set[kIcon]) values[kIcon] = platform::kMessageIconExclamation;
  const uint32_t style = values[kIcon] | values[kButtons] | values[kDefaultButton];
  const bool log = is_set[kLog] ? values[kLog] != 0 : has_words && (style & kStopBit) != 0;
  return {style, log};
}

}  // namespace tervalon::appsvc

using tervalon::Guarded;
using tervalon::platform::TheDesktop;
using tervalon::platform::Windows;

extern "C" int32_t TERVALON_VARARGS_CALL MsgReport(uint16_t number, const char* caption, ...) {
  va_list arguments;
  va_start(arguments, caption);
  Guarded(1, [&] { return tervalon::appsvc::Report(number, caption, arguments); });
  va_end(arguments);
  return 1;
}

extern "C" int32_t TERVALON_VARARGS_CALL MsgReportMsg(TvInstance instance, uint16_t number,
                                                      const char* caption, ...) {
  va_list arguments;
  va_start(arguments, caption);
  const int32_t answer =
      Guarded(0, [&] { return tervalon::appsvc::ReportMsg(instance, number, caption, arguments); });
  va_end(arguments);
  return answer;
}

extern "C" const char* TERVALON_CALL MsgGetErrorLevel(const char* text, int16_t* style,
                                                      int16_t* level) {
  using namespace tervalon::appsvc;  // NOLINT: this file's own tables
  if (text == nullptr) return nullptr;
  const int32_t number = ParseInt(text);
  Severity severity = kOtherSeverity;
  for (const Severity& known : kSeverities) {
    if (known.number == number) severity = known;
  }
  if (style != nullptr) *style = static_cast<int16_t>(severity.icon);
  if (level != nullptr) *level = severity.level;
  while (tervalon::platform::IsDigit(*text) || IsSpace(*text)) ++text;
  return text;
}

extern "C" int32_t TERVALON_CALL GenMessage(TvWindow owner, const char* text, const char* caption,
                                            uint32_t style, const char* minimum,
                                            const char* maximum) {
  using namespace tervalon::appsvc;  // NOLINT: this file's own helpers
  return Guarded(-1, [&]() -> int32_t {
    if (text == nullptr || !Windows().IsWindow(owner)) return -1;
    const std::string shown =
        text + WithLimit("\nMin Value: ", minimum) + WithLimit("\nMax Value: ", maximum);
    if (style & kAlarmBits) TheDesktop().Beep(tervalon::platform::kMessageIconExclamation);
    if (style & kStopBit) TheDesktop().Beep(tervalon::platform::kMessageIconStop);
    return TheDesktop().ShowMessage(owner, shown.c_str(), caption, style);
  });
}

extern "C" int32_t TERVALON_CALL BroadcastMessage(uint16_t message, uint16_t first,
                                                  uint32_t second) {
  return Guarded(0, [&] {
    // A window may change the slots while it handles the message.
    for (int32_t slot = 0; slot < APP_WINDOW_SLOTS; ++slot) {
      Windows().Send(AppGetWindow(slot), message, first, static_cast<intptr_t>(second));
    }
    return 0;
  });
}
