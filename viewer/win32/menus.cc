#include "viewer/win32/menus.h"

#include <algorithm>

#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr UINT kFirstItem = 1000;  // of the first command
constexpr const char* kWindowMenu = "_Window";
constexpr const char* kContextMenus[] = {"_Edit", "_View"};

struct KeyName {
  const char* name;
  WORD key;
  const wchar_t* shown;
};
constexpr KeyName kKeyNames[] = {{"plus", VK_OEM_PLUS, L"+"},
                                 {"plus", VK_ADD, L"+"},
                                 {"minus", VK_OEM_MINUS, L"-"},
                                 {"minus", VK_SUBTRACT, L"-"},
                                 {"Delete", VK_DELETE, L"Del"},
                                 {"Escape", VK_ESCAPE, L"Esc"},
                                 {"BackSpace", VK_BACK, L"Backspace"},
                                 {"Home", VK_HOME, L"Home"},
                                 {"End", VK_END, L"End"},
                                 {"Left", VK_LEFT, L"Left"},
                                 {"Right", VK_RIGHT, L"Right"},
                                 {"Up", VK_UP, L"Up"},
                                 {"Down", VK_DOWN, L"Down"},
                                 {"Return", VK_RETURN, L"Enter"},
                                 {"Page_Up", VK_PRIOR, L"Page Up"},
                                 {"Page_Down", VK_NEXT, L"Page Down"},
                                 {"F1", VK_F1, L"F1"},
                                 {"F5", VK_F5, L"F5"},
                                 {"F6", VK_F6, L"F6"},
                                 {"F9", VK_F9, L"F9"},
                                 {"F11", VK_F11, L"F11"}};

// "_File" as "&File".
std::wstring MenuText(std::string text) {
  std::ranges::replace(text, '_', '&');
  return Wide(text);
}

// A text that is no menu's own.
std::wstring Literal(const std::string& text) {
  std::wstring literal;
  for (const wchar_t c : Wide(text)) literal.append(c == L'&' ? 2 : 1, c);
  return literal;
}

struct ParsedKey {
  BYTE held = 0;
  std::wstring shown;
  std::vector<WORD> keys;  // each of them means the same
};

// "Ctrl+Page_Up"; no keys for "".
ParsedKey ParseKey(std::string_view text) {
  ParsedKey parsed;
  const auto take = [&](std::string_view name, BYTE flag) {
    if (!text.starts_with(name)) return;
    text.remove_prefix(name.size());
    parsed.held |= flag;
    parsed.shown += Wide(name);
  };
  take("Ctrl+", FCONTROL);
  take("Shift+", FSHIFT);
  for (const KeyName& known : kKeyNames) {
    if (text != known.name) continue;
    if (parsed.keys.empty()) parsed.shown += known.shown;
    parsed.keys.push_back(known.key);
  }
  if (text.size() == 1) {
    parsed.shown += Wide(text);
    parsed.keys.push_back(static_cast<WORD>(text.front()));
  }
  return parsed;
}

bool IsHeld(int key) { return GetKeyState(key) < 0; }

bool CanRun(const Command& command, const Workspace& workspace) {
  return command.run != nullptr && (command.can == nullptr || command.can(workspace));
}

}  // namespace

Menus::Menus(const Workspace& workspace) : workspace_(workspace) {
  std::vector<std::string> known;
  for (const Command& command : Commands()) {
    const ParsedKey parsed = ParseKey(command.key);
    for (const WORD key : parsed.keys) keys_.push_back({{parsed.held, key, 0}, &command});
    if (std::ranges::find(known, command.menu) != known.end()) continue;
    known.emplace_back(command.menu);
    const HMENU menu = CreatePopupMenu();
    menus_[menu] = command.menu;
    AppendMenuW(bar_, MF_POPUP, reinterpret_cast<UINT_PTR>(menu), MenuText(command.menu).c_str());
    Fill(menu);
    if (std::string_view(command.menu) == kWindowMenu) window_list_ = menu;
  }
  AppendMenuW(window_list_, MF_STRING, kSideBySide, L"Tile &side by side");
  AppendMenuW(window_list_, MF_STRING, kCloseAll, L"Close &all");
  const HMENU help = CreatePopupMenu();
  AppendMenuW(help, MF_STRING, kAbout, L"&About and mouse...\tF1");
  AppendMenuW(bar_, MF_POPUP, reinterpret_cast<UINT_PTR>(help), L"&Help");
}

void Menus::Fill(HMENU menu) const {
  const auto found = menus_.find(menu);
  if (found == menus_.end() || menu == window_list_) return;
  while (DeleteMenu(menu, 0, MF_BYPOSITION) != FALSE) {
  }
  UINT item = kFirstItem;
  bool wants_line = false;
  bool is_first = true;
  for (const Command& command : Commands()) {
    const UINT own = item++;
    if (command.menu != found->second) continue;
    if (command.run == nullptr) {
      wants_line = !is_first;
      continue;
    }
    const bool can = CanRun(command, workspace_);
    std::wstring text = MenuText(command.text);
    if (std::string_view(command.id).starts_with("recent-")) {
      if (!can) continue;
      const auto number = static_cast<size_t>(command.id[7] - '1');
      text += L" " + Literal(workspace_.recent()[number]);
    }
    const std::wstring key = ParseKey(command.key).shown;
    if (!key.empty()) text += L"\t" + key;
    if (wants_line) AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    wants_line = is_first = false;
    const bool on = command.is_on != nullptr && command.is_on(workspace_);
    const UINT flags = (can ? MF_ENABLED : MF_GRAYED) | (on ? MF_CHECKED : MF_UNCHECKED);
    AppendMenuW(menu, MF_STRING | flags, own, text.c_str());
  }
}

const Command* Menus::ChooseAt(HWND owner, POINT place) const {
  const HMENU chosen = CreatePopupMenu();
  for (const char* name : kContextMenus) {
    UINT item = kFirstItem;
    for (const Command& command : Commands()) {
      const UINT own = item++;
      if (std::string_view(command.menu) != name || !CanRun(command, workspace_)) continue;
      const bool on = command.is_on != nullptr && command.is_on(workspace_);
      AppendMenuW(chosen, MF_STRING | (on ? MF_CHECKED : MF_UNCHECKED), own,
                  MenuText(command.text).c_str());
    }
    if (name != std::end(kContextMenus)[-1]) AppendMenuW(chosen, MF_SEPARATOR, 0, nullptr);
  }
  const int item =
      TrackPopupMenu(chosen, TPM_RETURNCMD | TPM_RIGHTBUTTON, place.x, place.y, 0, owner, nullptr);
  DestroyMenu(chosen);
  return FindItem(static_cast<UINT>(item));
}

const Command* Menus::FindItem(UINT item) {
  const bool is_command = item >= kFirstItem && item < kFirstItem + Commands().size();
  return is_command ? &Commands()[item - kFirstItem] : nullptr;
}

const Command* Menus::FindKey(WPARAM key) const {
  if (IsHeld(VK_MENU)) return nullptr;
  // On some keyboards "+" is typed with Shift.
  const bool shift = key != VK_OEM_PLUS && IsHeld(VK_SHIFT);
  const int held = (IsHeld(VK_CONTROL) ? FCONTROL : 0) | (shift ? FSHIFT : 0);
  const auto found = std::ranges::find_if(keys_, [&](const Key& own) {
    return own.key.key == key && own.key.fVirt == held && CanRun(*own.command, workspace_);
  });
  return found != keys_.end() ? found->command : nullptr;
}

}  // namespace tervalon::viewer
