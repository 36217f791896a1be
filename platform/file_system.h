// Files and directories as the library uses them. Paths are the library's own text: 8-bit, "\"
// between parts.

#ifndef PLATFORM_FILE_SYSTEM_H_
#define PLATFORM_FILE_SYSTEM_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/replaceable.h"

namespace tervalon::platform {

enum class OpenMode {
  kCreate,     // new or truncated, read and write
  kCreateNew,  // new, read and write; fails where anything has the name, a link too
  kRead,       // existing, read only
  kReadWrite,  // existing
};

// How the name of what exists is found.
enum class Spelling {
  kAnyCase,  // where the exact name is absent, one that differs only in case
  kAsGiven,
};

enum class LockMode {
  kShared,     // beside others who lock alike
  kExclusive,  // alone
};

enum class PathStatus {
  kNothing,
  kFile,
  kDirectory,
  kUnknown,  // it could not be told: nothing may be taken for absent
};

// Whether bytes have to be on the disk, so that they outlast a power cut, when a call returns.
enum class Force { kNo, kToDisk };

struct DirectoryEntry {
  std::string name;
  bool is_directory = false;
  bool is_ordinary = false;  // a file, and not merely a hidden, system or read-only one
};

// An open file. Others may read and write the same file meanwhile. The destructor closes.
class File {
 public:
  virtual ~File() = default;

  // Reads up to `count` bytes at `offset` into `buffer` and stores how many there were: fewer only
  // at the file's end. Returns false when the position cannot be taken or the device fails.
  virtual bool ReadAt(uint64_t offset, void* buffer, size_t count, size_t* read) = 0;

  // Writes `count` bytes at `offset` and stores how many went to the file: fewer when the disk is
  // full or the device fails. Returns false only when the position cannot be taken.
  virtual bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) = 0;

  virtual bool Size(uint64_t* size) = 0;

  // Cuts the file, or lengthens it by zeros.
  virtual bool Resize(uint64_t size) = 0;

  // Forces what was written to the disk.
  virtual bool Sync() = 0;

  // Tells all others who ask, in this process and elsewhere, that the file is in use, until it is
  // unlocked or closed or the process ends. Locks belong to the open file: two open files of one
  // process are two users. A lock that is held already is given up first. Returns false when
  // another's stands against it until `wait` is over, or when the file was removed or replaced
  // under its name (the caller may open it again); true where the file system knows no locks.
  // Nobody is kept from reading and writing.
  virtual bool Lock(LockMode mode, std::chrono::milliseconds wait = {}) = 0;

  virtual bool Unlock() = 0;

  // Closes the file; false when the system reports a failure. Nothing else may be called after.
  virtual bool Close() = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Returns nullptr on failure. Then `*absent` tells whether nothing is there under that name: only
  // in that case may a caller go on as with an empty file. kCreate and kCreateNew take the name as
  // it is given; the other modes look it up by `spelling`.
  virtual std::unique_ptr<File> Open(const std::string& path, OpenMode mode, bool* absent = nullptr,
                                     Spelling spelling = Spelling::kAnyCase) = 0;

  // Opens the file for one user in all programs at a time, until it is closed or the process ends,
  // and makes it where it is absent. Never follows a link. nullptr on failure; then `*in_use` tells
  // whether only another user stands in the way.
  virtual std::unique_ptr<File> OpenAlone(const std::string& path, bool* in_use) = 0;

  // Removes a file that OpenAlone has opened and closes it; whoever opens it next makes it anew.
  virtual bool RemoveAlone(const std::string& path, std::unique_ptr<File> file) = 0;

  // Finds a name of other case where the exact one is absent.
  virtual PathStatus Status(const std::string& path) = 0;

  // Whether anything, a link too, has exactly that name.
  virtual bool Exists(const std::string& path) = 0;

  // Whether the last part of the path is a link, to whatever.
  virtual bool IsLink(const std::string& path) = 0;

  // The path as it is spelled on the disk: of every part the exact name, or else the first in byte
  // order of those that differ in case. What does not exist stays as it is given.
  virtual std::string Resolve(const std::string& path) = 0;

  // The path of what is opened for writing under `path`: resolved, and links followed, also one
  // that leads to nothing yet. Empty when it cannot be told.
  virtual std::string Target(const std::string& path) = 0;

  // Takes the name as it is given.
  virtual bool Remove(const std::string& path) = 0;

  virtual bool MakeDirectory(const std::string& path) = 0;

  // Removes an empty directory. Takes the name as it is given.
  virtual bool RemoveEmptyDirectory(const std::string& path) = 0;

  // Lists the entries directly inside, without "." and "..", in no particular order. Entries that
  // no path can name, because their names have a "\\", are left out.
  virtual bool List(const std::string& path, std::vector<DirectoryEntry>* entries) = 0;

  // Sets access and modification time to now; of a link, its own.
  virtual bool Touch(const std::string& path) = 0;

  // Gives the file `path` the owner, where this user may, and the permissions of the file `like`.
  virtual bool CopyAccess(const std::string& like, const std::string& path) = 0;

  // Puts the file `from` in place of `to`, whole or not at all; `to` need not exist. The
  // permissions of a file that is replaced are kept. Refused for one that may not be written.
  virtual bool MoveOver(const std::string& from, const std::string& to,
                        Force force = Force::kToDisk) = 0;

  // The process's current directory; empty when it cannot be had.
  virtual std::string WorkingDirectory() = 0;
};

template <>
FileSystem& Current<FileSystem>();
template <>
FileSystem* Replace<FileSystem>(FileSystem* service);

inline FileSystem& Files() { return Current<FileSystem>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_FILE_SYSTEM_H_
