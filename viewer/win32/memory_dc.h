// A bitmap that is drawn into before it is shown.

#ifndef VIEWER_WIN32_MEMORY_DC_H_
#define VIEWER_WIN32_MEMORY_DC_H_

#include "viewer/win32/system.h"

namespace tervalon::viewer {

class MemoryDc {
 public:
  // The bitmap stays the caller's.
  MemoryDc(HDC like, HBITMAP bitmap)
      : dc_(CreateCompatibleDC(like)), before_(SelectObject(dc_, bitmap)) {}
  ~MemoryDc() {
    SelectObject(dc_, before_);
    DeleteDC(dc_);
  }
  MemoryDc(const MemoryDc&) = delete;
  MemoryDc& operator=(const MemoryDc&) = delete;

  HDC get() const { return dc_; }

 private:
  const HDC dc_;
  const HGDIOBJ before_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_MEMORY_DC_H_
