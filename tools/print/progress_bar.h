// A progress bar on standard error, when that is a terminal and the work takes long enough to see.

#ifndef TOOLS_PRINT_PROGRESS_BAR_H_
#define TOOLS_PRINT_PROGRESS_BAR_H_

#include <tervalon/types.h>

#include <chrono>

namespace tervalon::tools {

// While one lives, the library's long reads report to it. One at a time.
class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void Show(int percent);

 private:
  static int32_t TERVALON_CALL Report(int32_t percent, void* bar);

  const bool terminal_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  int shown_ = -1;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_PROGRESS_BAR_H_
