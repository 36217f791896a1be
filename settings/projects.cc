#include "tervalon/projects.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "platform/desktop.h"
#include "platform/file_system.h"
#include "platform/profile.h"
#include "platform/text.h"
#include "platform/window_manager.h"
#include "settings/ini_text.h"
#include "settings/path_text.h"
#include "settings/settings.h"
#include "settings/system_file.h"
#include "tervalon/application.h"
#include "tervalon/paths.h"

namespace tervalon::settings {
namespace {

using platform::PathStatus;

constexpr const char* kSection = "SystemList";
constexpr const char* kProjectKey = "PROJECT";
constexpr const char* kCreateCaption = "Create Project";
constexpr const char* kSelectCaption = "Select Project";

// A short path has room for 64 characters, of which sub-directory and file name take 35.
constexpr size_t kMaxShortPath = 65;
constexpr size_t kBelowProject = 35;

constexpr SystemFile kDefaultProject = {0, "c:\\tervalon\\", "", "PRO", 0, 0};

struct FileKind {
  const char* directory;
  const char* extension;
  const char* key;
};
// The samples' key is set twice on purpose: the sample list is the one that remains.
constexpr std::array<FileKind, 7> kFileKinds = {{
    {"CURVEDB", "CDB", "CURVE_DB"},
    {"DATA", "RAW", "RAW"},
    {"METHDB", "MDB", "METHOD_DB"},
    {"PEAKDB", "PDB", "PEAK_DB"},
    {"SAMPLEDB", "SDB", "SAMPLES_DB"},
    {"SAMPLEDB", "SPL", "SAMPLES_DB"},
    {"TABLEDB", "TDB", "PTABLE_DB"},
}};

constexpr std::string_view kRawExtension = "RAW";

std::string SubDirectory(const std::string& project, const FileKind& kind) {
  return ComposePath(project, kind.directory, "");
}

// The value of a record in the store. False when it would not be read back as it is.
bool ValueOf(const SystemFile& file, const char* key, std::string* value) {
  return Format(file, value) && value->size() + std::strlen(key) < kMaxLine;
}

// The record of a kind's current file in a project. False when it has no room in the record.
bool FileOf(const SystemFile& project, const FileKind& kind, SystemFile* file) {
  *file = {};
  return CopyCut(SubDirectory(ComposePath(project), kind) + "\\", file->directory,
                 sizeof(file->directory)) &&
         CopyCut(FieldText(project.name), file->name, sizeof(file->name)) &&
         CopyCut(kind.extension, file->extension, sizeof(file->extension));
}

// What the pattern "*." and the extension finds: without an extension, names without a point.
bool Matches(std::string_view name, std::string_view extension) {
  if (extension.empty()) return name.find('.') == std::string_view::npos;
  return name.size() > extension.size() && name[name.size() - extension.size() - 1] == '.' &&
         platform::EqualWithoutCase(name.substr(name.size() - extension.size()), extension);
}

bool ComesBefore(std::string_view left, std::string_view right) {
  const auto lower = [](char a, char b) {
    return static_cast<unsigned char>(platform::LowerCase(a)) <
           static_cast<unsigned char>(platform::LowerCase(b));
  };
  if (std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(), lower)) {
    return true;
  }
  return platform::EqualWithoutCase(left, right) && left < right;
}

// Whether a name out of a directory is one name and not a path that leads elsewhere, and can stand
// in a record's line.
bool IsUsableName(std::string_view name) {
  return name.find_first_of("\\/,\r\n") == std::string_view::npos;
}

enum class Search { kNothing, kFound, kUnreadable };

Search FindFirst(SystemFile* file, bool want_directory) {
  const std::string_view text = FieldText(file->directory);
  const std::string directory = text.empty() ? "." : std::string(text);
  std::vector<platform::DirectoryEntry> entries;
  if (!platform::Files().List(directory, &entries)) {
    const PathStatus status = platform::Files().Status(directory);
    return status == PathStatus::kNothing || status == PathStatus::kFile ? Search::kNothing
                                                                         : Search::kUnreadable;
  }
  const std::string* first = nullptr;
  for (const platform::DirectoryEntry& entry : entries) {
    if (!(want_directory ? entry.is_directory : entry.is_ordinary)) continue;
    if (!Matches(entry.name, FieldText(file->extension)) || !IsUsableName(entry.name)) continue;
    if (first == nullptr || ComesBefore(entry.name, *first)) first = &entry.name;
  }
  if (first == nullptr) return Search::kNothing;
  CopyCut(std::string_view(*first).substr(0, first->find('.')), file->name, sizeof(file->name));
  return Search::kFound;
}

using CurrentFiles = std::array<std::string, kFileKinds.size()>;  // values in the store

// The current files of a project. False when one cannot be stored, or a directory is there and
// cannot be read: a project is selected as a whole or not at all.
bool FindCurrentFiles(const SystemFile& project, CurrentFiles* files) {
  for (size_t i = 0; i < files->size(); ++i) {
    const FileKind& kind = kFileKinds[i];
    std::string* value = &(*files)[i];
    SystemFile file;
    if (!FileOf(project, kind, &file) || !ValueOf(file, kind.key, value)) return false;
    const bool is_raw = platform::EqualWithoutCase(kind.extension, kRawExtension);
    if (FindFirst(&file, is_raw) == Search::kUnreadable || !ValueOf(file, kind.key, value)) {
      return false;
    }
  }
  return true;
}

// Sets the current files, and the project where it is given.
int32_t SetCurrentFiles(const CurrentFiles& files, const std::string* project) {
  std::vector<platform::ProfileEdit> values;
  if (project != nullptr) values.push_back({kSection, kProjectKey, project->c_str()});
  for (size_t i = 0; i < files.size(); ++i) {
    values.push_back({kSection, kFileKinds[i].key, files[i].c_str()});
  }
  return SetGlobalValues(values);
}

int32_t CannotCreate(TvWindow owner, const char* text) {
  platform::TheDesktop().ShowMessage(owner, text, kCreateCaption,
                                     platform::kMessageOk | platform::kMessageIconExclamation);
  return 0;
}

// A directory in another case is the one that is meant, and so is one that another program makes at
// the same time.
bool EnsureDirectory(const std::string& path) {
  platform::FileSystem& files = platform::Files();
  const auto exists = [&] { return files.Status(path) == PathStatus::kDirectory; };
  return exists() || files.MakeDirectory(files.Resolve(path)) || exists();
}

int32_t CreateProject(TvWindow owner, const SystemFile& project) {
  const std::string directory = ComposePath(project);
  if (directory.size() + kBelowProject >= kMaxShortPath) {
    return CannotCreate(owner,
                        "Unable to create Project directory\n"
                        "Try moving this project up a directory level");
  }
  if (!EnsureDirectory(directory)) return CannotCreate(owner, "Unable to create Project directory");
  const bool complete = std::all_of(
      kFileKinds.begin(), kFileKinds.end(),
      [&](const FileKind& kind) { return EnsureDirectory(SubDirectory(directory, kind)); });
  return complete ? 1 : CannotCreate(owner, "Unable to create Project sub-directory");
}

// Asks a service to close, and closes it when it agrees. For one that had no window from the start
// (nullptr) the application answers.
bool CloseService(int32_t slot, TvWindow window) {
  platform::WindowManager& windows = platform::Windows();
  // It may have ended together with another.
  if (AppGetService(slot, nullptr) == 0) return true;
  if (window == nullptr) {
    if (!appsvc::AskToCloseService(slot)) return false;
  } else if (windows.IsWindow(window)) {
    if (windows.Send(window, PRO_CLOSE_REQUEST, 0, 0) == 0) return false;
    windows.Destroy(window);
  }
  AppSetService(slot, nullptr, 0);
  return true;
}

int32_t ShutDown(TvWindow owner) {
  std::vector<std::pair<int32_t, TvWindow>> services;
  for (int32_t slot = 1; slot < APP_SERVICE_SLOTS; ++slot) {
    TvWindow window = nullptr;
    if (AppGetService(slot, &window) == 0) continue;
    services.emplace_back(slot, platform::Windows().IsWindow(window) ? window : nullptr);
  }
  if (services.empty()) return 1;
  const int32_t answer = platform::TheDesktop().ShowMessage(
      owner,
      "When changing to a new Project all services are automatically closed down.\nContinue?",
      kSelectCaption, platform::kMessageYesNo | platform::kMessageIconQuestion);
  if (answer != platform::kAnswerYes) return 0;
  return std::all_of(services.begin(), services.end(), [](const auto& service) {
    return CloseService(service.first, service.second);
  });
}

// The project that the dialog starts with.
SystemFile StartingProject(bool* is_default) {
  SystemFile project;
  const bool is_set =
      ProGetCurrent(&project) != 0 && (*project.directory != 0 || *project.name != 0);
  *is_default = !is_set;
  return is_set ? project : kDefaultProject;
}

// Reads a chosen path, with the usual extension when it has none.
bool ReadChoice(const std::string& path, SystemFile* project) {
  char text[TV_PATH_SIZE];
  SystemFile chosen = *project;
  if (CreatePathName(path.c_str(), nullptr, kDefaultProject.extension, text, sizeof(text)) == 0 ||
      ConvertPathToKXFile(&chosen, text) == 0) {
    return false;
  }
  *project = chosen;
  return true;
}

// Answers a choice of the dialog: true takes it.
bool Accept(TvWindow dialog, const std::string& path) {
  SystemFile project = {};
  const bool is_path = ReadChoice(path, &project);
  const std::string directory = is_path ? ComposePath(project) : path;
  const PathStatus status = is_path ? platform::Files().Status(directory) : PathStatus::kNothing;
  if (status == PathStatus::kDirectory) return true;
  const std::string missing = directory + "\n\nThis Project does not exist.\n";
  const bool can_be_created = is_path && status == PathStatus::kNothing &&
                              (*project.directory == 0 || DirectoryExists(project.directory) != 0);
  if (!can_be_created) {
    platform::TheDesktop().ShowMessage(
        dialog, (missing + "Check path and name are correct.").c_str(), kSelectCaption,
        platform::kMessageOk | platform::kMessageIconExclamation);
    return false;
  }
  const int32_t answer = platform::TheDesktop().ShowMessage(
      dialog, (missing + "Create Project directory?").c_str(), kSelectCaption,
      platform::kMessageYesNo | platform::kMessageIconQuestion);
  return answer == platform::kAnswerYes && CreateProject(dialog, project) != 0;
}

int32_t OpenProject(TvWindow owner, SystemFile* project) {
  bool is_default = false;
  const SystemFile start = StartingProject(&is_default);
  platform::FileChoice choice;
  choice.owner = owner;
  if (!appsvc::ApplicationInstance(&choice.instance)) choice.instance = AppGetInstance();
  choice.dialog_template = "PROJECT_OPEN";
  choice.title = is_default ? "Select Tervalon default project" : kSelectCaption;
  choice.name_label = "Project &Name:";
  choice.directory = FieldText(start.directory);
  choice.path = std::string(FieldText(start.name)).append(".").append(FieldText(start.extension));
  choice.extension = kDefaultProject.extension;
  choice.accept = Accept;
  uint32_t error = 0;
  const platform::FileChoiceResult result = platform::TheDesktop().ChooseFile(&choice, &error);
  if (result == platform::FileChoiceResult::kFailed) {
    const std::string text =
        "Dialog open error (" + std::to_string(static_cast<int32_t>(error)) + ")";
    platform::TheDesktop().ShowMessage(owner, text.c_str(), kSelectCaption,
                                       platform::kMessageOk | platform::kMessageIconExclamation);
  }
  return result == platform::FileChoiceResult::kChosen && ReadChoice(choice.path, project);
}

}  // namespace
}  // namespace tervalon::settings

