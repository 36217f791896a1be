// The inside of a frame: document windows that are moved, sized, tiled and maximised. Until
// somebody has moved one they are tiled.

#ifndef VIEWER_GTK_DESK_H_
#define VIEWER_GTK_DESK_H_

#include <gtk/gtk.h>
#include <tervalon/window_placement.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tervalon::viewer {

class Desk {
 public:
  // What somebody did: with a content as it was added.
  struct Listener {
    std::function<void(GtkWidget* content)> activated;
    std::function<void(GtkWidget* content)> closed;
  };

  explicit Desk(Listener listener);
  ~Desk();
  Desk(const Desk&) = delete;
  Desk& operator=(const Desk&) = delete;

  GtkWidget* widget() const { return room_; }

  void Add(GtkWidget* content, const std::string& title);
  void Remove(GtkWidget* content);
  void SetTitle(GtkWidget* content, const std::string& title);
  void Raise(GtkWidget* content);
  // The one behind the front goes to the front.
  void RaiseNext();
  GtkWidget* front() const;

  void Tile();
  // One behind another, the front one last.
  void Cascade();
  // Makes the front window as large as the desk, or puts it back.
  void ToggleMaximised();

  // Without a rectangle as long as all are tiled.
  IniWindPos PlaceOf(GtkWidget* content) const;
  void SetPlace(GtkWidget* content, const IniWindPos& place);

 private:
  struct Child;

  Child* Find(GtkWidget* content) const;
  void Arrange();
  // Where they are now they stay, until somebody moves them.
  void Free();
  GdkRectangle PlaceNow(const Child& child) const;
  void Activate(Child* child);
  bool Press(Child* child, const GdkEventButton& event, bool on_title);
  bool Drag(const GdkEventMotion& event);

  const Listener listener_;
  GtkWidget* const room_;                         // what sticks out is cut off at its edge
  GtkWidget* const overlay_;                      // of windows, which ask for no room
  std::vector<std::unique_ptr<Child>> children_;  // the front one last
  int added_ = 0;
  bool tiled_ = true;
  bool maximised_ = false;
  Child* dragged_ = nullptr;
  bool sizing_ = false;
  double drag_x_ = 0;
  double drag_y_ = 0;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_GTK_DESK_H_
