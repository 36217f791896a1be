#include "platform/message_handler.h"

#include "platform/lock.h"
#include "tervalon/desktop.h"

namespace tervalon::platform {
namespace {

struct MessageHandler {
  TvMessageHandler function = nullptr;
  void* user = nullptr;
};
Shared<MessageHandler> message_handler;

}  // namespace

bool AskMessageHandler(TvWindow owner, const char* text, const char* caption, uint32_t style,
                       int32_t* answer) {
  const MessageHandler handler = message_handler.Get();
  if (handler.function == nullptr) return false;
  *answer = handler.function(handler.user, text, caption, style, owner);
  return true;
}

}  // namespace tervalon::platform

extern "C" int32_t TERVALON_CALL TvSetMessageHandler(TvMessageHandler handler, void* user) {
  tervalon::platform::message_handler.Set({handler, user});
  return 1;
}
