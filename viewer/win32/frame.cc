#include "viewer/win32/frame.h"

#include <commctrl.h>
#include <tervalon/application.h>
#include <tervalon/messages.h>
#include <tervalon/version.h>

#include <algorithm>
#include <cstring>
#include <exception>

#include "viewer/win32/clipboard.h"
#include "viewer/win32/desktop.h"
#include "viewer/win32/dialogs.h"
#include "viewer/win32/places.h"
#include "viewer/win32/printing.h"
#include "viewer/win32/text.h"
#include "viewer/win32/texts.h"

namespace tervalon::viewer {
namespace {

constexpr const wchar_t* kName = L"Tervalon View";
constexpr const wchar_t* kFrameClass = L"TervalonViewFrame";
constexpr const char* kDocumentClass = "TervalonViewDocument";
constexpr UINT_PTR kClock = 1;
constexpr UINT kSecond = 1000;  // between looks at what becomes of the runs
constexpr int kWidth = 1100;    // at 96 pixels per inch
constexpr int kHeight = 750;
constexpr size_t kMostTiled = 3;
constexpr int kLowest = 150;  // at 96 pixels per inch

}  // namespace

Frame::Frame(HINSTANCE instance) : instance_(instance), workspace_(this), menus_(workspace_) {
  const INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_LISTVIEW_CLASSES | ICC_BAR_CLASSES};
  InitCommonControlsEx(&controls);
  WNDCLASSEXW frame_class = {};
  frame_class.cbSize = sizeof frame_class;
  frame_class.lpfnWndProc = FrameProcedure;
  frame_class.hInstance = instance;
  frame_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
  frame_class.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(VIEWER_ICON));
  frame_class.hIconSm = static_cast<HICON>(LoadImageW(instance, MAKEINTRESOURCEW(VIEWER_ICON),
                                                      IMAGE_ICON, GetSystemMetrics(SM_CXSMICON),
                                                      GetSystemMetrics(SM_CYSMICON), LR_SHARED));
  frame_class.hbrBackground = GetSysColorBrush(COLOR_APPWORKSPACE);
  frame_class.lpszClassName = kFrameClass;
  RegisterClassExW(&frame_class);
  const std::wstring document_name = Wide(kDocumentClass);
  WNDCLASSEXW document_class = frame_class;
  document_class.style = CS_DBLCLKS;
  document_class.lpfnWndProc = DocumentProcedure;
  document_class.hbrBackground = nullptr;
  document_class.lpszClassName = document_name.c_str();
  RegisterClassExW(&document_class);
  workspace_.Load();
  MakeWindows();
}

Frame::~Frame() { DeleteObject(font_); }

void Frame::MakeWindows() {
  window_ = CreateWindowExW(WS_EX_ACCEPTFILES, kFrameClass, kName,
                            WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                            kWidth, kHeight, nullptr, menus_.bar(), instance_, this);
  CLIENTCREATESTRUCT client = {menus_.window_list(), kFirstWindowItem};
  area_ = CreateWindowExW(WS_EX_CLIENTEDGE, L"MDICLIENT", nullptr,
                          WS_CHILD | WS_CLIPCHILDREN | WS_VISIBLE | WS_HSCROLL | WS_VSCROLL, 0, 0,
                          0, 0, window_, nullptr, instance_, &client);
  ShowScrollBar(area_, SB_BOTH, FALSE);  // until something is outside
  status_ = CreateWindowExW(0, STATUSCLASSNAMEW, L"", WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP, 0, 0,
                            0, 0, window_, nullptr, instance_, nullptr);
  AppSetMainWindow(window_, instance_);
  AppSetWindow(0, window_);
  SetWindowPos(window_, nullptr, 0, 0, Scaled(window_, kWidth), Scaled(window_, kHeight),
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  TakeFont();
  SetTimer(window_, kClock, kSecond, nullptr);
}

// --- Messages

template <typename Action>
void Frame::Guard(Action action) {
  try {
    action();
  } catch (const std::exception& trouble) {
    Complain(trouble.what());
  }
}

int Frame::Run() {
  MSG message = {};
  for (;;) {
    if (idle_ && PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE) == 0) {
      Guard([&] { idle_ = workspace_.Idle(); });
      continue;
    }
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) return static_cast<int>(message.wParam);
    if (TranslateMDISysAccel(area_, &message) != 0) continue;
    if (message.message == WM_KEYDOWN) {
      if (message.wParam == VK_F1) {
        ChooseOwn(kAbout);
        continue;
      }
      if (const Command* const command = menus_.FindKey(message.wParam)) {
        Choose(*command);
        continue;
      }
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

LRESULT CALLBACK Frame::FrameProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_NCCREATE) {
    const auto* const create = reinterpret_cast<const CREATESTRUCTW*>(second);
    auto* const frame = static_cast<Frame*>(create->lpCreateParams);
    frame->window_ = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(frame));
  }
  auto* const frame = reinterpret_cast<Frame*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (frame == nullptr) return DefWindowProcW(window, message, first, second);
  LRESULT result = 0;
  frame->Guard([&] { result = frame->Handle(message, first, second); });
  return result;
}

