// Windows, their properties and their messages. Everything that is asked of something that is no
// live window (nullptr included) gives false, 0, nullptr or an empty value.

#ifndef PLATFORM_WINDOW_MANAGER_H_
#define PLATFORM_WINDOW_MANAGER_H_

#include <cstdint>
#include <string>

#include "platform/replaceable.h"
#include "tervalon/types.h"

namespace tervalon::platform {

// What to do with a window, with the desktop platform's numbers.
enum ShowCommand : int32_t {
  kHide = 0,
  kShowNormal = 1,
  kShowMinimized = 2,
  kShowMaximized = 3,
  kShowAsItIs = 5,
  kRestore = 9,  // a minimised window to what it was before, a maximised one to normal
};

// Window styles, with the desktop platform's numbers.
enum WindowStyle : uint32_t {
  kStyleChild = 0x40000000,
  kStyleMinimized = 0x20000000,
  kStyleVisible = 0x10000000,
  kStyleMaximized = 0x01000000,
  kStyleCaption = 0x00C00000,
};

// Messages that every platform's windows understand, with the desktop platform's numbers.
enum WindowMessage : uint32_t {
  kCloseMessage = 0x0010,
  kSystemCommandMessage = 0x0112,
  // Of the document area of a multiple-document frame.
  kDocumentCreateMessage = 0x0220,
  kDocumentDestroyMessage = 0x0221,
  kDocumentActivateMessage = 0x0222,
  kDocumentRestoreMessage = 0x0223,
  kDocumentNextMessage = 0x0224,
  kDocumentMaximizeMessage = 0x0225,
  kDocumentActiveMessage = 0x0229,
};
constexpr uintptr_t kSystemMinimize = 0xF020;
constexpr uintptr_t kSystemMaximize = 0xF030;
constexpr uintptr_t kSystemRestore = 0xF120;

// The class of a frame's document area, compared without regard to case.
constexpr char kDocumentAreaClass[] = "mdiclient";

class WindowManager {
 public:
  virtual ~WindowManager() = default;

  virtual bool IsWindow(TvWindow window) = 0;
  virtual bool IsVisible(TvWindow window) = 0;
  virtual bool IsMinimized(TvWindow window) = 0;
  virtual bool IsMaximized(TvWindow window) = 0;
  virtual TvWindow Parent(TvWindow window) = 0;      // nullptr for one on the screen, owned or not
  virtual TvInstance Instance(TvWindow window) = 0;  // the module that made the window

  // Cut to `longest` characters.
  virtual std::string ClassName(TvWindow window, uint32_t longest) = 0;

  // The window as it is now, in screen coordinates.
  virtual TvRect Rect(TvWindow window) = 0;
  // The upper left corner of the window's client area in screen coordinates.
  virtual TvPoint ClientOrigin(TvWindow window) = 0;

  virtual bool Show(TvWindow window, ShowCommand command) = 0;
  // Places a window, in the parent's client coordinates for a child window.
  virtual bool Move(TvWindow window, const TvRect& rect, bool repaint) = 0;
  virtual bool Repaint(TvWindow window) = 0;  // now, not when there is time
  virtual bool Destroy(TvWindow window) = 0;

  // Hands a message to a window and returns its answer.
  virtual intptr_t Send(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) = 0;
  // Leaves a message for a window to handle later.
  virtual bool Post(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) = 0;

  // Values kept with a window under a name, which is compared without regard to case. Setting 0
  // takes the property away.
  virtual bool SetProperty(TvWindow window, const char* name, uintptr_t value) = 0;
  virtual uintptr_t Property(TvWindow window, const char* name) = 0;

  // The document windows of a multiple-document frame, by messages to its document area.
  TvWindow CreateDocument(TvWindow area, const TvDocumentCreate& create) {
    return AsWindow(Send(area, kDocumentCreateMessage, 0, reinterpret_cast<intptr_t>(&create)));
  }
  TvWindow ActiveDocument(TvWindow area) {
    return AsWindow(Send(area, kDocumentActiveMessage, 0, 0));
  }
  void ActivateNextDocument(TvWindow area, TvWindow document) {
    Send(area, kDocumentNextMessage, reinterpret_cast<uintptr_t>(document), 0);
  }
  void RestoreDocument(TvWindow area, TvWindow document) {
    Send(area, kDocumentRestoreMessage, reinterpret_cast<uintptr_t>(document), 0);
  }

  // What choosing "Restore" in the window's system menu does.
  void RestoreBySystemMenu(TvWindow window) {
    Send(window, kSystemCommandMessage, kSystemRestore, 0);
  }

 private:
  static TvWindow AsWindow(intptr_t value) { return reinterpret_cast<TvWindow>(value); }
};

template <>
WindowManager& Current<WindowManager>();
template <>
WindowManager* Replace<WindowManager>(WindowManager* service);

inline WindowManager& Windows() { return Current<WindowManager>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_WINDOW_MANAGER_H_
