// The main window: menus, document windows inside it, the status bar.

#ifndef VIEWER_WIN32_FRAME_H_
#define VIEWER_WIN32_FRAME_H_

#include <memory>
#include <string>
#include <vector>

#include "viewer/core/workspace.h"
#include "viewer/win32/menus.h"
#include "viewer/win32/plot_window.h"
#include "viewer/win32/system.h"
#include "viewer/win32/table_window.h"

namespace tervalon::viewer {

class Frame : public Shell {
 public:
  // Makes the window; nothing can be shown without.
  explicit Frame(HINSTANCE instance);
  ~Frame() override;

  Workspace& workspace() { return workspace_; }
  // Puts everything where it was when the program was closed.
  void Restore();
  // Until the program is closed. Returns its exit status.
  int Run();

  void Add(Document& document) override;
  void Remove(Document& document) override;
  void Raise(Document& document) override;
  void Arrange(Arrangement arrangement) override;
  void Refresh(Document& document) override;
  void Redraw(Document& document) override;
  void RefreshCommands() override {}  // menus look when they are opened
  void Status(const std::string& text) override;
  void WantIdle() override { idle_ = true; }
  TvWindow window() override { return window_; }
  std::optional<std::string> AskForRun(const std::string& folder) override;
  std::optional<std::string> AskForFile(const std::string& title, const std::string& name) override;
  std::optional<std::string> AskForText(const std::string& title, const std::string& label,
                                        const std::string& text) override;
  void Complain(const std::string& text) override;
  void Copy(Document& document) override;
  void Print(Document& document, bool preview) override;
  void Quit() override { PostMessageW(window_, WM_CLOSE, 0, 0); }

 private:
  struct Window {
    Document* document = nullptr;
    HWND handle = nullptr;
    // One of them.
    std::unique_ptr<PlotWindow> plot;
    std::unique_ptr<TableWindow> table;
  };

  static LRESULT CALLBACK FrameProcedure(HWND window, UINT message, WPARAM first, LPARAM second);
  static LRESULT CALLBACK DocumentProcedure(HWND window, UINT message, WPARAM first, LPARAM second);
  LRESULT Handle(UINT message, WPARAM first, LPARAM second);
  LRESULT HandleDocument(HWND handle, UINT message, WPARAM first, LPARAM second);
  // Nothing may be thrown through the window system.
  template <typename Action>
  void Guard(Action action);

  void MakeWindows();
  void Choose(const Command& command);
  bool ChooseOwn(UINT item);
  void Tell(UINT message, WPARAM first) const { SendMessageW(area_, message, first, 0); }
  void CloseAll();
  void ShowMenuAt(HWND handle, LPARAM place);
  void OpenDropped(HDROP drop);
  void Follow();
  void TakeFont();
  void Arrange();
  // The windows stand below one another as long as nobody has moved one.
  void TileNew();
  void Save();
  Window* Find(const Document& document) const;
  Window* FindHandle(HWND handle) const;

  const HINSTANCE instance_;
  Workspace workspace_;
  Menus menus_;
  HWND window_ = nullptr;
  HWND area_ = nullptr;
  HWND status_ = nullptr;
  HFONT font_ = nullptr;
  std::wstring status_text_;
  std::vector<std::unique_ptr<Window>> windows_;
  Window* adding_ = nullptr;  // whose window is being made
  bool arranged_ = false;     // by somebody
  bool following_ = false;
  bool choosing_ = false;
  bool idle_ = false;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_FRAME_H_
