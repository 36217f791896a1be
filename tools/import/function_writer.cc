#include "tools/import/function_writer.h"

#include <tervalon/raw_directory.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <filesystem>
#include <utility>

#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

// Half a step of the 21 bits that the enhanced types have for an intensity.
constexpr double kEnhancedError = 0x1p-21;
// Where scans wait to be written in another type: a processed data set, which an import has none
// of.
constexpr int16_t kWaiting = 255;
constexpr const char* kWaitingName = "_PROC255";

std::string MemberName(int function) {
  const std::string digits = std::to_string(function);
  return "_FUNC" + std::string(3 - digits.size(), '0') + digits;
}

float Clamped(double value) {
  return static_cast<float>(
      std::clamp(value, -static_cast<double>(FLT_MAX), static_cast<double>(FLT_MAX)));
}

std::vector<int> TypesFor(const ScanKind& kind) {
  std::vector<int> types;
  if (kind.data_type && IsStored(*kind.data_type)) types.push_back(*kind.data_type);
  const bool channels = kind.spectrum_type == cv::kSimSpectrum.accession ||
                        kind.spectrum_type == cv::kSrmSpectrum.accession;
  if (channels) {
    types.insert(types.end(), {RAW_DATA_SIR, RAW_DATA_ENHANCED_SIR});
  } else if (kind.representation == Representation::kProfile) {
    types.insert(types.end(), {RAW_DATA_CONTINUUM, RAW_DATA_MCA, RAW_DATA_ENHANCED_MASS});
  } else {
    types.insert(types.end(), {RAW_DATA_COMPRESSED_CENTROID, RAW_DATA_STANDARD_CENTROID});
  }
  types.push_back(RAW_DATA_FLOAT);
  return types;
}

}  // namespace

FunctionWriter::FunctionWriter(int32_t handle, const StagedDirectory& directory, int16_t number,
                               ScanKind kind, std::optional<int> data_type)
    : handle_(handle),
      directory_(directory),
      number_(number),
      kind_(std::move(kind)),
      forced_(data_type.has_value()),
      types_(forced_ ? std::vector{*data_type} : TypesFor(kind_)) {
  std::ranges::reverse(types_);
  type_ = types_.back();
  types_.pop_back();
}

void FunctionWriter::Check(int32_t code) const {
  CheckRaw(code, directory_.path() + ": function " + std::to_string(number_));
}

void FunctionWriter::ConvertPoints(const ImportedScan& scan, Losses& losses) {
  const size_t count = scan.masses.size();
  masses_.resize(count);
  intensities_.resize(count);
  size_t outside = 0;
  for (size_t i = 0; i < count; ++i) {
    if (!std::isfinite(scan.masses[i])) throw Defect{"an m/z that is no number"};
    masses_[i] = Clamped(scan.masses[i]);
    const double intensity = scan.intensities[i];
    if (!(std::abs(intensity) <= FLT_MAX)) ++outside;
    intensities_[i] = std::isnan(intensity) ? 0 : Clamped(intensity);
  }
  if (outside != 0)
    losses.Add("intensities that are no numbers (stored as 0) or too large", outside);
}

void FunctionWriter::Add(const ImportedScan& scan, Losses& losses) {
  ConvertPoints(scan, losses);
  if (scans_ == 0) Begin(scan);
  if (forced_) {
    FitsMasses();  // finds the range of those that are spaced evenly
  } else {
    while (!Fits(scan)) MoveToNextType(losses);
  }
  if (IsChannelType(type_) && masses_.size() > channels_.size()) {
    throw Defect{"it has more points than the function has channels"};
  }
  if (!scan.flags.empty() && type_ != RAW_DATA_ENHANCED_MASS && type_ != RAW_DATA_ENHANCED_SIR &&
      std::ranges::any_of(scan.flags, [](uint8_t flag) { return flag != 0; })) {
    losses.Add("flags of points");
  }
  Measure(scan);
  Write(scan.description, scan.flags);
  const float time = scan.description.retention_time;
  if (scans_ == 0) first_time_ = time;
  if (scans_ != 0 && time < last_time_)
    losses.Add("times that do not rise: searches may miss them");
  last_time_ = time;
  ++scans_;
  points_ += std::ssize(masses_);
}

