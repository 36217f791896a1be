// Manual pages and shell completion, made from the commands and options of the parser.

#ifndef TOOLS_COMMANDS_MANUAL_H_
#define TOOLS_COMMANDS_MANUAL_H_

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace tervalon::tools {

// Writes into `directory`: man1/tervalon.1 and man1/tervalon-COMMAND.1, bash/tervalon,
// zsh/_tervalon and fish/tervalon.fish. Throws a Failure.
void WriteManual(const CLI::App& program, const std::string& directory);

// The help of the command that `names` leads to. Throws WrongUsage for one that is not there.
std::string HelpOf(const CLI::App& program, const std::vector<std::string>& names);

// "; did you mean 'chrom'?", or nothing where no command or option comes near.
std::string Suggestion(const CLI::App& command, const std::string& typed);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_MANUAL_H_
