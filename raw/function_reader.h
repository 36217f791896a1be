// What a reader keeps of a function between RawReadFuncInit and RawReadFuncEnd.

#ifndef RAW_FUNCTION_READER_H_
#define RAW_FUNCTION_READER_H_

#include <array>
#include <cstdint>
#include <vector>

#include "raw/calibration.h"
#include "raw/data_reader.h"
#include "raw/data_types.h"
#include "raw/function_record.h"
#include "raw/member_files.h"
#include "raw/scan_index.h"

namespace tervalon::raw {

class FunctionReader final : public ScanBuffer {
 public:
  // `calibration` may be nullptr. The files belong to the handle's member slots. Scans of processed
  // data sets may be replaced meanwhile.
  FunctionReader(const RawFunctionRecord& record, int32_t function, int32_t process,
                 const RawCalibration* calibration, platform::File* index_file,
                 platform::File* data_file);

  const DataType& type() const { return *type_; }
  int32_t type_code() const { return type_code_; }
  const MassRange& range() const { return range_; }
  DataReader& data() { return data_; }

  // Stores the index record of `scan` (from 1). Returns as IndexReader::Read.
  int32_t ReadIndex(uint32_t scan, IndexRecord* record);

  // Returns as IndexReader::ReadRun.
  int32_t ReadIndexRun(uint32_t scan, IndexRun* run);

  // RAW_OK or RAW_SEEK_FAILED.
  int32_t CountScans(uint32_t* count) const {
    return CountCompleteScans(*index_file_, *data_file_, *type_, count);
  }

  // Stores how many of a scan's points the data have: fewer than it claims when they are cut off.
  // Returns RAW_OK or RAW_SEEK_FAILED.
  int32_t FindStoredPoints(const IndexRecord& scan, uint32_t* points);

  // Selected-ion data: every point is a channel.
  bool has_channels() const {
    return type_code_ == RAW_DATA_SIR || type_code_ == RAW_DATA_ENHANCED_SIR;
  }

  // The channels of the function, at least 1.
  uint32_t channels() const { return channels_; }

  // Mass of a channel (0-based); 0 for one that the function does not have.
  float ChannelMass(uint32_t channel) const;
  void FillChannelMasses(uint32_t first, uint32_t count, float* masses) const;

  bool has_calibration() const { return calibration_.segment_count > 0; }

  // The calibration that applies to a scan's masses: the identity for data types without, scans
  // with flag B and segments that have none.
  const MassCalibration& CalibrationOf(const IndexRecord& scan);

  // Whether masses are evenly spaced over the function's range.
  bool has_spaced_masses() const { return !type_->stores_masses() && !has_channels(); }

  // The calibrated masses of all points of an evenly spaced scan, kept for the scans that follow:
  // they mostly have as many points. nullptr for a scan too long to be kept.
  const float* SpacedMasses(const IndexRecord& scan);

  // The base peak's mass as stored, or by its point's place in the scan.
  float BasePeakMass(const IndexRecord& scan, const BasePeak& peak) const;

 private:
  int32_t type_code_;
  const DataType* type_;
  MassRange range_;
  uint32_t channels_;
  std::array<float, RAW_MAX_SEGMENTS> channel_masses_ = {};
  RawFunctionCalibration calibration_ = {};
  MassCalibration segment_calibration_;  // of segment cached_segment_
  int32_t cached_segment_ = -1;
  MassCalibration identity_;
  std::vector<float> spaced_masses_;
  int32_t spaced_segment_ = -1;  // the segment whose calibration they have had
  platform::File* index_file_;
  platform::File* data_file_;
  uint64_t data_size_ = 0;  // when last asked for
  IndexReader index_;
  DataReader data_;
};

// Evenly spaced masses: those of points whose type stores none and that are no channels.
class MassAxis {
 public:
  MassAxis(const MassRange& range, uint32_t points)
      : low_(range.low),
        step_(points < 2 ? 1.0 : (static_cast<double>(range.high) - range.low) / (points - 1)) {}

  // Mass of a point (0-based): double precision, rounded once.
  float At(uint32_t point) const { return static_cast<float>(low_ + point * step_); }

  // Masses of `count` points from `first` on.
  void Fill(uint32_t first, uint32_t count, float* masses) const;

  // Masses grow with the point number.
  bool ascending() const { return step_ >= 0; }

 private:
  double low_;
  double step_;
};

}  // namespace tervalon::raw

#endif  // RAW_FUNCTION_READER_H_
