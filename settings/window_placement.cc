#include "tervalon/window_placement.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/atoms.h"
#include "platform/text.h"
#include "platform/window_manager.h"
#include "settings/placement_text.h"
#include "tervalon/settings.h"

namespace tervalon::settings {
namespace {

constexpr const char* kSectionProperty = "IniParagraph";
constexpr const char* kKeyProperty = "IniLine";
constexpr uint32_t kLongestName = 80;
constexpr uint32_t kLongestClass = 64;
constexpr size_t kLongestLine = 512;  // of the settings file
constexpr int32_t kAreaDecides = std::numeric_limits<int32_t>::min();

// Keeps the sums and differences of edges within their type. No screen is as large.
constexpr int32_t kFarthest = 1 << 24;

TvRect RectOf(const IniWindPos& placement) {
  const auto near = [](int32_t edge) { return std::clamp(edge, -kFarthest, kFarthest); };
  return {near(placement.left), near(placement.top), near(placement.right), near(placement.bottom)};
}

bool ReadPlacement(const char* section, const char* key, const IniWindPos* fallback,
                   IniWindPos* placement) {
  char text[kLongestLine + 1];
  const std::string default_text = fallback != nullptr ? Placement{*fallback}.EncodeTo() : "";
  GetIniString(section, key, default_text.c_str(), text,
               fallback != nullptr ? kLongestLine + 1 : kLongestLine);
  Placement parsed;
  const bool found = parsed.DecodeFrom(text);
  *placement = parsed.position;
  return found;
}

bool WritePlacement(const char* section, const char* key, const IniWindPos& placement,
                    int32_t flag) {
  std::string text = Placement{placement}.EncodeTo();
  return SetIniString(section, key, text.data(), flag) != 0;
}

// Brings a minimised or maximised window back to normal, so that it can be measured.
void ShowMeasurable(TvWindow window, TvWindow parent) {
  platform::WindowManager& windows = platform::Windows();
  const std::string parent_class = windows.ClassName(parent, kLongestClass);
  if (platform::EqualWithoutCase(parent_class, platform::kDocumentAreaClass)) {
    windows.RestoreDocument(parent, window);
    windows.Repaint(window);
  } else {
    windows.Show(window, platform::kShowNormal);
    windows.Show(window, platform::kHide);
  }
}

IniWindPos PlacementOf(TvWindow window) {
  platform::WindowManager& windows = platform::Windows();
  IniWindPos placement = {0, TV_PLACEMENT_NORMAL, 0, 0, 0, 0};
  if (!windows.IsWindow(window)) return placement;
  placement.visible = 1;
  if (windows.IsMinimized(window)) {
    placement.show_state = TV_PLACEMENT_MINIMIZED;
  } else if (windows.IsMaximized(window)) {
    placement.show_state = TV_PLACEMENT_MAXIMIZED;
  }
  const TvWindow parent = windows.Parent(window);
  if (placement.show_state != TV_PLACEMENT_NORMAL) ShowMeasurable(window, parent);
  const TvRect rect = windows.Rect(window);
  const TvPoint origin = parent != nullptr ? windows.ClientOrigin(parent) : TvPoint{0, 0};
  placement.left = rect.left - origin.x;
  placement.top = rect.top - origin.y;
  placement.right = rect.right - origin.x;
  placement.bottom = rect.bottom - origin.y;
  return placement;
}

// The settings section and key that a document window carries.
struct SavedNames {
  std::string section;
  std::string key;

  explicit SavedNames(TvWindow window)
      : section(NameIn(window, kSectionProperty)), key(NameIn(window, kKeyProperty)) {}

