#include "tools/print/console.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "tools/print/text.h"

namespace tervalon::tools::console {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t noted = 0;  // the signal; 0: none

void Note(int signal) { noted = signal; }

}  // namespace

void Prepare() { static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); }

std::vector<std::string> Arguments(int argc, char** argv) { return {argv, argv + argc}; }

std::string SystemText(const std::string& text) { return text; }

std::vector<std::string> ExpandWildcards(const std::string& word) { return {word}; }

std::string Utf8FromCodePage(const std::string& text) {
  return Utf8FromLatin1(text.data(), text.size());
}

void CopyOwner(const std::string& from, const std::string& to) {
  struct stat owner = {};
  if (stat(from.c_str(), &owner) == 0 && chown(to.c_str(), owner.st_uid, owner.st_gid) != 0 &&
      chown(to.c_str(), static_cast<uid_t>(-1), owner.st_gid) != 0) {
    return;  // somebody else's file becomes the user's own
  }
}

bool ForceToDisk(const std::string& name) {
  const int file = open(name.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  int result = 0;
  do {
    result = fsync(file);
  } while (result != 0 && errno == EINTR);
  const int error = errno;
  close(file);
  errno = error;
  return result == 0;
}

bool ErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

int OutputWidth() {
  winsize size = {};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool IsBrokenPipe(int error) { return error == EPIPE; }

void HoldInterrupts() {
  struct sigaction action = {};
  action.sa_handler = &Note;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : kSignals) {
    struct sigaction present = {};
    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
}

void CheckInterrupt() {
  if (noted != 0) throw Interrupt{};
}

void EndInterrupted() {
  static_cast<void>(std::signal(noted, SIG_DFL));
  static_cast<void>(std::raise(noted));
  std::exit(128 + noted);
}

}  // namespace tervalon::tools::console
