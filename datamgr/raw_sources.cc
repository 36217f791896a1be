#include "datamgr/raw_sources.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "raw/function_record.h"
#include "raw/member_files.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_header.h"

namespace tervalon::datamgr {

// Well below the number of raw handles: the others are the application's.
constexpr size_t kMaxOpenSources = 8;
// Each has two files open.
constexpr size_t kMaxOpenDataSets = 16;

bool RawSource::IsOpen() const {
  return raw::CheckHandle(handle_) == RAW_OK && raw::HandleDirectory(handle_) == directory_;
}

int32_t RawSource::Open() {
  int32_t error = RawReadOpen(directory_.c_str(), &handle_);
  if (error != RAW_OK) return error;
  error = RawReadHeader(handle_, nullptr, &calibration_, nullptr, &analog_channels_);
  // Without a provider of analog data all others can be read.
  if (error == RAW_PATH_NOT_BUILT) error = RAW_OK;
  if (error != RAW_OK) Close();
  return error;
}

void RawSource::Close() {
  if (IsOpen()) RawReadClose(handle_);
  handle_ = -1;
  data_sets_.clear();
}

int32_t RawSource::ReadRecord(int16_t function, RawFunctionRecord* record) const {
  if (function < 1) return RAW_SLOT_OUT_OF_RANGE;
  return RawReadFuncInfo(handle_, function, record, nullptr);
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

// The open directories, the one used last in front.
class RawSourceTable {
 public:
  // Stores the source of a directory, and whether it had to be opened. Returns a Raw error code.
  int32_t Use(const std::string& directory, RawSource** source, bool* opened) {
    *opened = false;
    auto found = Find(directory);
    if (found != sources_.end() && !(*found)->IsOpen()) {
      if ((*found)->users_ > 0) return RAW_HANDLE_NOT_OPEN;
      sources_.erase(found);
      found = sources_.end();
    }
    if (found == sources_.end()) {
      const int32_t error = Open(directory);
      if (error != RAW_OK) return error;
      found = sources_.begin();
      *opened = true;
    }
    std::rotate(sources_.begin(), found, found + 1);
    *source = sources_.front().get();
    ++(*source)->users_;
    return RAW_OK;
  }

  void EndUse(RawSource* source, bool close) {
    --source->users_;
    if (close) source->closing_ = true;
    if (source->users_ > 0 || !source->closing_) return;
    CloseIf([source](const RawSource& other) { return &other == source; });
  }

  template <typename Condition>
  void CloseIf(Condition condition) {
    std::erase_if(sources_, [&](const std::unique_ptr<RawSource>& source) {
      if (!condition(*source)) return false;
      source->closing_ = source->users_ > 0;
      if (source->closing_) return false;
      source->Close();
      return true;
    });
  }

  static RawSourceTable& Instance() { return instance_; }

 private:
  using Sources = std::vector<std::unique_ptr<RawSource>>;

  Sources::iterator Find(const std::string& directory) {
    return std::find_if(
        sources_.begin(), sources_.end(),
        [&](const std::unique_ptr<RawSource>& source) { return source->directory_ == directory; });
  }

  // Opens a directory and puts its source in front.
  int32_t Open(const std::string& directory) {
    auto source = std::make_unique<RawSource>(directory);
    sources_.reserve(sources_.size() + 1);
    while (sources_.size() >= kMaxOpenSources && CloseOldest()) {
    }
    int32_t error = source->Open();
    while (error == RAW_NO_FREE_HANDLE && CloseOldest()) error = source->Open();
    if (error == RAW_OK) sources_.insert(sources_.begin(), std::move(source));
    return error;
  }

  // Closes the source that was not used for the longest time. False when all are in use.
  bool CloseOldest() {
    const auto oldest =
        std::find_if(sources_.rbegin(), sources_.rend(),
                     [](const std::unique_ptr<RawSource>& source) { return source->users_ == 0; });
    if (oldest == sources_.rend()) return false;
    (*oldest)->Close();
    sources_.erase(std::next(oldest).base());
    return true;
  }

  static RawSourceTable instance_;

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

void CloseAllRawSources() {
  RawSourceTable::Instance().CloseIf([](const RawSource&) { return true; });
}

}  // namespace tervalon::datamgr
