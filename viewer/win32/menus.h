// The menu bar and the keys, made from the table of commands.

#ifndef VIEWER_WIN32_MENUS_H_
#define VIEWER_WIN32_MENUS_H_

#include <map>
#include <string>
#include <vector>

#include "viewer/core/commands.h"
#include "viewer/win32/system.h"

namespace tervalon::viewer {

// Items that are this system's own.
enum OwnItem : UINT { kSideBySide = 2000, kCloseAll, kAbout };
// The first in the list of windows that the system puts below.
constexpr UINT kFirstWindowItem = 30000;

class Menus {
 public:
  explicit Menus(const Workspace& workspace);

  // Both go with the window that has them.
  HMENU bar() const { return bar_; }
  // The menu in which the system keeps the list of windows.
  HMENU window_list() const { return window_list_; }

  // Shows in a menu of commands what can be done now; other menus stay as they are.
  void Fill(HMENU menu) const;
  // For a place where something was clicked. nullptr: nothing was chosen.
  const Command* ChooseAt(HWND owner, POINT place) const;

  // nullptr: none of a command.
  static const Command* FindItem(UINT item);
  // Of the key that was pressed with those held down meanwhile; nullptr: none that can be done now.
  const Command* FindKey(WPARAM key) const;

 private:
  struct Key {
    ACCEL key;
    const Command* command;
  };

  const Workspace& workspace_;
  HMENU bar_ = CreateMenu();
  HMENU window_list_ = nullptr;
  std::map<HMENU, std::string> menus_;  // with their names in the table
  std::vector<Key> keys_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_MENUS_H_
