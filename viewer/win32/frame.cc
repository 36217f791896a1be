#include "viewer/win32/frame.h"

#include <commctrl.h>
#include <commdlg.h>
#include <shellapi.h>
#include <shlobj.h>
#include <tervalon/application.h>
#include <tervalon/messages.h>
#include <tervalon/window_placement.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "tools/print/document.h"
#include "viewer/win32/dialogs.h"
#include "viewer/win32/printing.h"
#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr const wchar_t* kName = L"Tervalon View";
constexpr const wchar_t* kFrameClass = L"TervalonViewFrame";
constexpr const char* kDocumentClass = "TervalonViewDocument";
constexpr const char* kSection = "Viewer";
constexpr UINT kFirstCommand = 1000;
constexpr UINT kFirstChild = 30000;  // of the list of windows in the last menu
constexpr UINT kClock = 1;
constexpr UINT kSecond = 1000;  // between looks at what becomes of the runs
constexpr int kWidth = 1100;
constexpr int kHeight = 750;

Frame* frame = nullptr;  // of this process

std::string PlaceKey(size_t number) { return "Place" + std::to_string(number + 1); }

// "_File" as "&File".
std::wstring MenuText(std::string text) {
  std::ranges::replace(text, '_', '&');
  return Wide(text);
}

struct KeyName {
  const char* name;
  WORD key;
};
constexpr KeyName kKeyNames[] = {
    {"plus", VK_OEM_PLUS},  {"minus", VK_OEM_MINUS}, {"Delete", VK_DELETE}, {"Escape", VK_ESCAPE},
    {"BackSpace", VK_BACK}, {"Home", VK_HOME},       {"Left", VK_LEFT},     {"Right", VK_RIGHT},
    {"Page_Up", VK_PRIOR},  {"Page_Down", VK_NEXT}};

// False for a command without a key.
bool ParseKey(std::string_view text, ACCEL* accelerator) {
  if (text.empty()) return false;
  accelerator->fVirt = FVIRTKEY;
  const auto take = [&](std::string_view name, BYTE flag) {
    if (!text.starts_with(name)) return;
    text.remove_prefix(name.size());
    accelerator->fVirt |= flag;
  };
  take("Ctrl+", FCONTROL);
  take("Shift+", FSHIFT);
  const auto* const found = std::ranges::find(kKeyNames, text, &KeyName::name);
  accelerator->key = found != std::end(kKeyNames) ? found->key : static_cast<WORD>(text.front());
  return true;
}

}  // namespace

Frame::Frame(HINSTANCE instance) : instance_(instance), workspace_(this) {
  frame = this;
  InitCommonControls();
  WNDCLASSW frame_class = {};
  frame_class.lpfnWndProc = FrameProcedure;
  frame_class.hInstance = instance;
  frame_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
  frame_class.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(1));
  frame_class.hbrBackground = GetSysColorBrush(COLOR_APPWORKSPACE);
  frame_class.lpszClassName = kFrameClass;
  RegisterClassW(&frame_class);
  WNDCLASSA document_class = {};
  document_class.style = CS_DBLCLKS;
  document_class.lpfnWndProc = DocumentProcedure;
  document_class.hInstance = instance;
  document_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
  document_class.lpszClassName = kDocumentClass;
  RegisterClassA(&document_class);

  workspace_.Load();
  MakeMenus();
  MakeKeys();
  window_ = CreateWindowExW(WS_EX_ACCEPTFILES, kFrameClass, kName,
                            WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                            kWidth, kHeight, nullptr, menus_, instance, nullptr);
  CLIENTCREATESTRUCT client = {GetSubMenu(menus_, GetMenuItemCount(menus_) - 1), kFirstChild};
  area_ = CreateWindowExW(WS_EX_CLIENTEDGE, L"MDICLIENT", nullptr,
                          WS_CHILD | WS_CLIPCHILDREN | WS_VISIBLE, 0, 0, 0, 0, window_, nullptr,
                          instance, &client);
  status_ = CreateWindowExW(0, STATUSCLASSNAMEW, L"", WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP, 0, 0,
                            0, 0, window_, nullptr, instance, nullptr);
  Arrange();
  SetTimer(window_, kClock, kSecond, nullptr);
  RefreshCommands();
}

