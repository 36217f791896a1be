#include "tervalon/paths.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "platform/file_system.h"
#include "platform/text.h"
#include "settings/path_text.h"
#include "settings/system_file.h"

namespace tervalon::settings {
namespace {

constexpr std::string_view kSeparators = "\\/";
constexpr const char* kNotInNames = "'\\/:*?<>|.";
constexpr const char* kNotInPaths = "/*?<>|";

bool IsSeparator(char c) { return kSeparators.find(c) != std::string_view::npos; }

std::string_view WithoutPoint(std::string_view extension) {
  return extension.substr(extension.empty() ? 0 : 1);
}

// Copies a text that fits; else fills the output with zeros.
int32_t CopyWhole(std::string_view text, char* out, int32_t size) {
  if (out == nullptr || size <= 0) return 0;
  if (CopyCut(text, out, size)) return 1;
  std::fill_n(out, size, '\0');
  return 0;
}

int32_t Create(const char* file, std::string_view directory, std::string_view extension, char* out,
               int32_t size) {
  PathParts parts = SplitPath(file != nullptr ? file : "");
  // An extension behind ".." would turn a directory into a file beside it.
  const bool only_points =
      !parts.name.empty() && parts.name.find_first_not_of('.') == std::string_view::npos;
  if (parts.directory.empty()) parts.directory = directory;
  if (parts.extension.empty() && !only_points) parts.extension = extension;
  return CopyWhole(ComposePath(parts.directory, parts.name, parts.extension), out, size);
}

template <size_t kSize>
bool Fill(char (&field)[kSize], std::string_view text) {
  return CopyCut(text, field, kSize);
}

bool HasNoneOf(const char* text, const char* forbidden) {
  return text != nullptr && std::strpbrk(text, forbidden) == nullptr;
}

}  // namespace

PathParts SplitPath(std::string_view path) {
  PathParts parts;
  const size_t separator = path.find_last_of(kSeparators);
  size_t directory_end = separator == std::string_view::npos ? 0 : separator + 1;
  if (directory_end < 2 && path.size() >= 2 && path[1] == ':') directory_end = 2;
  parts.directory = path.substr(0, directory_end);
  const std::string_view file = path.substr(directory_end);
  const bool only_points = file.find_first_not_of('.') == std::string_view::npos;
  const size_t point = only_points ? file.size() : std::min(file.rfind('.'), file.size());
  parts.name = file.substr(0, point);
  parts.extension = file.substr(point);
  return parts;
}

std::string ComposePath(std::string_view directory, std::string_view name,
                        std::string_view extension) {
  std::string path(directory);
  if (!path.empty() && !IsSeparator(path.back())) path += '\\';
  path += name;
  if (!extension.empty() && extension.front() != '.') path += '.';
  path += extension;
  return path;
}

std::string ComposePath(const SystemFile& file) {
  return ComposePath(FieldText(file.directory), FieldText(file.name), FieldText(file.extension));
}

bool CopyCut(std::string_view text, char* out, int32_t size) {
  const size_t length = std::min(text.size(), static_cast<size_t>(size) - 1);
  out[text.copy(out, length)] = '\0';
  return length == text.size();
}

}  // namespace tervalon::settings

using tervalon::Guarded;
namespace settings = tervalon::settings;
namespace platform = tervalon::platform;

extern "C" int32_t TERVALON_CALL CreatePathName(const char* file, const char* directory,
                                                const char* extension, char* out, int32_t size) {
  return Guarded(0, [=] {
    return settings::Create(file, directory != nullptr ? directory : "",
                            extension != nullptr ? extension : "", out, size);
  });
}

extern "C" int32_t TERVALON_CALL CreateKXFilePathName(const char* file, const SystemFile* defaults,
                                                      int32_t use_extension, char* out,
                                                      int32_t size) {
  if (defaults == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string_view extension =
        use_extension != 0 ? settings::FieldText(defaults->extension) : std::string_view();
    return settings::Create(file, settings::FieldText(defaults->directory), extension, out, size);
  });
}

extern "C" int32_t TERVALON_CALL ConvertPathToKXFile(SystemFile* file, const char* path) {
  if (file == nullptr || path == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string text = path;  // callers pass a field of the record itself
    const settings::PathParts parts = settings::SplitPath(text);
    const bool directory_fits = settings::Fill(file->directory, parts.directory);
    const bool name_fits = settings::Fill(file->name, parts.name);
    const bool extension_fits =
        settings::Fill(file->extension, settings::WithoutPoint(parts.extension));
    return directory_fits && name_fits && extension_fits;
  });
}

extern "C" int32_t TERVALON_CALL ConvertKXFileToPath(char* out, int32_t size,
                                                     const SystemFile* file) {
  if (out == nullptr || size <= 0 || file == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string path = settings::ComposePath(*file);
    std::fill_n(out, size, '\0');
    return settings::CopyCut(path, out, size);
  });
}

extern "C" int32_t TERVALON_CALL StringToFile(const char* path, SystemFile* file) {
  return ConvertPathToKXFile(file, path);
}

extern "C" int32_t TERVALON_CALL GetPathDirectory(const char* path, char* out, int32_t size) {
  if (path == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string text = path;  // callers pass one buffer as path and output
    return settings::CopyWhole(settings::SplitPath(text).directory, out, size);
  });
}

extern "C" int32_t TERVALON_CALL GetPathName(const char* path, char* out, int32_t size) {
  if (path == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string text = path;
    return settings::CopyWhole(settings::SplitPath(text).name, out, size);
  });
}

extern "C" int32_t TERVALON_CALL GetPathExtension(const char* path, char* out, int32_t size) {
  if (path == nullptr) return 0;
  return Guarded(0, [=] {
    const std::string text = path;
    return settings::CopyWhole(settings::WithoutPoint(settings::SplitPath(text).extension), out,
                               size);
  });
}

extern "C" int32_t TERVALON_CALL IsFileOfType(const char* path, const char* extension) {
  if (path == nullptr || extension == nullptr) return 0;
  return platform::EqualWithoutCase(settings::WithoutPoint(settings::SplitPath(path).extension),
                                    extension);
}

extern "C" int32_t TERVALON_CALL IsValidFilename(const char* name) {
  return settings::HasNoneOf(name, settings::kNotInNames);
}

extern "C" int32_t TERVALON_CALL IsValidPath(const char* path) {
  return settings::HasNoneOf(path, settings::kNotInPaths);
}

extern "C" int32_t TERVALON_CALL DirectoryExists(const char* path) {
  if (path == nullptr || *path == '\0') return 0;
  return Guarded(
      0, [=] { return platform::Files().Status(path) == platform::PathStatus::kDirectory; });
}
