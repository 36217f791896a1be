// The main window: menus from the table of commands, document windows inside it, the status bar.

#ifndef VIEWER_WIN32_FRAME_H_
#define VIEWER_WIN32_FRAME_H_

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "viewer/core/commands.h"
#include "viewer/core/workspace.h"
#include "viewer/win32/plot_window.h"

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
  void Refresh(Document& document) override;
  void Redraw(Document& document) override;
  void RefreshCommands() override;
  void Status(const std::string& text) override;
  void WantIdle() override { idle_ = true; }
  std::optional<std::string> AskForRun() override;
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
    HWND list = nullptr;               // of a table
    std::unique_ptr<PlotWindow> plot;  // of a chart
  };

  static LRESULT CALLBACK FrameProcedure(HWND window, UINT message, WPARAM first, LPARAM second);
  static LRESULT CALLBACK DocumentProcedure(HWND window, UINT message, WPARAM first, LPARAM second);
  LRESULT Handle(UINT message, WPARAM first, LPARAM second);
  LRESULT HandleDocument(HWND handle, UINT message, WPARAM first, LPARAM second);
  void MakeMenus();
  void MakeKeys();
  void Choose(size_t command);
  void OpenDropped(HDROP drop);
  void Arrange();
  void SavePlaces();
  Window* Find(const Document& document) const;
  Window* FindHandle(HWND handle) const;
  void FillList(Window& window);
  void ShowCell(const Window& window, NMHDR* header) const;

  const HINSTANCE instance_;
  HWND window_ = nullptr;
  HWND area_ = nullptr;
  HWND status_ = nullptr;
  HMENU menus_ = nullptr;
  HACCEL keys_ = nullptr;
  std::vector<std::unique_ptr<Window>> windows_;
  Window* adding_ = nullptr;  // whose window is being made
  Workspace workspace_;
  bool idle_ = false;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_FRAME_H_
