#include "raw/member_files.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/file_change.h"
#include "platform/lock.h"
#include "platform/text.h"
#include "tervalon/raw_functions.h"

namespace tervalon::raw {
namespace {

using platform::ChangeLock;
using platform::File;
using platform::Files;
using platform::OpenMode;
using platform::PathStatus;

constexpr int32_t kSlotCount = 1162;
// An acquisition does not end while one waits for it, but another program's erasing does.
constexpr std::chrono::milliseconds kDirectoryWait{500};

// How the members of a file code are named and numbered.
struct NamePattern {
  int32_t code;
  int32_t highest_number;  // 0: the member is not numbered
  const char* pattern;
};

constexpr NamePattern kMemberNames[] = {
    {kHeaderText, 0, "_HEADER.TXT"},
    {kHeaderInverted, 0, "_HEADER.INF"},
    {kExperiment, 0, "_EXPMENT.INF"},
    {kInlet, 0, "_INLET.INF"},
    {kAutosampler, 0, "_AUTO.INF"},
    {kExternal, 0, "_EXTERN.INF"},
    {kAnalogInfo, 0, "_ANALOGS.INF"},
    {kFunctionTable, 0, "_FUNCTNS.INF"},
    {kHistory, 0, "_HISTORY.INF"},
    {kAnalogData, 0, "_ANALOGS.DAT"},
    {kFunctionData, RAW_MAX_FUNCTIONS, "_FUNC0%02d.DAT"},
    {kFunctionIndex, RAW_MAX_FUNCTIONS, "_FUNC0%02d.IDX"},
    {kFunctionStatistics, RAW_MAX_FUNCTIONS, "_FUNC0%02d.STS"},
    {kFunctionEe, RAW_MAX_FUNCTIONS, "_FUNC0%02d.EE"},
    {kProcessData, RAW_MAX_PROCESSES, "_PROC%03d.DAT"},
    {kProcessIndex, RAW_MAX_PROCESSES, "_PROC%03d.IDX"},
    {kProcessStatistics, RAW_MAX_PROCESSES, "_PROC%03d.STS"},
    {kProcessEe, RAW_MAX_PROCESSES, "_PROC%02d.EE"},  // two digits, unlike its siblings
};

const NamePattern* FindNamePattern(int32_t code) {
  const auto* found = std::find_if(std::begin(kMemberNames), std::end(kMemberNames),
                                   [code](const NamePattern& name) { return name.code == code; });
  return found != std::end(kMemberNames) ? found : nullptr;
}

struct Member {
  std::unique_ptr<File> file;
  uint32_t position = 0;
  bool written = false;
};

// Forces what was written to the disk and closes the file.
int32_t CloseFile(Member& member) {
  const bool forced = !member.written || member.file->Sync();
  const bool closed = member.file->Close();
  if (!forced) return RAW_SHORT_WRITE;
  return closed ? RAW_OK : RAW_MEMBER_NOT_CLOSED;
}

struct RawDirectory {
  std::string path;                            // as the caller named it
  std::string real;                            // as it is spelled on the disk
  std::unique_ptr<ChangeLock> creator_lock;    // of one that was created, until it is closed
  std::map<std::string, std::string> spelled;  // names found in it, by what they are in lower case
  platform::Spelling spelling = platform::Spelling::kAsGiven;  // of those and all others
  std::map<int32_t, std::unique_ptr<KnownContent>> known;      // by file code
  std::array<std::unique_ptr<Member>, kSlotCount> members;
  std::array<std::array<std::shared_ptr<ScanBuffer>, RAW_MAX_PROCESSES + 1>, RAW_MAX_FUNCTIONS>
      scan_buffers;
};

struct Progress {
  RawProgressCallback callback = nullptr;
  void* user = nullptr;
};

// The raw handles. Whoever has taken a place puts an entry there and works on it without a lock.
class HandleTable {
 public:
  ~HandleTable() {
    for (size_t handle = 0; handle < RAW_MAX_HANDLES; ++handle) Drop(handle);
  }

