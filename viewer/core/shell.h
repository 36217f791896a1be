// What the core asks of the window system.

#ifndef VIEWER_CORE_SHELL_H_
#define VIEWER_CORE_SHELL_H_

#include <tervalon/types.h>

#include <optional>
#include <string>

#include "viewer/core/document.h"

namespace tervalon::viewer {

enum class Arrangement { kNext, kTiled, kCascaded, kMaximised };

class Shell {
 public:
  virtual ~Shell() = default;

  // Gives a document a window, in front of all others; takes it away; brings it to the front.
  virtual void Add(Document& document) = 0;
  virtual void Remove(Document& document) = 0;
  virtual void Raise(Document& document) = 0;
  // The next window in front, all side by side or one behind another, or the front one as large as
  // the frame and back.
  virtual void Arrange(Arrangement arrangement) = 0;
  // Draws anew, soon: title and content; or only the content, which has moved.
  virtual void Refresh(Document& document) = 0;
  virtual void Redraw(Document& document) = 0;
  // What the commands can do has changed.
  virtual void RefreshCommands() = 0;
  virtual void Status(const std::string& text) = 0;

  // Calls Workspace::Idle as long as that returns true, answering everything else in between.
  virtual void WantIdle() = 0;

  // The frame, as the library's exports take it; nullptr where they know no windows.
  virtual TvWindow window() = 0;
  // Each asks somebody; nothing when it is cancelled. The folder is where to begin; empty:
  // anywhere.
  virtual std::optional<std::string> AskForRun(const std::string& folder) = 0;
  virtual std::optional<std::string> AskForFile(const std::string& title,
                                                const std::string& name) = 0;
  virtual std::optional<std::string> AskForText(const std::string& title, const std::string& label,
                                                const std::string& text) = 0;
  // Says what has gone wrong, once.
  virtual void Complain(const std::string& text) = 0;

  virtual void Copy(Document& document) = 0;
  virtual void Print(Document& document, bool preview) = 0;
  virtual void Quit() = 0;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_SHELL_H_
