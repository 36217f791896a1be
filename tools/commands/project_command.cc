// tervalon project: project directories, and the one that is current in the settings file.

#include <tervalon/desktop.h>
#include <tervalon/paths.h>
#include <tervalon/projects.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>

#include "tools/commands/command.h"
#include "tools/data/files.h"
#include "tools/data/settings_file.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr const char* kSection = "SystemList";
constexpr std::array kFileKeys = {"CURVE_DB", "RAW",        "METHOD_DB",
                                  "PEAK_DB",  "SAMPLES_DB", "PTABLE_DB"};

struct Options {
  std::string project;
  FormatOptions format;
};

// The library's record of a project as typed; "PRO" is the extension of one without.
SystemFile Record(std::string path) {
  std::ranges::replace(path, '/', '\\');
  SystemFile project = {};
  std::array<char, TV_PATH_SIZE> full = {};
  if (CreatePathName(console::SystemText(path).c_str(), nullptr, "PRO", full.data(),
                     TV_PATH_SIZE) == 0 ||
      ConvertPathToKXFile(&project, full.data()) == 0) {
    throw Failure(path, "the path is too long");
  }
  const std::string_view name = project.name;
  if (name.find_first_not_of('.') == std::string_view::npos || IsValidPath(full.data()) == 0 ||
      name.find(',') != std::string_view::npos) {
    throw WrongUsage("PROJECT: '" + path + "' cannot be a project");
  }
  return project;
}

std::string SystemPath(const SystemFile& file) {
  std::array<char, 3 * TV_PATH_SIZE> path = {};
  ConvertKXFileToPath(path.data(), static_cast<int32_t>(path.size()), &file);
  return path.data();
}

std::string PathText(const SystemFile& file) { return Utf8FromSystem(SystemPath(file)); }

// Where the library's message box text goes instead of a box.
class MessageCatcher {
 public:
  MessageCatcher() { TvSetMessageHandler(&MessageCatcher::Take, this); }
  ~MessageCatcher() { TvSetMessageHandler(nullptr, nullptr); }
  MessageCatcher(const MessageCatcher&) = delete;
  MessageCatcher& operator=(const MessageCatcher&) = delete;

  const std::string& text() const { return text_; }

 private:
  static int32_t TERVALON_CALL Take(void* user, const char* text, const char*, uint32_t, TvWindow) {
    std::string& taken = static_cast<MessageCatcher*>(user)->text_;
    taken = Utf8FromSystem(text);
    for (size_t at = 0; (at = taken.find('\n', at)) != std::string::npos;) {
      taken.replace(at, 1, ". ");
    }
    return 1;
  }

  std::string text_;
};

void Create(const Options& options) {
  const SystemFile project = Record(DirectoryArgument(options.project));
  const MessageCatcher messages;
  if (ProCreateDirectory(nullptr, &project) == 0) {
    throw Failure(PathText(project),
                  messages.text().empty() ? "the project cannot be created" : messages.text());
  }
}

void ReadSystemList() {
  if (InitGlobal(0) == 0) {
    throw Failure(kSettingsFile, "cannot be read");
  }
}

// Other programs with other working directories read the entries, so they hold full paths.
void Select(const Options& options) {
  const std::filesystem::path typed = PathOf(DirectoryArgument(options.project));
  const SystemFile project = Record(NameOf(std::filesystem::absolute(typed).lexically_normal()));
  const std::string path = PathText(project);
  if (DirectoryExists(SystemPath(project).c_str()) == 0) {
    throw Failure(path, "there is no such project");
  }
  ReadSystemList();
  if (ProSetCurrent(nullptr, &project) == 0) {
    throw Failure(path, "the path is too long for the settings, or holds a comma");
  }
  if (FreeGlobal(0) == 0) {
    throw Failure(kSettingsFile, "cannot be written");
  }
}

void Show(const Options& options, Output& output) {
  // The store is read only: it is not freed, which would write it back.
  ReadSystemList();
  SystemFile project;
  if (ProGetCurrent(&project) == 0 || (*project.directory == '\0' && *project.name == '\0')) {
    throw Failure(kSettingsFile, "no project is selected");
  }
  const std::string path = SystemPath(project);
  std::vector<Value> keys;
  std::vector<Value> files;
  for (const char* key : kFileKeys) {
    SystemFile file;
    GetGlobalFile(kSection, key, nullptr, &file);
    keys.emplace_back(key);
    files.emplace_back(PathText(file));
  }
  Print({.sections = {{.properties = {{"project", "Project", Utf8FromSystem(path)},
                                      {"exists", "Exists", DirectoryExists(path.c_str()) != 0}}},
                      {.key = "files",
                       .title = "Current files",
                       .columns = {{"key", "Key", keys}, {"path", "Path", files}}}}},
        options.format.format(), output);
}

}  // namespace

void AddProjectCommand(Command program, Action& chosen) {
  const Command project = program.AddSubcommand("project", "Create and select projects");
  project.RequireSubcommand();
  project.Footer(
      "A project is a directory with the data and databases of one user or study. Selecting one\n"
      "points the current files in TERVALON.INI, in the working directory, into it. A name\n"
      "without an extension gets .PRO.\n\n"
      "Examples:\n"
      "  tervalon project create Oils\n"
      "  tervalon project select Oils\n"
      "  tervalon project show --json");
  auto options = std::make_shared<Options>();
  const auto takes_project = [options](Command command) {
    command.AddOption("PROJECT", options->project, "Project directory").TypeName("").Required();
  };

  const Command create = project.AddSubcommand("create", "Make a project's directories");
  takes_project(create);
  create.Footer(
      "Directories that exist are left as they are. The path, .PRO included, has at most 29\n"
      "characters as it is given.\n\nExample:\n  tervalon project create Oils");
  create.Callback([&chosen, options] { chosen = [options](Output&) { Create(*options); }; });

  const Command select = project.AddSubcommand("select", "Make a project the current one");
  takes_project(select);
  select.Footer("Example:\n  tervalon project select Oils.PRO");
  select.Callback([&chosen, options] { chosen = [options](Output&) { Select(*options); }; });

  const Command show = project.AddSubcommand("show", "Print the current project and its files");
  AddFormatOptions(show, options->format);
  show.Footer("Example:\n  tervalon project show --json");
  show.Callback(
      [&chosen, options] { chosen = [options](Output& output) { Show(*options, output); }; });
}

}  // namespace tervalon::tools
