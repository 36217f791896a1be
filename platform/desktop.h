// What the library shows to a person.

#ifndef PLATFORM_DESKTOP_H_
#define PLATFORM_DESKTOP_H_

#include <cstdint>
#include <functional>
#include <string>

#include "platform/replaceable.h"
#include "tervalon/types.h"

namespace tervalon::platform {

// Message box styles and answers, with the desktop platform's values.
enum MessageStyle : uint32_t {
  kMessageOk = 0x0000,
  kMessageOkCancel = 0x0001,
  kMessageAbortRetryIgnore = 0x0002,
  kMessageYesNoCancel = 0x0003,
  kMessageYesNo = 0x0004,
  kMessageRetryCancel = 0x0005,
  kMessageButtonsMask = 0x000F,
  kMessageIconStop = 0x0010,
  kMessageIconQuestion = 0x0020,
  kMessageIconExclamation = 0x0030,
  kMessageIconInformation = 0x0040,

  kMessageDefaultSecond = 0x0100,
  kMessageDefaultThird = 0x0200,
  kMessageDefaultMask = 0x0F00,
  kMessageSystemModal = 0x1000,
  kMessageTaskModal = 0x2000,
};
enum MessageAnswer : int32_t {
  kAnswerOk = 1,
  kAnswerCancel = 2,
  kAnswerAbort = 3,
  kAnswerRetry = 4,
  kAnswerIgnore = 5,
  kAnswerYes = 6,
  kAnswerNo = 7,
};

// The sound of a beep: the icon bits of a message box style, or this.
constexpr uint32_t kPlainBeep = 0xFFFFFFFF;

// Dialogs that let a person choose a file name.
struct FileChoice {
  TvWindow owner = nullptr;
  // The dialog's template in the resources of `instance`; empty, or one that the resources do not
  // have: the platform's own dialog.
  TvInstance instance = nullptr;
  std::string dialog_template;

  std::string title;
  std::string name_label;  // of the field that takes the name; empty: the dialog's own
  std::string directory;   // shown first; empty: the current one
  std::string path;        // the initial name; on return the full path that was chosen

  // Directories with this extension are chosen as files are: to open one is to choose it.
  std::string extension;

  // Asked with the full path before a choice is taken; `dialog` is the owner for questions. False
  // keeps the dialog open. Empty: every choice is taken.
  std::function<bool(TvWindow dialog, const std::string& path)> accept;
};
enum class FileChoiceResult { kChosen, kCancelled, kFailed };

class Desktop {
 public:
  virtual ~Desktop() = default;

  // Shows a modal message box and returns the pressed button. `owner` and `caption` may be nullptr.
  virtual int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                              uint32_t style) = 0;

  // Sounds a beep: the icon bits of a message box style, or kPlainBeep.
  virtual void Beep(uint32_t sound) = 0;

  // Shows an open-file dialog; the file need not exist. `error` receives the dialog's own error
  // number when it failed, else 0.
  virtual FileChoiceResult ChooseFile(FileChoice* choice, uint32_t* error) = 0;

  // Writes a line to the debug channel.
  virtual void DebugText(const char* text) = 0;

  // The module of this library. Its string resources are platform/library_strings.inc.
  virtual TvInstance LibraryInstance() = 0;

  // Reads a string resource of a module (nullptr: the program's), cut to 255 characters. False when
  // the module has none of that number.
  virtual bool LoadText(TvInstance instance, uint16_t number, std::string* text) = 0;
};

template <>
Desktop& Current<Desktop>();
template <>
Desktop* Replace<Desktop>(Desktop* service);

inline Desktop& TheDesktop() { return Current<Desktop>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_DESKTOP_H_