// What the first scan tells of the function.
void FunctionWriter::Begin(const ImportedScan& scan) {
  if (!kind_.windows.empty()) {
    range_ = {kind_.windows.front().first, kind_.windows.back().second};
  }
  if (masses_.size() <= RAW_MAX_SEGMENTS) channels_ = masses_;
  if (scan.parents.size() == channels_.size()) parents_ = scan.parents;
  lowest_ = FLT_MAX;
  highest_ = -FLT_MAX;
}

bool FunctionWriter::FitsSpaced() {
  if (masses_ == spaced_) return true;  // as in the scan before
  for (size_t i = 0; i < masses_.size(); ++i) {
    if (masses_[i] != SpacedMass(range_->first, range_->second, i, masses_.size())) return false;
  }
  spaced_ = masses_;
  return true;
}

bool FunctionWriter::Fits(const ImportedScan& scan) {
  exact_ = true;
  if (type_ == RAW_DATA_FLOAT) return true;
  const bool has_flags = type_ == RAW_DATA_ENHANCED_MASS || type_ == RAW_DATA_ENHANCED_SIR;
  if (!has_flags && std::ranges::any_of(scan.flags, [](uint8_t flag) { return flag != 0; })) {
    return false;
  }
  for (const float intensity : intensities_) {
    if (HoldsIntensity(type_, intensity)) continue;
    exact_ = false;
    if (!has_flags ||
        RelativeError(StoredIntensity(type_, intensity), intensity) > kEnhancedError) {
      return false;
    }
  }
  return FitsMasses();
}

bool FunctionWriter::FitsMasses() {
  if (IsChannelType(type_)) return !channels_.empty() && masses_ == channels_;
  if (StoresMasses(type_)) {
    return std::ranges::all_of(masses_, [&](float mass) { return HoldsMass(type_, mass); });
  }
  if (masses_.empty() || (range_ && FitsSpaced())) return true;
  if (points_ != 0) return false;
  // The range of the points is the function's where the scan window is not.
  range_ = {masses_.front(), masses_.size() > 1 ? masses_.back() : masses_.front() + 1};
  return FitsSpaced();
}

// Every scan so far is held as it was, so that it can be read back.
void FunctionWriter::MoveToNextType(Losses& losses) {
  const int old_type = std::exchange(type_, types_.back());
  types_.pop_back();
  if (IsChannelType(old_type) && !IsChannelType(type_))
    losses.Add("channels that are not the same in every scan");
  if (scans_ == 0) return;
  Check(RawCreateScansEnd(handle_, number_, 0));
  const std::filesystem::path folder = PathOf(directory_.staging());
  for (const char* extension : {".DAT", ".IDX"}) {
    std::filesystem::rename(folder / (MemberName(number_) + extension),
                            folder / (std::string(kWaitingName) + extension));
  }
  begun_ = false;
  const RawFunctionRecord record = ReadingRecord(old_type);
  Check(RawReadFuncInit(handle_, number_, kWaiting, &record, nullptr));
  std::vector<float> masses = std::exchange(masses_, {});
  std::vector<float> intensities = std::exchange(intensities_, {});
  std::vector<uint8_t> flags;
  for (int32_t scan = 1; scan <= scans_; ++scan) {
    RawScanHeader header = {};
    Check(RawReadSpectrum(handle_, number_, kWaiting, scan, 1, nullptr, &header, nullptr, nullptr,
                          nullptr, 0));
    auto count = static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK);
    masses_.resize(static_cast<size_t>(count));
    intensities_.resize(masses_.size());
    flags.resize(masses_.size());
    Check(RawReadSpectrum(handle_, number_, kWaiting, scan, 1, &count, nullptr, masses_.data(),
                          intensities_.data(), flags.data(), 0));
    Write({.flag_d = header.points >> 31,
           .flag_b = header.flags & RAW_SCAN_FLAG_B,
           .flag_c = header.flag_c,
           .retention_time = header.retention_time,
           .segment = header.segment,
           .flag_a = (header.flags & RAW_SCAN_FLAG_A) != 0 ? 1U : 0U},
          flags);
  }
  Check(RawReadFuncEnd(handle_, number_, kWaiting));
  for (const char* extension : {".DAT", ".IDX"}) {
    std::filesystem::remove(folder / (std::string(kWaitingName) + extension));
  }
  masses_ = std::move(masses);
  intensities_ = std::move(intensities);
}

