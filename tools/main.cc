// tervalon: raw data directories, settings and databases from a command line.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tervalon/version.h"
#include "tools/commands/command.h"
#include "tools/commands/manual.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace {

using tervalon::tools::Action;

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2 };

// One line on standard error, whatever the message is made of.
int Report(const std::string& message, ExitStatus status) {
  tervalon::tools::Warn(message);
  return status;
}

bool IsAboutExtras(const CLI::ParseError& error) {
  return error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
}

struct NamedCommand {
  const char* name;
  void (*add)(tervalon::tools::Command program, Action& chosen);
};

constexpr NamedCommand kCommands[] = {
    {"info", tervalon::tools::AddInfoCommand},
    {"spectrum", tervalon::tools::AddSpectrumCommand},
    {"chrom", tervalon::tools::AddChromCommand},
    {"scans", tervalon::tools::AddScansCommand},
    {"export", tervalon::tools::AddExportCommand},
    {"check", tervalon::tools::AddCheckCommand},
    {"history", tervalon::tools::AddHistoryCommand},
    {"plot", tervalon::tools::AddPlotCommand},
    {"combine", tervalon::tools::AddCombineCommand},
    {"smooth", tervalon::tools::AddSmoothCommand},
    {"centroid", tervalon::tools::AddCentroidCommand},
    {"peaks", tervalon::tools::AddPeaksCommand},
    {"settings", tervalon::tools::AddSettingsCommand},
    {"import", tervalon::tools::AddImportCommand},
    {"simulate", tervalon::tools::AddSimulateCommand},
    {"project", tervalon::tools::AddProjectCommand},
    {"path", tervalon::tools::AddPathCommand},
    {"db", tervalon::tools::AddDbCommand},
    {"noise", tervalon::tools::AddNoiseCommand},
    {"resample", tervalon::tools::AddResampleCommand},
    {"retention", tervalon::tools::AddRetentionCommand},
};

// All commands, or the one alone that is named first: making the others takes more time than many
// a command.
void AddCommands(const tervalon::tools::Command& program, const std::vector<std::string>& words,
                 Action& action) {
  const auto* const named = std::find_if(
      std::begin(kCommands), std::end(kCommands),
      [&words](const NamedCommand& command) { return !words.empty() && words[0] == command.name; });
  for (const NamedCommand& command : kCommands) {
    if (named == std::end(kCommands) || named == &command) command.add(program, action);
  }
}

// Commands about the program itself.
void AddProgramCommands(CLI::App& program, Action& action) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* const help = program.add_subcommand("help", "Print the help of a command");
  help->add_option("COMMAND", *names, "The command, and its subcommand")->type_name("");
  help->callback([&program, &action, names] {
    action = [&program, names](tervalon::tools::Output& output) {
      output << tervalon::tools::HelpOf(program, *names);
    };
  });
  // For those who package the program.
  auto directory = std::make_shared<std::string>();
  CLI::App* const manual =
      program.add_subcommand("write-manual", "Write manual pages and shell completion")->group("");
  manual->add_option("DIR", *directory, "Where to")->required();
  manual->callback([&program, &action, directory] {
    action = [&program, directory](tervalon::tools::Output&) {
      tervalon::tools::WriteManual(program, *directory);
    };
  });
}

// What is wrong with the usage, and where more is told about it.
std::string UsageMessage(const CLI::App& program, const CLI::ParseError& error) {
  const CLI::App* command = &program;
  std::string name = "tervalon";
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
    name += " " + command->get_name();
  }
  const std::vector<std::string> rest = command->remaining();
  const bool unknown = !rest.empty() && (command->get_require_subcommand_min() > 0 ||
                                         (rest[0].starts_with('-') && IsAboutExtras(error)));
  if (unknown) {
    return (rest[0][0] == '-' ? "no option '" : "no command '") + rest[0] + "'" +
           tervalon::tools::Suggestion(*command, rest[0]) + " ('" + name + " --help' lists them)";
  }
  if (command->get_require_subcommand_min() > 0) {
    return "a command is missing ('" + name + " --help' lists them)";
  }
  return std::string(error.what()) + " ('" + name + " --help' tells more)";
}

int RunProgram(const std::vector<std::string>& words) {
  CLI::App program(
      "Raw data directories of the mass-spectrometry data system, its settings and databases.",
      "tervalon");
  program.set_version_flag("-V,--version", "tervalon " TERVALON_VERSION);
  program.set_help_flag("-h,--help", "Print this help");
  program.require_subcommand(1);
  const std::shared_ptr<CLI::FormatterBase> help = program.get_formatter();
  help->column_width(34);
  help->label("Positionals", "Arguments");
  help->label("REQUIRED", "(required)");
  help->label("Needs", "only with");
  help->label("Excludes", "not with");
  program.footer(
      "'tervalon help COMMAND' tells more about a command, with examples.\n\n"
      "First steps:\n"
      "  tervalon simulate DEMO.RAW                write an acquisition to look at\n"
      "  tervalon info DEMO.RAW                    what is in it\n"
      "  tervalon chrom DEMO.RAW -f 1 --plot       the chromatogram of function 1\n"
      "  tervalon spectrum DEMO.RAW -f 1 -t 2.5    the scan at 2.5 minutes\n\n"
      "Output is text for people, or with --csv and --json for programs, in UTF-8. Errors are one\n"
      "line on standard error. Exit status: 0 done, 1 failed, 2 wrong usage.");
  const tervalon::tools::Command commands(&program, words);
  Action action;
  AddCommands(commands, words, action);
  AddProgramCommands(program, action);

  tervalon::tools::Output output;
  try {
    // The parser takes the last word first.
    program.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    action(output);
  } catch (const tervalon::tools::Unsound&) {
    output.Flush();
    return kFailed;
  } catch (const CLI::CallForHelp&) {
    output << program.help();
  } catch (const CLI::CallForVersion&) {
    output << program.version() << "\n";
  } catch (const CLI::ParseError& error) {
    return Report(UsageMessage(program, error), kWrongUsage);
  }
  output.Flush();
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  tervalon::tools::console::Prepare();
  try {
    std::vector<std::string> words = tervalon::tools::console::Arguments(argc, argv);
    words.erase(words.begin());
    return RunProgram(words);
  } catch (const tervalon::tools::OutputClosed&) {
    return kDone;
  } catch (const tervalon::tools::console::Interrupt&) {
    tervalon::tools::console::EndInterrupted();
  } catch (const tervalon::tools::WrongUsage& wrong) {
    return Report(wrong.what(), kWrongUsage);
  } catch (const std::bad_alloc&) {
    return Report("out of memory", kFailed);
  } catch (const std::exception& failure) {
    return Report(failure.what(), kFailed);
  }
}
