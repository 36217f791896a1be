// A function of the directory that an import makes, whose data type follows the values.

#ifndef TOOLS_IMPORT_FUNCTION_WRITER_H_
#define TOOLS_IMPORT_FUNCTION_WRITER_H_

#include <tervalon/raw_functions.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/import/losses.h"
#include "tools/import/scan_kind.h"
#include "tools/import/stored_values.h"
#include "tools/simulator/staged_directory.h"

namespace tervalon::tools {

// Scans are written at once, in the most compact data type that holds all of them as they are; when
// one comes that does not fit, those before it are written anew in the next type.
class FunctionWriter {
 public:
  // `data_type`: the only one to use. `handle` is the directory that is being written, which
  // outlives this.
  FunctionWriter(int32_t handle, const StagedDirectory& directory, int16_t number, ScanKind kind,
                 std::optional<int> data_type);

  // Throws a Failure, or a Defect for a scan that cannot be stored at all.
  void Add(const ImportedScan& scan, Losses& losses);
  void End();

  // The record, complete once all scans are there.
  RawFunctionRecord Record(int function_type, int ion_mode) const;

  int16_t number() const { return number_; }
  const ScanKind& kind() const { return kind_; }
  int data_type() const { return type_; }
  int32_t scans() const { return scans_; }
  int64_t points() const { return points_; }
  const FitErrors& errors() const { return errors_; }
  // Channel functions: of every point.
  const std::vector<float>& channels() const { return channels_; }
  // Of MRM functions, as many.
  const std::vector<float>& parents() const { return parents_; }

 private:
  void Check(int32_t code) const;
  void Begin(const ImportedScan& scan);
  void ConvertPoints(const ImportedScan& scan, Losses& losses);
  bool Fits(const ImportedScan& scan);
  bool FitsMasses();
  bool FitsSpaced();
  void MoveToNextType(Losses& losses);
  void Write(const RawScanDescription& description, const std::vector<uint8_t>& flags);
  void Measure(const ImportedScan& scan);
  float StoredMassOf(size_t point) const;
  RawFunctionRecord ReadingRecord(int data_type) const;
  void StoreChannels(RawFunctionRecord& record) const;

  const int32_t handle_;
  const StagedDirectory& directory_;
  const int16_t number_;
  const ScanKind kind_;
  const bool forced_;
  std::vector<int> types_;  // still to try, the next one last
  int type_ = RAW_DATA_FLOAT;
  bool begun_ = false;
  int32_t scans_ = 0;
  int64_t points_ = 0;
  FitErrors errors_;
  float first_time_ = 0;
  float last_time_ = 0;
  float lowest_ = 0;  // of all masses
  float highest_ = 0;
  std::optional<std::pair<float, float>> range_;  // of evenly spaced masses
  std::vector<float> channels_;
  std::vector<float> parents_;
  // Of the scan at hand.
  std::vector<float> masses_;
  std::vector<float> intensities_;
  bool exact_ = false;         // it is stored as it is
  std::vector<float> spaced_;  // masses that are known to be spaced evenly
};

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_FUNCTION_WRITER_H_
