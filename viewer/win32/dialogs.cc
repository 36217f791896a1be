#include "viewer/win32/dialogs.h"

#include <commdlg.h>
#include <shlobj.h>

#include <vector>

#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr int kLabel = 100;
constexpr int kLine = 101;
constexpr size_t kLongestLine = 1000;

// A dialog template in memory: what a resource compiler would make.
class Template {
 public:
  Template(const std::wstring& title, WORD items, short width, short height) {
    AddLong(WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_CENTER | DS_SHELLFONT);
    AddLong(0);
    Add(items);
    for (const short value : {short{0}, short{0}, width, height}) Add(static_cast<WORD>(value));
    Add(0);  // no menu
    Add(0);  // the usual class
    AddText(title);
    Add(8);  // points
    AddText(L"MS Shell Dlg");
  }

  void AddItem(WORD class_number, DWORD style, WORD id, const std::wstring& text, short x, short y,
               short width, short height) {
    if (words_.size() % 2 != 0) Add(0);
    AddLong(style | WS_CHILD | WS_VISIBLE);
    AddLong(0);
    for (const short value : {x, y, width, height}) Add(static_cast<WORD>(value));
    Add(id);
    Add(0xFFFF);
    Add(class_number);
    AddText(text);
    Add(0);
  }

  const DLGTEMPLATE* get() const { return reinterpret_cast<const DLGTEMPLATE*>(words_.data()); }

 private:
  void Add(WORD word) { words_.push_back(word); }
  void AddLong(DWORD value) {
    Add(LOWORD(value));
    Add(HIWORD(value));
  }
  void AddText(const std::wstring& text) {
    for (const wchar_t c : text) Add(static_cast<WORD>(c));
    Add(0);
  }

  std::vector<WORD> words_;
};

INT_PTR CALLBACK LineProcedure(HWND dialog, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(dialog, GWLP_USERDATA, second);
    SetDlgItemTextW(dialog, kLine, reinterpret_cast<std::wstring*>(second)->c_str());
    return TRUE;
  }
  if (message != WM_COMMAND) return FALSE;
  if (LOWORD(first) == IDOK) {
    auto* const text = reinterpret_cast<std::wstring*>(GetWindowLongPtrW(dialog, GWLP_USERDATA));
    text->resize(kLongestLine);
    text->resize(GetDlgItemTextW(dialog, kLine, text->data(), kLongestLine));
  }
  if (LOWORD(first) == IDOK || LOWORD(first) == IDCANCEL) EndDialog(dialog, LOWORD(first));
  return TRUE;
}

}  // namespace

std::optional<std::string> AskForFolder(HWND owner, const std::wstring& title) {
  BROWSEINFOW info = {};
  info.hwndOwner = owner;
  info.lpszTitle = title.c_str();
  info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE | BIF_EDITBOX;
  const LPITEMIDLIST chosen = SHBrowseForFolderW(&info);
  if (chosen == nullptr) return std::nullopt;
  wchar_t path[MAX_PATH] = L"";
  const bool is_path = SHGetPathFromIDListW(chosen, path) != FALSE;
  CoTaskMemFree(chosen);
  return is_path ? std::optional(Utf8(path)) : std::nullopt;
}

std::optional<std::string> AskForSaveName(HWND owner, const std::wstring& title,
                                          const std::wstring& name) {
  wchar_t path[MAX_PATH] = L"";
  lstrcpynW(path, name.c_str(), MAX_PATH);
  OPENFILENAMEW dialog = {};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = owner;
  dialog.lpstrFile = path;
  dialog.nMaxFile = MAX_PATH;
  dialog.lpstrTitle = title.c_str();
  dialog.Flags = OFN_OVERWRITEPROMPT | OFN_NOCHANGEDIR | OFN_HIDEREADONLY;
  return GetSaveFileNameW(&dialog) != FALSE ? std::optional(Utf8(path)) : std::nullopt;
}

std::optional<std::string> AskForLine(HWND owner, const std::wstring& title,
                                      const std::wstring& label, const std::wstring& text) {
  constexpr WORD kButton = 0x80;
  constexpr WORD kEdit = 0x81;
  constexpr WORD kStatic = 0x82;
  Template dialog(title, 4, 260, 66);
  dialog.AddItem(kStatic, SS_LEFT, kLabel, label, 7, 7, 246, 10);
  dialog.AddItem(kEdit, WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL, kLine, L"", 7, 20, 246, 14);
  dialog.AddItem(kButton, BS_DEFPUSHBUTTON | WS_TABSTOP, IDOK, L"OK", 149, 44, 50, 14);
  dialog.AddItem(kButton, BS_PUSHBUTTON | WS_TABSTOP, IDCANCEL, L"Cancel", 203, 44, 50, 14);
  std::wstring line = text;
  const INT_PTR answer = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), dialog.get(), owner,
                                                 LineProcedure, reinterpret_cast<LPARAM>(&line));
  return answer == IDOK ? std::optional(Utf8(line)) : std::nullopt;
}

}  // namespace tervalon::viewer