Frame::~Frame() {
  DestroyAcceleratorTable(keys_);
  frame = nullptr;
}

// --- Menus and keys

void Frame::MakeMenus() {
  menus_ = CreateMenu();
  std::map<std::string, HMENU> menus;
  UINT number = kFirstCommand;
  for (const Command& command : Commands()) {
    HMENU& menu = menus[command.menu];
    if (menu == nullptr) {
      menu = CreatePopupMenu();
      AppendMenuW(menus_, MF_POPUP, reinterpret_cast<UINT_PTR>(menu),
                  MenuText(command.menu).c_str());
    }
    std::wstring text = MenuText(command.text);
    if (command.key[0] != '\0') text += L"\t" + Wide(command.key);
    AppendMenuW(menu, command.run == nullptr ? MF_SEPARATOR : MF_STRING, number++, text.c_str());
  }
  AppendMenuW(menus_, MF_POPUP, reinterpret_cast<UINT_PTR>(CreatePopupMenu()), L"&Window");
}

void Frame::MakeKeys() {
  std::vector<ACCEL> keys;
  UINT number = kFirstCommand;
  for (const Command& command : Commands()) {
    ACCEL key = {};
    key.cmd = static_cast<WORD>(number++);
    if (ParseKey(command.key, &key)) keys.push_back(key);
  }
  keys_ = CreateAcceleratorTableW(keys.data(), static_cast<int>(keys.size()));
}

void Frame::RefreshCommands() {
  UINT number = kFirstCommand;
  for (const Command& command : Commands()) {
    const UINT id = number++;
    if (command.run == nullptr) continue;
    const bool can = command.can == nullptr || command.can(workspace_);
    const bool on = command.is_on != nullptr && command.is_on(workspace_);
    EnableMenuItem(menus_, id, MF_BYCOMMAND | (can ? MF_ENABLED : MF_GRAYED));
    CheckMenuItem(menus_, id, MF_BYCOMMAND | (on ? MF_CHECKED : MF_UNCHECKED));
    const std::string_view name = command.id;
    if (!name.starts_with("recent-")) continue;
    const auto recent = static_cast<size_t>(name.back() - '1');
    const std::string path = can ? workspace_.recent()[recent] : "";
    ModifyMenuW(menus_, id, MF_BYCOMMAND | MF_STRING, id,
                Wide("&" + std::to_string(recent + 1) + " " + path).c_str());
    if (!can) EnableMenuItem(menus_, id, MF_BYCOMMAND | MF_GRAYED);
  }
}

void Frame::Choose(size_t command) { RunCommand(Commands()[command], workspace_); }

// --- Messages

int Frame::Run() {
  MSG message = {};
  for (;;) {
    if (idle_ && PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE) == 0) {
      idle_ = workspace_.Idle();
      continue;
    }
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) return static_cast<int>(message.wParam);
    if (TranslateMDISysAccel(area_, &message) != 0) continue;
    if (TranslateAcceleratorW(window_, keys_, &message) != 0) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

LRESULT CALLBACK Frame::FrameProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (frame == nullptr || frame->window_ != window) {
    return DefWindowProcW(window, message, first, second);
  }
  return frame->Handle(message, first, second);
}

LRESULT Frame::Handle(UINT message, WPARAM first, LPARAM second) {
  switch (message) {
    case WM_COMMAND: {
      const UINT id = LOWORD(first);
      if (id >= kFirstCommand && id < kFirstCommand + Commands().size()) {
        Choose(id - kFirstCommand);
        return 0;
      }
      break;
    }
    case WM_SIZE:
      Arrange();
      return 0;
    case WM_TIMER:
      workspace_.Follow();
      return 0;
    case WM_DROPFILES:
      OpenDropped(reinterpret_cast<HDROP>(first));
      return 0;
    case WM_CLOSE:
      SavePlaces();
      workspace_.Stop();
      DestroyWindow(window_);
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      break;
  }
  return DefFrameProcW(window_, area_, message, first, second);
}

LRESULT CALLBACK Frame::DocumentProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  return frame != nullptr ? frame->HandleDocument(window, message, first, second)
                          : DefMDIChildProcA(window, message, first, second);
}