  platform::Places<RAW_MAX_HANDLES>& places() { return places_; }

  RawDirectory* Find(size_t handle) const {
    return entries_[handle].load(std::memory_order_acquire);
  }
  uint32_t Generation(size_t handle) const { return generations_[handle].load(); }

  // In a place that the caller has taken.
  void Put(size_t handle, std::unique_ptr<RawDirectory> entry) {
    ++generations_[handle];
    entries_[handle].store(entry.release(), std::memory_order_release);
  }
  void Drop(size_t handle) {
    const std::unique_ptr<RawDirectory> entry(entries_[handle].exchange(nullptr));
    if (entry != nullptr) places_.GiveBack(handle);
  }

 private:
  platform::Places<RAW_MAX_HANDLES> places_;
  std::array<std::atomic<RawDirectory*>, RAW_MAX_HANDLES> entries_ = {};
  std::array<std::atomic<uint32_t>, RAW_MAX_HANDLES> generations_ = {};
};

// The process-wide tables of this folder.
HandleTable open_directories;
constinit platform::Mutex progress_lock;
Progress progress;                       // under progress_lock
std::atomic<bool> has_progress = false;  // so that nobody takes it for each scan

bool IsDirectory(const std::string& path) { return Files().Status(path) == PathStatus::kDirectory; }

// Whether there is a directory of exactly that name: one in another case is another directory to
// those who create and erase, but not to those who read.
bool IsDirectoryNamed(const std::string& path) {
  return IsDirectory(path) && Files().Resolve(path) == path;
}

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), platform::LowerCase);
  return text;
}

// Finds how members are spelled whose files came from systems where case does not count. Of
// several, the first in byte order, which is the one in upper case.
// What cannot be listed is looked up file by file. False when there is no directory.
bool FindNames(RawDirectory* directory) {
  std::vector<platform::DirectoryEntry> entries;
  if (!Files().List(directory->real, &entries)) {
    if (!IsDirectory(directory->real)) return false;
    directory->spelling = platform::Spelling::kAnyCase;
  }
  for (const auto& entry : entries) {
    const auto [place, first] = directory->spelled.emplace(LowerCase(entry.name), entry.name);
    if (!first) place->second = std::min(place->second, entry.name);
  }
  return true;
}

std::unique_ptr<RawDirectory> MakeEntry(const char* directory) {
  auto entry = std::make_unique<RawDirectory>();
  entry->path = directory;
  entry->real = Files().Resolve(directory);
  return entry;
}

// A free handle, taken for a scope unless it is opened.
class FreeHandle {
 public:
  FreeHandle() : handle_(open_directories.places().Take(0)) {}
  ~FreeHandle() {
    if (handle_ >= 0) open_directories.places().GiveBack(static_cast<size_t>(handle_));
  }
  FreeHandle(const FreeHandle&) = delete;
  FreeHandle& operator=(const FreeHandle&) = delete;

  bool found() const { return handle_ >= 0; }

  // Makes it the handle of an entry.
  int32_t Open(std::unique_ptr<RawDirectory> entry) {
    const int32_t handle = std::exchange(handle_, -1);
    open_directories.Put(static_cast<size_t>(handle), std::move(entry));
    return handle;
  }

 private:
  int32_t handle_;
};

bool FitsPathRecord(const char* path) { return std::strlen(path) < TV_PATH_SIZE; }

RawDirectory& Entry(int32_t handle) { return *open_directories.Find(static_cast<size_t>(handle)); }

// The path of a member, longer than a path may be where the directory's leaves no room.
std::string MemberPath(int32_t handle, int32_t code, int32_t number) {
  const RawDirectory& directory = Entry(handle);
  const std::string name = MemberName(code, number);
  const auto found = directory.spelled.find(LowerCase(name));
  return PathInside(directory.real, found != directory.spelled.end() ? found->second : name);
}

