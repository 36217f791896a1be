#include "tools/print/progress_bar.h"

#include <tervalon/raw_directory.h>

#include <cstdio>
#include <string>

#include "tools/print/console.h"

namespace tervalon::tools {
namespace {

constexpr int kWidth = 40;
constexpr std::chrono::milliseconds kPatience(300);

void Print(const std::string& text) {
  (void)std::fputs(text.c_str(), stderr);
  (void)std::fflush(stderr);
}

}  // namespace

ProgressBar::ProgressBar() : terminal_(console::ErrorIsTerminal()) {
  if (terminal_) {
    RawUpdateInit(Report, this);
  }
}

ProgressBar::~ProgressBar() {
  if (terminal_) {
    RawUpdateEnd();
  }
  if (shown_ >= 0) {
    Print("\r" + std::string(kWidth + 8, ' ') + "\r");
  }
}

void ProgressBar::Show(int percent) {
  if (!terminal_ || percent == shown_ || std::chrono::steady_clock::now() - start_ < kPatience) {
    return;
  }
  shown_ = percent;
  const auto done = static_cast<size_t>(percent * kWidth / 100);
  Print("\r[" + std::string(done, '#') + std::string(kWidth - done, ' ') + "] " +
        std::to_string(percent) + " %");
}

int32_t TERVALON_CALL ProgressBar::Report(int32_t percent, void* bar) {
  static_cast<ProgressBar*>(bar)->Show(percent);
  return 0;
}

}  // namespace tervalon::tools
