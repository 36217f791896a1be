#include "tools/data/raw_data.h"

#include <tervalon/application.h>
#include <tervalon/raw_analog.h>
#include <tervalon/raw_directory.h>
#include <tervalon/settings.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstdio>
#include <filesystem>

#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/data/processed_set.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

std::string Number(int number) { return std::to_string(number); }

std::string PaddedNumber(int number) {
  const std::string digits = Number(number);
  return std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') + digits;
}

char UpperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// File names of a directory in upper case: data copied between systems change case.
std::vector<std::string> FileNames(const std::string& directory) {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entries(PathOf(directory), error);
  for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    names.push_back(NameOf(entries->path().filename()));
    std::ranges::transform(names.back(), names.back().begin(), UpperCase);
  }
  return names;
}

bool Has(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

// The number in "_PROCnnn.IDX", or 0.
int ProcessOf(const std::string& name) {
  if (name.size() != 12 || !name.starts_with("_PROC") || !name.ends_with(".IDX")) {
    return 0;
  }
  int number = 0;
  for (const char c : name.substr(5, 3)) {
    if (c < '0' || c > '9') {
      return 0;
    }
    number = number * 10 + (c - '0');
  }
  return number <= RAW_MAX_PROCESSES ? number : 0;
}

int32_t TERVALON_CALL NoChannels(void* /*user*/, const char* /*directory*/) { return 0; }

}  // namespace

void FailToFind(const std::string& path) {
  std::error_code unknown;
  if (path.size() >= TV_PATH_SIZE) {
    throw Failure(path, "the path is longer than 259 characters");
  }
  const std::filesystem::file_status status = std::filesystem::status(PathOf(path), unknown);
  throw Failure(path, !std::filesystem::exists(status) ? "no such directory"
                      : !std::filesystem::is_directory(status)
                          ? "not a raw data directory but a file"
                          : "cannot be read as a directory");
}

std::vector<AnalogText> AnalogTexts(const RawDirectory& directory) {
  RawAnalogDescriptor descriptors[RAW_MAX_ANALOG_CHANNELS] = {};
  int16_t count = RAW_MAX_ANALOG_CHANNELS;
  if (RawReadAnalogInf(directory.handle(), &count, descriptors) != RAW_OK) {
    return {};
  }
  std::vector<AnalogText> texts;
  for (int i = 0; i < count; ++i) {
    const auto* const begin = reinterpret_cast<const char*>(descriptors[i].bytes);
    const auto* const end = begin + RAW_ANALOG_DESCRIPTOR_SIZE;
    const auto* const unit = std::min(std::find(begin, end, '\0') + 1, end);
    texts.push_back({Utf8FromLatin1(begin, static_cast<size_t>(end - begin)),
                     Utf8FromLatin1(unit, static_cast<size_t>(end - unit))});
  }
  return texts;
}

RawDirectory::RawDirectory(std::string path) : path_(std::move(path)) {
  const int32_t code = RawReadOpen(console::SystemText(path_).c_str(), &handle_);
  if (code == RAW_DIRECTORY_ABSENT) {
    FailToFind(path_);
  }
  CheckRaw(code, path_);
  try {
    ReadTables();
  } catch (...) {
    RawReadClose(handle_);
    throw;
  }
}

RawDirectory::~RawDirectory() { RawReadClose(handle_); }

void RawDirectory::ReadTables() {
  // Where the settings say that analog data come from a provider, a header cannot be read without.
  AppPenProcedures no_analog_data = {};
  no_analog_data.channel_count = NoChannels;
  AppSetPenProcedures(&no_analog_data, nullptr);
  int16_t count = 0;
  const int32_t code = RawReadHeader(handle_, &header_, &calibration_, &count, &analog_channels_);
  if (code == RAW_MEMBER_NOT_OPENED) {
    const std::vector<std::string> names = FileNames(path_);
    const bool header = Has(names, "_HEADER.TXT") || Has(names, "_HEADER.INF");
    const bool table = Has(names, "_FUNCTNS.INF");
    if (!header && !table) {
      throw Failure(path_, "not a raw data directory: it has no header and no function table");
    }
    const std::string member = MemberPath(header ? "_FUNCTNS.INF" : "_HEADER.TXT");
    throw Failure(member, header && table ? "cannot be opened" : "missing");
  }
  CheckRaw(code, path_);
  std::vector<RawFunctionRecord> records(RAW_MAX_FUNCTIONS);
  // The table could be read just now: an error is about the scans of one function, which who reads
  // them is told, and all records are there.
  const int32_t table_code = RawReadFuncInfo(handle_, 0, records.data(), nullptr);
  if (count == 0) CheckRaw(table_code, path_);
  records.resize(static_cast<size_t>(std::clamp<int>(count, 0, RAW_MAX_FUNCTIONS)));
  functions_ = std::move(records);
}