// Checks handle and slot and finds the open member of the slot.
int32_t FindMember(int32_t handle, int32_t slot, Member** member) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (slot < 0 || slot >= kSlotCount) return RAW_SLOT_OUT_OF_RANGE;
  *member = Entry(handle).members[static_cast<size_t>(slot)].get();
  return *member != nullptr ? RAW_OK : RAW_MEMBER_NOT_OPEN;
}

void InvertBytes(void* buffer, size_t count) {
  auto* bytes = static_cast<uint8_t*>(buffer);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(~bytes[i]);
}

int32_t FindScanBuffer(int32_t handle, int32_t function, int32_t process,
                       std::shared_ptr<ScanBuffer>** slot) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (function < 1 || function > RAW_MAX_FUNCTIONS || process < 0 || process > RAW_MAX_PROCESSES) {
    return RAW_SLOT_OUT_OF_RANGE;
  }
  *slot =
      &Entry(handle).scan_buffers[static_cast<size_t>(function - 1)][static_cast<size_t>(process)];
  return RAW_OK;
}

// Writes what writers hold in memory and closes the members that are open. The first
// error.
int32_t EndWriting(RawDirectory* directory) {
  int32_t first_error = RAW_OK;
  const auto note = [&](int32_t error) {
    if (first_error == RAW_OK) first_error = error;
  };
  for (const auto& of_function : directory->scan_buffers) {
    for (const auto& buffer : of_function) {
      if (buffer != nullptr) note(buffer->End());
    }
  }
  for (const auto& member : directory->members) {
    if (member != nullptr) note(CloseFile(*member));
  }
  return first_error;
}

// A link is not erased, and nothing behind it. The caller has the directory's lock.
int32_t EraseDirectory(const std::string& directory) {
  std::vector<platform::DirectoryEntry> entries;
  if (!IsDirectoryNamed(directory)) return RAW_DIRECTORY_VANISHED;
  if (Files().IsLink(directory)) return RAW_DIRECTORY_NOT_REMOVED;
  if (!Files().List(directory, &entries)) return RAW_DIRECTORY_VANISHED;
  // Wherever it stops, no index is left without the data that it names.
  std::stable_partition(entries.begin(), entries.end(),
                        [](const auto& entry) { return LowerCase(entry.name).ends_with(".idx"); });
  for (const auto& entry : entries) {
    if (!entry.is_directory && !Files().Remove(PathInside(directory, entry.name))) {
      return RAW_FILE_NOT_DELETED;
    }
  }
  return Files().RemoveEmptyDirectory(directory) ? RAW_OK : RAW_DIRECTORY_NOT_REMOVED;
}

// Whether there is a directory of that name, made here if there was none.
bool EnsureDirectory(const std::string& directory) {
  return IsDirectoryNamed(directory) || Files().MakeDirectory(directory) ||
         IsDirectoryNamed(directory);
}

// Makes a directory anew, empty, and takes the lock that keeps others from doing so until it is
// closed.
int32_t RenewDirectory(const std::string& directory, std::unique_ptr<ChangeLock>* lock) {
  int32_t error = TakeDirectory(directory, lock);
  if (error == RAW_OK) error = EraseDirectory(directory);
  if (error != RAW_OK) return error;
  return Files().MakeDirectory(directory) ? RAW_OK : RAW_DIRECTORY_NOT_CREATED;
}

int32_t TouchFiles(const std::string& directory) {
  std::vector<platform::DirectoryEntry> entries;
  if (!IsDirectory(directory) || !Files().List(directory, &entries)) return RAW_DIRECTORY_VANISHED;
  for (const auto& entry : entries) {
    if (!entry.is_directory && !Files().Touch(PathInside(directory, entry.name))) {
      return RAW_TIME_STAMP_FAILED;
    }
  }
  return RAW_OK;
}

}  // namespace

