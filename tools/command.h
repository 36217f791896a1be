// The subcommands. Each adds itself to the parser and, when it is the one chosen, leaves behind
// what to run.

#ifndef TOOLS_COMMAND_H_
#define TOOLS_COMMAND_H_

#include <tervalon/raw_directory.h>

#include <CLI/App.hpp>
#include <functional>
#include <string>

#include "tools/document.h"
#include "tools/raw_data.h"

namespace tervalon::tools {

using Action = std::function<void(Output&)>;

void AddInfoCommand(CLI::App& program, Action& chosen);
void AddSpectrumCommand(CLI::App& program, Action& chosen);
void AddChromCommand(CLI::App& program, Action& chosen);
void AddHistoryCommand(CLI::App& program, Action& chosen);
void AddPlotCommand(CLI::App& program, Action& chosen);
void AddSettingsCommand(CLI::App& program, Action& chosen);
void AddSimulateCommand(CLI::App& program, Action& chosen);
void AddProjectCommand(CLI::App& program, Action& chosen);
void AddPathCommand(CLI::App& program, Action& chosen);
void AddDbCommand(CLI::App& program, Action& chosen);
void AddNoiseCommand(CLI::App& program, Action& chosen);
void AddResampleCommand(CLI::App& program, Action& chosen);
void AddRetentionCommand(CLI::App& program, Action& chosen);

// What several of them share.

struct FormatOptions {
  bool csv = false;
  bool json = false;

  Format format() const { return json ? Format::kJson : csv ? Format::kCsv : Format::kText; }
};

// --csv and --json.
void AddFormatOptions(CLI::App& command, FormatOptions& options);

// DIR, --function, --process and --data-type.
struct DataSetOptions {
  std::string directory;
  DataSet data_set;
};

void AddDataSetOptions(CLI::App& command, DataSetOptions& options);

// Accepts whole numbers from low to high.
CLI::Validator Between(int64_t low, int64_t high);

// A path as typed, with the platform's own separators where it has but one, and without those at
// the end that a shell's completion adds. Throws WrongUsage for an empty one.
std::string DirectoryArgument(const std::string& text);

// The number within a float's range that an option's whole text is; throws WrongUsage.
double NumberArgument(const std::string& option, const std::string& text);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMAND_H_
