// What a document window shows of a table: a list that asks for the cells that are seen.

#ifndef VIEWER_WIN32_TABLE_WINDOW_H_
#define VIEWER_WIN32_TABLE_WINDOW_H_

#include <string>

#include "viewer/core/document.h"
#include "viewer/win32/system.h"

namespace tervalon::viewer {

class TableWindow {
 public:
  TableWindow(const TableDocument* document, HWND window);
  ~TableWindow();
  TableWindow(const TableWindow&) = delete;
  TableWindow& operator=(const TableWindow&) = delete;

  // The table has changed.
  void Refresh();
  // True when the message is done with.
  bool Handle(UINT message, WPARAM first, LPARAM second);
  // The chosen rows, or all, with a tab between cells.
  std::wstring CopyText() const;

 private:
  bool IsTable() const { return !document_.table().columns.empty(); }
  int ColumnCount() const;
  int RowCount() const;
  std::wstring Title(int column) const;
  std::wstring Cell(int row, int column) const;
  void MakeColumns();
  void FitColumns();
  void TakeFont();

  const TableDocument& document_;
  const HWND window_;
  const HWND list_;
  HFONT font_ = nullptr;
  int columns_ = 0;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_TABLE_WINDOW_H_
