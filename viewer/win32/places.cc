#include "viewer/win32/places.h"

#include <tervalon/settings.h>
#include <tervalon/window_placement.h>

#include <string>
#include <string_view>

namespace tervalon::viewer {
namespace {

constexpr const char* kSection = "Viewer";
constexpr const char* kFrameKey = "Frame";
constexpr const char* kOrderKey = "Windows";
constexpr const char* kNewKey = "New";           // under which nothing is written
constexpr const char* kKeyProperty = "IniLine";  // of a document window: an atom of its key
constexpr int16_t kLongestText = 513;

std::string PlaceKey(size_t number) { return "Place" + std::to_string(number + 1); }

ATOM AtomOf(HWND window) {
  return static_cast<ATOM>(reinterpret_cast<uintptr_t>(GetPropA(window, kKeyProperty)));
}

void SetKey(HWND window, const std::string& key) {
  if (const ATOM before = AtomOf(window)) DeleteAtom(before);
  SetPropA(window, kKeyProperty, reinterpret_cast<HANDLE>(uintptr_t{AddAtomA(key.c_str())}));
}

HWND FindKey(HWND area, std::string_view key) {
  for (HWND window = GetWindow(area, GW_CHILD); window != nullptr;
       window = GetWindow(window, GW_HWNDNEXT)) {
    char name[256] = "";
    const ATOM atom = AtomOf(window);
    if (atom != 0 && GetAtomNameA(atom, name, sizeof name) != 0 && key == name) return window;
  }
  return nullptr;
}

bool IsOnMonitor(const IniWindPos& place) {
  const RECT rect = {place.left, place.top, place.right, place.bottom};
  return MonitorFromRect(&rect, MONITOR_DEFAULTTONULL) != nullptr;
}

}  // namespace

HWND MakeDocumentWindow(HWND area, const char* window_class, HINSTANCE owner,
                        const std::optional<size_t>& number) {
  TvDocumentCreate create = {};
  create.window_class = window_class;
  create.title = "";
  create.owner = owner;
  const std::string key = number ? PlaceKey(*number) : kNewKey;
  return IniCreateMDIWnd(area, kSection, key.c_str(), &create);
}

void RestoreFrame(HWND frame) {
  IniWindPos place = {};
  if (GetIniWindPos(kSection, kFrameKey, nullptr, &place) == 0 || !IsOnMonitor(place)) {
    ShowWindow(frame, SW_SHOWNORMAL);
    return;
  }
  if (place.show_state == TV_PLACEMENT_MINIMIZED) place.show_state = TV_PLACEMENT_NORMAL;
  // A maximised window is shown without its place, to which it is to go back later.
  SetWindowPos(frame, nullptr, place.left, place.top, place.right - place.left,
               place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
  RestoreWindPos(frame, &place);
}

void RestoreOrder(HWND area) {
  char text[kLongestText] = "";
  GetIniString(kSection, kOrderKey, "", text, sizeof text);
  // The one that was in front stands last.
  std::string_view keys = text;
  while (!keys.empty()) {
    const size_t comma = keys.find(',');
    if (const HWND window = FindKey(area, keys.substr(0, comma))) {
      SendMessageW(area, WM_MDIACTIVATE, reinterpret_cast<WPARAM>(window), 0);
    }
    keys.remove_prefix(comma == std::string_view::npos ? keys.size() : comma + 1);
  }
}

void SavePlaces(HWND frame, HWND area, const std::vector<HWND>& windows) {
  IniWindPos place = {};
  ObtainWindPos(frame, &place);
  SetIniWindPos(kSection, kFrameKey, &place, 0);
  ShowWindow(frame, SW_HIDE);  // saving brings every document window to the front
  for (size_t i = 0; i < windows.size(); ++i) {
    if (windows[i] != nullptr) SetKey(windows[i], PlaceKey(i));
  }
  IniSaveDesktop(area, TV_SAVE_DESKTOP, kSection, kOrderKey, 0);
}

}  // namespace tervalon::viewer