void FunctionWriter::Measure(const ImportedScan& scan) {
  const size_t count = masses_.size();
  FitErrors largest;
  for (size_t i = 0; i < count; ++i) {
    lowest_ = std::min(lowest_, masses_[i]);
    highest_ = std::max(highest_, masses_[i]);
    const float mass = exact_ ? masses_[i] : StoredMassOf(i);
    const float intensity = exact_ ? intensities_[i] : StoredIntensity(type_, intensities_[i]);
    // A not-a-number has been noted already.
    const double value = std::isnan(scan.intensities[i]) ? intensity : scan.intensities[i];
    largest.Add({RelativeError(mass, scan.masses[i]), RelativeError(intensity, value)});
  }
  errors_.Add(largest);
}

float FunctionWriter::StoredMassOf(size_t point) const {
  if (IsChannelType(type_)) return channels_[point];
  if (StoresMasses(type_)) return StoredMass(type_, masses_[point]);
  return range_ ? SpacedMass(range_->first, range_->second, point, masses_.size()) : masses_[point];
}

void FunctionWriter::Write(const RawScanDescription& description,
                           const std::vector<uint8_t>& flags) {
  if (!begun_) {
    Check(RawCreateScanFile(handle_, number_, 0, 0));
    begun_ = true;
  }
  const int32_t code =
      RawCreateScansEx(handle_, number_, 0, static_cast<int16_t>(type_), &description,
                       masses_.data(), intensities_.data(), flags.empty() ? nullptr : flags.data(),
                       static_cast<int32_t>(masses_.size()));
  Check(code);
}

void FunctionWriter::End() {
  if (begun_) Check(RawCreateScansEnd(handle_, number_, 0));
  begun_ = false;
}

RawFunctionRecord FunctionWriter::ReadingRecord(int data_type) const {
  RawFunctionRecord record = {};
  StoreWord(record, 0,
            static_cast<unsigned>(IsChannelType(data_type) ? RAW_TYPE_SIR : RAW_TYPE_SCAN) |
                static_cast<unsigned>(data_type) << 10);
  if (IsChannelType(data_type)) {
    StoreChannels(record);
  } else if (range_) {
    RawReadSetFuncMassRange(&record, -1, range_->first, range_->second, 0);
  }
  return record;
}

void FunctionWriter::StoreChannels(RawFunctionRecord& record) const {
  StoreWord(record, 22, static_cast<unsigned>(channels_.size()) << 8);
  for (size_t i = 0; i < channels_.size(); ++i) {
    const bool reaction = FunctionType(record) == RAW_TYPE_MRM && !parents_.empty();
    const int position = 4 * static_cast<int>(i);
    StoreFloat(record, 160 + position, reaction ? parents_[i] : channels_[i]);
    if (reaction) StoreFloat(record, 288 + position, channels_[i]);
  }
}

RawFunctionRecord FunctionWriter::Record(int function_type, int ion_mode) const {
  RawFunctionRecord record = {};
  StoreWord(record, 0,
            static_cast<unsigned>(function_type) | static_cast<unsigned>(ion_mode) << 5 |
                static_cast<unsigned>(type_) << 10);
  const float cycle =
      scans_ > 1 ? (last_time_ - first_time_) * 60 / static_cast<float>(scans_ - 1) : 0;
  StoreFloat(record, 2, cycle);
  StoreFloat(record, 10, first_time_);
  StoreFloat(record, 14, last_time_);
  const auto& windows = kind_.windows;
  if (IsChannelFunction(record)) {
    StoreChannels(record);
  } else if (!StoresMasses(type_) && range_ && windows.size() < 2) {
    RawReadSetFuncMassRange(&record, -1, range_->first, range_->second, cycle);
  } else if (windows.empty() && points_ > 0) {
    RawReadSetFuncMassRange(&record, -1, std::floor(lowest_), std::ceil(highest_), cycle);
  } else if (windows.size() == 1) {
    RawReadSetFuncMassRange(&record, -1, windows[0].first, windows[0].second, cycle);
  } else if (windows.size() <= RAW_MAX_SEGMENTS) {
    StoreWord(record, 22, static_cast<unsigned>(windows.size()) << 8);
    for (int i = 0; i < std::ssize(windows); ++i) {
      const auto& [low, high] = windows[static_cast<size_t>(i)];
      RawReadSetFuncMassRange(&record, i, low, high, 0);
    }
  }
  return record;
}

}  // namespace tervalon::tools
