// A file system in memory, for runs that are over in microseconds, and of which calls can fail.
// Locks are those of one process.

#ifndef FUZZ_MEMORY_FILES_H_
#define FUZZ_MEMORY_FILES_H_

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace tervalon::fuzz {

using Bytes = std::vector<uint8_t>;

class MemoryFiles : public platform::FileSystem {
 public:
  // No file grows beyond this: the disk is full then.
  static constexpr uint64_t kLargestFile = 16 << 20;

  // Makes a file and the directories that it is in.
  void Put(const std::string& path, const Bytes& bytes);
  // Nothing for a file that is not there.
  Bytes Get(const std::string& path) const;
  // The files whose paths begin so.
  std::vector<std::string> Paths(const std::string& beginning) const;

  // Of all calls but those of locks the ones from `first` (1: the next) to `last` fail.
  void Fail(uint64_t first, uint64_t last);
  int open_files() const { return open_files_; }

  std::unique_ptr<platform::File> Open(const std::string& path, platform::OpenMode mode,
                                       bool* absent, platform::Spelling spelling) override;
  std::unique_ptr<platform::File> OpenAlone(const std::string& path, bool* in_use) override;
  bool RemoveAlone(const std::string& path, std::unique_ptr<platform::File> file) override;
  platform::PathStatus Status(const std::string& path) override;
  bool Exists(const std::string& path) override;
  bool IsLink(const std::string&) override { return false; }
  std::string Resolve(const std::string& path) override { return Find(path).path; }
  std::string Target(const std::string& path) override { return Find(path).path; }
  bool Remove(const std::string& path) override;
  bool MakeDirectory(const std::string& path) override;
  bool RemoveEmptyDirectory(const std::string& path) override;
  bool List(const std::string& path, std::vector<platform::DirectoryEntry>* entries) override;
  bool Touch(const std::string& path) override { return !Fails() && Exists(path); }
  bool CopyAccess(const std::string&, const std::string& path) override { return Exists(path); }
  bool MoveOver(const std::string& from, const std::string& to, platform::Force force) override;
  std::string WorkingDirectory() override { return "\\w"; }

 private:
  struct Content;
  class OpenFile;
  // What a path leads to: exactly, or else without regard to case.
  struct Place {
    std::string path;  // "\a\b", as it is spelled
    std::shared_ptr<Content> file;
    bool directory = false;
  };

  bool Fails() { return ++calls_ >= first_failure_ && calls_ <= last_failure_; }
  Place Find(const std::string& path, bool any_case = true) const;

  std::map<std::string, std::shared_ptr<Content>> files_;
  std::set<std::string> directories_{"\\w"};
  uint64_t calls_ = 0;
  uint64_t first_failure_ = UINT64_MAX;
  uint64_t last_failure_ = 0;
  int open_files_ = 0;
};

}  // namespace tervalon::fuzz

#endif  // FUZZ_MEMORY_FILES_H_
