// tervalon check: what crashes and other programs have left in a raw data directory.

#include <tervalon/raw_directory.h>

#include <memory>

#include "tools/commands/command.h"
#include "tools/data/raw_data.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Options {
  std::string path;
  bool repair = false;
  FormatOptions format;
};

struct Problem {
  std::string member;
  std::string kind;
  std::string text;
  bool mended;  // of a check: can be mended
};

struct KindName {
  int32_t kind;
  const char* name;
};

constexpr KindName kKindNames[] = {
    {RAW_PROBLEM_MISSING, "missing"},     {RAW_PROBLEM_UNREADABLE, "unreadable"},
    {RAW_PROBLEM_CUT_OFF, "cut off"},     {RAW_PROBLEM_CONTENT, "content"},
    {RAW_PROBLEM_LEFT_OVER, "left over"},
};

std::string KindText(int32_t kind) {
  for (const KindName& known : kKindNames) {
    if (known.kind == kind) return known.name;
  }
  return std::to_string(kind);
}

int32_t TERVALON_CALL TakeProblem(const RawProblem* problem, void* user) {
  static_cast<std::vector<Problem>*>(user)->push_back(
      {Utf8FromSystem(problem->member), KindText(problem->kind), Utf8FromSystem(problem->text),
       problem->mended != 0});
  return 1;
}

void CheckRawData(const Options& options, Output& output) {
  const std::string path = DirectoryArgument(options.path);
  std::vector<Problem> problems;
  int32_t remaining = 0;
  const auto work = options.repair ? &RawRepairDirectory : &RawCheckDirectory;
  const int32_t code = work(console::SystemText(path).c_str(), &TakeProblem, &problems, &remaining);
  if (code == RAW_DIRECTORY_ABSENT) FailToFind(path);
  CheckRaw(code, path);
  std::vector<Value> member, kind, text, mended;
  for (const Problem& problem : problems) {
    member.emplace_back(problem.member);
    kind.emplace_back(problem.kind);
    text.emplace_back(problem.text);
    mended.emplace_back(problem.mended);
  }
  const bool sound = remaining == 0;
  Print({.sections = {{.properties = {{"directory", "Directory", path}, {"sound", "Sound", sound}}},
                      {.key = "problems",
                       .title = "Problems",
                       .columns = {{"member", "Member", member},
                                   {"kind", "Kind", kind},
                                   {"problem", "Problem", text},
                                   {options.repair ? "mended" : "mendable",
                                    options.repair ? "Mended" : "Can be mended", mended}}}},
         .csv_section = "problems"},
        options.format.format(), output);
  if (!sound) throw Unsound{};
}

}  // namespace

void AddCheckCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("check", "Check the files of a raw data directory, and mend them");
  auto options = std::make_shared<Options>();
  command.AddOption("DIR", options->path, "Raw data directory").Required().TypeName("");
  command.AddFlag("--repair", options->repair, "Mend what can be mended without guessing");
  AddFormatOptions(command, options->format);
  command.Footer(
      "Looks for what a crash, a full disk or another program has left: files that are missing or\n"
      "cut off, an index that does not fit its data, left-over files. A member file is kept as\n"
      "NAME.BAK before it is changed. Exit status: 0 the directory is sound, 1 it is not.\n\n"
      "Examples:\n"
      "  tervalon check SAMPLE.RAW\n"
      "  tervalon check SAMPLE.RAW --repair --json");
  command.Callback([&chosen, options] {
    chosen = [options](Output& output) { CheckRawData(*options, output); };
  });
}

}  // namespace tervalon::tools