LRESULT Frame::Handle(UINT message, WPARAM first, LPARAM second) {
  switch (message) {
    case WM_COMMAND: {
      const UINT item = LOWORD(first);
      if (const Command* const command = Menus::FindItem(item)) {
        Choose(*command);
        return 0;
      }
      if (ChooseOwn(item)) return 0;
      break;
    }
    case WM_INITMENUPOPUP:
      menus_.Fill(reinterpret_cast<HMENU>(first));
      break;
    case WM_SIZE:
      Arrange();
      return 0;
    case WM_TIMER:
      Follow();
      return 0;
    case WM_DROPFILES:
      OpenDropped(reinterpret_cast<HDROP>(first));
      return 0;
    case WM_SYSCOLORCHANGE:
    case WM_SETTINGCHANGE:
      TakeFont();
      for (const auto& window : windows_) SendMessageW(window->handle, message, first, second);
      break;
    case WM_DPICHANGED: {
      const RECT& place = *reinterpret_cast<const RECT*>(second);
      SetWindowPos(window_, nullptr, place.left, place.top, place.right - place.left,
                   place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
      TakeFont();
      return 0;
    }
    case WM_ENDSESSION:
      if (first != 0) Save();
      return 0;
    case WM_CLOSE:
      workspace_.Stop();
      Save();
      DestroyWindow(window_);
      return 0;
    case WM_DESTROY:
      AppSetWindow(0, nullptr);
      AppSetMainWindow(nullptr, nullptr);
      PostQuitMessage(0);
      return 0;
    default:
      break;
  }
  return DefFrameProcW(window_, area_, message, first, second);
}

LRESULT CALLBACK Frame::DocumentProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  const HWND owner = GetParent(GetParent(window));
  auto* const frame = reinterpret_cast<Frame*>(GetWindowLongPtrW(owner, GWLP_USERDATA));
  if (frame == nullptr) return DefMDIChildProcW(window, message, first, second);
  LRESULT result = 0;
  frame->Guard([&] { result = frame->HandleDocument(window, message, first, second); });
  return result;
}

LRESULT Frame::HandleDocument(HWND handle, UINT message, WPARAM first, LPARAM second) {
  if (adding_ != nullptr && adding_->handle == nullptr) adding_->handle = handle;
  const Window* const window = FindHandle(handle);
  if (window == nullptr) return DefMDIChildProcW(handle, message, first, second);
  if (window->plot != nullptr && window->plot->Handle(message, first, second)) return 0;
  if (window->table != nullptr && window->table->Handle(message, first, second)) return 0;
  switch (message) {
    case WM_MDIACTIVATE:
      if (reinterpret_cast<HWND>(second) == handle) workspace_.Activate(window->document);
      break;
    case WM_CLOSE:
      workspace_.Close(*window->document);
      return 0;
    case WM_CONTEXTMENU:
      ShowMenuAt(handle, second);
      return 0;
    case WM_EXITSIZEMOVE:
      arranged_ = true;
      break;
    default:
      break;
  }
  return DefMDIChildProcW(handle, message, first, second);
}

