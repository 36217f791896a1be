// Files over POSIX.

#include "platform/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/text.h"

namespace tervalon::platform {
namespace {

constexpr uint64_t kMaxOffset = std::numeric_limits<off_t>::max();

std::string Native(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

// Repeats a system call that a signal interrupts.
template <typename Call>
auto Retry(Call&& call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

class DirectoryReader {
 public:
  explicit DirectoryReader(const std::string& native) : dir_(opendir(native.c_str())) {}
  ~DirectoryReader() {
    if (dir_ != nullptr) closedir(dir_);
  }
  DirectoryReader(const DirectoryReader&) = delete;
  DirectoryReader& operator=(const DirectoryReader&) = delete;

  bool valid() const { return dir_ != nullptr; }
  int fd() const { return dirfd(dir_); }

  // The next entry but "." and ".."; nullptr at the end and on failure, told apart by failed().
  const dirent* Next() {
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(dir_);
      if (entry == nullptr) {
        failed_ = errno != 0;
        return nullptr;
      }
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") return entry;
    }
  }
  bool failed() const { return failed_; }

 private:
  DIR* dir_;
  bool failed_ = false;
};

// The native path of something that should exist. Data copied from other systems often changes
// case: where the exact name is absent, the last part is looked up without regard to case. Of
// several such names the first in byte order counts, so that the choice does not depend on the
// disk.
std::string Existing(const std::string& path) {
  std::string native = Native(path);
  struct stat status;
  if (lstat(native.c_str(), &status) == 0 || errno != ENOENT) return native;

  std::string bare = native;
  while (bare.size() > 1 && bare.back() == '/') bare.pop_back();
  const size_t slash = bare.rfind('/');
  const std::string parent = slash == std::string::npos ? "" : bare.substr(0, slash + 1);
  const std::string wanted = bare.substr(parent.size());
  DirectoryReader reader(parent.empty() ? "." : parent);
  if (!reader.valid()) return native;
  std::string found;
  while (const dirent* entry = reader.Next()) {
    if (!EqualWithoutCase(entry->d_name, wanted)) continue;
    if (found.empty() || found > entry->d_name) found = entry->d_name;
  }
  return found.empty() ? native : parent + found;
}

class LinuxFile : public File {
 public:
  explicit LinuxFile(int fd) : fd_(fd) {}

  bool ReadAt(uint64_t offset, void* buffer, size_t count, size_t* read) override {
    *read = 0;
    if (offset > kMaxOffset || count > kMaxOffset - offset) return false;
    while (*read < count) {
      const ssize_t got = Retry([&] {
        return pread(fd_.get(), static_cast<char*>(buffer) + *read, count - *read,
                     static_cast<off_t>(offset + *read));
      });
      if (got < 0) return false;
      if (got == 0) break;
      *read += static_cast<size_t>(got);
    }
    return true;
  }

  bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) override {
    *written = 0;
    if (offset > kMaxOffset || count > kMaxOffset - offset) return false;
    while (*written < count) {
      const ssize_t put = Retry([&] {
        return pwrite(fd_.get(), static_cast<const char*>(buffer) + *written, count - *written,
                      static_cast<off_t>(offset + *written));
      });
      if (put <= 0) break;
      *written += static_cast<size_t>(put);
    }
    return true;
  }

  bool Size(uint64_t* size) override {
    struct stat status;
    if (fstat(fd_.get(), &status) != 0) return false;
    *size = static_cast<uint64_t>(status.st_size);
    return true;
  }

  bool Lock(LockMode mode) override {
    constexpr useconds_t kPause = 2000;  // microseconds
    const int operation = (mode == LockMode::kShared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    int tries = mode == LockMode::kShared ? 100 : 1;
    while (Retry([&] { return flock(fd_.get(), operation); }) != 0) {
      if (errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOSYS) break;
      if (--tries == 0) return false;
      usleep(kPause);
    }
    struct stat status;
    return fstat(fd_.get(), &status) == 0 && status.st_nlink > 0;
  }

  // An interrupted close has closed the descriptor all the same.
  bool Close() override { return close(fd_.Release()) == 0 || errno == EINTR; }

 private:
  Descriptor fd_;
};

// Gives `fd` the owner and permissions of the file that it replaces. Only the permissions must
// succeed: giving a file away is the administrator's right.
bool TakePermissions(int fd, const struct stat& replaced) {
  if (fchown(fd, replaced.st_uid, replaced.st_gid) != 0) errno = 0;
  return fchmod(fd, replaced.st_mode & 07777) == 0;
}

class LinuxFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    if (!Nameable(path)) return nullptr;
    // Without O_NONBLOCK a named pipe in a file's place would hang the program.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    flags |= mode == OpenMode::kRead ? O_RDONLY : O_RDWR;
    if (mode == OpenMode::kCreate) flags |= O_CREAT | O_TRUNC;
    const std::string native = mode == OpenMode::kCreate ? Native(path) : Existing(path);
    Descriptor fd(Retry([&] { return open(native.c_str(), flags, 0666); }));
    struct stat status;
    if (!fd.valid() || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
    auto file = std::make_unique<LinuxFile>(fd.get());
    fd.Release();
    return file;
  }

  PathStatus Status(const std::string& path) override {
    struct stat status;
    if (!Nameable(path) || stat(Existing(path).c_str(), &status) != 0) return PathStatus::kNothing;
    return S_ISDIR(status.st_mode) ? PathStatus::kDirectory : PathStatus::kFile;
  }

  bool Remove(const std::string& path) override {
    return Nameable(path) && unlink(Existing(path).c_str()) == 0;
  }

  bool MakeDirectory(const std::string& path) override {
    return Nameable(path) && mkdir(Native(path).c_str(), 0777) == 0;
  }

  bool RemoveEmptyDirectory(const std::string& path) override {
    return Nameable(path) && rmdir(Existing(path).c_str()) == 0;
  }

  bool List(const std::string& path, std::vector<DirectoryEntry>* entries) override {
    entries->clear();
    if (!Nameable(path)) return false;
    DirectoryReader reader(Existing(path));
    if (!reader.valid()) return false;
    while (const dirent* entry = reader.Next()) {
      bool is_directory = entry->d_type == DT_DIR;
      if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
        struct stat status;
        is_directory =
            fstatat(reader.fd(), entry->d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
      }
      entries->push_back({entry->d_name, is_directory, !is_directory});
    }
    return !reader.failed();
  }

  bool Touch(const std::string& path) override {
    return Nameable(path) && utimensat(AT_FDCWD, Existing(path).c_str(), nullptr, 0) == 0;
  }

  bool MoveOver(const std::string& from, const std::string& to) override {
    if (!Nameable(from) || !Nameable(to)) return false;
    const std::string source = Native(from);
    std::string target = Existing(to);
    Descriptor fd(Retry([&] { return open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    if (!fd.valid()) return false;

    struct stat replaced;
    if (stat(target.c_str(), &replaced) == 0) {
      // A plain write would be refused here; a rename would not.
      if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return false;
      if (!TakePermissions(fd.get(), replaced)) return false;
      // A link stays one: the file that it names is replaced.
      char resolved[PATH_MAX];
      if (realpath(target.c_str(), resolved) != nullptr) target = resolved;
    }
    // The new name must not reach the disk before the bytes.
    if (Retry([&] { return fsync(fd.get()); }) != 0) return false;
    return rename(source.c_str(), target.c_str()) == 0;
  }

  std::string WorkingDirectory() override {
    char path[PATH_MAX];
    if (getcwd(path, sizeof path) == nullptr) return {};
    std::string text = path;
    std::replace(text.begin(), text.end(), '/', '\\');
    return text;
  }

 private:
  // An embedded zero would cut the name short at the system call.
  static bool Nameable(const std::string& path) {
    return !path.empty() && path.find('\0') == std::string::npos;
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(FileSystem, LinuxFileSystem)

}  // namespace tervalon::platform
