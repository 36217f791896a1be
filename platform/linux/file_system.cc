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
#include <memory>
#include <string_view>
#include <utility>

#include "platform/patience.h"
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
  Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
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
  DirectoryReader& operator=(DirectoryReader&& other) noexcept {
    std::swap(dir_, other.dir_);
    return *this;
  }

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

bool NothingThere(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

enum class Found { kYes, kNo, kUnknown };

// Spells the parts of a native path that exist as they stand on the disk. Data copied from other
// systems often changes case: where the exact name is absent, a part is looked up without regard to
// case. Of several such names the first in byte order counts, so that the choice does not depend on
// the disk.
Found Spell(std::string* native) {
  struct stat status;
  if (lstat(native->c_str(), &status) == 0) return Found::kYes;
  if (errno != ENOENT) return NothingThere(errno) ? Found::kNo : Found::kUnknown;

  std::string bare = *native;
  while (bare.size() > 1 && bare.back() == '/') bare.pop_back();
  const size_t slash = bare.rfind('/');
  std::string parent = slash == std::string::npos ? "" : bare.substr(0, slash + 1);
  const std::string wanted = bare.substr(parent.size());
  if (parent.size() > 1) {
    parent.pop_back();
    const std::string as_given = parent;
    const Found found = Spell(&parent);
    const bool other = parent != as_given;
    parent += '/';
    if (other) *native = parent + wanted;
    if (found != Found::kYes) return found;
    if (other && lstat(native->c_str(), &status) == 0) return Found::kYes;
  }
  DirectoryReader reader(parent.empty() ? "." : parent);
  if (!reader.valid()) return NothingThere(errno) ? Found::kNo : Found::kUnknown;
  std::string name;
  while (const dirent* entry = reader.Next()) {
    if (!EqualWithoutCase(entry->d_name, wanted)) continue;
    if (name.empty() || name > entry->d_name) name = entry->d_name;
  }
  if (reader.failed()) return Found::kUnknown;
  if (name.empty()) return Found::kNo;
  *native = parent + name;
  return Found::kYes;
}

std::string Portable(std::string native) {
  std::replace(native.begin(), native.end(), '/', '\\');
  return native;
}

std::string Join(std::string directory, const std::string& name) {
  if (!directory.ends_with('/')) directory += '/';
  return directory.append(name);
}

std::string ParentOf(const std::string& native) {
  const size_t slash = native.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : native.substr(0, slash);
}

// The path without links; "" where there is nothing.
std::string RealPath(const std::string& native) {
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(native.c_str(), nullptr),
                                                         &std::free);
  return path != nullptr ? path.get() : "";
}

