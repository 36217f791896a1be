// A directory that comes into being whole or not at all: it is written under another name beside
// its place and takes the place when complete.

#ifndef TOOLS_SIMULATOR_STAGED_DIRECTORY_H_
#define TOOLS_SIMULATOR_STAGED_DIRECTORY_H_

#include <string>

namespace tervalon::tools {

class StagedDirectory {
 public:
  // Throws a Failure when there is something at `path` already, unless `replace` is set and it is a
  // raw data directory that holds nothing else.
  StagedDirectory(std::string path, bool replace);

  // Removes what was written, unless it was put in its place.
  ~StagedDirectory();
  StagedDirectory(const StagedDirectory&) = delete;
  StagedDirectory& operator=(const StagedDirectory&) = delete;

  // Where it will stand.
  const std::string& path() const { return path_; }
  // Where to write it; does not exist yet.
  const std::string& staging() const { return staging_; }

  // Puts it in its place. What stood there is removed, or on failure left as it was.
  void Commit();

 private:
  const std::string path_;
  std::string staging_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_SIMULATOR_STAGED_DIRECTORY_H_
