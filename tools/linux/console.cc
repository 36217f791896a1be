#include "tools/print/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace tervalon::tools::console {

void Prepare() { std::signal(SIGPIPE, SIG_IGN); }

bool ErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

int OutputWidth() {
  winsize size = {};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool IsBrokenPipe(int error) { return error == EPIPE; }

}  // namespace tervalon::tools::console
