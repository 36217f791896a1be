// What can be done, in one table that menus, keys and tests share.

#ifndef VIEWER_CORE_COMMANDS_H_
#define VIEWER_CORE_COMMANDS_H_

#include <span>
#include <string>

#include "viewer/core/workspace.h"

namespace tervalon::viewer {

struct Command {
  const char* id;
  const char* menu;  // the one that it stands in: "File"; submenus behind a "/"
  const char* text;  // with "_" before the letter that chooses it; "": a line between groups
  const char* key;   // "Ctrl+O", "Shift+Left"; "": none
  bool (*can)(const Workspace& workspace);  // nullptr: always
  void (*run)(Workspace& workspace);
  bool (*is_on)(const Workspace& workspace) = nullptr;  // of a switch
};

// In the order of the menus.
std::span<const Command> Commands();

// nullptr: none.
const Command* FindCommand(std::string_view id);

// Runs a command if it can be done now. False when it cannot.
bool RunCommand(const Command& command, Workspace& workspace);

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_COMMANDS_H_
