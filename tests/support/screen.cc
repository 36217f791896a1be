#include "tests/support/screen.h"

#if defined(_WIN32)

#include <dlgs.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace tervalon::testing {
namespace {

bool IsKind(HWND dialog, ScreenReader::Kind kind) {
  const bool has_name_label = GetDlgItem(dialog, stc3) != nullptr;
  return has_name_label == (kind == ScreenReader::Kind::kFileDialog);
}

// A dialog is read only once it is on the screen as a whole.
HWND FindDialog(ScreenReader::Kind kind, const char* caption) {
  for (HWND found = nullptr;;) {
    found = FindWindowExA(nullptr, found, "#32770", caption);
    if (found == nullptr) return nullptr;
    DWORD process = 0;
    GetWindowThreadProcessId(found, &process);
    if (process == GetCurrentProcessId() && IsWindowVisible(found) && IsKind(found, kind)) {
      return found;
    }
  }
}

}  // namespace

std::string TextOf(HWND window) {
  std::array<char, 512> text = {};
  SendMessageA(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  return text.data();
}

ScreenReader::ScreenReader(Kind kind, std::string caption, std::function<void(HWND dialog)> act)
    : thread_([this, kind, caption = std::move(caption), act = std::move(act)] {
        for (int tries = 0; tries < 200 && !shown_; ++tries, Sleep(50)) {
          HWND dialog = FindDialog(kind, caption.c_str());
          if (dialog == nullptr) continue;
          shown_ = true;
          act(dialog);
        }
      }) {}

ScreenReader::~ScreenReader() { Join(); }

bool ScreenReader::Join() {
  if (thread_.joinable()) thread_.join();
  return shown_;
}

BoxReader::BoxReader(const std::string& caption, int button)
    : reader_(ScreenReader::Kind::kMessageBox, caption,
              [this, button](HWND box) { Read(box, button); }) {}

void BoxReader::Read(HWND box, int button) {
  owner = GetWindow(box, GW_OWNER);
  for (HWND control = GetWindow(box, GW_CHILD); control != nullptr;
       control = GetWindow(control, GW_HWNDNEXT)) {
    std::array<char, 32> name = {};
    GetClassNameA(control, name.data(), static_cast<int>(name.size()));
    if (lstrcmpiA(name.data(), "Button") == 0) {
      if (IsWindowVisible(control)) buttons.push_back(GetDlgCtrlID(control));
    } else if ((GetWindowLongA(control, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) {
      icon = reinterpret_cast<HICON>(SendMessageA(control, STM_GETICON, 0, 0));
    } else {
      text += TextOf(control);
    }
  }
  PostMessageA(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
}

ResourceModule::ResourceModule(const std::vector<Resource>& resources) {
  const std::string path = directory_.Path("resources.dll");
  if (CopyFileA("tervalon.dll", path.c_str(), FALSE) == 0) {
    std::array<char, MAX_PATH> library = {};
    SearchPathA(nullptr, "tervalon.dll", nullptr, MAX_PATH, library.data(), nullptr);
    CopyFileA(library.data(), path.c_str(), FALSE);
  }
  HANDLE update = BeginUpdateResourceA(path.c_str(), TRUE);
  for (const Resource& resource : resources) {
    std::vector<uint16_t> words = resource.words;
    UpdateResourceA(update, resource.type, resource.name, 0, words.data(),
                    2 * static_cast<DWORD>(words.size()));
  }
  if (!EndUpdateResourceA(update, FALSE)) throw std::runtime_error("no resources written");
  instance_ = LoadLibraryExA(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (instance_ == nullptr) throw std::runtime_error("no module of resources");
}

ResourceModule::~ResourceModule() { FreeLibrary(instance_); }

ResourceModule::Resource StringResource(uint16_t number, const std::string& text) {
  std::vector<uint16_t> words(number % 16, 0);
  words.push_back(static_cast<uint16_t>(text.size()));
  for (const char c : text) words.push_back(static_cast<unsigned char>(c));
  words.resize(words.size() + 15U - number % 16U, 0);
  return {RT_STRING, MAKEINTRESOURCEA(number / 16 + 1), words};
}

TemplateBuilder::TemplateBuilder(DWORD style) {
  // Count of controls, place and size; no menu, the usual class, no caption.
  AddHead(style, {0, 10, 10, 280, 140, 0, 0, 0});
}

void TemplateBuilder::AddHead(DWORD style, const std::vector<uint16_t>& rest) {
  words_.push_back(LOWORD(style));
  words_.push_back(HIWORD(style));
  words_.insert(words_.end(), 2, 0);
  words_.insert(words_.end(), rest.begin(), rest.end());
}

void TemplateBuilder::Add(uint16_t window_class, DWORD style, uint16_t id,
                          const std::string& text) {
  constexpr size_t kCount = 4;
  const auto row = static_cast<uint16_t>(5 + 12 * words_[kCount]++);
  if (words_.size() % 2 != 0) words_.push_back(0);
  AddHead(WS_CHILD | WS_VISIBLE | style, {5, row, 90, 11, id, 0xFFFF, window_class});
  for (const char c : text) words_.push_back(static_cast<unsigned char>(c));
  words_.insert(words_.end(), 2, 0);  // the text's end; no data
}

}  // namespace tervalon::testing

#endif  // _WIN32
