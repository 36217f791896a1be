// tervalon path: a path as the library takes it apart and puts it together.

#include <tervalon/paths.h>

#include <array>
#include <memory>

#include "tools/commands/command.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Options {
  std::string path;
  std::string directory;
  std::string extension;
  FormatOptions format;
};

using Buffer = std::array<char, TV_PATH_SIZE>;

std::string Part(int32_t(TERVALON_CALL* get)(const char*, char*, int32_t),
                 const std::string& path) {
  Buffer part = {};
  get(path.c_str(), part.data(), TV_PATH_SIZE);
  return Utf8FromSystem(part.data());
}

void Run(const Options& options, Output& output) {
  Buffer full = {};
  if (CreatePathName(
          console::SystemText(options.path).c_str(), console::SystemText(options.directory).c_str(),
          console::SystemText(options.extension).c_str(), full.data(), TV_PATH_SIZE) == 0) {
    throw Failure(options.path, "the path is longer than 259 characters");
  }
  const std::string path = full.data();
  Print({.sections = {{.properties = {{"path", "Path", Utf8FromSystem(path)},
                                      {"directory", "Directory", Part(GetPathDirectory, path)},
                                      {"name", "Name", Part(GetPathName, path)},
                                      {"extension", "Extension", Part(GetPathExtension, path)},
                                      {"valid", "Valid", IsValidPath(path.c_str()) != 0},
                                      {"is_directory", "Is a directory",
                                       DirectoryExists(path.c_str()) != 0}}}}},
        options.format.format(), output);
}

}  // namespace

void AddPathCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("path", "Take a path apart, or complete it");
  auto options = std::make_shared<Options>();
  command.AddOption("PATH", options->path, "Path or file name").TypeName("").Required();
  command.AddOption("--directory", options->directory, "Directory, when PATH has none")
      .TypeName("DIR");
  command.AddOption("--extension", options->extension, "Extension, when PATH has none")
      .TypeName("EXT");
  AddFormatOptions(command, options->format);
  command.Footer(
      "A path is valid when it has none of the characters /*?<>| in it.\n\n"
      "Examples:\n"
      "  tervalon path 'C:\\DATA\\PEAKS.PDB'\n"
      "  tervalon path PEAKS --directory 'C:\\DATA' --extension PDB --json");
  command.Callback(
      [&chosen, options] { chosen = [options](Output& output) { Run(*options, output); }; });
}

}  // namespace tervalon::tools
