// Two generations of the dialog are in use. In the newer one (OFN_EXPLORER) a template is a child
// of the dialog that holds the application's additions, and the hook is told what happens by
// notifications. In the older one a template is the whole dialog, and the hook sees its messages.
// Which one an application's template was made for shows in its style.
//
// Both treat a directory as a place to go to. Here some directories are what is looked for
// (FileChoice::extension), so the dialog is closed from the hook once a choice was taken: by its
// own Cancel button, which every version has.

#include "platform/win32/file_dialog.h"

#include <windows.h>
// After it.
#include <cderr.h>
#include <commdlg.h>
#include <dlgs.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace tervalon::platform {
namespace {

constexpr size_t kPathSize = 1024;
constexpr int kNameEdit = edt1;
constexpr int kNameLabel = stc3;
constexpr int kDirectoryList = lst2;
constexpr const char* kSessionProperty = "TervalonFileDialog";

using PathBuffer = std::array<char, kPathSize>;

// One run of the dialog.
struct Session {
  FileChoice* choice;
  bool taken = false;
  std::string path;   // that was taken
  PathBuffer folder;  // shown last
};

Session* SessionOf(const OPENFILENAMEA* settings) {
  return reinterpret_cast<Session*>(settings->lCustData);
}

bool IsDirectory(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool HasExtension(std::string_view path, std::string_view extension) {
  const size_t point = path.find_last_of(".\\/");
  return point != std::string_view::npos && path[point] == '.' &&
         EqualWithoutCase(path.substr(point + 1), extension);
}

// True when the choice is taken. The dialog's own code, which is no C++, stands between here and
// the caller of the dialog.
bool Take(Session* session, HWND dialog, const char* path) noexcept {
  try {
    const auto& accept = session->choice->accept;
    if (accept && !accept(dialog, path)) return false;
    session->path = path;
    session->taken = true;
    return true;
  } catch (...) {
    return false;
  }
}

void TakeAndClose(Session* session, HWND dialog, const char* path) {
  if (Take(session, dialog, path)) PostMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
}

void ReadFolder(HWND dialog, PathBuffer* folder) {
  folder->fill('\0');
  SendMessageA(dialog, CDM_GETFOLDERPATH, folder->size() - 1,
               reinterpret_cast<LPARAM>(folder->data()));
}

void OnFolderChange(Session* session, HWND dialog) {
  PathBuffer folder;
  ReadFolder(dialog, &folder);
  // The dialog also tells of the folder that it starts in.
  const bool has_moved =
      session->folder[0] != '\0' && !EqualWithoutCase(session->folder.data(), folder.data());
  session->folder = folder;
  if (has_moved && HasExtension(folder.data(), session->choice->extension)) {
    TakeAndClose(session, dialog, folder.data());
  }
}

UINT_PTR CALLBACK NotificationHook(HWND page, UINT message, WPARAM /*first*/, LPARAM second) {
  if (message != WM_NOTIFY) return 0;
  const auto* notification = reinterpret_cast<const OFNOTIFYA*>(second);
  HWND dialog = GetParent(page);
  switch (notification->hdr.code) {
    case CDN_INITDONE: {
      Session* session = SessionOf(notification->lpOFN);
      const std::string& label = session->choice->name_label;
      if (!label.empty()) {
        SendMessageA(dialog, CDM_SETCONTROLTEXT, kNameLabel,
                     reinterpret_cast<LPARAM>(label.c_str()));
      }
      ReadFolder(dialog, &session->folder);
      return 0;
    }
    case CDN_FOLDERCHANGE:
      OnFolderChange(SessionOf(notification->lpOFN), dialog);
      return 0;
    case CDN_FILEOK:
      if (Take(SessionOf(notification->lpOFN), dialog, notification->lpOFN->lpstrFile)) return 0;
      SetWindowLongPtrA(page, DWLP_MSGRESULT, 1);  // keeps the dialog open
      return 1;
    default:
      return 0;
  }
}

// What the name field holds is offered as a choice unless it only leads elsewhere. False leaves it
// to the dialog.
bool OnOk(Session* session, HWND dialog) {
  PathBuffer name = {};
  PathBuffer path = {};
  GetDlgItemTextA(dialog, kNameEdit, name.data(), static_cast<int>(name.size()));
  if (name[0] == '\0' || std::strpbrk(name.data(), "*?") != nullptr) return false;
  if (GetFocus() == GetDlgItem(dialog, kDirectoryList)) return false;
  // The current directory is the one that this dialog shows.
  const DWORD length =
      GetFullPathNameA(name.data(), static_cast<DWORD>(path.size()), path.data(), nullptr);
  if (length == 0 || length >= path.size()) return false;
  if (IsDirectory(path.data()) && !HasExtension(path.data(), session->choice->extension)) {
    return false;
  }
  TakeAndClose(session, dialog, path.data());
  return true;
}

UINT_PTR CALLBACK MessageHook(HWND dialog, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_INITDIALOG) {
    Session* session = SessionOf(reinterpret_cast<const OPENFILENAMEA*>(second));
    SetPropA(dialog, kSessionProperty, session);
    SetWindowTextA(dialog, session->choice->title.c_str());
    const std::string& label = session->choice->name_label;
    if (!label.empty()) SetDlgItemTextA(dialog, kNameLabel, label.c_str());
    return 1;
  }
  auto* session = static_cast<Session*>(GetPropA(dialog, kSessionProperty));
  if (session == nullptr) return 0;
  if (message == WM_COMMAND && LOWORD(first) == IDOK) return OnOk(session, dialog) ? 1 : 0;
  if (message == WM_DESTROY) RemovePropA(dialog, kSessionProperty);
  return 0;
}

// The system's dialogs bring half of the desktop with them, so they are only loaded when one is
// shown.
class DialogLibrary {
 public:
  DialogLibrary() : library_(LoadLibraryA("comdlg32.dll")) {}
  ~DialogLibrary() {
    if (library_ != nullptr) FreeLibrary(library_);
  }
  DialogLibrary(const DialogLibrary&) = delete;
  DialogLibrary& operator=(const DialogLibrary&) = delete;