// --- What somebody chooses

void Frame::Choose(const Command& command) {
  // The dialog of another is answered first, whatever was posted meanwhile.
  if (choosing_ || IsWindowEnabled(window_) == FALSE) return;
  choosing_ = true;
  const Window* const active =
      workspace_.active() != nullptr ? Find(*workspace_.active()) : nullptr;
  if (active != nullptr && active->plot != nullptr) active->plot->Update();
  Guard([&] { RunCommand(command, workspace_); });
  choosing_ = false;
}

bool Frame::ChooseOwn(UINT item) {
  switch (item) {
    case kSideBySide:
      arranged_ = true;
      Tell(WM_MDITILE, MDITILE_VERTICAL);
      return true;
    case kCloseAll:
      CloseAll();
      return true;
    case kAbout:
      MsgReportMsg(instance_, VIEWER_TEXT_ABOUT, Utf8(kName).c_str(), TERVALON_VERSION);
      return true;
    default:
      return false;
  }
}

void Frame::CloseAll() {
  while (!workspace_.documents().empty()) workspace_.Close(*workspace_.documents().back());
  arranged_ = false;
}

void Frame::ShowMenuAt(HWND handle, LPARAM place) {
  Tell(WM_MDIACTIVATE, reinterpret_cast<WPARAM>(handle));
  POINT at = {static_cast<short>(LOWORD(place)), static_cast<short>(HIWORD(place))};
  if (place == -1) {  // by a key
    at = {Scaled(handle, 20), Scaled(handle, 20)};
    ClientToScreen(handle, &at);
  }
  if (const Command* const command = menus_.ChooseAt(window_, at)) Choose(*command);
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

// A message about one run waits for an answer, while the clock goes on.
void Frame::Follow() {
  if (following_) return;
  following_ = true;
  Guard([&] { workspace_.Follow(); });
  following_ = false;
}

void Frame::TakeFont() {
  const HFONT before = font_;
  font_ = MakeMessageFont(window_);
  SendMessageW(status_, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
  DeleteObject(before);
  FollowColours(status_);
  Arrange();
}

void Frame::Arrange() {
  RECT client = {};
  GetClientRect(window_, &client);
  SendMessageW(status_, WM_SIZE, 0, 0);
  InvalidateRect(status_, nullptr, TRUE);
  RECT bar = {};
  GetWindowRect(status_, &bar);
  MoveWindow(area_, 0, 0, client.right, client.bottom - (bar.bottom - bar.top), TRUE);
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
  window.handle = MakeDocumentWindow(area_, kDocumentClass, instance_, document.restored());
  adding_ = nullptr;
  if (window.handle == nullptr) {
    windows_.pop_back();
    Complain("The system has no room for another window");
    return;
  }
  if (document.chart() != nullptr) {
    window.plot = std::make_unique<PlotWindow>(&workspace_, &document, window.handle);
  } else {
    window.table =
        std::make_unique<TableWindow>(static_cast<TableDocument*>(&document), window.handle);
    if (GetFocus() == window.handle) SendMessageW(window.handle, WM_SETFOCUS, 0, 0);
  }
  Refresh(document);
  if (!document.restored()) TileNew();
}

void Frame::TileNew() {
  BOOL is_maximized = FALSE;
  SendMessageW(area_, WM_MDIGETACTIVE, 0, reinterpret_cast<LPARAM>(&is_maximized));
  if (is_maximized != FALSE || arranged_ || windows_.size() > kMostTiled) return;
  ShowScrollBar(area_, SB_BOTH, FALSE);  // nothing will be outside
  RECT area = {};
  GetClientRect(area_, &area);
  const auto count = static_cast<int>(windows_.size());
  if (area.bottom < count * Scaled(window_, kLowest)) return;
  int top = 0;
  for (int i = 0; i < count; ++i) {
    const int bottom = area.bottom * (i + 1) / count;
    SetWindowPos(windows_[static_cast<size_t>(i)]->handle, nullptr, 0, top, area.right,
                 bottom - top, SWP_NOZORDER | SWP_NOACTIVATE);
    top = bottom;
  }
}

void Frame::Remove(Document& document) {
  const auto found = std::ranges::find_if(
      windows_, [&](const auto& window) { return window->document == &document; });
  if (found == windows_.end()) return;
  const std::unique_ptr<Window> removed = std::move(*found);
  windows_.erase(found);
  Tell(WM_MDIDESTROY, reinterpret_cast<WPARAM>(removed->handle));
}

void Frame::Raise(Document& document) {
  const Window* const window = Find(document);
  if (window == nullptr) return;
  Tell(WM_MDIACTIVATE, reinterpret_cast<WPARAM>(window->handle));
}

void Frame::Arrange(Arrangement arrangement) {
  const HWND front = reinterpret_cast<HWND>(SendMessageW(area_, WM_MDIGETACTIVE, 0, 0));
  arranged_ = true;
  switch (arrangement) {
    case Arrangement::kNext:
      Tell(WM_MDINEXT, reinterpret_cast<WPARAM>(front));
      break;
    case Arrangement::kTiled:
      Tell(WM_MDITILE, MDITILE_HORIZONTAL);
      break;
    case Arrangement::kCascaded:
      Tell(WM_MDICASCADE, 0);
      break;
    case Arrangement::kMaximised:
      Tell(IsZoomed(front) != FALSE ? WM_MDIRESTORE : WM_MDIMAXIMIZE,
           reinterpret_cast<WPARAM>(front));
      break;
  }
}

void Frame::Refresh(Document& document) {
  const Window* const window = Find(document);
  if (window == nullptr) return;
  SetWindowTextW(window->handle, Wide(document.Title()).c_str());
  if (window->plot != nullptr) {
    window->plot->Redraw();
  } else {
    window->table->Refresh();
  }
}

void Frame::Redraw(Document& document) {
  const Window* const window = Find(document);
  if (window != nullptr && window->plot != nullptr) window->plot->Redraw();
}

void Frame::Status(const std::string& text) {
  std::wstring wide = Wide(text);
  if (wide == status_text_) return;
  status_text_ = std::move(wide);
  SetWindowTextW(status_, status_text_.c_str());
}

// --- Dialogs

std::optional<std::string> Frame::AskForRun(const std::string& folder) {
  return AskForFolder(window_, L"Open a run", Wide(folder));
}

std::optional<std::string> Frame::AskForFile(const std::string& title, const std::string& name) {
  return AskForSaveName(window_, Wide(title), Wide(name));
}

std::optional<std::string> Frame::AskForText(const std::string& title, const std::string& label,
                                             const std::string& text) {
  return AskForLine(window_, Wide(title), Wide(label), Wide(text));
}

void Frame::Complain(const std::string& text) {
  if (GetCapture() != nullptr) ReleaseCapture();
  GenMessage(window_, SystemText(text).c_str(), SystemText(Utf8(kName)).c_str(),
             MB_OK | MB_ICONEXCLAMATION, nullptr, nullptr);
}

void Frame::Copy(Document& document) {
  const Window* const window = Find(document);
  if (window == nullptr) return;
  const bool copied = window->plot != nullptr ? CopyPicture(window_, window->plot->CopyBitmap(),
                                                            DrawMetafile(document, window->handle))
                                              : CopyText(window_, window->table->CopyText());
  Status(copied ? "Copied" : "The clipboard takes nothing now");
}

void Frame::Print(Document& document, bool preview) {
  const std::string failure =
      preview ? PreviewDocument(document, window_) : PrintDocument(document, window_);
  if (!failure.empty()) Complain(failure);
}

// --- Places

void Frame::Restore() {
  RestoreFrame(window_);
  workspace_.RestoreDocuments();
  arranged_ = !windows_.empty();
  RestoreOrder(area_);
}

void Frame::Save() {
  workspace_.Save();
  std::vector<HWND> windows;
  for (const auto& document : workspace_.documents()) {
    const Window* const window = Find(*document);
    windows.push_back(window != nullptr ? window->handle : nullptr);
  }
  SavePlaces(window_, area_, windows);
}

}  // namespace tervalon::viewer
