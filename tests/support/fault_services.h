// Platform services that fail on demand and count what they are asked for. Put them in place with
// platform::ScopedReplacement; each wraps the service that was current when it was made.

#ifndef TESTS_SUPPORT_FAULT_SERVICES_H_
#define TESTS_SUPPORT_FAULT_SERVICES_H_

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/desktop.h"
#include "platform/file_system.h"
#include "platform/memory.h"
#include "platform/profile.h"

namespace tervalon::testing {

// Counts the calls of one operation and says which of them fail.
class FaultPoint {
 public:
  // The n-th call from now on fails (1: the next one), and with `onwards` every later one too.
  void FailNth(int64_t n, bool onwards = false) {
    first_ = calls_ + n;
    last_ = onwards ? std::numeric_limits<int64_t>::max() : first_;
  }
  void Heal() { first_ = last_ = 0; }

  // Counts a call. True when it has to fail.
  bool Hit() {
    ++calls_;
    return calls_ >= first_ && calls_ <= last_;
  }
  int64_t calls() const { return calls_; }

 private:
  int64_t calls_ = 0;
  int64_t first_ = 0;
  int64_t last_ = 0;
};

enum class FileCall {
  kOpen,
  kRead,
  kWrite,     // fails as a short write
  kPosition,  // counted with every read and write; fails before either
  kSize,
  kClose,  // the file is closed all the same
  kStatus,
  kTarget,
  kCopyAccess,
  kRemove,
  kMakeDirectory,
  kRemoveDirectory,
  kList,
  kTouch,
  kMove,
  kOpenAlone,  // fails as for want of permission
  kSync,
  kResize,
  kLock,
  kCount,
};

// What a call that fails has done all the same.
enum class Effect { kNone, kHalf, kWhole };

class FaultyFileSystem : public platform::FileSystem {
 public:
  FaultyFileSystem() : real_(platform::Files()) {}

  // Of reads, writes and whatever changes something; none at first.
  void SetEffect(Effect effect) { effect_ = effect; }

  FaultPoint& On(FileCall call) { return points_[static_cast<size_t>(call)]; }
  int64_t Calls(FileCall call) const { return points_[static_cast<size_t>(call)].calls(); }

  // Only calls on paths that contain `part` fail and are counted.
  void OnlyPathsWith(const std::string& part) { path_part_ = part; }

  // From now on only `bytes` more go to files; the write that crosses the limit is cut there.
  void SetDiskSpace(uint64_t bytes) { space_ = bytes; }

  // How much of a write that FailNth hit still goes to the file.
  void SetShortWriteBytes(size_t bytes) { short_write_ = bytes; }

  uint64_t bytes_read() const { return bytes_read_; }

  size_t largest_read() const { return largest_read_; }
  int64_t open_files() const { return open_files_; }

  std::unique_ptr<platform::File> Open(const std::string& path, platform::OpenMode mode,
                                       bool* absent = nullptr,
                                       platform::Spelling spelling = {}) override;
  std::unique_ptr<platform::File> OpenAlone(const std::string& path, bool* in_use) override;
  bool RemoveAlone(const std::string& path, std::unique_ptr<platform::File> file) override;
  platform::PathStatus Status(const std::string& path) override;
  bool Exists(const std::string& path) override { return real_.Exists(path); }
  bool IsLink(const std::string& path) override { return real_.IsLink(path); }
  std::string Resolve(const std::string& path) override { return real_.Resolve(path); }
  std::string Target(const std::string& path) override;
  bool Remove(const std::string& path) override;
  bool MakeDirectory(const std::string& path) override;
  bool RemoveEmptyDirectory(const std::string& path) override;
  bool List(const std::string& path, std::vector<platform::DirectoryEntry>* entries) override;
  bool Touch(const std::string& path) override;
  bool CopyAccess(const std::string& like, const std::string& path) override;
  bool MoveOver(const std::string& from, const std::string& to, platform::Force force) override;
  std::string WorkingDirectory() override;

