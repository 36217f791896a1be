// Files in memory, of which calls can fail. They remember what was done to them and what was forced
// to the disk, so that a power cut can be tried at any moment: what was not forced is then there or
// not, as chance has it.

#ifndef TESTS_SUPPORT_MEMORY_FILES_H_
#define TESTS_SUPPORT_MEMORY_FILES_H_

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace tervalon::testing {

using Bytes = std::vector<uint8_t>;

// What is on a disk. Paths as the library has them.
struct Disk {
  std::map<std::string, Bytes> files;
  std::set<std::string> directories;

  bool operator==(const Disk&) const = default;
};

// One step of what a disk is asked for. A number stands for a file whatever its name.
struct DiskStep {
  enum Kind {
    kWrite,
    kResize,
    kName,  // `path` is `file` from now on (0: nothing), and `from`, where given, is nothing
    kMakeDirectory,
    kRemoveDirectory,
    kForceFile,
    kForceNames,  // those directly inside `path`
  };
  Kind kind;
  int file = 0;
  uint64_t offset = 0;  // or size
  Bytes bytes = {};
  std::string path = {};
  std::string from = {};
};

class MemoryFileSystem : public platform::FileSystem {
 public:
  static constexpr char kWorkingDirectory[] = "C:\\M";
  // No file grows beyond this: the disk is full then.
  static constexpr uint64_t kLargestFile = 16 << 20;

  explicit MemoryFileSystem(std::string working_directory = kWorkingDirectory);
  ~MemoryFileSystem() override;

  // What is there now, also of what is open.
  Disk Now() const;

  // Starts anew with what is given, all of it forced. No file may be open.
  void Load(const Disk& disk);

  // Makes a file, with the directories that it is in.
  void Put(const std::string& path, const Bytes& bytes);
  // Nothing for a file that is not there.
  Bytes Get(const std::string& path) const;

  // Of all calls but those of locks the ones from `first` (1: the next) to `last` fail.
  void Fail(uint64_t first, uint64_t last);
  int open_files() const { return open_files_; }

  // Steps since Load.
  const std::vector<DiskStep>& steps() const { return steps_; }
  // How often somebody has waited for the disk since Load.
  int64_t forced() const { return forced_; }
  void Record(bool record) { records_ = record; }

  // What a power cut after the first `count` of `steps` leaves of a disk.
  static Disk AfterPowerCut(const Disk& loaded, const std::vector<DiskStep>& steps, size_t count,
                            std::mt19937* random);

  std::unique_ptr<platform::File> Open(const std::string& path, platform::OpenMode mode,
                                       bool* absent = nullptr,
                                       platform::Spelling spelling = {}) override;
  std::unique_ptr<platform::File> OpenAlone(const std::string& path, bool* in_use) override;
  bool RemoveAlone(const std::string& path, std::unique_ptr<platform::File> file) override;
  platform::PathStatus Status(const std::string& path) override;
  bool Exists(const std::string& path) override;
  bool IsLink(const std::string& /*path*/) override { return false; }
  std::string Resolve(const std::string& path) override;
  std::string Target(const std::string& path) override { return Resolve(path); }
  bool Remove(const std::string& path) override;
  bool MakeDirectory(const std::string& path) override;
  bool RemoveEmptyDirectory(const std::string& path) override;
  bool List(const std::string& path, std::vector<platform::DirectoryEntry>* entries) override;
  bool Touch(const std::string& path) override { return !Fails() && Exists(path); }
  bool CopyAccess(const std::string& like, const std::string& path) override;
  bool MoveOver(const std::string& from, const std::string& to, platform::Force force) override;
  std::string WorkingDirectory() override { return working_directory_; }

 private:
  struct Node;
  class MemoryFile;

  bool Fails() { return ++calls_ >= first_failure_ && calls_ <= last_failure_; }
  // One spelling of each path.
  std::string Bare(const std::string& path) const;
  std::unique_ptr<platform::File> Make(const std::string& path, std::shared_ptr<Node> node,
                                       platform::OpenMode mode);
  std::shared_ptr<Node> Add(const std::string& path);
  void Note(DiskStep step);

  const std::string working_directory_;
  std::map<std::string, std::shared_ptr<Node>> files_;
  std::set<std::string> directories_;
  std::vector<DiskStep> steps_;
  int64_t forced_ = 0;
  int last_file_ = 0;
  bool records_ = false;
  uint64_t calls_ = 0;
  uint64_t first_failure_ = UINT64_MAX;
  uint64_t last_failure_ = 0;
  int open_files_ = 0;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_MEMORY_FILES_H_