const RawFunctionRecord& RawDirectory::Function(int function) const {
  if (function < 1 || function > std::ssize(functions_)) {
    throw Failure(path_, "no function " + Number(function) + ": the directory has " +
                             Number(static_cast<int>(functions_.size())));
  }
  return functions_[static_cast<size_t>(function - 1)];
}

std::optional<int> RawDirectory::AnalogChannels() const {
  if (IsGCMD() != 0) {
    return std::nullopt;
  }
  return analog_channels_;
}

std::vector<int> RawDirectory::ProcessedSets() const {
  std::vector<int> sets;
  for (const std::string& name : FileNames(path_)) {
    if (const int process = ProcessOf(name); process != 0) {
      sets.push_back(process);
    }
  }
  std::ranges::sort(sets);
  return sets;
}

bool RawDirectory::HasDataOf(int function) const {
  const std::vector<std::string> names = FileNames(path_);
  const std::string member = "_FUNC" + PaddedNumber(function);
  return Has(names, member + ".DAT") || Has(names, member + ".IDX");
}

std::string RawDirectory::MemberPath(const std::string& member) const {
  return NameOf(PathOf(path_) / member);
}

DataReader::DataReader(const RawDirectory& directory, const DataSet& data_set)
    : directory_(directory),
      data_set_(CompleteDataSet(directory, data_set)),
      function_(static_cast<int16_t>(*data_set_.function)),
      process_(static_cast<int16_t>(data_set_.process)),
      record_(directory.Function(*data_set_.function)) {
  if (process_ != 0) {
    ClearTimes(record_);  // the function's, not the data set's
  }
  if (data_set_.data_type) {
    SetDataType(record_, *data_set_.data_type);
  }
  const int32_t code = RawReadFuncInit(directory_.handle(), function_, process_, &record_,
                                       &directory_.calibration());
  if (code != RAW_OK) {
    FailToOpen(code);
  }
}

DataReader::~DataReader() { RawReadFuncEnd(directory_.handle(), function_, process_); }

void DataReader::FailToOpen(int32_t code) const {
  if (code == RAW_BAD_ARGUMENT) {
    throw Failure(Subject(), "data type " + Number(DataType(record_)) + " is not a stored one");
  }
  if (code == RAW_MEMBER_NOT_OPENED) {
    const std::string member =
        process_ == 0 ? "_FUNC" + PaddedNumber(function_) : "_PROC" + PaddedNumber(process_);
    const std::vector<std::string> names = FileNames(directory_.path());
    for (const char* extension : {".IDX", ".DAT"}) {
      if (!Has(names, member + extension)) {
        throw Failure(directory_.MemberPath(member + extension), "missing");
      }
    }
    throw Failure(directory_.MemberPath(member + ".DAT"), "cannot be opened");
  }
  throw Failure(Subject(), RawErrorText(code));
}

std::string DataReader::Subject() const { return SubjectOf(directory_, data_set_); }

int32_t DataReader::ScanCount() const {
  if (process_ == 0) {
    return CompleteScans(record_);
  }
  // No record counts the scans of a processed data set; the last is the one at the end of time.
  return NearestScan(FLT_MAX);
}

int32_t DataReader::ScanAtTime(float minutes) const {
  constexpr float kLeastReach = 0.05F;  // times are typed with few decimals
  const int32_t scans = ScanCount();
  if (scans == 0) {
    throw Failure(Subject(), "it has no scans");
  }
  const float first = ScanHeader(1).retention_time;
  const float last = ScanHeader(scans).retention_time;
  const float reach = std::max((last - first) / static_cast<float>(scans), kLeastReach);
  if (minutes < first - reach || minutes > last + reach) {
    throw Failure(Subject(), "no scan at " + RoundedText(minutes, -1) + " min: its times are " +
                                 RoundedText(first, 4) + " to " + RoundedText(last, 4) + " min");
  }
  return NearestScan(minutes);
}

int32_t DataReader::NearestScan(float minutes) const {
  int32_t scan = 0;
  CheckRaw(RawReadTimeScan(directory_.handle(), function_, process_, &record_, minutes, &scan),
           Subject());
  return scan;
}

