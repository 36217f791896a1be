#include "processing/new_set.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/file_system.h"
#include "raw/history_file.h"
#include "raw/member_change.h"
#include "raw/member_files.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

using platform::File;
using raw::History;
using raw::ScanWriter;

// As its files are named, without the extension.
std::string NameOf(int16_t number) {
  std::string name = raw::MemberName(raw::kProcessData, number);
  name.resize(name.rfind('.'));
  return name;
}

bool HasName(const RawHistoryEntry& entry, const std::string& name) {
  return entry.index != 0 &&
         name == std::string(entry.process.name,
                             strnlen(entry.process.name, sizeof(entry.process.name)));
}

// The index of a set's entry; 0 when the tree has none.
uint16_t FindEntry(const History& history, int16_t tree, int16_t number) {
  const int32_t found =
      RawHistSearchTag(&history.header, history.entries.data(), tree, NameOf(number).c_str());
  return static_cast<uint16_t>(static_cast<uint32_t>(found) >> 16);
}

bool IsInHistory(const History& history, int16_t number) {
  const std::string name = NameOf(number);
  return std::any_of(history.entries.begin(), history.entries.end(),
                     [&](const RawHistoryEntry& entry) { return HasName(entry, name); });
}

// The files of a set. They are removed again unless they are kept.
class NewFiles {
 public:
  explicit NewFiles(int32_t handle) : handle_(handle) {}
  ~NewFiles() {
    if (making_) Guarded<int32_t>(0, [this] { return Remove(); });
  }
  NewFiles(const NewFiles&) = delete;
  NewFiles& operator=(const NewFiles&) = delete;

  int16_t number() const { return number_; }
  ScanWriter* writer() { return writer_.get(); }

  // Makes the files of the lowest number that is free. PRC_NO_FREE_SET; a Raw error code:
  // RAW_LOCK_FAILED when another makes them at this moment.
  int32_t Make(const History& history) {
    for (bool is_free = false; !is_free;) {
      if (++number_ > RAW_MAX_PROCESSES) return PRC_NO_FREE_SET;
      if (IsInHistory(history, number_)) continue;
      const int32_t error = FindAbsent(&is_free);
      if (error != RAW_OK) return error;
    }
    making_ = true;
    const int32_t error = ScanWriter::Open(handle_, Files(), {}, &writer_);
    if (error != RAW_OK) return error;
    is_own_ = writer_->IsEmpty();
    return is_own_ ? writer_->Clear() : RAW_LOCK_FAILED;
  }

  int32_t ForceToDisk() {
    int32_t error = writer_->Flush();
    if (error == RAW_OK) error = raw::ForceToDisk(handle_, Files());
    is_complete_ = error == RAW_OK;
    return error;
  }
  bool is_complete() const { return is_complete_; }

  void Keep() { making_ = false; }

 private:
  raw::ScanFiles Files() const { return raw::ScanFilesOf(0, number_); }

  std::string Path(int32_t code) const {
    return raw::PathInside(raw::HandleDirectory(handle_), raw::MemberName(code, number_));
  }

  // What cannot be told counts neither as absent nor as another's.
  int32_t FindAbsent(bool* absent) {
    index_path_ = Path(raw::kProcessIndex);
    data_path_ = Path(raw::kProcessData);
    *absent = true;
    for (const std::string* path : {&index_path_, &data_path_}) {
      const platform::PathStatus status = platform::Files().Status(*path);
      if (status == platform::PathStatus::kUnknown) return RAW_MEMBER_NOT_OPENED;
      if (status != platform::PathStatus::kNothing) *absent = false;
    }
    return RAW_OK;
  }

  // While they are locked: who waits for them makes them anew. Without memory, if it has to be.
  bool Remove() {
    std::unique_ptr<File> data;
    uint64_t size = 0;
    if (writer_ != nullptr) {
      if (!is_own_ && !writer_->IsEmpty()) return false;
      writer_->Clear();
    } else if (raw::OpenForWriting(handle_, raw::kProcessData, number_, false, &data) != RAW_OK ||
               !data->Lock(platform::LockMode::kExclusive) || !data->Size(&size) || size != 0) {
      return false;
    }
    platform::Files().Remove(index_path_);
    return platform::Files().Remove(data_path_);
  }

