#include "datamgr/raw_sources.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "platform/lock.h"
#include "raw/function_record.h"
#include "raw/function_table.h"
#include "raw/header_file.h"
#include "raw/member_files.h"
#include "tervalon/raw_directory.h"

namespace tervalon::datamgr {

// Well below the number of raw handles: the others are the application's.
constexpr size_t kMaxOpenSources = 8;
// Each has two files open.
constexpr size_t kMaxOpenDataSets = 16;

bool RawSource::IsOpen() const {
  return raw::CheckHandle(handle_) == RAW_OK && raw::HandleGeneration(handle_) == generation_;
}

int32_t RawSource::Open() {
  int32_t error = RawReadOpen(directory_.c_str(), &handle_);
  if (error != RAW_OK) return error;
  generation_ = raw::HandleGeneration(handle_);
  error = raw::ReadCalibration(handle_, &calibration_, &functions_);
  // In a directory whose name leaves no room for those of members, each of these says so.
  if (error == RAW_PATH_NOT_BUILT) error = RAW_OK;
  if (error != RAW_OK) Close();
  return error;
}

void RawSource::Close() {
  if (IsOpen()) RawReadClose(handle_);
  handle_ = -1;
  data_sets_.clear();
}

int32_t RawSource::ReadRecord(int16_t function, RawFunctionRecord* record) {
  if (function < 1 || function > RAW_MAX_FUNCTIONS) return RAW_SLOT_OUT_OF_RANGE;
  if (functions_.empty()) {
    const int32_t error = raw::ReadFunctionTable(handle_, &functions_);
    if (error != RAW_OK) return error;
  }
  if (static_cast<size_t>(function) > functions_.size()) return RAW_BAD_ARGUMENT;
  *record = functions_[static_cast<size_t>(function) - 1];
  return RAW_OK;
}

int16_t RawSource::CountAnalogChannels() const {
  int16_t channels = 0;
  // What cannot be read has none, as without a provider of them.
  return raw::CountAnalogChannels(handle_, &channels) == RAW_OK ? channels : int16_t{0};
}

bool RawSource::EndProcess(int16_t process) {
  const auto ends = [process](const DataSet& open) { return open.process == process; };
  if (users_ > 1 && std::any_of(data_sets_.begin(), data_sets_.end(), ends)) return false;
  std::erase_if(data_sets_, [&](const DataSet& open) {
    if (ends(open)) RawReadFuncEnd(handle_, open.function, open.process);
    return ends(open);
  });
  return true;
}

int32_t RawSource::OpenDataSet(int16_t function, int16_t process, int32_t data_type,
                               OpenData* data) {
  if (process == 0) data_type = -1;
  auto found = std::find_if(data_sets_.begin(), data_sets_.end(), [&](const DataSet& open) {
    return open.function == function && open.process == process && open.data_type == data_type;
  });
  if (found == data_sets_.end()) {
    const int32_t error = AddDataSet(function, process, data_type);
    if (error != RAW_OK) return error;
    found = std::prev(data_sets_.end());
  }
  data->record = &found->record;
  return raw::GetScanBufferAs(handle_, function, process, &data->reader);
}

int32_t RawSource::AddDataSet(int16_t function, int16_t process, int32_t data_type) {
  DataSet added = {function, process, data_type, {}};
  int32_t error = ReadRecord(function, &added.record);
  if (error != RAW_OK) return error;
  if (data_type >= 0) raw::SetDataType(&added.record, data_type);
  // Whatever the function and data type that a processed data set is read with, its files are open
  // once.
  if (process != 0 && !EndProcess(process)) return RAW_SCAN_BUFFER_EXISTS;
  if (data_sets_.size() >= kMaxOpenDataSets && users_ == 1) {
    RawReadFuncEnd(handle_, data_sets_.front().function, data_sets_.front().process);
    data_sets_.erase(data_sets_.begin());
  }
  data_sets_.reserve(data_sets_.size() + 1);
  error = RawReadFuncInit(handle_, function, process, &added.record, &calibration_);
  if (error == RAW_OK) data_sets_.push_back(added);
  return error;
}

// The open directories, the one used last in front. Directories are opened and closed without the
// lock, and read without it by the one thread that has leased them.
class RawSourceTable {
 public:
  // Stores the source of a directory, and whether it had to be opened. Returns a Raw error code.
  int32_t Use(const std::string& directory, RawSource** source, bool* opened) {
    *opened = false;
    {
      const platform::Held held(&lock_);
      Sources::iterator found;
      while ((found = FindFor(directory, platform::ThisThread())) != sources_.end()) {
        if ((*found)->IsOpen()) {
          *source = Lease(found);
          return RAW_OK;
        }
        if ((*found)->users_ > 0) return RAW_HANDLE_NOT_OPEN;
        sources_.erase(found);
      }
    }
    const int32_t error = Open(directory, source);
    *opened = error == RAW_OK;
    return error;
  }

