#include "platform/desktop.h"

#include <windows.h>

#include <string>

namespace tervalon::platform {
namespace {

class Win32Desktop : public Desktop {
 public:
  int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                      uint32_t style) override {
    return MessageBoxA(owner, text != nullptr ? text : "", caption, style);
  }

  void DebugText(const char* text) override {
    if (text == nullptr) return;
    OutputDebugStringA((std::string(text) + "\n").c_str());
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(Desktop, Win32Desktop)

}  // namespace tervalon::platform