LRESULT Frame::HandleDocument(HWND handle, UINT message, WPARAM first, LPARAM second) {
  if (adding_ != nullptr && adding_->handle == nullptr) adding_->handle = handle;
  Window* const window = FindHandle(handle);
  if (window != nullptr) {
    if (window->plot != nullptr && window->plot->Handle(message, first, second)) return 0;
    if (message == WM_MDIACTIVATE && reinterpret_cast<HWND>(second) == handle) {
      workspace_.Activate(window->document);
    }
    if (message == WM_CLOSE) {
      workspace_.Close(*window->document);
      return 0;
    }
    if (message == WM_SIZE && window->list != nullptr) {
      MoveWindow(window->list, 0, 0, LOWORD(second), HIWORD(second), TRUE);
    }
    if (message == WM_NOTIFY && window->list != nullptr) {
      ShowCell(*window, reinterpret_cast<NMHDR*>(second));
    }
  }
  return DefMDIChildProcA(handle, message, first, second);
}

void Frame::Arrange() {
  RECT client = {};
  GetClientRect(window_, &client);
  SendMessageW(status_, WM_SIZE, 0, 0);
  RECT bar = {};
  GetWindowRect(status_, &bar);
  MoveWindow(area_, 0, 0, client.right, client.bottom - (bar.bottom - bar.top), TRUE);
}

void Frame::OpenDropped(HDROP drop) {
  const UINT count = DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
  for (UINT i = 0; i < count; ++i) {
    std::wstring path(DragQueryFileW(drop, i, nullptr, 0) + 1, L'\0');
    DragQueryFileW(drop, i, path.data(), static_cast<UINT>(path.size()));
    path.pop_back();
    workspace_.Open(Utf8(path));
  }
  DragFinish(drop);
}

// --- Documents

Frame::Window* Frame::Find(const Document& document) const {
  const auto found = std::ranges::find_if(
      windows_, [&](const auto& window) { return window->document == &document; });
  return found != windows_.end() ? found->get() : nullptr;
}

Frame::Window* Frame::FindHandle(HWND handle) const {
  const auto found =
      std::ranges::find_if(windows_, [&](const auto& window) { return window->handle == handle; });
  return found != windows_.end() ? found->get() : nullptr;
}

void Frame::Add(Document& document) {
  Window& window = *windows_.emplace_back(std::make_unique<Window>());
  window.document = &document;
  adding_ = &window;
  TvDocumentCreate create = {};
  create.window_class = kDocumentClass;
  create.title = "";
  create.owner = instance_;
  create.x = create.y = create.width = create.height = INT32_MIN;
  window.handle = IniCreateMDIWnd(area_, kSection, PlaceKey(windows_.size() - 1).c_str(), &create);
  adding_ = nullptr;
  if (document.chart() != nullptr) {
    window.plot = std::make_unique<PlotWindow>(&workspace_, &document, window.handle);
  } else {
    window.list =
        CreateWindowExW(0, WC_LISTVIEWW, L"", WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_OWNERDATA, 0,
                        0, 0, 0, window.handle, nullptr, instance_, nullptr);
    FillList(window);
    RECT client = {};
    GetClientRect(window.handle, &client);
    MoveWindow(window.list, 0, 0, client.right, client.bottom, TRUE);
  }
  Refresh(document);
}

void Frame::Remove(Document& document) {
  Window* const window = Find(document);
  if (window == nullptr) return;
  const HWND handle = window->handle;
  std::erase_if(windows_, [&](const auto& own) { return own.get() == window; });
  SendMessageW(area_, WM_MDIDESTROY, reinterpret_cast<WPARAM>(handle), 0);
}

void Frame::Raise(Document& document) {
  const Window* const window = Find(document);
  if (window == nullptr) return;
  SendMessageW(area_, WM_MDIACTIVATE, reinterpret_cast<WPARAM>(window->handle), 0);
}

void Frame::Refresh(Document& document) {
  Window* const window = Find(document);
  if (window == nullptr) return;
  SetWindowTextW(window->handle, Wide(document.Title()).c_str());
  if (window->plot != nullptr) {
    window->plot->Redraw();
  } else {
    FillList(*window);
  }
}

void Frame::Redraw(Document& document) {
  const Window* const window = Find(document);
  if (window != nullptr && window->plot != nullptr) window->plot->Redraw();
}

