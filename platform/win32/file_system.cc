// Files over the platform's own calls.

#include "platform/file_system.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <string>
#include <utility>

#include "platform/patience.h"

namespace tervalon::platform {
namespace {

constexpr uint64_t kMaxOffset = std::numeric_limits<int64_t>::max();
// What is locked can be neither read nor written: bytes that no file has.
constexpr uint64_t kLockedByte = uint64_t{1} << 62;
constexpr uint64_t kNextByte = kLockedByte + 1;
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

// A path for the system's calls. Only a full one in its plain form may be longer than MAX_PATH, as
// those of lock files and of files on their way to replace others may be.
std::wstring Wide(const std::string& path) {
  const auto size = static_cast<int>(path.size());
  const UINT page = AreFileApisANSI() ? CP_ACP : CP_OEMCP;
  std::wstring wide(path.size(), L'\0');
  wide.resize(
      static_cast<size_t>(MultiByteToWideChar(page, 0, path.data(), size, wide.data(), size)));
  if (wide.size() < MAX_PATH || wide.starts_with(L"\\\\?\\")) return wide;
  std::wstring full(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length =
      GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length == 0 || length >= full.size()) return wide;
  full.resize(length);
  return full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

bool NothingThere(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
         error == ERROR_INVALID_NAME || error == ERROR_BAD_PATHNAME ||
         error == ERROR_FILENAME_EXCED_RANGE || error == ERROR_BAD_NETPATH;
}

// Whether a call may succeed in a moment: another program has the file open, or it is on its way
// out of the directory.
bool StandsInTheWay(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED ||
         error == ERROR_LOCK_VIOLATION || error == ERROR_USER_MAPPED_FILE;
}

// How long others may stand in the way of a call that asks for no lock, such as one that replaces
// what they read. What is denied for good costs that time, too.
constexpr std::chrono::milliseconds kOpenWait{200};
constexpr std::chrono::milliseconds kMoveWait{2000};

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

  bool Resize(uint64_t size) override {
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(size);
    return size <= kMaxOffset && SetFilePointerEx(handle_.get(), end, nullptr, FILE_BEGIN) &&
           SetEndOfFile(handle_.get());
  }

  bool Sync() override { return FlushFileBuffers(handle_.get()); }

  bool Lock(LockMode mode, std::chrono::milliseconds wait) override {
    Unlock();
    Patience patience(wait);
    // Whoever is next in line keeps out those who come later: many readers, or one writer that
    // wants the lock again and again, leave no moment for others to find it free.
    if (!LockByte(kNextByte, mode, &patience)) return false;
    const bool locked = LockByte(kLockedByte, mode, &patience);
    UnlockByte(kNextByte);
    if (!locked) return false;
    // The system does not replace an open file, but it removes one.
    BY_HANDLE_FILE_INFORMATION information;
    if (!GetFileInformationByHandle(handle_.get(), &information) ||
        information.nNumberOfLinks > 0) {
      return true;
    }
    Unlock();
    return false;
  }

  bool Unlock() override { return UnlockByte(kLockedByte); }

  bool Close() override { return CloseHandle(handle_.Release()) != 0; }

 private:
  bool LockByte(uint64_t byte, LockMode mode, Patience* patience) {
    OVERLAPPED position = PositionOf(byte);
    const DWORD flags = LOCKFILE_FAIL_IMMEDIATELY |
                        (mode == LockMode::kExclusive ? DWORD{LOCKFILE_EXCLUSIVE_LOCK} : 0);
    while (!LockFileEx(handle_.get(), flags, 0, 1, 0, &position)) {
      const DWORD error = GetLastError();
      if (error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED) return true;
      if (!patience->Wait()) return false;
    }
    return true;
  }

  bool UnlockByte(uint64_t byte) {
    OVERLAPPED position = PositionOf(byte);
    return UnlockFileEx(handle_.get(), 0, 1, 0, &position);
  }

  Handle handle_;
};

// Gives `path` the access rights of `like`. On file systems without access rights there is nothing
// to keep.
void TakePermissions(const std::wstring& path, const std::wstring& like) {
  DWORD size = 0;
  GetFileSecurityW(like.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  if (size == 0) return;
  std::vector<uint64_t> descriptor(size / sizeof(uint64_t) + 1);  // aligned for any member
  if (GetFileSecurityW(like.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size)) {
    SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data());
  }
}

bool RefusesWriting(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0;
}

// Opens what others do not have for themselves; waits a moment for those who do.
HANDLE OpenShared(const std::wstring& path, DWORD access, DWORD disposition) {
  Patience patience(kOpenWait);
  for (;;) {
    const HANDLE handle = CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle != INVALID_HANDLE_VALUE) return handle;
    const DWORD error = GetLastError();
    if (!StandsInTheWay(error) || RefusesWriting(path) || !patience.Wait()) {
      SetLastError(error);
      return handle;
    }
  }
}

// The system refuses to replace a file that anybody has open, as readers do for a moment.
bool Rename(const std::wstring& from, const std::wstring& to, DWORD flags) {
  Patience patience(kMoveWait);
  while (!MoveFileExW(from.c_str(), to.c_str(), flags)) {
    if (!StandsInTheWay(GetLastError()) || !patience.Wait()) return false;
  }
  return true;
}

class Win32FileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode, bool* absent,
                             Spelling /*spelling*/) override {
    constexpr DWORD kDispositions[] = {CREATE_ALWAYS, CREATE_NEW, OPEN_EXISTING, OPEN_EXISTING};
    if (absent != nullptr) *absent = false;
    if (!Nameable(path)) return nullptr;
    const DWORD access =
        mode == OpenMode::kRead ? GENERIC_READ : DWORD{GENERIC_READ | GENERIC_WRITE};
    Handle handle(OpenShared(Wide(path), access, kDispositions[static_cast<size_t>(mode)]));
    if (!handle.valid() && absent != nullptr) *absent = NothingThere(GetLastError());
    return MakeFile(&handle);
  }

  std::unique_ptr<File> OpenAlone(const std::string& path, bool* in_use) override {
    *in_use = false;
    if (!Nameable(path)) return nullptr;
    const std::wstring wide = Wide(path);
    Handle handle(CreateFileW(wide.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!handle.valid()) *in_use = StandsInTheWay(GetLastError()) && !RefusesWriting(wide);
    return MakeFile(&handle);
  }

  // Whoever opens the file between the two steps keeps it from being removed, and removes it later.
  bool RemoveAlone(const std::string& path, std::unique_ptr<File> file) override {
    file.reset();
    return Remove(path);
  }

  PathStatus Status(const std::string& path) override {
    if (!Nameable(path)) return PathStatus::kNothing;
    const DWORD attributes = GetFileAttributesW(Wide(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      return NothingThere(GetLastError()) ? PathStatus::kNothing : PathStatus::kUnknown;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathStatus::kDirectory
                                                        : PathStatus::kFile;
  }

  bool Exists(const std::string& path) override {
    return Nameable(path) && GetFileAttributesW(Wide(path).c_str()) != INVALID_FILE_ATTRIBUTES;
  }

  bool IsLink(const std::string& path) override {
    const DWORD attributes =
        Nameable(path) ? GetFileAttributesW(Wide(path).c_str()) : INVALID_FILE_ATTRIBUTES;
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  }

  // The system itself looks names up without regard to case.
  std::string Resolve(const std::string& path) override { return path; }
  std::string Target(const std::string& path) override { return Nameable(path) ? path : ""; }

  bool Remove(const std::string& path) override {
    return Nameable(path) && DeleteFileW(Wide(path).c_str());
  }

  bool MakeDirectory(const std::string& path) override {
    return Nameable(path) && CreateDirectoryW(Wide(path).c_str(), nullptr);
  }

  bool RemoveEmptyDirectory(const std::string& path) override {
    return Nameable(path) && RemoveDirectoryW(Wide(path).c_str());
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
    const Handle handle(
        CreateFileW(Wide(path).c_str(), FILE_WRITE_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return handle.valid() && SetFileTime(handle.get(), nullptr, &now, &now);
  }

  bool CopyAccess(const std::string& like, const std::string& path) override {
    if (!Nameable(like) || !Nameable(path)) return false;
    TakePermissions(Wide(path), Wide(like));
    return true;
  }

  bool MoveOver(const std::string& from, const std::string& to, Force force) override {
    if (!Nameable(to) || Status(from) != PathStatus::kFile) return false;
    const std::wstring source = Wide(from);
    const std::wstring target = Wide(to);
    if (RefusesWriting(target)) return false;
    TakePermissions(source, target);
    DWORD flags = MOVEFILE_REPLACE_EXISTING;
    if (force == Force::kToDisk) {
      // The new name must not reach the disk before the bytes.
      const Handle handle(CreateFileW(source.c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
      if (!handle.valid() || !FlushFileBuffers(handle.get())) return false;
      flags |= MOVEFILE_WRITE_THROUGH;
    }
    return Rename(source, target, flags);
  }

  std::string WorkingDirectory() override {
    const DWORD size = GetCurrentDirectoryA(0, nullptr);
    std::string path(size, '\0');
    const DWORD length = size > 0 ? GetCurrentDirectoryA(size, path.data()) : 0;
    path.resize(length < size ? length : 0);
    return path;
  }

 private:
  // Names like "CON" and "COM1" open devices, which have no positions.
  static std::unique_ptr<File> MakeFile(Handle* handle) {
    if (!handle->valid() || GetFileType(handle->get()) != FILE_TYPE_DISK) return nullptr;
    auto file = std::make_unique<Win32File>(handle->get());
    handle->Release();
    return file;
  }

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

void Pause(std::chrono::microseconds time) {
  // The system counts milliseconds; zero gives only the rest of the time slice away.
  Sleep(static_cast<DWORD>(time.count() / 500));
}

TERVALON_DEFINE_SERVICE(FileSystem, Win32FileSystem)

}  // namespace tervalon::platform
