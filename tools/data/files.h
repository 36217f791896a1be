// Files by their names as typed: on Windows in UTF-8, elsewhere bytes.

#ifndef TOOLS_DATA_FILES_H_
#define TOOLS_DATA_FILES_H_

#include <filesystem>
#include <string>

namespace tervalon::tools {

std::filesystem::path PathOf(const std::string& name);
std::string NameOf(const std::filesystem::path& path);

// A name that nothing has, beside `name` and of its file system: "NAME.5f1c2a.part".
std::string UnusedName(const std::string& name, const std::string& ending);

// What a file of that name is: where it is a link, what that leads to.
std::string LinkTarget(const std::string& name);

// Puts a file that is complete in the place of another, whose permissions and, as far as the user
// may, owner it takes over. Throws a Failure, the complete file then being removed.
void MoveOver(const std::string& complete, const std::string& name);

// Does nothing when there is no such file.
void RemoveFile(const std::string& name);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_FILES_H_
