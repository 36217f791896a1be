#include "viewer/win32/dialogs.h"

#include <shobjidl.h>

#include <algorithm>
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

// Kinds of files that can be chosen between, by the ending of the usual one.
struct Filter {
  const wchar_t* ending;
  std::vector<COMDLG_FILTERSPEC> kinds;
};

const Filter* FindFilter(const std::wstring& name) {
  static const std::vector<Filter> filters = {{L"png",
                                               {{L"Pictures", L"*.png;*.emf;*.bmp"},
                                                {L"PNG", L"*.png"},
                                                {L"Enhanced metafile", L"*.emf"},
                                                {L"Bitmap", L"*.bmp"}}},
                                              {L"csv", {{L"Comma-separated values", L"*.csv"}}},
                                              {L"mzML", {{L"mzML", L"*.mzML"}}}};
  const std::wstring ending = name.substr(name.rfind(L'.') + 1);
  const auto found = std::ranges::find(filters, ending, &Filter::ending);
  return found != filters.end() ? &*found : nullptr;
}

// A dialog of the system for files; what it has chosen, if anything.
class FileDialog {
 public:
  explicit FileDialog(const CLSID& kind) {
    CoCreateInstance(kind, nullptr, CLSCTX_INPROC_SERVER, IID_IFileDialog,
                     reinterpret_cast<void**>(&dialog_));
  }
  ~FileDialog() {
    if (dialog_ != nullptr) dialog_->Release();
  }
  FileDialog(const FileDialog&) = delete;
  FileDialog& operator=(const FileDialog&) = delete;

  explicit operator bool() const { return dialog_ != nullptr; }
  IFileDialog* operator->() const { return dialog_; }

  void AddOptions(FILEOPENDIALOGOPTIONS added) const {
    FILEOPENDIALOGOPTIONS options = 0;
    dialog_->GetOptions(&options);
    dialog_->SetOptions(options | added | FOS_FORCEFILESYSTEM | FOS_NOCHANGEDIR);
  }

  void BeginIn(const std::wstring& folder) const {
    IShellItem* item = nullptr;
    if (folder.empty() ||
        FAILED(SHCreateItemFromParsingName(folder.c_str(), nullptr, IID_IShellItem,
                                           reinterpret_cast<void**>(&item)))) {
      return;
    }
    dialog_->SetFolder(item);
    item->Release();
  }

  std::optional<std::string> Ask(HWND owner) const {
    if (FAILED(dialog_->Show(owner))) return std::nullopt;
    IShellItem* item = nullptr;
    if (FAILED(dialog_->GetResult(&item))) return std::nullopt;
    wchar_t* path = nullptr;
    const bool is_path = SUCCEEDED(item->GetDisplayName(SIGDN_FILESYSPATH, &path));
    item->Release();
    if (!is_path) return std::nullopt;
    std::string chosen = Utf8(path);
    CoTaskMemFree(path);
    return chosen;
  }

 private:
  IFileDialog* dialog_ = nullptr;
};

}  // namespace

std::optional<std::string> AskForFolder(HWND owner, const std::wstring& title,
                                        const std::wstring& begin) {
  const FileDialog dialog(CLSID_FileOpenDialog);
  if (!dialog) return std::nullopt;
  dialog.AddOptions(FOS_PICKFOLDERS | FOS_PATHMUSTEXIST);
  dialog->SetTitle(title.c_str());
  dialog.BeginIn(begin);
  return dialog.Ask(owner);
}

std::optional<std::string> AskForSaveName(HWND owner, const std::wstring& title,
                                          const std::wstring& name) {
  const FileDialog dialog(CLSID_FileSaveDialog);
  if (!dialog) return std::nullopt;
  dialog.AddOptions(FOS_OVERWRITEPROMPT | FOS_PATHMUSTEXIST);
  dialog->SetTitle(title.c_str());
  if (const Filter* const filter = FindFilter(name)) {
    dialog->SetFileTypes(static_cast<UINT>(filter->kinds.size()), filter->kinds.data());
    dialog->SetDefaultExtension(filter->ending);
  }
  dialog->SetFileName(name.c_str());
  return dialog.Ask(owner);
}

std::optional<std::string> AskForLine(HWND owner, const std::wstring& title,
                                      const std::wstring& label, const std::wstring& text) {
  constexpr WORD kButton = 0x80;
  constexpr WORD kEdit = 0x81;
  constexpr WORD kStatic = 0x82;
  Template dialog(title, 4, 260, 66);
  dialog.AddItem(kStatic, SS_LEFT, kLabel, label, 7, 7, 246, 10);
  dialog.AddItem(kEdit, WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL, kLine, text, 7, 20, 246, 14);
  dialog.AddItem(kButton, BS_DEFPUSHBUTTON | WS_TABSTOP, IDOK, L"OK", 149, 44, 50, 14);
  dialog.AddItem(kButton, BS_PUSHBUTTON | WS_TABSTOP, IDCANCEL, L"Cancel", 203, 44, 50, 14);
  std::wstring line = text;
  const INT_PTR answer = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), dialog.get(), owner,
                                                 LineProcedure, reinterpret_cast<LPARAM>(&line));
  return answer == IDOK ? std::optional(Utf8(line)) : std::nullopt;
}

}  // namespace tervalon::viewer