int32_t MemberSlot(int32_t code, int32_t number) {
  const NamePattern* name = FindNamePattern(code);
  if (name == nullptr) return -1;
  if (name->highest_number == 0) return code;
  return number >= 1 && number <= name->highest_number ? code + number : -1;
}

std::string MemberName(int32_t code, int32_t number) {
  const NamePattern* name = FindNamePattern(code);
  if (name == nullptr) return {};
  char text[32];
  (void)std::snprintf(text, sizeof(text), name->pattern, number);
  return text;
}

std::string PathInside(const std::string& directory, const std::string& name) {
  const bool separated = !directory.empty() && directory.back() == '\\';
  return separated ? directory + name : directory + '\\' + name;
}

bool IsRawDirectory(const char* path) {
  return path != nullptr && FitsPathRecord(path) && IsDirectory(path);
}

int32_t TakeDirectory(const std::string& path, std::unique_ptr<ChangeLock>* lock) {
  bool in_use = false;
  *lock = ChangeLock::Take(path, kDirectoryWait, &in_use);
  if (*lock != nullptr) return RAW_OK;
  return in_use ? RAW_LOCK_FAILED : RAW_DIRECTORY_NOT_REMOVED;
}

int32_t CheckHandle(int32_t handle) {
  if (handle < 0 || handle >= RAW_MAX_HANDLES) return RAW_HANDLE_OUT_OF_RANGE;
  return open_directories.Find(static_cast<size_t>(handle)) != nullptr ? RAW_OK
                                                                       : RAW_HANDLE_NOT_OPEN;
}

void ReleaseHandle(int32_t handle) { open_directories.Drop(static_cast<size_t>(handle)); }

uint32_t HandleGeneration(int32_t handle) {
  return open_directories.Generation(static_cast<size_t>(handle));
}

const std::string& HandleDirectory(int32_t handle) { return Entry(handle).path; }

std::unique_ptr<KnownContent>& KnownContentOf(int32_t handle, int32_t code) {
  return Entry(handle).known[code];
}

int32_t RawFileOpen(int32_t handle, int32_t code, int32_t number, int32_t mode, bool* absent) {
  constexpr OpenMode kModes[] = {OpenMode::kCreate, OpenMode::kRead, OpenMode::kReadWrite};
  if (absent != nullptr) *absent = false;
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  const int32_t slot = MemberSlot(code, number);
  if (slot < 0) return RAW_SLOT_OUT_OF_RANGE;
  if (mode < kCreateMember || mode > kReadWriteMember) return RAW_BAD_OPEN_MODE;
  auto& place = Entry(handle).members[static_cast<size_t>(slot)];
  if (place != nullptr) return RAW_MEMBER_ALREADY_OPEN;
  std::unique_ptr<Member> member(new (std::nothrow) Member);
  if (member == nullptr) return RAW_NO_MEMORY_FOR_MEMBER;
  const std::string path = MemberPath(handle, code, number);
  if (path.size() >= TV_PATH_SIZE) return RAW_PATH_NOT_BUILT;
  member->file = Files().Open(path, kModes[mode - kCreateMember], absent, Entry(handle).spelling);
  if (member->file == nullptr) return RAW_MEMBER_NOT_OPENED;
  place = std::move(member);
  return RAW_OK;
}

int32_t RawFileRead(int32_t handle, int32_t code, int32_t number, void* buffer, uint32_t count,
                    uint32_t* read) {
  if (read != nullptr) *read = 0;
  Member* member = nullptr;
  const int32_t error = FindMember(handle, MemberSlot(code, number), &member);
  if (error != RAW_OK || count == 0) return error;
  size_t done = 0;
  if (!member->file->ReadAt(member->position, buffer, count, &done)) return RAW_SEEK_FAILED;
  member->position += static_cast<uint32_t>(done);
  if (code == kHeaderInverted) InvertBytes(buffer, count);
  if (read != nullptr) *read = static_cast<uint32_t>(done);
  return RAW_OK;
}

