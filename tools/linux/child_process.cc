#include "tools/print/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace tervalon::tools {
namespace {

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) ends[0] = ends[1] = -1;
  }
  ~Pipe() {
    Close(0);
    Close(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void Close(int end) {
    if (ends[end] >= 0) close(ends[end]);
    ends[end] = -1;
  }

  int ends[2];  // to read and to write
};

// Both until they are closed.
void ReadAll(const Pipe& out, const Pipe& err, ChildResult& result) {
  pollfd polled[] = {{out.ends[0], POLLIN, 0}, {err.ends[0], POLLIN, 0}};
  std::string* const texts[] = {&result.out, &result.err};
  char piece[1 << 16];
  while (polled[0].fd >= 0 || polled[1].fd >= 0) {
    if (poll(polled, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    for (int i = 0; i < 2; ++i) {
      if (polled[i].fd < 0 || polled[i].revents == 0) continue;
      const ssize_t count = read(polled[i].fd, piece, sizeof piece);
      if (count > 0) {
        texts[i]->append(piece, static_cast<size_t>(count));
      } else if (count == 0 || errno != EINTR) {
        polled[i].fd = -1;
      }
    }
  }
}

}  // namespace

ChildResult RunThisProgram(const std::vector<std::string>& words) {
  std::string name = "tervalon";
  std::vector<std::string> copies = words;
  std::vector<char*> arguments = {name.data()};
  for (std::string& word : copies) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  ChildResult result;
  Pipe out;
  Pipe err;
  const pid_t parent = getpid();
  const pid_t child = out.ends[0] < 0 || err.ends[0] < 0 ? -1 : fork();
  if (child < 0) {
    result.err = "tervalon: no process can be started\n";
    return result;
  }
  if (child == 0) {
    // Only what may be called between fork and exec of a program with threads.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    dup2(out.ends[1], STDOUT_FILENO);
    dup2(err.ends[1], STDERR_FILENO);
    execv("/proc/self/exe", arguments.data());
    _exit(127);
  }
  out.Close(1);
  err.Close(1);
  ReadAll(out, err, result);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  if (!WIFEXITED(status) && result.err.empty()) result.err = "tervalon: a process was ended\n";
  return result;
}

}  // namespace tervalon::tools
