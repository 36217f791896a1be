// Files over the platform's own calls.

#include "platform/file_system.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace tervalon::platform {
namespace {

constexpr uint64_t kMaxOffset = std::numeric_limits<int64_t>::max();
// What is locked can be neither read nor written: a byte that no file has.
constexpr uint64_t kLockedByte = uint64_t{1} << 62;
constexpr size_t kMaxTransfer = 1u << 30;  // of one system call
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (valid()) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HANDLE get() const { return handle_; }
  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE Release() { return std::exchange(handle_, INVALID_HANDLE_VALUE); }

 private:
  HANDLE handle_;
};

// An embedded zero would cut the name short at the system call.
bool Nameable(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

OVERLAPPED PositionOf(uint64_t offset) {
  OVERLAPPED position = {};
  position.Offset = static_cast<DWORD>(offset);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return position;
}

class Win32File : public File {
 public:
  explicit Win32File(HANDLE handle) : handle_(handle) {}

  bool ReadAt(uint64_t offset, void* buffer, size_t count, size_t* read) override {
    *read = 0;
    if (offset > kMaxOffset || count > kMaxOffset - offset) return false;
    while (*read < count) {
      OVERLAPPED position = PositionOf(offset + *read);
      DWORD got = 0;
      if (!ReadFile(handle_.get(), static_cast<char*>(buffer) + *read,
                    static_cast<DWORD>(std::min(count - *read, kMaxTransfer)), &got, &position)) {
        return GetLastError() == ERROR_HANDLE_EOF;
      }
      if (got == 0) break;
      *read += got;
    }
    return true;
  }

  bool WriteAt(uint64_t offset, const void* buffer, size_t count, size_t* written) override {
    *written = 0;
    if (offset > kMaxOffset || count > kMaxOffset - offset) return false;
    while (*written < count) {
      OVERLAPPED position = PositionOf(offset + *written);
      DWORD put = 0;
      const BOOL success =
          WriteFile(handle_.get(), static_cast<const char*>(buffer) + *written,
                    static_cast<DWORD>(std::min(count - *written, kMaxTransfer)), &put, &position);
      *written += put;
      if (!success || put == 0) break;
    }
    return true;
  }

  bool Size(uint64_t* size) override {
    LARGE_INTEGER bytes;
    if (!GetFileSizeEx(handle_.get(), &bytes)) return false;
    *size = static_cast<uint64_t>(bytes.QuadPart);
    return true;
  }

  bool Lock(LockMode mode) override {
    constexpr DWORD kPause = 10;  // milliseconds
    OVERLAPPED position = PositionOf(kLockedByte);
    UnlockFileEx(handle_.get(), 0, 1, 0, &position);
    const DWORD flags = LOCKFILE_FAIL_IMMEDIATELY |
                        (mode == LockMode::kExclusive ? DWORD{LOCKFILE_EXCLUSIVE_LOCK} : 0);
    int tries = mode == LockMode::kShared ? 20 : 1;
    while (!LockFileEx(handle_.get(), flags, 0, 1, 0, &position)) {
      const DWORD error = GetLastError();
      if (error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED) break;
      if (--tries == 0) return false;
      Sleep(kPause);
    }
    return true;
  }

  bool Close() override { return CloseHandle(handle_.Release()) != 0; }

 private:
  Handle handle_;
};

// Gives `from` the access rights of the file that it is to replace. On file systems without access
// rights there is nothing to keep.
void TakePermissions(const std::string& from, const std::string& replaced) {
  DWORD size = 0;
  GetFileSecurityA(replaced.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  if (size == 0) return;
  std::vector<uint64_t> descriptor(size / sizeof(uint64_t) + 1);  // aligned for any member
  if (GetFileSecurityA(replaced.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size,
                       &size)) {
    SetFileSecurityA(from.c_str(), DACL_SECURITY_INFORMATION, descriptor.data());
  }
}

// The system refuses to replace a file that another process has open, as a program that watches the
// directory does for a moment.
bool Rename(const std::string& from, const std::string& to) {
  constexpr int kTries = 20;
  constexpr DWORD kPause = 10;  // milliseconds
  for (int tries = 1;; ++tries) {
    if (MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
        0) {
      return true;
    }
    const DWORD error = GetLastError();
    const bool in_use = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
    if (!in_use || tries == kTries) return false;
    Sleep(kPause);
  }
}

class Win32FileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    if (!Nameable(path)) return nullptr;
    const DWORD access =
        mode == OpenMode::kRead ? GENERIC_READ : DWORD{GENERIC_READ | GENERIC_WRITE};
    const DWORD disposition = mode == OpenMode::kCreate ? CREATE_ALWAYS : OPEN_EXISTING;
    Handle handle(CreateFileA(path.c_str(), access, kShareAll, nullptr, disposition,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
    // Names like "CON" and "COM1" open devices, which have no positions.
    if (!handle.valid() || GetFileType(handle.get()) != FILE_TYPE_DISK) return nullptr;
    auto file = std::make_unique<Win32File>(handle.get());
    handle.Release();
    return file;
  }

  PathStatus Status(const std::string& path) override {
    const DWORD attributes =
        Nameable(path) ? GetFileAttributesA(path.c_str()) : INVALID_FILE_ATTRIBUTES;
    if (attributes == INVALID_FILE_ATTRIBUTES) return PathStatus::kNothing;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathStatus::kDirectory
                                                        : PathStatus::kFile;
  }

  bool Remove(const std::string& path) override {
    return Nameable(path) && DeleteFileA(path.c_str());
  }

  bool MakeDirectory(const std::string& path) override {
    return Nameable(path) && CreateDirectoryA(path.c_str(), nullptr);
  }

  bool RemoveEmptyDirectory(const std::string& path) override {
    return Nameable(path) && RemoveDirectoryA(path.c_str());
  }

  bool List(const std::string& path, std::vector<DirectoryEntry>* entries) override {
    entries->clear();
    if (!Nameable(path)) return false;
    const bool ends = path.back() == '\\' || path.back() == '/' || path.back() == ':';
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA((path + (ends ? "*" : "\\*")).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
    const SearchCloser closer(search);
    do {
      const std::string name = found.cFileName;
      if (name == "." || name == "..") continue;
      // A file that was written has the archive attribute, one without attributes the normal one.
      const DWORD attributes = found.dwFileAttributes;
      entries->push_back({name, (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
                          (attributes & (FILE_ATTRIBUTE_NORMAL | FILE_ATTRIBUTE_ARCHIVE)) != 0});
    } while (FindNextFileA(search, &found));
    return GetLastError() == ERROR_NO_MORE_FILES;
  }

  bool Touch(const std::string& path) override {
    if (!Nameable(path)) return false;
    // Backup semantics open directories too.
    const Handle handle(CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return handle.valid() && SetFileTime(handle.get(), nullptr, &now, &now);
  }

  bool MoveOver(const std::string& from, const std::string& to) override {
    if (!Nameable(from) || Status(from) != PathStatus::kFile) return false;
    const PathStatus replaced = Status(to);
    if (replaced == PathStatus::kDirectory) return false;
    if (replaced == PathStatus::kFile) {
      if ((GetFileAttributesA(to.c_str()) & FILE_ATTRIBUTE_READONLY) != 0) return false;
      TakePermissions(from, to);
    }
    {
      // The new name must not reach the disk before the bytes.
      const Handle handle(CreateFileA(from.c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
      if (!handle.valid() || !FlushFileBuffers(handle.get())) return false;
    }
    return Nameable(to) && Rename(from, to);
  }

  std::string WorkingDirectory() override {
    const DWORD size = GetCurrentDirectoryA(0, nullptr);
    std::string path(size, '\0');
    const DWORD length = size > 0 ? GetCurrentDirectoryA(size, path.data()) : 0;
    path.resize(length < size ? length : 0);
    return path;
  }

 private:
  class SearchCloser {
   public:
    explicit SearchCloser(HANDLE search) : search_(search) {}
    ~SearchCloser() { FindClose(search_); }
    SearchCloser(const SearchCloser&) = delete;
    SearchCloser& operator=(const SearchCloser&) = delete;

   private:
    HANDLE search_;
  };
};

}  // namespace

TERVALON_DEFINE_SERVICE(FileSystem, Win32FileSystem)

}  // namespace tervalon::platform