  const int32_t handle_;
  std::string index_path_;
  std::string data_path_;
  int16_t number_ = 0;
  bool making_ = false;
  bool is_complete_ = false;
  bool is_own_ = false;  // what they hold, if anything
  std::unique_ptr<ScanWriter> writer_;
};

int32_t Decode(const raw::MemberContent& content, History* history) {
  if (content.absent) return RAW_OK;
  return raw::DecodeHistory(content.bytes, &history->header, history->entries.data());
}

int32_t AddEntry(const SetPlace& place, RawHistoryProcess step, int16_t number, History* history) {
  const std::string name = NameOf(number);
  std::copy(name.begin(), name.end(), step.name);
  step.created = static_cast<uint32_t>(std::time(nullptr));
  uint16_t parent = 0;
  if (place.source != 0) {
    parent = FindEntry(*history, place.function, place.source);
    if (parent == 0) return PRC_STEP_UNKNOWN;
  }
  RawHistoryEntry entry = {};
  entry.process = step;
  return RawHistAddProcess(&history->header, history->entries.data(), place.function, parent,
                           &entry);
}

}  // namespace

int32_t StoreNewSet(int32_t handle, const SetPlace& place, const RawHistoryProcess& step,
                    const ScanSource& write, int16_t* number) {
  NewFiles files(handle);
  // Under the history's lock, so that two programs do not choose one number.
  const auto change = [&](const raw::MemberContent& content, std::vector<uint8_t>* fresh) {
    History history;
    int32_t error = Decode(content, &history);
    if (error == RAW_OK) error = files.Make(history);
    if (error == RAW_OK) error = AddEntry(place, step, files.number(), &history);
    if (error == RAW_OK) error = write(files.writer());
    if (error == RAW_OK) error = files.ForceToDisk();
    if (error == RAW_OK) *fresh = raw::EncodeHistory(history.header, history.entries.data());
    return error;
  };
  const int32_t error = raw::ChangeMember(handle, raw::kHistory, raw::kLargestHistory, change);
  // A history may be in place although it is told that it could not be put there.
  SetPlace stored = {};
  RawHistoryProcess with = {};
  if (error == RAW_OK ||
      (files.is_complete() && FindSet(handle, files.number(), &stored, &with) == PRC_OK)) {
    files.Keep();
  }
  if (error == RAW_OK) *number = files.number();
  return error;
}

int32_t FindSet(int32_t handle, int16_t number, SetPlace* place, RawHistoryProcess* step) {
  raw::MemberContent content;
  int32_t error = raw::ReadMember(handle, raw::kHistory, raw::kLargestHistory, &content);
  History history;
  if (error == RAW_OK) error = Decode(content, &history);
  if (error != RAW_OK) return error;
  // Of several, the one that was made last is the one whose files are there.
  const RawHistoryEntry* entry = nullptr;
  for (int16_t tree = 1; tree <= RAW_MAX_FUNCTIONS; ++tree) {
    const RawHistoryEntry& found = history.entries[FindEntry(history, tree, number)];
    if (found.index == 0 || (entry != nullptr && found.process.created < entry->process.created)) {
      continue;
    }
    entry = &found;
    place->function = tree;
  }
  if (entry == nullptr) return PRC_STEP_UNKNOWN;
  *step = entry->process;
  place->source = 0;
  const auto parent = static_cast<uint32_t>(
      RawHistGetProcess(&history.header, history.entries.data(), place->function, entry->index, 1,
                        RAW_HISTORY_PARENT));
  if (parent == 0) return PRC_OK;
  while (++place->source <= RAW_MAX_PROCESSES) {
    if (HasName(history.entries[parent >> 16], NameOf(place->source))) return PRC_OK;
  }
  return PRC_STEP_UNKNOWN;
}

}  // namespace tervalon::processing
