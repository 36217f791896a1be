#include "viewer/win32/table_window.h"

#include <commctrl.h>

#include <algorithm>
#include <variant>
#include <vector>

#include "viewer/win32/desktop.h"
#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr int kMeasuredRows = 200;  // whose texts decide how wide a column is
constexpr int kCellSpace = 16;      // at 96 pixels per inch
constexpr int kWidest = 600;

HWND MakeList(HWND window) {
  constexpr DWORD kStyle = WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS;
  const auto instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(window, GWLP_HINSTANCE));
  const HWND list =
      CreateWindowExW(0, WC_LISTVIEWW, L"", kStyle, 0, 0, 0, 0, window, nullptr, instance, nullptr);
  constexpr DWORD kExtended = LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_HEADERDRAGDROP;
  ListView_SetExtendedListViewStyle(list, kExtended);
  return list;
}

bool IsNumeric(const tools::Column& column) {
  const auto* const values = std::get_if<std::vector<tools::Value>>(&column.cells);
  return values == nullptr ||
         (!values->empty() && !std::holds_alternative<std::string>(values->front()));
}

}  // namespace

TableWindow::TableWindow(const TableDocument* document, HWND window)
    : document_(*document), window_(window), list_(MakeList(window)) {
  TakeFont();
  RECT client = {};
  GetClientRect(window_, &client);
  MoveWindow(list_, 0, 0, client.right, client.bottom, TRUE);
}

TableWindow::~TableWindow() {
  DestroyWindow(list_);
  DeleteObject(font_);
}

int TableWindow::ColumnCount() const {
  return IsTable() ? static_cast<int>(document_.table().columns.size()) : 2;
}

int TableWindow::RowCount() const {
  const tools::Section& table = document_.table();
  return static_cast<int>(IsTable() ? tools::RowCount(table) : table.properties.size());
}

std::wstring TableWindow::Title(int column) const {
  if (!IsTable()) return column == 0 ? L"Name" : L"Value";
  return Wide(document_.table().columns[static_cast<size_t>(column)].title);
}

std::wstring TableWindow::Cell(int row, int column) const {
  const tools::Section& table = document_.table();
  const auto at = static_cast<size_t>(row);
  if (IsTable()) {
    const tools::Column& shown = table.columns[static_cast<size_t>(column)];
    return Wide(tools::TextOf(tools::CellValue(shown, at), shown.decimals));
  }
  const tools::Property& property = table.properties[at];
  if (column == 0) return Wide(property.title);
  const std::string unit = property.unit.empty() ? "" : " " + property.unit;
  return Wide(tools::TextOf(property.value, property.decimals) + unit);
}

void TableWindow::TakeFont() {
  const HFONT before = font_;
  font_ = MakeMessageFont(window_);
  SendMessageW(list_, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
  DeleteObject(before);
  FollowColours(list_);
  FollowColours(ListView_GetHeader(list_));
  FitColumns();
}

void TableWindow::MakeColumns() {
  while (ListView_DeleteColumn(list_, 0) != FALSE) {
  }
  columns_ = ColumnCount();
  for (int i = 0; i < columns_; ++i) {
    std::wstring title = Title(i);
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT | LVCF_FMT;
    column.fmt = IsTable() && IsNumeric(document_.table().columns[static_cast<size_t>(i)])
                     ? LVCFMT_RIGHT
                     : LVCFMT_LEFT;
    column.pszText = title.data();
    SendMessageW(list_, LVM_INSERTCOLUMNW, static_cast<WPARAM>(i),
                 reinterpret_cast<LPARAM>(&column));
  }
}

void TableWindow::FitColumns() {
  const auto width = [&](const std::wstring& text) {
    return static_cast<int>(
        SendMessageW(list_, LVM_GETSTRINGWIDTHW, 0, reinterpret_cast<LPARAM>(text.c_str())));
  };
  const int rows = std::min(RowCount(), kMeasuredRows);
  for (int i = 0; i < columns_; ++i) {
    int widest = width(Title(i));
    for (int row = 0; row < rows; ++row) widest = std::max(widest, width(Cell(row, i)));
    widest = std::min(widest + Scaled(window_, kCellSpace), Scaled(window_, kWidest));
    ListView_SetColumnWidth(list_, i, widest);
  }
}

void TableWindow::Refresh() {
  if (columns_ != ColumnCount()) {
    MakeColumns();
    FitColumns();
  }
  ListView_SetItemCountEx(list_, RowCount(), LVSICF_NOSCROLL);
}

bool TableWindow::Handle(UINT message, WPARAM /*first*/, LPARAM second) {
  switch (message) {
    case WM_SIZE:
      MoveWindow(list_, 0, 0, LOWORD(second), HIWORD(second), TRUE);
      return false;
    case WM_SETFOCUS:
      SetFocus(list_);
      return true;
    case WM_SYSCOLORCHANGE:
      SendMessageW(list_, message, 0, 0);
      TakeFont();
      return false;
    case WM_SETTINGCHANGE:
    case WM_DPICHANGED_AFTERPARENT:
      TakeFont();
      return false;
    case WM_NOTIFY: {
      const auto* const header = reinterpret_cast<const NMHDR*>(second);
      if (header->hwndFrom != list_ || header->code != LVN_GETDISPINFOW) return false;
      LVITEMW& item = reinterpret_cast<NMLVDISPINFOW*>(second)->item;
      if ((item.mask & LVIF_TEXT) != 0 && item.iItem < RowCount()) {
        lstrcpynW(item.pszText, Cell(item.iItem, item.iSubItem).c_str(), item.cchTextMax);
      }
      return true;
    }
    default:
      return false;
  }
}

std::wstring TableWindow::CopyText() const {
  std::wstring text;
  const auto add = [&](auto cell) {
    for (int i = 0; i < columns_; ++i) text += (i == 0 ? L"" : L"\t") + cell(i);
    text += L"\r\n";
  };
  if (IsTable()) add([&](int column) { return Title(column); });
  const bool all = ListView_GetSelectedCount(list_) == 0;
  for (int row = 0; row < RowCount(); ++row) {
    if (!all && ListView_GetItemState(list_, row, LVIS_SELECTED) == 0) continue;
    add([&](int column) { return Cell(row, column); });
  }
  return text;
}

}  // namespace tervalon::viewer
