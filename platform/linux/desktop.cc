// A desktop without a screen.

#include "platform/desktop.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/lock.h"
#include "platform/message_handler.h"
#include "tervalon/desktop.h"

namespace tervalon::platform {
namespace {

struct FileAnswerer {
  TvFileChooser chooser = nullptr;
  void* user = nullptr;
};
Shared<FileAnswerer> file_answerer;

struct StringSource {
  TvStringProvider provider = nullptr;
  void* user = nullptr;
};
Shared<StringSource> application_strings;

struct NumberedText {
  uint16_t number;
  const char* text;
};
constexpr NumberedText kLibraryStrings[] = {
#define TERVALON_STRING(number, text) {number, text},
#include "platform/library_strings.inc"
#undef TERVALON_STRING
};
constexpr size_t kLongestString = 255;
constexpr size_t kChosenPathSize = 1024;

// Only its address is used.
char library_module;

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
  (void)std::fwrite(line.data(), 1, line.size(), stderr);  // nobody is there to be told of more
}

class LinuxDesktop : public Desktop {
 public:
  int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                      uint32_t style) override {
    if (text == nullptr) text = "";
    int32_t answer = 0;
    if (AskMessageHandler(owner, text, caption, style, &answer)) return answer;
    const bool has_caption = caption != nullptr && *caption != '\0';
    WriteLine(has_caption ? std::string(caption) + ": " + text : text);
    return DefaultAnswer(style);
  }

  void Beep(uint32_t /*sound*/) override {}

  // A choice that is not accepted counts as cancelled: nobody is there to choose again.
  FileChoiceResult ChooseFile(FileChoice* choice, uint32_t* error) override {
    *error = 0;
    const FileAnswerer answerer = file_answerer.Get();
    if (answerer.chooser == nullptr) return FileChoiceResult::kCancelled;
    std::array<char, kChosenPathSize> path = {};
    choice->path.copy(path.data(), path.size() - 1);
    if (!answerer.chooser(answerer.user, choice->title.c_str(), path.data(),
                          static_cast<uint32_t>(path.size()))) {
      return FileChoiceResult::kCancelled;
    }
    path.back() = '\0';
    const std::string chosen = path.data();
    if (choice->accept && !choice->accept(choice->owner, chosen)) {
      return FileChoiceResult::kCancelled;
    }
    choice->path = chosen;
    return FileChoiceResult::kChosen;
  }

  void DebugText(const char* text) override {
    if (text != nullptr) WriteLine(text);
  }

  TvInstance LibraryInstance() override { return reinterpret_cast<TvInstance>(&library_module); }

  bool LoadText(TvInstance instance, uint16_t number, std::string* text) override {
    const char* found =
        instance == LibraryInstance() ? LibraryString(number) : ApplicationString(instance, number);
    if (found == nullptr || *found == '\0') return false;
    text->assign(found, strnlen(found, kLongestString));
    return true;
  }

 private:
  static const char* LibraryString(uint16_t number) {
    for (const NumberedText& string : kLibraryStrings) {
      if (string.number == number) return string.text;
    }
    return nullptr;
  }

  static const char* ApplicationString(TvInstance instance, uint16_t number) {
    const StringSource source = application_strings.Get();
    return source.provider != nullptr ? source.provider(source.user, instance, number) : nullptr;
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(Desktop, LinuxDesktop)

}  // namespace tervalon::platform

extern "C" int32_t TERVALON_CALL TvSetFileChooser(TvFileChooser chooser, void* user) {
  tervalon::platform::file_answerer.Set({chooser, user});
  return 1;
}

extern "C" int32_t TERVALON_CALL TvSetStringProvider(TvStringProvider provider, void* user) {
  tervalon::platform::application_strings.Set({provider, user});
  return 1;
}
