#include "viewer/win32/clipboard.h"

#include <cstring>

namespace tervalon::viewer {
namespace {

// Emptied and open as long as this is there.
class Clipboard {
 public:
  explicit Clipboard(HWND owner) : is_open_(OpenClipboard(owner) != FALSE) {
    if (is_open_) EmptyClipboard();
  }
  ~Clipboard() {
    if (is_open_) CloseClipboard();
  }
  Clipboard(const Clipboard&) = delete;
  Clipboard& operator=(const Clipboard&) = delete;

  // What it takes is its own afterwards.
  bool Put(UINT format, HANDLE data) const {
    return is_open_ && data != nullptr && SetClipboardData(format, data) != nullptr;
  }

 private:
  const bool is_open_;
};

}  // namespace

bool CopyPicture(HWND owner, HBITMAP bitmap, HENHMETAFILE metafile) {
  const Clipboard clipboard(owner);
  const bool drawn = clipboard.Put(CF_ENHMETAFILE, metafile);
  const bool painted = clipboard.Put(CF_BITMAP, bitmap);
  if (!drawn) DeleteEnhMetaFile(metafile);
  if (!painted) DeleteObject(bitmap);
  return drawn || painted;
}

bool CopyText(HWND owner, const std::wstring& text) {
  const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes);
  if (block == nullptr) return false;
  std::memcpy(GlobalLock(block), text.c_str(), bytes);
  GlobalUnlock(block);
  const Clipboard clipboard(owner);
  const bool copied = clipboard.Put(CF_UNICODETEXT, block);
  if (!copied) GlobalFree(block);
  return copied;
}

}  // namespace tervalon::viewer
