#include "raw/function_reader.h"

#include <algorithm>

namespace tervalon::raw {

FunctionReader::FunctionReader(const RawFunctionRecord& record, int32_t function, int32_t process,
                               const RawCalibration* calibration, platform::File* index_file,
                               platform::File* data_file)
    : type_code_(DataTypeCode(record)),
      type_(FindDataType(type_code_)),
      range_(ReaderRange(record)),
      channels_(static_cast<uint32_t>(std::max(StoredSegments(record), 1))),
      index_file_(index_file),
      data_file_(data_file),
      index_(index_file, process != 0),
      data_(data_file) {
  for (uint32_t i = 0; i < channels_; ++i) {
    channel_masses_[i] = raw::ChannelMass(record, static_cast<int32_t>(i));
  }
  if (calibration != nullptr) RawGetFuncCalib(calibration, function, &calibration_);
}

int32_t FunctionReader::ReadIndex(uint32_t scan, IndexRecord* record) {
  IndexRun run;
  const int32_t error = ReadIndexRun(scan, &run);
  if (error == RAW_OK) record->DecodeFrom(run.bytes);
  return error;
}

int32_t FunctionReader::ReadIndexRun(uint32_t scan, IndexRun* run) {
  // Data are read after the records that name them: what was read ahead before that can be what a
  // writer's failed attempt left there, written over since.
  if (!index_.Holds(scan)) data_.Forget();
  return index_.ReadRun(scan, run);
}

int32_t FunctionReader::FindStoredPoints(const IndexRecord& scan, uint32_t* points) {
  const uint64_t bytes = uint64_t{type_->Units(scan.points())} * type_->unit_bytes;
  if (scan.offset + bytes > data_size_ && !data_file_->Size(&data_size_)) return RAW_SEEK_FAILED;
  *points = scan.points();
  if (scan.offset + bytes <= data_size_) return RAW_OK;
  const uint64_t there = data_size_ - std::min<uint64_t>(scan.offset, data_size_);
  *points = static_cast<uint32_t>(there / type_->unit_bytes) * type_->unit_points;
  return RAW_OK;
}

float FunctionReader::ChannelMass(uint32_t channel) const {
  return channel < channels_ ? channel_masses_[channel] : 0;
}

void FunctionReader::FillChannelMasses(uint32_t first, uint32_t count, float* masses) const {
  const uint32_t there = std::min(count, channels_ - std::min(first, channels_));
  std::copy_n(channel_masses_.data() + std::min(first, channels_), there, masses);
  std::fill(masses + there, masses + count, 0.0f);
}

const MassCalibration& FunctionReader::CalibrationOf(const IndexRecord& scan) {
  if (has_channels() || !has_calibration() || scan.flag_b()) return identity_;
  const auto segment = static_cast<int32_t>(scan.segment());
  if (segment != cached_segment_) {
    segment_calibration_ = MassCalibration(calibration_, segment);
    cached_segment_ = segment;
  }
  return segment_calibration_;
}

const float* FunctionReader::SpacedMasses(const IndexRecord& scan) {
  constexpr uint32_t kLongestKept = 65536;
  constexpr int32_t kNoSegment = 16;  // segment numbers have four bits
  if (scan.points() > kLongestKept) return nullptr;
  const MassCalibration& calibration = CalibrationOf(scan);
  const int32_t segment =
      calibration.identity() ? kNoSegment : static_cast<int32_t>(scan.segment());
  if (segment != spaced_segment_ || spaced_masses_.size() != scan.points()) {
    spaced_segment_ = -1;
    spaced_masses_.resize(scan.points());
    MassAxis(range_, scan.points()).Fill(0, scan.points(), spaced_masses_.data());
    calibration.Apply(spaced_masses_.data(), scan.points());
    spaced_segment_ = segment;
  }
  return spaced_masses_.data();
}

float FunctionReader::BasePeakMass(const IndexRecord& scan, const BasePeak& peak) const {
  if (type_->stores_masses()) return peak.mass;
  if (scan.points() == 0) return 0;
  if (has_channels()) return type_code_ == RAW_DATA_SIR ? ChannelMass(peak.index) : 0;
  return MassAxis(range_, scan.points()).At(peak.index);
}

void MassAxis::Fill(uint32_t first, uint32_t count, float* masses) const {
  Kernels().space(low_, step_, static_cast<int32_t>(first), static_cast<int32_t>(count), masses);
}

}  // namespace tervalon::raw
