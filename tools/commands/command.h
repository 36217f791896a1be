// The subcommands. Each adds itself to the parser and, when it is the one chosen, leaves behind
// what to run.

#ifndef TOOLS_COMMANDS_COMMAND_H_
#define TOOLS_COMMANDS_COMMAND_H_

#include <tervalon/raw_directory.h>

#include <functional>
#include <string>

#include "tools/commands/command_line.h"
#include "tools/data/raw_data.h"
#include "tools/print/document.h"

namespace tervalon::tools {

using Action = std::function<void(Output&)>;

void AddInfoCommand(Command program, Action& chosen);
void AddSpectrumCommand(Command program, Action& chosen);
void AddChromCommand(Command program, Action& chosen);
void AddScansCommand(Command program, Action& chosen);
void AddExportCommand(Command program, Action& chosen);
void AddCheckCommand(Command program, Action& chosen);
void AddHistoryCommand(Command program, Action& chosen);
void AddPlotCommand(Command program, Action& chosen);
void AddCombineCommand(Command program, Action& chosen);
void AddSmoothCommand(Command program, Action& chosen);
void AddCentroidCommand(Command program, Action& chosen);
void AddPeaksCommand(Command program, Action& chosen);
void AddSettingsCommand(Command program, Action& chosen);
void AddImportCommand(Command program, Action& chosen);
void AddSimulateCommand(Command program, Action& chosen);
void AddProjectCommand(Command program, Action& chosen);
void AddPathCommand(Command program, Action& chosen);
void AddDbCommand(Command program, Action& chosen);
void AddNoiseCommand(Command program, Action& chosen);
void AddResampleCommand(Command program, Action& chosen);
void AddRetentionCommand(Command program, Action& chosen);

// Subcommands of db.
void AddDatabaseChecks(Command db, Action& chosen);

// What several of them share.

struct FormatOptions {
  bool csv = false;
  bool json = false;

  Format format() const { return json ? Format::kJson : csv ? Format::kCsv : Format::kText; }
};

// --csv and --json.
void AddFormatOptions(Command command, FormatOptions& options);

// DIR, --function, --process and --data-type.
struct DataSetOptions {
  std::string directory;
  DataSet data_set;
};

void AddDataSetOptions(Command command, DataSetOptions& options);
// The same without DIR.
void AddDataSetSelection(Command command, DataSet& data_set);
// --function, with what it means; and --process with --data-type.
void AddFunctionOption(Command command, std::optional<int32_t>& function, const std::string& what);
void AddProcessOptions(Command command, int32_t& process, std::optional<int32_t>& data_type);
// A group with --scan and --time, of which the caller says how many there have to be.
Command AddScanChoice(Command command, const std::string& what, int32_t& scan, std::string& time);

// A path as typed, with the platform's own separators where it has but one, and without those at
// the end that a shell's completion adds. Throws WrongUsage for an empty one.
std::string DirectoryArgument(const std::string& text);

// The number within a float's range that an option's whole text is; throws WrongUsage.
double NumberArgument(const std::string& option, const std::string& text);
// Minutes, from 0.
float TimeArgument(const std::string& option, const std::string& text);

std::vector<std::string> Parts(const std::string& text, char separator);

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_COMMAND_H_
