// The terminal, standard output as a stream of bytes, and the system's own form of texts.

#ifndef TOOLS_PRINT_CONSOLE_H_
#define TOOLS_PRINT_CONSOLE_H_

#include <string>
#include <vector>

namespace tervalon::tools::console {

// Call first. Standard output passes bytes on as they are, a terminal takes them as UTF-8, and
// writing to a pipe that nobody reads any more is an error rather than the end of the process.
void Prepare();

// The words of the command line, the program's name first: on Windows in UTF-8, elsewhere as bytes.
std::vector<std::string> Arguments(int argc, char** argv);

// A text of the command line in the form that the library takes names in: on Windows the system's
// code page, elsewhere as it is. Throws a Failure for characters that the code page does not have.
std::string SystemText(const std::string& text);

// The paths that a word of the command line stands for: itself, or on Windows, whose shell leaves
// them as they are, what its wildcards "*" and "?" in the last part match, in order.
std::vector<std::string> ExpandWildcards(const std::string& word);

// The other way round, for a text that is not UTF-8.
std::string Utf8FromCodePage(const std::string& text);

// Gives a file the owner and group of another, where the user may.
void CopyOwner(const std::string& from, const std::string& to);

// What a file holds outlives a loss of power from now on. On failure errno may say why.
bool ForceToDisk(const std::string& name);

bool ErrorIsTerminal();

// The width of the terminal that standard output goes to; 80 when it is none.
int OutputWidth();

// True when `error` (errno of a failed write) says that nobody reads standard output any more.
bool IsBrokenPipe(int error);

// Thrown by CheckInterrupt, to undo what is unfinished on the way out.
struct Interrupt {};

// From now on Ctrl-C is noted, for CheckInterrupt, instead of ending the process; a second one ends
// it at once.
void HoldInterrupts();
void CheckInterrupt();

// Ends the process as Ctrl-C does where it is not held: the exit status is 130, and a shell knows
// that the user wants no more.
[[noreturn]] void EndInterrupted();

}  // namespace tervalon::tools::console

#endif  // TOOLS_PRINT_CONSOLE_H_
