// What the library shows to a person.

#ifndef PLATFORM_DESKTOP_H_
#define PLATFORM_DESKTOP_H_

#include <cstdint>

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
  kMessageIconMask = 0x00F0,
  kMessageDefaultSecond = 0x0100,
  kMessageDefaultThird = 0x0200,
  kMessageDefaultMask = 0x0F00,
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

class Desktop {
 public:
  virtual ~Desktop() = default;

  // Shows a modal message box and returns the pressed button. `owner` and `caption` may be nullptr.
  virtual int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                              uint32_t style) = 0;

  // Writes a line to the debug channel.
  virtual void DebugText(const char* text) = 0;
};

template <>
Desktop& Current<Desktop>();
template <>
Desktop* Replace<Desktop>(Desktop* service);

inline Desktop& TheDesktop() { return Current<Desktop>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_DESKTOP_H_