 private:
  static std::string NameIn(TvWindow window, const char* property) {
    const auto atom = static_cast<uint16_t>(platform::Windows().Property(window, property));
    return atom != 0 ? platform::Atoms().Name(atom, kLongestName) : "";
  }
};

void GiveName(TvWindow window, const char* property, const char* name) {
  const uint16_t atom = platform::Atoms().Add(name);
  if (atom != 0) platform::Windows().SetProperty(window, property, atom);
}

// Stores the key that the window is saved under, empty when it carries none. False when its
// placement could not be written.
bool SaveWindow(TvWindow window, std::string* key) {
  platform::WindowManager& windows = platform::Windows();
  const SavedNames names(window);
  const IniWindPos placement = PlacementOf(window);
  const bool named = !names.section.empty() && !names.key.empty();
  const bool saved =
      !named || WritePlacement(names.section.c_str(), names.key.c_str(), placement, 1);
  if (placement.show_state == TV_PLACEMENT_MAXIMIZED) {
    windows.RestoreDocument(windows.Parent(window), window);
  }
  if (windows.IsMaximized(window) || windows.IsMinimized(window)) {
    windows.Show(window, platform::kRestore);
  }
  *key = named ? names.key : "";
  return saved;
}

// Saves the document windows of an area and lists their keys, the last visited first. False when a
// placement could not be written.
bool SaveDocuments(TvWindow area, TvWindow window, std::string* keys) {
  bool saved = true;
  std::string& list = *keys;
  std::vector<TvWindow> visited;
  while (window != nullptr && std::find(visited.begin(), visited.end(), window) == visited.end()) {
    visited.push_back(window);
    std::string key;
    saved = SaveWindow(window, &key) && saved;
    if (!key.empty()) list.insert(0, list.empty() ? key : key + ',');
    platform::Windows().ActivateNextDocument(area, window);
    window = platform::Windows().ActiveDocument(area);
  }
  // A line that is cut elsewhere would name a window that does not exist.
  if (list.size() > kLongestLine) {
    const size_t comma = list.rfind(',', kLongestLine);
    list.resize(comma != std::string::npos ? comma : 0);
  }
  return saved;
}

// The active document of an area whose frame is in a state to be measured.
TvWindow PrepareDesktop(TvWindow area) {
  platform::WindowManager& windows = platform::Windows();
  const TvWindow frame = windows.Parent(area);
  if (windows.IsMinimized(frame)) {
    windows.RestoreBySystemMenu(frame);
    windows.Show(frame, platform::kHide);
  }
  return windows.ActiveDocument(area);
}

int32_t SaveDesktop(TvWindow window, int32_t flags, const char* section, const char* key) {
  const bool whole = (flags & TV_SAVE_DESKTOP) != 0;
  if (!whole && (flags & TV_SAVE_WINDOW) == 0) return 0;
  const TvWindow first = whole ? PrepareDesktop(window) : window;
  const bool is_window = platform::Windows().IsWindow(first);
  std::string keys;
  if (is_window && !whole) return SaveWindow(first, &keys);
  const bool saved = !is_window || SaveDocuments(window, first, &keys);
  return key != nullptr && SetIniString(section, key, keys.data(), 1) != 0 && saved;
}

}  // namespace
}  // namespace tervalon::settings

using tervalon::Guarded;
namespace settings = tervalon::settings;
namespace platform = tervalon::platform;

extern "C" int32_t TERVALON_CALL GetIniWindPos(const char* section, const char* key,
                                               const IniWindPos* fallback, IniWindPos* placement) {
  if (section == nullptr || key == nullptr || placement == nullptr) return 0;
  return Guarded(0, [=] { return settings::ReadPlacement(section, key, fallback, placement); });
}

extern "C" int32_t TERVALON_CALL SetIniWindPos(const char* section, const char* key,
                                               const IniWindPos* placement, int32_t flag) {
  if (section == nullptr || key == nullptr || placement == nullptr) return 0;
  return Guarded(0, [=] {
    settings::WritePlacement(section, key, *placement, flag);
    return 1;
  });
}

extern "C" int32_t TERVALON_CALL ObtainWindPos(TvWindow window, IniWindPos* placement) {
  if (placement == nullptr) return 0;
  return Guarded(0, [=] {
    *placement = settings::PlacementOf(window);
    return 1;
  });
}

extern "C" int32_t TERVALON_CALL RestoreWindPos(TvWindow window, const IniWindPos* placement) {
  if (placement == nullptr) return 0;
  return Guarded(0, [=] {
    platform::WindowManager& windows = platform::Windows();
    if (!windows.IsWindow(window)) return 0;
    if (placement->show_state == TV_PLACEMENT_MINIMIZED) {
      windows.Show(window, platform::kShowMinimized);
    } else if (placement->show_state == TV_PLACEMENT_MAXIMIZED) {
      windows.Show(window, platform::kShowMaximized);
    } else {
      windows.Move(window, settings::RectOf(*placement), false);
      windows.Show(window, platform::kShowNormal);
    }
    return 1;
  });
}

extern "C" TvWindow TERVALON_CALL IniCreateMDIWnd(TvWindow area, const char* section,
                                                  const char* key, TvDocumentCreate* create) {
  if (section == nullptr || key == nullptr || create == nullptr) return nullptr;
  return Guarded(TvWindow{}, [=]() -> TvWindow {
    platform::WindowManager& windows = platform::Windows();
    if (!windows.IsWindow(area)) return nullptr;
    create->x = create->y = create->width = create->height = settings::kAreaDecides;
    IniWindPos placement;
    if (settings::ReadPlacement(section, key, nullptr, &placement)) {
      if (placement.show_state == TV_PLACEMENT_MINIMIZED) {
        create->style |= platform::kStyleMinimized;
      } else if (placement.show_state == TV_PLACEMENT_MAXIMIZED) {
        create->style |= platform::kStyleMaximized;
      }
      const TvRect rect = settings::RectOf(placement);
      create->x = rect.left;
      create->y = rect.top;
      create->width = rect.right - rect.left;
      create->height = rect.bottom - rect.top;
    }
    const TvWindow window = windows.CreateDocument(area, *create);
    if (window != nullptr) {
      settings::GiveName(window, settings::kSectionProperty, section);
      settings::GiveName(window, settings::kKeyProperty, key);
    }
    return window;
  });
}

extern "C" int32_t TERVALON_CALL IniSaveDesktop(TvWindow window, int32_t flags, const char* section,
                                                const char* key, int32_t /*ignored*/) {
  if (section == nullptr) return 0;
  return Guarded(0, [=] { return settings::SaveDesktop(window, flags, section, key); });
}
