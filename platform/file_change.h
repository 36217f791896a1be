// Changes of files that several programs have to do with.
//
// A file that is replaced: take the ChangeLock of its path, read, edit, and put a Replacement in
// its place; whoever reads it sees the old or the new one whole and needs no lock. A file that is
// changed in place: File::Lock, read again what another may have changed, change, File::Unlock.

#ifndef PLATFORM_FILE_CHANGE_H_
#define PLATFORM_FILE_CHANGE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/file_system.h"

namespace tervalon::platform {

// How long a change waits for those of other programs.
inline constexpr std::chrono::milliseconds kLockWait{5000};

// The right to change or replace the file or directory at a path, held by one user in all programs
// at a time, until it is destroyed or the process ends. Works for what is replaced or not there
// yet: it is a lock on a file beside, PATH.lock, which is there only meanwhile and names the
// temporary file in use, so that the next user can remove what a killed one has left. A file of
// that name with other content is locked, but its content stays, and it too. Those who wait take
// turns by a second file, PATH.next, which is there only while somebody waits.
class ChangeLock {
 public:
  // nullptr when it is not to be had in time, or when no file can be made beside; `*in_use` then
  // tells whether another user has it. Taken twice by one process it stands against itself.
  static std::unique_ptr<ChangeLock> Take(const std::string& path,
                                          std::chrono::milliseconds wait = kLockWait,
                                          bool* in_use = nullptr);

  ~ChangeLock();
  ChangeLock(const ChangeLock&) = delete;
  ChangeLock& operator=(const ChangeLock&) = delete;

  // Whether a path names the lock file of a user that was ended while it replaced something.
  static bool IsLeftOver(const std::string& lock_path);

  // What the path really names: links followed, spelled as on the disk.
  const std::string& target() const { return target_; }

 private:
  friend class Replacement;

  ChangeLock(std::string target, std::string lock_path, std::unique_ptr<File> file);

  // Makes a temporary file beside the target and notes its name.
  std::unique_ptr<File> MakeTemporary(std::string* path);

  void RemoveTemporary(const std::string& path);
  void RemoveLeftOver();

  std::string target_;
  std::string lock_path_;
  std::unique_ptr<File> file_;
  bool own_ = false;  // the library's own lock file, not something that happens to have its name
  bool left_over_ = false;  // the temporary file could not be removed: the note of it stays
};

enum class ReplaceResult {
  kDone,
  kBusy,        // another user holds the ChangeLock
  kNotCreated,  // no file can be made beside
  kSeekFailed,
  kShortWrite,
  kNotClosed,
  kNotMoved,
};

// A file that is written under a temporary name in the same directory and then put in the place of
// the one at a path, whole or not at all. Owner, permissions and links of what it replaces stay.
class Replacement {
 public:
  // Takes the ChangeLock of the path.
  explicit Replacement(const std::string& path);
  // Under the caller's lock, which has to outlive it.
  explicit Replacement(ChangeLock* lock);
  // What was not committed is removed.
  ~Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  // The file to write; nullptr when it could not be made, and after Commit.
  File* file() { return file_.get(); }

  // Writes at `offset`; kDone, kSeekFailed or kShortWrite, which Commit then repeats.
  ReplaceResult Write(uint64_t offset, std::span<const uint8_t> bytes);

  // Closes the file and puts it in its place.
  ReplaceResult Commit(Force force);

 private:
  void Begin();

  std::unique_ptr<ChangeLock> own_lock_;
  ChangeLock* lock_;
  std::string temporary_;  // "" when there is none
  std::unique_ptr<File> file_;
  ReplaceResult result_ = ReplaceResult::kDone;
};

// `path`, or else with 2, 3, ... behind it: the first under which nothing is there. Empty where
// that cannot be told, or all are taken.
std::string FreeName(const std::string& path);

// Replaces a file's whole content.
ReplaceResult ReplaceFile(const std::string& path, std::span<const uint8_t> bytes, Force force);

}  // namespace tervalon::platform

#endif  // PLATFORM_FILE_CHANGE_H_
