#include "tools/data/raw_data.h"

#include <tervalon/application.h>
#include <tervalon/raw_directory.h>
#include <tervalon/settings.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstdio>
#include <filesystem>

#include "tools/data/function_description.h"
#include "tools/print/failure.h"

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
  std::filesystem::directory_iterator entries(directory, error);
  for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    names.push_back(entries->path().filename().string());
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

RawDirectory::RawDirectory(std::string path) : path_(std::move(path)) {
  CheckRaw(RawReadOpen(path_.c_str(), &handle_), path_);
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
  CheckRaw(RawReadFuncInfo(handle_, 0, records.data(), nullptr), MemberPath("_FUNCTNS.INF"));
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

std::string RawDirectory::MemberPath(const std::string& member) const {
  return (std::filesystem::path(path_) / member).string();
}

DataReader::DataReader(const RawDirectory& directory, const DataSet& data_set)
    : directory_(directory),
      function_(static_cast<int16_t>(data_set.function)),
      process_(static_cast<int16_t>(data_set.process)),
      record_(directory.Function(data_set.function)) {
  if (process_ != 0) {
    ClearTimes(record_);  // the function's, not the data set's
  }
  if (data_set.data_type) {
    SetDataType(record_, *data_set.data_type);
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

std::string DataReader::Subject() const {
  return directory_.path() + ": " +
         (process_ == 0 ? "function " + Number(function_)
                        : "processed data set " + Number(process_));
}

int32_t DataReader::ScanCount() const {
  if (process_ == 0) {
    return CompleteScans(record_);
  }
  // No record counts the scans of a processed data set; the last is the one at the end of time.
  return ScanAtTime(FLT_MAX);
}

int32_t DataReader::ScanAtTime(float minutes) const {
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

Spectrum DataReader::ReadSpectrum(int32_t scan) const {
  Spectrum spectrum = {.header = ScanHeader(scan)};
  auto count = static_cast<int32_t>(spectrum.header.points & RAW_SCAN_POINTS_MASK);
  const auto wanted = static_cast<size_t>(count);
  spectrum.masses.resize(wanted);
  spectrum.intensities.resize(wanted);
  std::vector<uint8_t> flags(wanted);
  if (count > 0) {
    CheckScan(RawReadSpectrum(directory_.handle(), function_, process_, scan, 1, &count, nullptr,
                              spectrum.masses.data(), spectrum.intensities.data(), flags.data(), 0),
              scan);
  }
  const auto delivered = std::min(wanted, static_cast<size_t>(std::max(count, 0)));
  spectrum.masses.resize(delivered);
  spectrum.intensities.resize(delivered);
  if (HasPointFlags(record_)) {
    spectrum.flags.assign(flags.begin(), flags.begin() + static_cast<std::ptrdiff_t>(delivered));
  }
  return spectrum;
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

Chromatogram DataReader::ReadMassChromatograms(const std::vector<MassWindow>& windows) const {
  const int32_t scans = ScanCount();
  Chromatogram result;
  result.times.resize(static_cast<size_t>(scans));
  result.traces.assign(windows.size(), std::vector<float>(result.times.size()));
  std::vector<RawTraceWindow> raw_windows;
  std::vector<RawTrace> traces;
  std::vector<float*> values;
  std::vector<float*> times(windows.size());
  raw_windows.reserve(windows.size());
  for (const MassWindow& window : windows) {
    raw_windows.push_back({window.low, window.high, 0, 0, 0});
  }
  for (size_t i = 0; i < windows.size(); ++i) {
    traces.push_back({.kind = RAW_TRACE_MASSES, .window_count = 1, .windows = &raw_windows[i]});
    values.push_back(result.traces[i].data());
  }
  times[0] = result.times.data();
  if (scans > 0) {
    CheckRaw(RawReadChromTraces(directory_.handle(), function_, process_, 1, scans,
                                static_cast<int16_t>(traces.size()), traces.data(), values.data(),
                                times.data()),
             Subject());
  }
  return result;
}

}  // namespace tervalon::tools
