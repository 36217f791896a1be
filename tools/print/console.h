// The terminal, and standard output as a stream of bytes.

#ifndef TOOLS_PRINT_CONSOLE_H_
#define TOOLS_PRINT_CONSOLE_H_

namespace tervalon::tools::console {

// Call first. Standard output passes bytes on as they are, a terminal takes them as UTF-8, and
// writing to a pipe that nobody reads any more is an error rather than the end of the process.
void Prepare();

bool ErrorIsTerminal();

// The width of the terminal that standard output goes to; 80 when it is none.
int OutputWidth();

// True when `error` (errno of a failed write) says that nobody reads standard output any more.
bool IsBrokenPipe(int error);

}  // namespace tervalon::tools::console

#endif  // TOOLS_PRINT_CONSOLE_H_
