// A desktop without a screen.

#include "platform/desktop.h"

#include <array>
#include <cstdio>
#include <string>

#include "tervalon/desktop.h"

namespace tervalon::platform {
namespace {

struct MessageAnswerer {
  TvMessageHandler handler = nullptr;
  void* user = nullptr;
};
MessageAnswerer message_answerer;

// The buttons of each style in order, the rest filled with the first.
constexpr std::array<std::array<MessageAnswer, 3>, 6> kButtons = {{
    {kAnswerOk, kAnswerOk, kAnswerOk},
    {kAnswerOk, kAnswerCancel, kAnswerOk},
    {kAnswerAbort, kAnswerRetry, kAnswerIgnore},
    {kAnswerYes, kAnswerNo, kAnswerCancel},
    {kAnswerYes, kAnswerNo, kAnswerYes},
    {kAnswerRetry, kAnswerCancel, kAnswerRetry},
}};

int32_t DefaultAnswer(uint32_t style) {
  const uint32_t buttons = style & kMessageButtonsMask;
  const uint32_t position = (style & kMessageDefaultMask) >> 8;
  if (buttons >= kButtons.size()) return kAnswerOk;
  return kButtons[buttons][position < kButtons[buttons].size() ? position : 0];
}

void WriteLine(std::string line) {
  if (line.empty() || line.back() != '\n') line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

class LinuxDesktop : public Desktop {
 public:
  int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                      uint32_t style) override {
    if (text == nullptr) text = "";
    if (message_answerer.handler != nullptr) {
      return message_answerer.handler(message_answerer.user, text, caption, style, owner);
    }
    const bool has_caption = caption != nullptr && *caption != '\0';
    WriteLine(has_caption ? std::string(caption) + ": " + text : text);
    return DefaultAnswer(style);
  }

  void DebugText(const char* text) override {
    if (text != nullptr) WriteLine(text);
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(Desktop, LinuxDesktop)

}  // namespace tervalon::platform

extern "C" int32_t TERVALON_CALL TvSetMessageHandler(TvMessageHandler handler, void* user) {
  tervalon::platform::message_answerer = {handler, user};
  return 1;
}
