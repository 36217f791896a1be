#include "tools/pictures/picture.h"

#include <tervalon/drawing_devices.h>

#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kScreenPixelsPerInch = 96;
constexpr int32_t kPaperPixelsPerInch = 288;

}  // namespace

const char* Picture::Endings() { return "png, svg or pdf"; }

int32_t Picture::UsualResolution(const std::string& path) {
  const std::string ending = Ending(path);
  if (ending == "png") {
    return kScreenPixelsPerInch;
  }
  return ending == "svg" || ending == "pdf" ? kPaperPixelsPerInch : 0;
}

Picture::Picture(std::string path, const PictureSize& size)
    : path_(std::move(path)), target_(LinkTarget(path_)), partial_(UnusedName(target_, ".part")) {
  console::HoldInterrupts();
  const std::string ending = Ending(path_);
  const auto [width, height, pixels_per_inch] = size;
  if (ending == "svg") {
    dc_ = TvCreateSvgDC(partial_.c_str(), width, height, pixels_per_inch);
  } else if (ending == "pdf") {
    dc_ = TvCreatePdfDC(partial_.c_str(), width, height, pixels_per_inch);
  } else {
    dc_ = TvCreateImageDC(width, height, pixels_per_inch);
  }
  if (dc_ == nullptr) {
    throw Failure(path_,
                  ending == "png" ? "a picture of this size cannot be made" : "cannot be written");
  }
}

Picture::~Picture() {
  if (dc_ != nullptr) {
    TvDeleteDC(dc_);
    RemoveFile(partial_);
  }
}

void Picture::Finish() {
  console::CheckInterrupt();
  bool written = Ending(path_) != "png" || TvSavePng(dc_, partial_.c_str()) != 0;
  written = TvDeleteDC(dc_) != 0 && written;
  dc_ = nullptr;
  if (!written) {
    RemoveFile(partial_);
    throw Failure(path_, "cannot be written");
  }
  MoveOver(partial_, target_);
}

std::string Picture::DeviceText(const std::string& utf8) { return utf8; }

}  // namespace tervalon::tools
