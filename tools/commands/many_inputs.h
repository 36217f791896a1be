// Commands that take several raw data directories: one after the other, or side by side in
// processes.

#ifndef TOOLS_COMMANDS_MANY_INPUTS_H_
#define TOOLS_COMMANDS_MANY_INPUTS_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands/command_line.h"
#include "tools/print/document.h"

namespace tervalon::tools {

struct Inputs {
  std::vector<std::string> paths;  // as typed
  int32_t jobs = 1;
  int32_t only = 0;                // in one of the processes: the input that it does, from 1
  std::vector<std::string> words;  // of the command line
};

// DIR... and --jobs. Call before the command's other options.
void AddInputs(Command command, Inputs& inputs);

// Expands wildcards where the shell does not, and checks the paths; throws WrongUsage.
void CompleteInputs(Inputs& inputs);

// Does each input: `one` prints what a single one has to say, with labels when there are several,
// and throws a Failure. What they print is put together in their order: texts with a blank line
// between, CSV under one line of names, JSON as an array. With several, a failure is told and the
// others are done; throws Unsound at the end.
using OneInput = std::function<void(const std::string& path, Output& output)>;
void ForEachInput(const Inputs& inputs, Format format, Output& output, const OneInput& one);

// The same as what a command does: run(*options, path, output), where the options have `inputs` and
// a `format`, or the latter in their `result`. Completes the inputs.
template <typename Options>
std::function<void(Output&)> ForEachInput(const std::shared_ptr<Options>& options,
                                          void (*run)(const Options&, const std::string&,
                                                      Output&)) {
  CompleteInputs(options->inputs);
  return [options, run](Output& output) {
    Format format = Format::kText;
    if constexpr (requires { options->format; }) {
      format = options->format.format();
    } else {
      format = options->result.format.format();
    }
    ForEachInput(options->inputs, format, output,
                 [&](const std::string& path, Output& one) { run(*options, path, one); });
  };
}

// What the document is of, when there are several: the directory, and the function if not 0.
void Label(const Inputs& inputs, const std::string& path, int function, Document& document);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_MANY_INPUTS_H_
