// Enhanced metafiles and bitmaps, which are stored as PNG or BMP files. They have the resolution
// that their fonts and pens are made for; device contexts themselves know only the screen's.

#include "tools/pictures/picture.h"

#include <tervalon/plot_resources.h>
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/win32/png_file.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kScreenPixelsPerInch = 96;
constexpr int32_t kPaperPixelsPerInch = 288;

// A device context of the screen, to measure with.
class Screen {
 public:
  Screen() : dc_(GetDC(nullptr)) {}
  ~Screen() { ReleaseDC(nullptr, dc_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  HDC dc() const { return dc_; }

 private:
  const HDC dc_;
};

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

// A metafile whose unit is a pixel of the picture, of the size in inches that the picture has.
HDC MakeMetafile(HDC screen, const std::filesystem::path& path, const PictureSize& size) {
  constexpr int kFrameUnits = 2540;  // in an inch, hundredths of a millimetre
  const RECT frame = {0, 0, MulDiv(size.width, kFrameUnits, size.pixels_per_inch),
                      MulDiv(size.height, kFrameUnits, size.pixels_per_inch)};
  const HDC dc = CreateEnhMetaFileW(screen, path.c_str(), &frame, nullptr);
  if (dc == nullptr) {
    return nullptr;
  }
  const auto pixels = [&](LONG length, int all_pixels, int millimetres) {
    return MulDiv(length, GetDeviceCaps(screen, all_pixels),
                  100 * GetDeviceCaps(screen, millimetres));
  };
  SetMapMode(dc, MM_ANISOTROPIC);
  SetWindowExtEx(dc, size.width, size.height, nullptr);
  SetViewportExtEx(dc, pixels(frame.right, HORZRES, HORZSIZE),
                   pixels(frame.bottom, VERTRES, VERTSIZE), nullptr);
  return dc;
}

void MakeWhite(HDC dc, const PictureSize& size) {
  const RECT all = {0, 0, size.width, size.height};
  FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
}

bool WriteBitmap(std::ostream& stream, const BITMAPINFOHEADER& header, const uint8_t* bits) {
  const size_t bytes =
      size_t{4} * static_cast<size_t>(header.biWidth) * static_cast<size_t>(header.biHeight);
  BITMAPFILEHEADER file = {};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof(file) + sizeof(header);
  file.bfSize = file.bfOffBits + static_cast<DWORD>(bytes);
  stream.write(reinterpret_cast<const char*>(&file), sizeof(file));
  stream.write(reinterpret_cast<const char*>(&header), sizeof(header));
  stream.write(reinterpret_cast<const char*>(bits), static_cast<std::streamsize>(bytes));
  return stream.good();
}

bool WriteImage(const std::string& ending, const std::filesystem::path& path, HBITMAP bitmap) {
  DIBSECTION section = {};
  GdiFlush();
  if (GetObjectA(bitmap, sizeof(section), &section) == 0) {
    return false;
  }
  const BITMAPINFOHEADER& header = section.dsBmih;
  const auto* bits = static_cast<const uint8_t*>(section.dsBm.bmBits);
  std::ofstream stream(path, std::ios::binary);
  const bool written = ending == "png"
                           ? WritePng(stream, {bits, header.biWidth, header.biHeight,
                                               static_cast<uint32_t>(header.biXPelsPerMeter)})
                           : WriteBitmap(stream, header, bits);
  stream.close();
  return written && stream.good();
}

}  // namespace

const char* Picture::Endings() { return "png, emf or bmp"; }

const char* Picture::OtherFormats() { return ""; }

int32_t Picture::UsualResolution(const std::string& path) {
  const std::string ending = PictureEnding(path);
  if (ending == "png" || ending == "bmp") {
    return kScreenPixelsPerInch;
  }
  return ending == "emf" ? kPaperPixelsPerInch : 0;
}

Picture::Picture(const std::string& path, const PictureSize& size, const std::string& ending)
    : path_(path),
      ending_(ending.empty() ? PictureEnding(path) : ending),
      target_(LinkTarget(path)),
      partial_(PartialName(path, target_)) {
  console::HoldInterrupts();
  const Screen screen;
  if (ending_ == "emf") {
    dc_ = MakeMetafile(screen.dc(), PathOf(partial_), size);
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
    throw Failure(path_,
                  ending_ == "emf" ? "cannot be written" : "a picture of this size cannot be made");
  }
  MakeWhite(dc_, size);
}

Picture::~Picture() {
  if (dc_ != nullptr && ending_ == "emf") {
    DeleteEnhMetaFile(CloseEnhMetaFile(dc_));
    RemoveFile(partial_);
  } else if (dc_ != nullptr) {
    DeleteDC(dc_);
  }
  if (image_ != nullptr) {
    DeleteObject(image_);
  }
}

bool Picture::NextPage() { return false; }

void Picture::Finish(Output* standard_output) {
  console::CheckInterrupt();
  PltReleaseResources(dc_);
  bool written = false;
  if (ending_ == "emf") {
    const HENHMETAFILE metafile = CloseEnhMetaFile(dc_);
    dc_ = nullptr;
    written = metafile != nullptr;
    DeleteEnhMetaFile(metafile);
  } else {
    written = WriteImage(ending_, PathOf(partial_), static_cast<HBITMAP>(image_));
  }
  PutInPlace(written, standard_output);
}

std::string Picture::DeviceText(const std::string& utf8) { return utf8; }

}  // namespace tervalon::tools
