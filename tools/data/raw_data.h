// Raw data directories as the commands read them: handles that close themselves, and failures that
// name the file and the reason.

#ifndef TOOLS_DATA_RAW_DATA_H_
#define TOOLS_DATA_RAW_DATA_H_

#include <tervalon/raw_calibration.h>
#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tervalon::tools {

class RawDirectory {
 public:
  // Opens the directory and reads header, calibration and function table. Throws a Failure.
  explicit RawDirectory(std::string path);
  ~RawDirectory();
  RawDirectory(const RawDirectory&) = delete;
  RawDirectory& operator=(const RawDirectory&) = delete;

  const std::string& path() const { return path_; }
  int32_t handle() const { return handle_; }
  const RawHeader& header() const { return header_; }
  const RawCalibration& calibration() const { return calibration_; }
  const std::vector<RawFunctionRecord>& functions() const { return functions_; }

  // The record of function 1..; throws a Failure when there is none.
  const RawFunctionRecord& Function(int function) const;

  // Nothing when the settings say that analog data are elsewhere.
  std::optional<int> AnalogChannels() const;

  // The numbers of the processed data sets whose scan index is there, in order.
  std::vector<int> ProcessedSets() const;

  // The path of a member file, in the form that the platform uses.
  std::string MemberPath(const std::string& member) const;

 private:
  void ReadTables();

  const std::string path_;
  int32_t handle_ = -1;
  RawHeader header_ = {};
  RawCalibration calibration_ = {};
  int16_t analog_channels_ = 0;
  std::vector<RawFunctionRecord> functions_;
};

// A function, or one of its processed data sets.
struct DataSet {
  int function = 1;
  int process = 0;                    // 0: as acquired
  std::optional<int> data_type = {};  // of the points; the function's when not given
};

struct Spectrum {
  RawScanHeader header = {};
  std::vector<float> masses = {};
  std::vector<float> intensities = {};
  std::vector<int32_t> flags = {};  // empty for data types without flags
};

struct Chromatogram {
  std::vector<float> times;
  std::vector<std::vector<float>> traces;
};

struct MassWindow {
  float low;
  float high;
};

// A data set that is open for reading.
class DataReader {
 public:
  // Throws a Failure. The directory must outlive the reader.
  DataReader(const RawDirectory& directory, const DataSet& data_set);
  ~DataReader();
  DataReader(const DataReader&) = delete;
  DataReader& operator=(const DataReader&) = delete;

  // "x.RAW: function 2"
  std::string Subject() const;
  const RawFunctionRecord& record() const { return record_; }

  // Scans whose data are there whole.
  int32_t ScanCount() const;
  int32_t ScanAtTime(float minutes) const;
  RawScanHeader ScanHeader(int32_t scan) const;
  Spectrum ReadSpectrum(int32_t scan) const;

  // All scans. Kind: RAW_CHROM_TOTAL_ION or RAW_CHROM_BASE_PEAK.
  Chromatogram ReadIndexChromatogram(int16_t kind) const;
  Chromatogram ReadMassChromatograms(const std::vector<MassWindow>& windows) const;

 private:
  [[noreturn]] void FailToOpen(int32_t code) const;
  void CheckScan(int32_t code, int32_t scan) const;

  const RawDirectory& directory_;
  const int16_t function_;
  const int16_t process_;
  RawFunctionRecord record_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_RAW_DATA_H_
