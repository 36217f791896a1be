#include "tools/print/output.h"

#include <cerrno>
#include <cstdio>

#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr size_t kPiece = size_t{1} << 16;

}  // namespace

Output& Output::operator<<(std::string_view text) {
  waiting_ += text;
  if (waiting_.size() >= kPiece) {
    Flush();
  }
  return *this;
}

void Output::Flush() {
  if (text_ != nullptr) {
    *text_ += waiting_;
    waiting_.clear();
    return;
  }
  errno = 0;
  const bool written =
      std::fwrite(waiting_.data(), 1, waiting_.size(), stdout) == waiting_.size() &&
      std::fflush(stdout) == 0;
  waiting_.clear();
  if (written) {
    return;
  }
  if (console::IsBrokenPipe(errno)) {
    throw OutputClosed{};
  }
  throw Failure("standard output", "cannot be written");
}

}  // namespace tervalon::tools
