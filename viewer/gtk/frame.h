// The main window: menus from the table of commands, the desk with documents, the status bar.

#ifndef VIEWER_GTK_FRAME_H_
#define VIEWER_GTK_FRAME_H_

#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <vector>

#include "viewer/core/commands.h"
#include "viewer/core/workspace.h"
#include "viewer/gtk/desk.h"
#include "viewer/gtk/plot_area.h"

namespace tervalon::viewer {

class Frame : public Shell {
 public:
  explicit Frame(GtkApplication* application);
  ~Frame() override;

  Workspace& workspace() { return workspace_; }
  // Puts everything where it was when the program was closed.
  void Restore();
  // One that somebody chooses, beginning where runs are.
  std::optional<std::string> AskForFolder(const char* title, const char* verb);
  void Present();

  void Add(Document& document) override;
  void Remove(Document& document) override;
  void Raise(Document& document) override;
  void Arrange(Arrangement arrangement) override;
  void Refresh(Document& document) override;
  void Redraw(Document& document) override;
  void RefreshCommands() override;
  void Status(const std::string& text) override;
  void WantIdle() override;
  TvWindow window() override { return nullptr; }
  std::optional<std::string> AskForRun(const std::string& folder) override;
  std::optional<std::string> AskForFile(const std::string& title, const std::string& name) override;
  std::optional<std::string> AskForText(const std::string& title, const std::string& label,
                                        const std::string& text) override;
  void Complain(const std::string& text) override;
  void Copy(Document& document) override;
  void Print(Document& document, bool preview) override;
  void Quit() override;

 private:
  struct Window {
    Document* document;
    GtkWidget* content;
    std::unique_ptr<PlotArea> plot;  // of a chart
  };
  struct Item {
    const Command* command;
    GtkWidget* widget;
    gulong handler;
    guint key;  // 0: none
    GdkModifierType held;
  };

  GtkWidget* MakeMenus();
  void MakeItem(const Command& command, GtkWidget* menu, GtkAccelGroup* keys);
  bool Press(const GdkEventKey& event);
  void AcceptDrops();
  void SavePlaces();
  Window* Find(const Document& document);
  Window* FindContent(GtkWidget* content);
  void Fill(Window& window);

  GtkWidget* const window_;
  GtkWidget* status_ = nullptr;
  Desk desk_;
  std::vector<Window> windows_;
  std::vector<Item> items_;
  Workspace workspace_;
  guint idle_ = 0;
  guint clock_ = 0;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_GTK_FRAME_H_
