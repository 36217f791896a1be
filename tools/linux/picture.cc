#include "tools/pictures/picture.h"

#include <tervalon/drawing_devices.h>

#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kScreenPixelsPerInch = 96;
constexpr int32_t kPaperPixelsPerInch = 288;
constexpr const char* kOutlines = "svg-outlines";

}  // namespace

const char* Picture::Endings() { return "png, svg or pdf"; }

const char* Picture::OtherFormats() {
  return ";\nor svg-outlines, whose texts are outlines of letters";
}

int32_t Picture::UsualResolution(const std::string& path) {
  const std::string ending = PictureEnding(path);
  if (ending == "png") {
    return kScreenPixelsPerInch;
  }
  return ending == "svg" || ending == kOutlines || ending == "pdf" ? kPaperPixelsPerInch : 0;
}

Picture::Picture(const std::string& path, const PictureSize& size, const std::string& ending)
    : path_(path),
      ending_(ending.empty() ? PictureEnding(path) : ending),
      target_(LinkTarget(path)),
      partial_(PartialName(path, target_)) {
  console::HoldInterrupts();
  const auto [width, height, pixels_per_inch] = size;
  if (ending_ == "svg") {
    dc_ = TvCreateSvgDC(partial_.c_str(), width, height, pixels_per_inch);
  } else if (ending_ == kOutlines) {
    dc_ = TvCreateSvgOutlinesDC(partial_.c_str(), width, height, pixels_per_inch);
  } else if (ending_ == "pdf") {
    dc_ = TvCreatePdfDC(partial_.c_str(), width, height, pixels_per_inch);
  } else {
    dc_ = TvCreateImageDC(width, height, pixels_per_inch);
  }
  if (dc_ == nullptr) {
    throw Failure(path_,
                  ending_ == "png" ? "a picture of this size cannot be made" : "cannot be written");
  }
}

Picture::~Picture() {
  if (dc_ != nullptr) {
    TvDeleteDC(dc_);
    RemoveFile(partial_);
  }
}

bool Picture::NextPage() { return TvNextPage(dc_) != 0; }

void Picture::Finish(Output* standard_output) {
  console::CheckInterrupt();
  bool written = ending_ != "png" || TvSavePng(dc_, partial_.c_str()) != 0;
  written = TvDeleteDC(dc_) != 0 && written;
  dc_ = nullptr;
  PutInPlace(written, standard_output);
}

std::string Picture::DeviceText(const std::string& utf8) { return utf8; }

}  // namespace tervalon::tools