void DataReader::CheckScan(int32_t code, int32_t scan) const {
  if (code == RAW_SCAN_ABSENT) {
    const int32_t scans = ScanCount();
    throw Failure(Subject(), "no scan " + Number(scan) + ": it has " +
                                 (scans == 0 ? "none" : "scans 1 to " + Number(scans)));
  }
  CheckRaw(code, Subject());
}

RawScanHeader DataReader::ScanHeader(int32_t scan) const {
  RawScanHeader header = {};
  CheckScan(RawReadSpectrum(directory_.handle(), function_, process_, scan, 1, nullptr, &header,
                            nullptr, nullptr, nullptr, 0),
            scan);
  return header;
}

std::vector<RawScanHeader> DataReader::ScanHeaders(int32_t scans) const {
  std::vector<RawScanHeader> headers(static_cast<size_t>(scans));
  CheckRaw(RawReadScanHeaders(directory_.handle(), function_, process_, 1, scans, headers.data()),
           Subject());
  return headers;
}

std::vector<uint32_t> DataReader::ScanOffsets(int32_t scans) const {
  std::vector<uint32_t> offsets(static_cast<size_t>(scans));
  CheckRaw(RawReadScanOffsets(directory_.handle(), function_, process_, 1, scans, offsets.data()),
           Subject());
  return offsets;
}

Spectrum DataReader::ReadSpectrum(int32_t scan) const {
  Spectrum spectrum;
  ReadSpectrum(scan, spectrum);
  return spectrum;
}

void DataReader::ReadSpectrum(int32_t scan, Spectrum& spectrum) const {
  spectrum.header = ScanHeader(scan);
  auto count = static_cast<int32_t>(spectrum.header.points & RAW_SCAN_POINTS_MASK);
  const auto wanted = static_cast<size_t>(count);
  spectrum.masses.resize(wanted);
  spectrum.intensities.resize(wanted);
  std::vector<uint8_t> flags(HasPointFlags(record_) ? wanted : 0);
  if (count > 0) {
    CheckScan(RawReadSpectrum(directory_.handle(), function_, process_, scan, 1, &count, nullptr,
                              spectrum.masses.data(), spectrum.intensities.data(),
                              flags.empty() ? nullptr : flags.data(), 0),
              scan);
  }
  const auto delivered = std::min(wanted, static_cast<size_t>(std::max(count, 0)));
  spectrum.masses.resize(delivered);
  spectrum.intensities.resize(delivered);
  flags.resize(std::min(flags.size(), delivered));
  spectrum.flags.assign(flags.begin(), flags.end());
}

Chromatogram DataReader::ReadIndexChromatogram(int16_t kind) const {
  const int32_t scans = ScanCount();
  std::vector<float> times(static_cast<size_t>(scans));
  std::vector<float> values(times.size());
  if (scans > 0) {
    CheckRaw(RawReadChrom(directory_.handle(), function_, process_, 1, scans, values.data(),
                          times.data(), kind),
             Subject());
  }
  return {std::move(times), {std::move(values)}};
}

Chromatogram DataReader::ReadSums(const std::vector<WindowSum>& sums) const {
  return ReadSums(sums, 1, ScanCount());
}

Chromatogram DataReader::ReadSums(const std::vector<WindowSum>& sums, int32_t first,
                                  int32_t scans) const {
  Chromatogram result;
  result.times.resize(static_cast<size_t>(scans));
  result.traces.assign(sums.size(), std::vector<float>(result.times.size()));
  std::vector<std::vector<RawTraceWindow>> windows;
  std::vector<RawTrace> traces;
  std::vector<float*> values;
  std::vector<float*> times(sums.size());
  for (size_t i = 0; i < sums.size(); ++i) {
    std::vector<RawTraceWindow>& list = windows.emplace_back();
    for (const Window& window : sums[i].windows) {
      list.push_back({window.low, window.high, window.subtract ? 1 : 0, 0, 0});
    }
    traces.push_back({.kind = sums[i].of_points ? RAW_TRACE_POINTS : RAW_TRACE_MASSES,
                      .window_count = static_cast<int16_t>(list.size()),
                      .windows = list.data()});
    values.push_back(result.traces[i].data());
  }
  times[0] = result.times.data();
  if (scans > 0) {
    CheckRaw(RawReadChromTraces(directory_.handle(), function_, process_, first, scans,
                                static_cast<int16_t>(traces.size()), traces.data(), values.data(),
                                times.data()),
             Subject());
  }
  return result;
}

}  // namespace tervalon::tools