int32_t RawFileWrite(int32_t handle, int32_t code, int32_t number, void* buffer, uint32_t count,
                     uint32_t* position) {
  Member* member = nullptr;
  const int32_t error = FindMember(handle, MemberSlot(code, number), &member);
  if (error != RAW_OK) return error;
  if (count > 0) {
    if (member->position + uint64_t{count} > kLargestMember) return RAW_SHORT_WRITE;
    if (code == kHeaderInverted) InvertBytes(buffer, count);
    size_t done = 0;
    const bool found = member->file->WriteAt(member->position, buffer, count, &done);
    member->written |= done > 0;
    if (!found) return RAW_SEEK_FAILED;
    if (done < count) return RAW_SHORT_WRITE;
    member->position += count;
  }
  if (position != nullptr) *position = member->position;
  return RAW_OK;
}

int32_t RawFileSeek(int32_t handle, int32_t slot, uint32_t position) {
  Member* member = nullptr;
  const int32_t error = FindMember(handle, slot, &member);
  if (error == RAW_OK) member->position = position;
  return error;
}

int32_t RawFileSize(int32_t handle, int32_t code, int32_t number, uint32_t* size) {
  Member* member = nullptr;
  const int32_t error = FindMember(handle, MemberSlot(code, number), &member);
  if (error != RAW_OK) return error;
  uint64_t bytes = 0;
  if (!member->file->Size(&bytes)) return RAW_SEEK_FAILED;
  *size = static_cast<uint32_t>(std::min(bytes, kLargestMember));
  return RAW_OK;
}

int32_t RawFileClose(int32_t handle, int32_t code, int32_t number) {
  Member* member = nullptr;
  const int32_t slot = MemberSlot(code, number);
  const int32_t error = FindMember(handle, slot, &member);
  if (error != RAW_OK) return error;
  const int32_t close_error = CloseFile(*member);
  Entry(handle).members[static_cast<size_t>(slot)].reset();
  return close_error;
}

int32_t LockMember(int32_t handle, int32_t code, int32_t number,
                   std::unique_ptr<ChangeLock>* lock) {
  Member* open = nullptr;
  const int32_t error = FindMember(handle, MemberSlot(code, number), &open);
  if (error == RAW_OK) return RAW_MEMBER_ALREADY_OPEN;
  if (error != RAW_MEMBER_NOT_OPEN) return error;
  const std::string path = MemberPath(handle, code, number);
  if (path.size() >= TV_PATH_SIZE) return RAW_PATH_NOT_BUILT;
  bool in_use = false;
  *lock = ChangeLock::Take(path, platform::kLockWait, &in_use);
  if (*lock != nullptr) return RAW_OK;
  return in_use ? RAW_LOCK_FAILED : RAW_MEMBER_NOT_OPENED;
}

int32_t OpenForWriting(int32_t handle, int32_t code, int32_t number, bool make,
                       std::unique_ptr<File>* file) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (MemberSlot(code, number) < 0) return RAW_SLOT_OUT_OF_RANGE;
  const std::string path = MemberPath(handle, code, number);
  if (path.size() >= TV_PATH_SIZE) return RAW_PATH_NOT_BUILT;
  const auto open = [&](bool* absent) {
    *file = Files().Open(path, OpenMode::kReadWrite, absent, Entry(handle).spelling);
  };
  bool absent = false;
  open(&absent);
  if (*file == nullptr && absent && make) {
    *file = Files().Open(path, OpenMode::kCreateNew);
    if (*file == nullptr) open(&absent);  // another made it
  }
  return *file != nullptr ? RAW_OK : RAW_MEMBER_NOT_OPENED;
}

