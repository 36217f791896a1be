// tervalon db check and repair: what crashes and other programs have left in a database.

#include <tervalon/databases.h>
#include <tervalon/result_codes.h>

#include <array>
#include <memory>
#include <sstream>

#include "tools/commands/command.h"
#include "tools/data/database.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Options {
  std::string path;
  std::string type;
  bool repair = false;
  FormatOptions format;
};

void CheckDatabase(const Options& options, Output& output) {
  const std::string path = DatabaseArgument(options.path);
  const int32_t type = options.type.empty() ? DB3_ANY_TYPE : DatabaseTypeArgument(options.type);
  std::array<char, 4096> text = {};
  const auto work = options.repair ? &DB3RepairFile : &DB3CheckFile;
  const int32_t cause =
      work(type, console::SystemText(path).c_str(), text.data(), static_cast<int32_t>(text.size()));
  std::vector<Value> findings;
  std::istringstream lines(Utf8FromSystem(text.data()));
  for (std::string line; std::getline(lines, line);) findings.emplace_back(line);
  if (cause != DB3_SUCCESS && findings.empty()) throw Failure(path, TvErrorText(cause));
  const bool sound = cause == DB3_SUCCESS && (options.repair || findings.empty());
  Print({.sections = {{.properties = {{"file", "File", path}, {"sound", "Sound", sound}}},
                      {.key = "findings",
                       .title = "Findings",
                       .columns = {{"finding", "Finding", findings}}}},
         .csv_section = "findings"},
        options.format.format(), output);
  if (!sound) throw Unsound{};
}

void AddDatabaseWork(Command db, const char* name, const char* what, const char* footer,
                     Action& chosen) {
  const Command command = db.AddSubcommand(name, what);
  auto options = std::make_shared<Options>();
  options->repair = std::string(name) == "repair";
  command.AddOption("FILE", options->path, "Database file").TypeName("").Required();
  command
      .AddOption("--type", options->type,
                 "Type, by number or title, that the file is to be of;\n"
                 "without, any")
      .TypeName("TYPE");
  AddFormatOptions(command, options->format);
  command.Footer(footer);
  command.Callback([&chosen, options] {
    chosen = [options](Output& output) { CheckDatabase(*options, output); };
  });
}

}  // namespace

void AddDatabaseChecks(Command db, Action& chosen) {
  AddDatabaseWork(db, "check", "Check a database file",
                  "Exit status: 0 the file is sound, 1 it is not.\n\n"
                  "Example:\n  tervalon db check P1.DBF",
                  chosen);
  AddDatabaseWork(db, "repair", "Make a damaged database file sound",
                  "The file as it was is kept as FILE.old. Exit status: 0 the file is sound now,\n"
                  "1 it is not.\n\nExample:\n  tervalon db repair P1.DBF",
                  chosen);
}

}  // namespace tervalon::tools
