// Files and directories as the library uses them. Paths are the library's own text: 8-bit, "\"
// between parts.

#ifndef PLATFORM_FILE_SYSTEM_H_
#define PLATFORM_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/replaceable.h"

namespace tervalon::platform {

enum class OpenMode {
  kCreate,     // new or truncated, read and write
  kRead,       // existing, read only
  kReadWrite,  // existing
};

enum class LockMode {
  kShared,     // beside others who lock alike; waits a moment for an exclusive one to go
  kExclusive,  // alone
};

enum class PathStatus { kNothing, kFile, kDirectory };

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

  // Tells all others who ask, in this process and elsewhere, that the file is in use, until it is
  // closed or the process ends. A lock that is held already is given up first. Returns false when
  // another's stands against it or the file was removed and its name is free; true where the file
  // system knows no locks. Nobody is kept from reading and writing.
  virtual bool Lock(LockMode mode) = 0;

  // Closes the file; false when the system reports a failure. Nothing else may be called after.
  virtual bool Close() = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Returns nullptr on failure.
  virtual std::unique_ptr<File> Open(const std::string& path, OpenMode mode) = 0;

  virtual PathStatus Status(const std::string& path) = 0;

  virtual bool Remove(const std::string& path) = 0;

  virtual bool MakeDirectory(const std::string& path) = 0;

  // Removes an empty directory.
  virtual bool RemoveEmptyDirectory(const std::string& path) = 0;

  // Lists the entries directly inside, without "." and "..", in no particular order.
  virtual bool List(const std::string& path, std::vector<DirectoryEntry>* entries) = 0;

  // Sets access and modification time to now.
  virtual bool Touch(const std::string& path) = 0;

  // Puts the file `from` in place of `to`, whole or not at all; `to` need not exist. The
  // permissions of a file that is replaced are kept.
  virtual bool MoveOver(const std::string& from, const std::string& to) = 0;

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