int32_t OpenForReading(int32_t handle, int32_t code, int32_t number, std::unique_ptr<File>* file,
                       bool* absent) {
  if (absent != nullptr) *absent = false;
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (MemberSlot(code, number) < 0) return RAW_SLOT_OUT_OF_RANGE;
  const std::string path = MemberPath(handle, code, number);
  if (path.size() >= TV_PATH_SIZE) return RAW_PATH_NOT_BUILT;
  *file = Files().Open(path, OpenMode::kRead, absent, Entry(handle).spelling);
  return *file != nullptr ? RAW_OK : RAW_MEMBER_NOT_OPENED;
}

File* OpenMember(int32_t handle, int32_t code, int32_t number) {
  Member* member = nullptr;
  const int32_t error = FindMember(handle, MemberSlot(code, number), &member);
  return error == RAW_OK ? member->file.get() : nullptr;
}

int32_t PutScanBuffer(int32_t handle, int32_t function, int32_t process,
                      std::unique_ptr<ScanBuffer> buffer) {
  std::shared_ptr<ScanBuffer>* slot = nullptr;
  const int32_t error = FindScanBuffer(handle, function, process, &slot);
  if (error != RAW_OK) return error;
  if (*slot != nullptr) return RAW_SCAN_BUFFER_EXISTS;
  if (buffer == nullptr) return RAW_NO_MEMORY_FOR_SCAN_BUFFER;
  *slot = std::move(buffer);
  return RAW_OK;
}

int32_t GetScanBuffer(int32_t handle, int32_t function, int32_t process, ScanBuffer** buffer) {
  std::shared_ptr<ScanBuffer>* slot = nullptr;
  const int32_t error = FindScanBuffer(handle, function, process, &slot);
  if (error != RAW_OK) return error;
  *buffer = slot->get();
  return *buffer != nullptr ? RAW_OK : RAW_SCAN_BUFFER_ABSENT;
}

int32_t FreeScanBuffer(int32_t handle, int32_t function, int32_t process) {
  std::shared_ptr<ScanBuffer>* slot = nullptr;
  const int32_t error = FindScanBuffer(handle, function, process, &slot);
  if (error != RAW_OK) return error;
  if (*slot == nullptr) return RAW_SCAN_BUFFER_ABSENT;
  slot->reset();
  return RAW_OK;
}

std::shared_ptr<ScanBuffer> HoldScanBuffer(int32_t handle, int32_t function, int32_t process) {
  std::shared_ptr<ScanBuffer>* slot = nullptr;
  return FindScanBuffer(handle, function, process, &slot) == RAW_OK ? *slot : nullptr;
}

void ReportProgress(int32_t index, int32_t count) {
  if (count == 0 || !has_progress.load(std::memory_order_relaxed)) return;
  const double percent = index * 100.0 / count;
  const auto next = static_cast<int32_t>(percent + 100.0 / count);
  if (next <= static_cast<int32_t>(percent)) return;
  progress_lock.Take();
  const auto [callback, user] = progress;
  progress_lock.Release();
  if (callback != nullptr) callback(index == 0 ? 0 : std::clamp(next, 0, 100), user);
}

int32_t ItemsWithoutProgress(int32_t index, int32_t count) {
  constexpr int32_t kMargin = 2;  // for what the divisions there round
  if (count == 0 || !has_progress.load(std::memory_order_relaxed)) return count - index;
  const double next = std::floor(index * 100.0 / count) + 1;
  const double reported = std::min(next * count / 100, static_cast<double>(count));
  return std::max(static_cast<int32_t>(reported) - kMargin - index, 0);
}

}  // namespace tervalon::raw

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

extern "C" void TERVALON_CALL RawHandlesInit(void) {
  for (int32_t handle = 0; handle < RAW_MAX_HANDLES; ++handle) ReleaseHandle(handle);
}

