#include "platform/desktop.h"

#include <windows.h>

#include <array>
#include <string>

#include "platform/message_handler.h"
#include "platform/win32/attach.h"
#include "platform/win32/file_dialog.h"

namespace tervalon::platform {
namespace {

constexpr size_t kLongestString = 255;

class Win32Desktop : public Desktop {
 public:
  int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                      uint32_t style) override {
    if (text == nullptr) text = "";
    int32_t answer = 0;
    if (AskMessageHandler(owner, text, caption, style, &answer)) return answer;
    return MessageBoxA(owner, text, caption, style);
  }

  void Beep(uint32_t sound) override { MessageBeep(sound); }

  FileChoiceResult ChooseFile(FileChoice* choice, uint32_t* error) override {
    return ShowFileDialog(choice, error);
  }

  void DebugText(const char* text) override {
    if (text == nullptr) return;
    OutputDebugStringA((std::string(text) + "\n").c_str());
  }

  TvInstance LibraryInstance() override { return platform::LibraryInstance(); }

  bool LoadText(TvInstance instance, uint16_t number, std::string* text) override {
    std::array<char, kLongestString + 1> buffer = {};
    const int length =
        LoadStringA(instance, number, buffer.data(), static_cast<int>(buffer.size()));
    if (length <= 0) return false;
    text->assign(buffer.data(), static_cast<size_t>(length));
    return true;
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(Desktop, Win32Desktop)

}  // namespace tervalon::platform