// Forces the names in the directory of a path to the disk, as far as its file system can.
void ForceNames(const std::string& native) {
  char parent[PATH_MAX];  // no memory is needed once something is done
  const size_t slash = native.rfind('/');
  const size_t length = slash == 0 ? 1 : slash == std::string::npos ? 0 : slash;
  if (length >= sizeof(parent)) return;
  native.copy(parent, length);
  parent[length] = '\0';
  const Descriptor fd(
      Retry([&] { return open(length > 0 ? parent : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (fd.valid()) Retry([&] { return fsync(fd.get()); });
}

class LinuxFile : public File {
 public:
  explicit LinuxFile(std::string native) : fd_(-1), native_(std::move(native)) {}

  // False for what is no file proper.
  bool Take(Descriptor fd) {
    struct stat status;
    if (!fd.valid() || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    fd_ = std::move(fd);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    return true;
  }

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

  bool Resize(uint64_t size) override {
    return size <= kMaxOffset &&
           Retry([&] { return ftruncate(fd_.get(), static_cast<off_t>(size)); }) == 0;
  }

  // With its name: that of a new file is not on the disk by itself.
  bool Sync() override {
    if (Retry([&] { return fsync(fd_.get()); }) != 0) return false;
    ForceNames(native_);
    return true;
  }

  bool Lock(LockMode mode, std::chrono::milliseconds wait) override {
    const int operation = (mode == LockMode::kShared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    const int place = mode == LockMode::kShared ? F_RDLCK : F_WRLCK;
    // Whoever is next in line keeps out those who come later: many readers, or one writer that
    // wants the lock again and again, leave no moment for others to find it free.
    if (NobodyInLine(place) && Retry([&] { return flock(fd_.get(), operation); }) == 0) {
      if (HasItsName()) return true;
      Unlock();
      return false;
    }
    Patience patience(wait);
    while (!StandInLine(place)) {
      if (!patience.Wait()) return false;
    }
    bool locked = true;
    while (Retry([&] { return flock(fd_.get(), operation); }) != 0) {
      if (errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOSYS) break;
      locked = errno == EWOULDBLOCK && patience.Wait();
      if (!locked) break;
    }
    StandInLine(F_UNLCK);
    if (locked && HasItsName()) return true;
    Unlock();
    return false;
  }

  bool Unlock() override {
    return Retry([&] { return flock(fd_.get(), LOCK_UN); }) == 0;
  }

  // An interrupted close has closed the descriptor all the same.
  bool Close() override { return close(fd_.Release()) == 0 || errno == EINTR; }

 private:
  static struct flock PlaceInLine(int type) {
    struct flock lock = {};
    lock.l_type = static_cast<decltype(lock.l_type)>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = kMaxOffset - 1;
    lock.l_len = 1;
    return lock;
  }

  // Whether one could stand in line; one call where standing there and leaving it are two.
  bool NobodyInLine(int type) {
    struct flock lock = PlaceInLine(type);
    return Retry([&] { return fcntl(fd_.get(), F_OFD_GETLK, &lock); }) == 0 &&
           lock.l_type == F_UNLCK;
  }

  // A lock of the other kind, on a byte that no file has. False when others have it; true, too,
  // where there is none to be had.
  bool StandInLine(int type) {
    struct flock lock = PlaceInLine(type);
    return Retry([&] { return fcntl(fd_.get(), F_OFD_SETLK, &lock); }) == 0 ||
           (errno != EAGAIN && errno != EACCES);
  }

  // Whether the file is still the one under its name.
  bool HasItsName() const {
    struct stat named;
    // A relative name means something else once the process has changed its directory.
    const bool is_named = native_.front() == '/';
    if (is_named && stat(native_.c_str(), &named) == 0) {
      return named.st_dev == device_ && named.st_ino == inode_;
    }
    struct stat own;
    return (!is_named || !NothingThere(errno)) && fstat(fd_.get(), &own) == 0 && own.st_nlink > 0;
  }

  Descriptor fd_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::string native_;
};

// Gives `fd` the owner and permissions of the file that it replaces. Only the permissions must
// succeed: giving a file away is the administrator's right.
bool TakePermissions(int fd, const struct stat& replaced) {
  if (fchown(fd, replaced.st_uid, replaced.st_gid) != 0) errno = 0;
  return fchmod(fd, replaced.st_mode & 07777) == 0;
}

class LinuxFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode, bool* absent,
                             Spelling spelling) override {
    bool ignored = false;
    if (absent == nullptr) absent = &ignored;
    *absent = false;
    if (!Nameable(path)) return nullptr;
    // Without O_NONBLOCK a named pipe in a file's place would hang the program.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    flags |= mode == OpenMode::kRead ? O_RDONLY : O_RDWR;
    if (mode == OpenMode::kCreate) flags |= O_CREAT | O_TRUNC;
    if (mode == OpenMode::kCreateNew) flags |= O_CREAT | O_EXCL;
    std::string native = Native(path);
    const bool find =
        (mode == OpenMode::kRead || mode == OpenMode::kReadWrite) && spelling == Spelling::kAnyCase;
    if (find && Spell(&native) == Found::kUnknown) return nullptr;
    auto file = std::make_unique<LinuxFile>(native);  // while nothing has been made yet
    Descriptor fd(Retry([&] { return open(native.c_str(), flags, 0666); }));
    if (!fd.valid()) *absent = NothingThere(errno);
    return file->Take(std::move(fd)) ? std::move(file) : nullptr;
  }

  std::unique_ptr<File> OpenAlone(const std::string& path, bool* in_use) override {
    *in_use = false;
    if (!Nameable(path)) return nullptr;
    constexpr int kFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW;
    const std::string native = Native(path);
    auto file = std::make_unique<LinuxFile>(native);
    Descriptor fd(Retry([&] { return open(native.c_str(), kFlags | O_RDWR | O_CREAT, 0666); }));
    // One of another user's can be locked all the same.
    if (!fd.valid() && errno == EACCES) {
      fd = Descriptor(Retry([&] { return open(native.c_str(), kFlags | O_RDONLY); }));
    }
    if (!file->Take(std::move(fd))) return nullptr;
    if (file->Lock(LockMode::kExclusive, {})) return file;
    *in_use = true;  // or removed just now
    return nullptr;
  }

  bool RemoveAlone(const std::string& path, std::unique_ptr<File> file) override {
    const bool removed = Remove(path);
    file.reset();
    return removed;
  }

  PathStatus Status(const std::string& path) override {
    if (!Nameable(path)) return PathStatus::kNothing;
    std::string native = Native(path);
    struct stat status;
    bool found = stat(native.c_str(), &status) == 0;
    if (!found) {
      if (Spell(&native) == Found::kUnknown) return PathStatus::kUnknown;
      found = stat(native.c_str(), &status) == 0;
    }
    if (!found) {
      return NothingThere(errno) ? PathStatus::kNothing : PathStatus::kUnknown;
    }
    return S_ISDIR(status.st_mode) ? PathStatus::kDirectory : PathStatus::kFile;
  }

  bool Exists(const std::string& path) override {
    struct stat status;
    return Nameable(path) && lstat(Native(path).c_str(), &status) == 0;
  }

  bool IsLink(const std::string& path) override {
    if (!Nameable(path)) return false;
    std::string native = Native(path);
    while (native.size() > 1 && native.back() == '/') native.pop_back();
    struct stat status;
    return lstat(native.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  }

  std::string Resolve(const std::string& path) override {
    if (!Nameable(path)) return path;
    const std::string given = Native(path);
    std::string native = given;
    Spell(&native);
    return native == given ? path : Portable(native);
  }

  std::string Target(const std::string& path) override {
    constexpr int kMostLinks = 40;  // as the system has it
    if (!Nameable(path)) return {};
    std::string native = Native(path);
    for (int links = 0; links < kMostLinks; ++links) {
      if (Spell(&native) == Found::kUnknown) return {};
      std::string real = RealPath(native);
      if (!real.empty()) return Portable(std::move(real));
      char link[PATH_MAX];
      const ssize_t length = readlink(native.c_str(), link, sizeof(link));
      if (length < 0) {
        real = RealPath(ParentOf(native));
        const std::string name = native.substr(native.rfind('/') + 1);
        return Portable(real.empty() ? native : Join(std::move(real), name));
      }
      const std::string to(link, static_cast<size_t>(length));
      native = to.starts_with('/') ? to : Join(ParentOf(native), to);
    }
    return {};
  }

  bool Remove(const std::string& path) override {
    return Nameable(path) && unlink(Native(path).c_str()) == 0;
  }

  bool MakeDirectory(const std::string& path) override {
    if (!Nameable(path)) return false;
    const std::string native = Native(path);
    if (mkdir(native.c_str(), 0777) != 0) return false;
    ForceNames(native);  // else all that is forced inside could go with it
    return true;
  }

  bool RemoveEmptyDirectory(const std::string& path) override {
    return Nameable(path) && rmdir(Native(path).c_str()) == 0;
  }

  bool List(const std::string& path, std::vector<DirectoryEntry>* entries) override {
    entries->clear();
    if (!Nameable(path)) return false;
    DirectoryReader reader(Native(path));
    if (!reader.valid()) reader = DirectoryReader(Spelled(path));
    if (!reader.valid()) return false;
    while (const dirent* entry = reader.Next()) {
      if (std::string_view(entry->d_name).find('\\') != std::string_view::npos) continue;
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
    return Nameable(path) &&
           utimensat(AT_FDCWD, Spelled(path).c_str(), nullptr, AT_SYMLINK_NOFOLLOW) == 0;
  }

  bool CopyAccess(const std::string& like, const std::string& path) override {
    struct stat status;
    if (!Nameable(like) || !Nameable(path) || stat(Native(like).c_str(), &status) != 0)
      return false;
    const Descriptor fd(
        Retry([&] { return open(Native(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    return fd.valid() && TakePermissions(fd.get(), status);
  }

  bool MoveOver(const std::string& from, const std::string& to, Force force) override {
    if (!Nameable(from)) return false;
    const std::string source = Native(from);
    const std::string target = Native(Target(to));
    Descriptor fd(Retry([&] { return open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    if (!fd.valid() || target.empty()) return false;

    struct stat replaced;
    if (stat(target.c_str(), &replaced) == 0) {
      // A plain write would be refused here; a rename would not.
      if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return false;
      if (!TakePermissions(fd.get(), replaced)) return false;
    }
    // The new name must not reach the disk before the bytes.
    if (force == Force::kToDisk && Retry([&] { return fsync(fd.get()); }) != 0) return false;
    if (rename(source.c_str(), target.c_str()) != 0) return false;
    if (force == Force::kToDisk) ForceNames(target);
    return true;
  }

  std::string WorkingDirectory() override {
    char path[PATH_MAX];
    return getcwd(path, sizeof path) != nullptr ? Portable(path) : std::string();
  }

 private:
  // An embedded zero would cut the name short at the system call.
  static bool Nameable(const std::string& path) {
    return !path.empty() && path.find('\0') == std::string::npos;
  }

  static std::string Spelled(const std::string& path) {
    std::string native = Native(path);
    Spell(&native);
    return native;
  }
};

}  // namespace

void Pause(std::chrono::microseconds time) { usleep(static_cast<useconds_t>(time.count())); }

TERVALON_DEFINE_SERVICE(FileSystem, LinuxFileSystem)

}  // namespace tervalon::platform