 private:
  class FaultyFile;

  bool Fails(FileCall call, const std::string& path);

  // Carries out a change, which fails when it is its turn.
  template <typename Change>
  bool Try(FileCall call, const std::string& path, Change change) {
    if (!Fails(call, path)) return change();
    if (effect_ == Effect::kWhole) change();
    return false;
  }

  platform::FileSystem& real_;
  std::array<FaultPoint, static_cast<size_t>(FileCall::kCount)> points_;
  std::string path_part_;
  uint64_t space_ = std::numeric_limits<uint64_t>::max();
  size_t short_write_ = 0;
  Effect effect_ = Effect::kNone;
  uint64_t bytes_read_ = 0;

  size_t largest_read_ = 0;
  int64_t open_files_ = 0;
};

class FaultyMemory : public platform::MovableMemory {
 public:
  FaultyMemory() : real_(platform::Memory()) {}

  FaultPoint allocate;
  FaultPoint reallocate;
  FaultPoint lock;

  // Blocks not yet freed, and locks not yet removed, of those that went through here.
  int64_t live_blocks() const { return live_blocks_; }
  int64_t live_locks() const;

  TvMemory Allocate(size_t size) override;
  TvMemory Reallocate(TvMemory block, size_t size) override;
  void* Lock(TvMemory block) override;
  int32_t Unlock(TvMemory block) override;
  size_t Size(TvMemory block) override { return real_.Size(block); }
  bool Free(TvMemory block) override;

 private:
  platform::MovableMemory& real_;
  int64_t live_blocks_ = 0;
  std::map<TvMemory, int64_t> locks_;
};

class FaultyProfile : public platform::Profile {
 public:
  FaultyProfile() : real_(platform::Profiles()) {}

  FaultPoint read;   // fails as a file that cannot be read
  FaultPoint write;  // fails without touching the file

  struct WriteCall {
    std::string section;
    std::string key;
    std::string value;
    std::string path;
  };
  std::vector<WriteCall> writes;  // one for each edit; nullptr as empty text

  bool Load(const char* path, platform::ProfileText* text) override;
  bool Change(const char* path, std::span<const platform::ProfileEdit> edits) override;

 private:
  platform::Profile& real_;
};

// Shows nothing, remembers everything.
class RecordingDesktop : public platform::Desktop {
 public:
  struct Message {
    TvWindow owner = nullptr;
    std::string text;
    std::string caption;  // empty for none
    uint32_t style = 0;

    bool operator==(const Message&) const = default;
    friend void PrintTo(const Message& message, std::ostream* out) {
      *out << message.caption << ": " << message.text << " (" << message.style << ")";
    }
  };
  std::vector<Message> messages;
  std::vector<std::string> debug_texts;
  int32_t answer = platform::kAnswerOk;
  std::vector<uint32_t> beeps;

  // String resources, by module and number.
  std::map<std::pair<TvInstance, uint16_t>, std::string> strings;

  // What was asked of file dialogs, and how they answer: `chosen_path` is offered to the choice's
  // accept function, and a choice that is refused counts as cancelled.
  std::vector<platform::FileChoice> file_choices;
  platform::FileChoiceResult file_result = platform::FileChoiceResult::kCancelled;
  std::string chosen_path;
  uint32_t file_error = 0;

  int32_t ShowMessage(TvWindow owner, const char* text, const char* caption,
                      uint32_t style) override;
  void Beep(uint32_t sound) override { beeps.push_back(sound); }
  platform::FileChoiceResult ChooseFile(platform::FileChoice* choice, uint32_t* error) override;
  void DebugText(const char* text) override { debug_texts.emplace_back(text); }
  TvInstance LibraryInstance() override { return reinterpret_cast<TvInstance>(&debug_texts); }
  bool LoadText(TvInstance instance, uint16_t number, std::string* text) override;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_FAULT_SERVICES_H_