using tervalon::Guarded;
namespace settings = tervalon::settings;

extern "C" int32_t TERVALON_CALL ProGetCurrent(SystemFile* project) {
  return GetGlobalFile(settings::kSection, settings::kProjectKey, &settings::kDefaultProject,
                       project);
}

extern "C" int32_t TERVALON_CALL ProSetCurrent(TvWindow owner, const SystemFile* project) {
  if (project == nullptr) return 0;
  return Guarded(0, [=] {
    settings::CurrentFiles files;
    std::string value;
    if (!settings::ValueOf(*project, settings::kProjectKey, &value) ||
        !settings::FindCurrentFiles(*project, &files) || ProShutDownServices(owner) == 0 ||
        !settings::FindCurrentFiles(*project, &files)) {  // services may leave files behind
      return 0;
    }
    return settings::SetCurrentFiles(files, &value);
  });
}

extern "C" int32_t TERVALON_CALL ProSetGlobalDirectories(const SystemFile* project) {
  if (project == nullptr) return 0;
  return Guarded(0, [=] {
    settings::CurrentFiles files;
    return settings::FindCurrentFiles(*project, &files) ? settings::SetCurrentFiles(files, nullptr)
                                                        : 0;
  });
}

extern "C" int32_t TERVALON_CALL ProCreateDirectory(TvWindow owner, const SystemFile* project) {
  if (project == nullptr) return 0;
  return Guarded(0, [=] { return settings::CreateProject(owner, *project); });
}

extern "C" int32_t TERVALON_CALL ProFindFirstFileName(SystemFile* file, int32_t want_directory) {
  if (file == nullptr) return 0;
  return Guarded(0, [=] {
    return settings::FindFirst(file, want_directory != 0) == settings::Search::kFound;
  });
}

extern "C" int32_t TERVALON_CALL ProShutDownServices(TvWindow owner) {
  return Guarded(0, [=] { return settings::ShutDown(owner); });
}

extern "C" int32_t TERVALON_CALL ProFileOpen(TvWindow owner, SystemFile* project) {
  if (project == nullptr) return 0;
  return Guarded(0, [=] { return settings::OpenProject(owner, project); });
}
