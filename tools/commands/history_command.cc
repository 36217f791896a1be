// tervalon history: where the processed data sets of a raw data directory come from.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "tools/commands/command.h"
#include "tools/data/function_description.h"
#include "tools/data/history.h"
#include "tools/processing/saved_sets.h"

namespace tervalon::tools {
namespace {

std::string FunctionTitle(const RawDirectory& directory, int function) {
  const std::string title = "Function " + std::to_string(function);
  return function <= std::ssize(directory.functions())
             ? title + ": " + FunctionTypeName(directory.Function(function))
             : title;
}

// A section for each tree, which names the function that the rows need not repeat then.
std::vector<Section> TreeSections(const RawDirectory& directory, std::vector<HistoryStep> steps) {
  std::vector<Section> sections;
  while (!steps.empty()) {
    const int function = steps.front().function;
    const auto end = std::ranges::find_if(
        steps, [function](const HistoryStep& step) { return step.function != function; });
    Section section = HistorySection({steps.begin(), end}, /*for_people=*/true);
    section.title = FunctionTitle(directory, function);
    section.columns.erase(section.columns.begin());
    sections.push_back(std::move(section));
    steps.erase(steps.begin(), end);
  }
  return sections;
}

void Repeat(const std::string& path, int32_t process, Format format, Output& output) {
  const RawDirectory directory(path);
  Section section = {.title = path};
  section.properties = {{"repeated", "Made again", int64_t{process}},
                        {"process", "Processed data set", RepeatStep(directory, process)}};
  Print({.sections = {std::move(section)}}, format, output);
}

void Run(const std::string& path, Format format, Output& output) {
  const RawDirectory directory(path);
  const History history = ReadHistory(directory);
  if (history.cut_off) {
    const std::string member = directory.MemberPath("_HISTORY.INF");
    (void)std::fputs(("tervalon: " + member + ": cut off; some steps are missing\n").c_str(),
                     stderr);
  }
  Document document = {.sections = {}, .csv_section = "history"};
  if (format == Format::kText && !history.steps.empty()) {
    document.sections = TreeSections(directory, history.steps);
  } else {
    document.sections = {HistorySection(history.steps, format == Format::kText)};
  }
  Print(document, format, output);
}

}  // namespace

void AddHistoryCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("history", "Show where the processed data sets come from");
  auto path = std::make_shared<std::string>();
  auto format = std::make_shared<FormatOptions>();
  command.AddOption("DIR", *path, "Raw data directory").Required().TypeName("");
  auto repeat = std::make_shared<int32_t>(0);
  command
      .AddOption("--repeat", *repeat,
                 "Make a processed data set once more, as the history says\n"
                 "how, into a new one")
      .Between(1, RAW_MAX_PROCESSES)
      .TypeName("N");
  AddFormatOptions(command, *format);
  command.Footer(
      "Each function has a tree of processing steps: a step stands indented below the one whose\n"
      "result it worked on, with the name of the data set that it made and the local time at "
      "which\n"
      "that was. For programs, \"depth\" and \"parent\" say the same, and \"created\" is in "
      "seconds\n"
      "since 1970.\n\n"
      "Examples:\n"
      "  tervalon history SAMPLE.RAW\n"
      "  tervalon history SAMPLE.RAW --repeat 4\n"
      "  tervalon history SAMPLE.RAW --json | jq -r '.history[].description'");
  command.Callback([&chosen, path, repeat, format] {
    chosen = [path, repeat, format](Output& output) {
      if (*repeat != 0) {
        Repeat(DirectoryArgument(*path), *repeat, format->format(), output);
      } else {
        Run(DirectoryArgument(*path), format->format(), output);
      }
    };
  });
}

}  // namespace tervalon::tools
