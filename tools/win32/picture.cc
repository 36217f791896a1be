// Enhanced metafiles, and bitmaps at the screen's resolution, which is that of memory device
// contexts.

#include "tools/pictures/picture.h"

#include <tervalon/plot_resources.h>
#include <windows.h>

#include <cstddef>
#include <fstream>

#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

// A device context of the screen, to measure with.
class Screen {
 public:
  Screen() : dc_(GetDC(nullptr)) {}
  ~Screen() { ReleaseDC(nullptr, dc_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  HDC dc() const { return dc_; }
  int32_t pixels_per_inch() const { return GetDeviceCaps(dc_, LOGPIXELSY); }

 private:
  const HDC dc_;
};

bool IsMetafile(const std::string& path) { return Ending(path) == "emf"; }

BITMAPINFOHEADER HeaderOf(const PictureSize& size) {
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof(header);
  header.biWidth = size.width;
  header.biHeight = size.height;
  header.biPlanes = 1;
  header.biBitCount = 32;
  header.biCompression = BI_RGB;
  header.biXPelsPerMeter = header.biYPelsPerMeter = MulDiv(size.pixels_per_inch, 10000, 254);
  return header;
}

// In hundredths of a millimetre, which the system turns back into the screen's pixels.
RECT FrameOf(HDC screen, const PictureSize& size) {
  const auto length = [](int32_t pixels, int millimetres, int all_pixels) {
    return LONG{MulDiv(pixels, millimetres * 100, all_pixels)};
  };
  return {0, 0, length(size.width, GetDeviceCaps(screen, HORZSIZE), GetDeviceCaps(screen, HORZRES)),
          length(size.height, GetDeviceCaps(screen, VERTSIZE), GetDeviceCaps(screen, VERTRES))};
}

void MakeWhite(HDC dc, const PictureSize& size) {
  const RECT all = {0, 0, size.width, size.height};
  FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
}

bool WriteBitmap(const std::filesystem::path& path, HBITMAP bitmap) {
  DIBSECTION section = {};
  GdiFlush();
  if (GetObjectA(bitmap, sizeof(section), &section) == 0) {
    return false;
  }
  const BITMAPINFOHEADER& header = section.dsBmih;
  const size_t bytes =
      size_t{4} * static_cast<size_t>(header.biWidth) * static_cast<size_t>(header.biHeight);
  BITMAPFILEHEADER file = {};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof(file) + sizeof(header);
  file.bfSize = file.bfOffBits + static_cast<DWORD>(bytes);
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(&file), sizeof(file));
  stream.write(reinterpret_cast<const char*>(&header), sizeof(header));
  stream.write(static_cast<const char*>(section.dsBm.bmBits), static_cast<std::streamsize>(bytes));
  stream.close();
  return stream.good();
}

}  // namespace

const char* Picture::Endings() { return "emf or bmp"; }

int32_t Picture::UsualResolution(const std::string& path) {
  return IsMetafile(path) || Ending(path) == "bmp" ? Screen().pixels_per_inch() : 0;
}

Picture::Picture(std::string path, const PictureSize& size)
    : path_(std::move(path)), target_(LinkTarget(path_)), partial_(UnusedName(target_, ".part")) {
  console::HoldInterrupts();
  const Screen screen;
  if (size.pixels_per_inch != screen.pixels_per_inch()) {
    throw Failure(path_, "pictures can be drawn here with the screen's resolution only, " +
                             std::to_string(screen.pixels_per_inch()) + " pixels per inch");
  }
  if (IsMetafile(path_)) {
    const RECT frame = FrameOf(screen.dc(), size);
    dc_ = CreateEnhMetaFileW(screen.dc(), PathOf(partial_).c_str(), &frame, nullptr);
  } else {
    BITMAPINFO info = {};
    info.bmiHeader = HeaderOf(size);
    void* bits = nullptr;
    image_ = CreateDIBSection(screen.dc(), &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    dc_ = image_ != nullptr ? CreateCompatibleDC(screen.dc()) : nullptr;
    if (dc_ != nullptr) {
      SelectObject(dc_, image_);
    }
  }
  if (dc_ == nullptr) {
    if (image_ != nullptr) {
      DeleteObject(image_);
    }
    throw Failure(
        path_, IsMetafile(path_) ? "cannot be written" : "a picture of this size cannot be made");
  }
  MakeWhite(dc_, size);
}

Picture::~Picture() {
  if (dc_ != nullptr && IsMetafile(path_)) {
    DeleteEnhMetaFile(CloseEnhMetaFile(dc_));
    RemoveFile(partial_);
  } else if (dc_ != nullptr) {
    DeleteDC(dc_);
  }
  if (image_ != nullptr) {
    DeleteObject(image_);
  }
}

void Picture::Finish() {
  console::CheckInterrupt();
  PltReleaseResources(dc_);
  bool written = false;
  if (IsMetafile(path_)) {
    const HENHMETAFILE metafile = CloseEnhMetaFile(dc_);
    dc_ = nullptr;
    written = metafile != nullptr;
    DeleteEnhMetaFile(metafile);
  } else {
    written = WriteBitmap(PathOf(partial_), static_cast<HBITMAP>(image_));
  }
  if (!written) {
    RemoveFile(partial_);
    throw Failure(path_, "cannot be written");
  }
  MoveOver(partial_, target_);
}

// Of the system's code page, in place of which Latin-1 has to do.
std::string Picture::DeviceText(const std::string& utf8) {
  const std::optional<std::string> latin = Latin1FromUtf8(utf8);
  return latin ? *latin : Printable(utf8);
}

}  // namespace tervalon::tools