extern "C" int32_t TERVALON_CALL RawReadOpen(const char* directory, int32_t* handle) {
  return Guarded<int32_t>(RAW_NO_FREE_HANDLE, [&]() -> int32_t {
    if (handle == nullptr || directory == nullptr || !FitsPathRecord(directory)) {
      return RAW_DIRECTORY_ABSENT;
    }
    FreeHandle free;
    if (!free.found()) {
      return IsRawDirectory(directory) ? RAW_NO_FREE_HANDLE : RAW_DIRECTORY_ABSENT;
    }
    std::unique_ptr<RawDirectory> entry = MakeEntry(directory);
    if (!FindNames(entry.get())) return RAW_DIRECTORY_ABSENT;
    *handle = free.Open(std::move(entry));
    return RAW_OK;
  });
}

extern "C" int32_t TERVALON_CALL RawCreateOpen(const char* directory, int32_t* handle) {
  return Guarded<int32_t>(RAW_NO_FREE_HANDLE, [&]() -> int32_t {
    if (handle != nullptr) *handle = -1;  // what a caller may close after RAW_DIRECTORY_NOT_CREATED
    if (directory == nullptr || handle == nullptr || !FitsPathRecord(directory)) {
      return RAW_DIRECTORY_NOT_CREATED;
    }
    FreeHandle free;
    if (!free.found()) return RAW_NO_FREE_HANDLE;
    // What it takes in memory is there before anything is erased. The directory comes first, so
    // that its name is found as it is.
    const bool there = EnsureDirectory(directory);
    std::unique_ptr<RawDirectory> entry = MakeEntry(directory);
    const int32_t error =
        there ? RenewDirectory(directory, &entry->creator_lock) : RAW_DIRECTORY_NOT_CREATED;
    if (error == RAW_OK || error == RAW_DIRECTORY_NOT_CREATED) {
      *handle = free.Open(std::move(entry));
    }
    return error;
  });
}

extern "C" int32_t TERVALON_CALL RawCreateClose(int32_t handle) {
  return Guarded<int32_t>(RAW_TIME_STAMP_FAILED, [&]() -> int32_t {
    const int32_t error = CheckHandle(handle);
    if (error != RAW_OK) return error;
    const int32_t end_error = EndWriting(&Entry(handle));
    const std::string directory = std::move(Entry(handle).real);
    const std::unique_ptr<ChangeLock> lock = std::move(Entry(handle).creator_lock);
    ReleaseHandle(handle);
    const int32_t stamp_error = TouchFiles(directory);
    return end_error != RAW_OK ? end_error : stamp_error;
  });
}

extern "C" int32_t TERVALON_CALL RawFileExists(const char* directory) {
  constexpr int32_t kDirectoryAttribute = 16;
  return Guarded<int32_t>(
      0, [&] { return directory != nullptr && IsDirectory(directory) ? kDirectoryAttribute : 0; });
}

extern "C" int32_t TERVALON_CALL RawFileErase(const char* directory) {
  return Guarded<int32_t>(RAW_DIRECTORY_VANISHED, [&]() -> int32_t {
    if (directory == nullptr || !IsDirectoryNamed(directory)) return RAW_DIRECTORY_VANISHED;
    std::unique_ptr<ChangeLock> lock;
    const int32_t error = TakeDirectory(directory, &lock);
    return error == RAW_OK ? EraseDirectory(directory) : error;
  });
}

extern "C" int32_t TERVALON_CALL RawHandleGetClusterName(int32_t handle, char* directory) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (directory == nullptr) return RAW_BAD_ARGUMENT;
  const std::string& path = HandleDirectory(handle);
  std::memcpy(directory, path.c_str(), path.size() + 1);
  return RAW_OK;
}

extern "C" RawProgressCallback TERVALON_CALL RawUpdateInit(RawProgressCallback callback,
                                                           void* user) {
  const platform::Held held(&progress_lock);
  progress = {callback, user};
  has_progress.store(callback != nullptr, std::memory_order_relaxed);
  return callback;
}

extern "C" void TERVALON_CALL RawUpdateEnd(void) { RawUpdateInit(nullptr, nullptr); }