  // Returns the dialog's own error number, 0 for none.
  DWORD ShowOpenFile(OPENFILENAMEA* settings) const {
    const auto show = Find<BOOL(WINAPI*)(OPENFILENAMEA*)>("GetOpenFileNameA");
    const auto last_error = Find<DWORD(WINAPI*)()>("CommDlgExtendedError");
    if (show == nullptr || last_error == nullptr) return CDERR_INITIALIZATION;
    return show(settings) ? 0 : last_error();
  }

 private:
  template <typename Function>
  Function Find(const char* name) const {
    const FARPROC found = library_ != nullptr ? GetProcAddress(library_, name) : nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(found));
  }

  HMODULE library_;
};

// The style of a dialog template in a module's resources; 0 when there is none.
DWORD TemplateStyle(HINSTANCE instance, const char* name) {
  HRSRC found = FindResourceA(instance, name, RT_DIALOG);
  if (found == nullptr) return 0;
  constexpr DWORD kExtended = 0xFFFF0001;  // how the second form of templates begins
  std::array<DWORD, 4> head = {};
  if (SizeofResource(instance, found) < sizeof(head)) return 0;
  const void* bytes = LockResource(LoadResource(instance, found));
  if (bytes == nullptr) return 0;
  std::memcpy(head.data(), bytes, sizeof(head));
  return head[0] == kExtended ? head[3] : head[0];
}

// The dialog moves the current directory along with what it shows.
class CurrentDirectoryKeeper {
 public:
  CurrentDirectoryKeeper() { GetCurrentDirectoryA(static_cast<DWORD>(path_.size()), path_.data()); }
  ~CurrentDirectoryKeeper() {
    if (path_[0] != '\0') SetCurrentDirectoryA(path_.data());
  }
  CurrentDirectoryKeeper(const CurrentDirectoryKeeper&) = delete;
  CurrentDirectoryKeeper& operator=(const CurrentDirectoryKeeper&) = delete;

 private:
  PathBuffer path_ = {};
};

}  // namespace

FileChoiceResult ShowFileDialog(FileChoice* choice, uint32_t* error) {
  const CurrentDirectoryKeeper keeper;
  Session session = {.choice = choice, .taken = false, .path = {}, .folder = {}};
  PathBuffer name = {};
  choice->path.copy(name.data(), name.size() - 1);
  HINSTANCE instance = choice->instance != nullptr ? choice->instance : GetModuleHandleA(nullptr);
  const char* dialog_template = choice->dialog_template.c_str();
  const DWORD style = *dialog_template != '\0' ? TemplateStyle(instance, dialog_template) : 0;

  OPENFILENAMEA settings = {};
  settings.lStructSize = sizeof(settings);
  settings.hwndOwner = choice->owner;
  settings.lpstrFile = name.data();
  settings.nMaxFile = static_cast<DWORD>(name.size());
  settings.lpstrInitialDir = choice->directory.empty() ? nullptr : choice->directory.c_str();
  settings.lpstrTitle = choice->title.empty() ? nullptr : choice->title.c_str();
  settings.lCustData = reinterpret_cast<LPARAM>(&session);
  settings.Flags = OFN_HIDEREADONLY | OFN_ENABLEHOOK;
  if (style != 0) {
    settings.hInstance = instance;
    settings.lpTemplateName = dialog_template;
    settings.Flags |= OFN_ENABLETEMPLATE;
  }
  if (style == 0 || (style & WS_CHILD) != 0) {
    settings.Flags |= OFN_EXPLORER;
    settings.lpfnHook = NotificationHook;
  } else {
    settings.lpfnHook = MessageHook;
  }
  const DWORD dialog_error = DialogLibrary().ShowOpenFile(&settings);
  *error = session.taken ? 0 : dialog_error;
  if (*error != 0) return FileChoiceResult::kFailed;
  if (!session.taken) return FileChoiceResult::kCancelled;
  choice->path = session.path;
  return FileChoiceResult::kChosen;
}

}  // namespace tervalon::platform