void Frame::FillList(Window& window) {
  constexpr int kColumnWidth = 140;
  const auto& table = static_cast<const TableDocument*>(window.document)->table();
  while (ListView_DeleteColumn(window.list, 0) != 0) {
  }
  const bool properties = table.columns.empty();
  const size_t columns = properties ? 2 : table.columns.size();
  for (size_t i = 0; i < columns; ++i) {
    std::wstring title = Wide(!properties ? table.columns[i].title : i == 0 ? "Name" : "Value");
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.cx = kColumnWidth;
    column.pszText = title.data();
    SendMessageW(window.list, LVM_INSERTCOLUMNW, i, reinterpret_cast<LPARAM>(&column));
  }
  const size_t rows = properties ? table.properties.size() : tools::RowCount(table);
  ListView_SetItemCount(window.list, rows);
}

void Frame::ShowCell(const Window& window, NMHDR* header) const {
  if (header->hwndFrom != window.list || header->code != LVN_GETDISPINFOW) return;
  LVITEMW& item = reinterpret_cast<NMLVDISPINFOW*>(header)->item;
  if ((item.mask & LVIF_TEXT) == 0) return;
  const auto& table = static_cast<const TableDocument*>(window.document)->table();
  const auto row = static_cast<size_t>(item.iItem);
  const auto column = static_cast<size_t>(item.iSubItem);
  std::string text;
  if (!table.columns.empty()) {
    const tools::Column& shown = table.columns[column];
    text = tools::TextOf(tools::CellValue(shown, row), shown.decimals);
  } else {
    const tools::Property& property = table.properties[row];
    text = column == 0 ? property.title : tools::TextOf(property.value, property.decimals);
  }
  lstrcpynW(item.pszText, Wide(text).c_str(), item.cchTextMax);
}

void Frame::Status(const std::string& text) { SetWindowTextW(status_, Wide(text).c_str()); }

// --- Dialogs

std::optional<std::string> Frame::AskForRun() { return AskForFolder(window_, L"Open a run"); }

std::optional<std::string> Frame::AskForFile(const std::string& title, const std::string& name) {
  return AskForSaveName(window_, Wide(title), Wide(name));
}

std::optional<std::string> Frame::AskForText(const std::string& title, const std::string& label,
                                             const std::string& text) {
  return AskForLine(window_, Wide(title), Wide(label), Wide(text));
}

void Frame::Complain(const std::string& text) {
  GenMessage(window_, text.c_str(), "Tervalon View", MB_OK | MB_ICONSTOP, nullptr, nullptr);
}

void Frame::Copy(Document& document) {
  Window* const window = Find(document);
  if (window == nullptr || OpenClipboard(window_) == 0) return;
  EmptyClipboard();
  if (window->plot != nullptr) {
    if (const HBITMAP bitmap = window->plot->CopyBitmap()) SetClipboardData(CF_BITMAP, bitmap);
    if (const HENHMETAFILE drawn = DrawMetafile(document, window_)) {
      SetClipboardData(CF_ENHMETAFILE, drawn);
    }
  } else {
    std::string text;
    tools::Output output(text);
    tools::PrintText({.sections = {document.Table()}}, output);
    const std::wstring wide = Wide(text);
    const size_t bytes = (wide.size() + 1) * sizeof(wchar_t);
    if (const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes)) {
      std::memcpy(GlobalLock(block), wide.c_str(), bytes);
      GlobalUnlock(block);
      SetClipboardData(CF_UNICODETEXT, block);
    }
  }
  CloseClipboard();
}

void Frame::Print(Document& document, bool preview) {
  const std::string failure =
      preview ? PreviewDocument(document, window_) : PrintDocument(document, window_);
  if (!failure.empty()) Complain(failure);
}

// --- Places

void Frame::Restore() {
  IniWindPos place = {};
  if (GetIniWindPos(kSection, "Frame", nullptr, &place) != 0) {
    RestoreWindPos(window_, &place);
  }
  ShowWindow(window_, SW_SHOW);
  workspace_.RestoreDocuments();
}

void Frame::SavePlaces() {
  workspace_.Save();
  IniSaveDesktop(area_, TV_SAVE_DESKTOP, kSection, "Windows", 0);
  IniWindPos place = {};
  ObtainWindPos(window_, &place);
  place.visible = 1;
  SetIniWindPos(kSection, "Frame", &place, 0);
}

}  // namespace tervalon::viewer
