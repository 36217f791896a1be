// Windows as records in memory, for a platform without a screen and for tests on every platform.
// They behave as their screen counterparts do where the library depends on it: a minimised or
// maximised window has another rectangle than its normal one, a document area keeps its documents
// in order and hands a maximised state on, and closing destroys. A window's handler runs in the
// thread that sends the message, while other threads may use other windows.

#ifndef PLATFORM_HEADLESS_WINDOW_RECORDS_H_
#define PLATFORM_HEADLESS_WINDOW_RECORDS_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/lock.h"
#include "platform/window_manager.h"

namespace tervalon::platform {

// Answers the messages of a window, other than those that move it or its documents.
using WindowHandler =
    std::function<intptr_t(TvWindow window, uint32_t message, uintptr_t first, intptr_t second)>;

struct WindowSpec {
  std::string window_class;
  TvWindow parent = nullptr;
  uint32_t style = kStyleVisible;  // WindowStyle
  TvRect rect = {0, 0, 400, 300};  // normal one, in the parent's client coordinates
  TvInstance instance = nullptr;
};

class WindowRecords : public WindowManager {
 public:
  static constexpr TvRect kScreen = {0, 0, 1024, 768};

  // Returns nullptr when the parent is given but is no window.
  TvWindow Create(const WindowSpec& spec);
  // Without a handler the answer is 0, and a close message destroys the window.
  bool SetHandler(TvWindow window, WindowHandler handler);

  bool IsWindow(TvWindow window) override;
  bool IsVisible(TvWindow window) override;
  bool IsMinimized(TvWindow window) override;
  bool IsMaximized(TvWindow window) override;
  TvWindow Parent(TvWindow window) override;
  TvInstance Instance(TvWindow window) override;
  std::string ClassName(TvWindow window, uint32_t longest) override;
  TvRect Rect(TvWindow window) override;
  TvPoint ClientOrigin(TvWindow window) override;
  bool Show(TvWindow window, ShowCommand command) override;
  bool Move(TvWindow window, const TvRect& rect, bool repaint) override;
  bool Repaint(TvWindow window) override { return IsWindow(window); }
  bool Destroy(TvWindow window) override;
  intptr_t Send(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) override;
  // There is no later: a posted message is handled at once.
  bool Post(TvWindow window, uint32_t message, uintptr_t first, intptr_t second) override;
  bool SetProperty(TvWindow window, const char* name, uintptr_t value) override;
  uintptr_t Property(TvWindow window, const char* name) override;

 private:
  enum class State { kNormal, kMinimized, kMaximized };
  struct Record {
    WindowSpec spec;
    State state = State::kNormal;
    bool visible = false;
    bool maximized_before = false;                // while minimised
    std::map<std::string, uintptr_t> properties;  // by lower-case name
    std::vector<TvWindow> children;               // front first
    WindowHandler handler;
  };

  // All that follows with the lock held.
  Record* Find(TvWindow window);
  TvWindow Add(const WindowSpec& spec);
  void ShowRecord(Record* record, ShowCommand command);
  bool Remove(TvWindow window);
  bool IsIn(TvWindow window, State state);
  TvRect ClientRect(const Record& record);
  TvRect ScreenRect(const Record& record);
  void SetState(Record* record, State state);

  bool IsDocumentArea(const Record& record) const;
  intptr_t HandleDocumentMessage(TvWindow area, uint32_t message, uintptr_t first, intptr_t second);
  TvWindow CreateDocumentRecord(TvWindow area, const TvDocumentCreate& create);
  void Activate(TvWindow area, TvWindow document);
  void ActivateNext(TvWindow area, TvWindow document, bool backwards);

  Mutex lock_;
  std::map<TvWindow, Record> records_;
  uintptr_t last_handle_ = 0x10000;
  int32_t documents_made_ = 0;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_HEADLESS_WINDOW_RECORDS_H_