  void EndUse(RawSource* source, bool close) {
    std::unique_ptr<RawSource> closed;
    {
      const platform::Held held(&lock_);
      --source->users_;
      if (source->users_ == 0) source->functions_.clear();
      if (close) source->closing_ = true;
      if (source->users_ == 0 && source->closing_) closed = TakeOut(*source);
    }
    if (closed != nullptr) closed->Close();
  }

  template <typename Condition>
  void CloseIf(Condition condition) {
    while (const std::unique_ptr<RawSource> closed = TakeOutIf(condition)) closed->Close();
  }

  static RawSourceTable& Instance() { return instance_; }

 private:
  using Sources = std::vector<std::unique_ptr<RawSource>>;

  // The functions from here to Open with the lock held.

  // A source for a thread: the one that it reads already, or one that nobody reads.
  Sources::iterator FindFor(const std::string& directory, uintptr_t thread) {
    const auto find = [&](auto fits) {
      return std::find_if(
          sources_.begin(), sources_.end(), [&](const std::unique_ptr<RawSource>& source) {
            return source->directory_ == directory && !source->opening_ && fits(*source);
          });
    };
    const auto own = find([thread](const RawSource& source) {
      return source.users_ > 0 && source.thread_ == thread;
    });
    return own != sources_.end() ? own
                                 : find([](const RawSource& source) { return source.users_ == 0; });
  }

  RawSource* Lease(Sources::iterator place) {
    std::rotate(sources_.begin(), place, place + 1);
    RawSource* const source = sources_.front().get();
    source->thread_ = platform::ThisThread();
    ++source->users_;
    return source;
  }

  std::unique_ptr<RawSource> TakeOut(const RawSource& source) {
    const auto place = std::find_if(
        sources_.begin(), sources_.end(),
        [&](const std::unique_ptr<RawSource>& other) { return other.get() == &source; });
    std::unique_ptr<RawSource> taken = std::move(*place);
    sources_.erase(place);
    return taken;
  }

  // Opens a directory and leases its source, which stands in the table meanwhile.
  int32_t Open(const std::string& directory, RawSource** source) {
    auto made = std::make_unique<RawSource>(directory);
    RawSource* const opening = made.get();
    opening->opening_ = true;
    while (IsFull() && CloseOldest()) {
    }
    {
      const platform::Held held(&lock_);
      sources_.push_back(std::move(made));
      Lease(std::prev(sources_.end()));
    }
    int32_t error = opening->Open();
    while (error == RAW_NO_FREE_HANDLE && CloseOldest()) error = opening->Open();
    std::unique_ptr<RawSource> dropped;
    const platform::Held held(&lock_);
    opening->opening_ = false;
    if (error == RAW_OK) {
      *source = opening;
    } else {
      dropped = TakeOut(*opening);
    }
    return error;
  }

  bool IsFull() {
    const platform::Held held(&lock_);
    return sources_.size() >= kMaxOpenSources;
  }

  // Takes out a source of those that are to be closed; the ones in use close later.
  template <typename Condition>
  std::unique_ptr<RawSource> TakeOutIf(Condition condition) {
    const platform::Held held(&lock_);
    for (const std::unique_ptr<RawSource>& source : sources_) {
      if (!condition(*source)) continue;
      source->closing_ = source->users_ > 0;
      if (!source->closing_) return TakeOut(*source);
    }
    return nullptr;
  }

  // Closes the source that was not used for the longest time. False when all are in use.
  bool CloseOldest() {
    std::unique_ptr<RawSource> closed;
    {
      const platform::Held held(&lock_);
      const auto oldest = std::find_if(
          sources_.rbegin(), sources_.rend(),
          [](const std::unique_ptr<RawSource>& source) { return source->users_ == 0; });
      if (oldest == sources_.rend()) return false;
      closed = TakeOut(**oldest);
    }
    closed->Close();
    return true;
  }

  static RawSourceTable instance_;

  platform::Mutex lock_;
  Sources sources_;
};
RawSourceTable RawSourceTable::instance_;

SourceLease::SourceLease(const std::string& directory)
    : error_(RawSourceTable::Instance().Use(directory, &source_, &opened_)) {}

SourceLease::~SourceLease() {
  if (source_ != nullptr) RawSourceTable::Instance().EndUse(source_, opened_);
}

void CloseRawSource(const std::string& directory) {
  RawSourceTable::Instance().CloseIf(
      [&](const RawSource& source) { return source.directory() == directory; });
}

void CloseOtherSources(const RawSource& written) {
  RawSourceTable::Instance().CloseIf([&](const RawSource& source) {
    return &source != &written && source.directory() == written.directory();
  });
}

void CloseAllRawSources() {
  RawSourceTable::Instance().CloseIf([](const RawSource&) { return true; });
}

}  // namespace tervalon::datamgr
