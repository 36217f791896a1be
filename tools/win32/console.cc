#include "tools/print/console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <cstdio>

namespace tervalon::tools::console {

void Prepare() {
  _setmode(_fileno(stdout), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

// The C runtime calls NUL a terminal too.
bool ErrorIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

int OutputWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  return GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0
             ? info.srWindow.Right - info.srWindow.Left + 1
             : 80;
}

// The C runtime has no error of its own for a closed pipe and reports a bad argument.
bool IsBrokenPipe(int error) { return error == EPIPE || error == EINVAL; }

}  // namespace tervalon::tools::console
