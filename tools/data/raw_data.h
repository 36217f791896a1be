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

  // Whether any data or index file of the function is there.
  bool HasDataOf(int function) const;

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

// What an analog channel is called, where the directory says so.
struct AnalogText {
  std::string name;
  std::string unit;
};
std::vector<AnalogText> AnalogTexts(const RawDirectory& directory);

// Throws a Failure that says why nothing can be opened as a directory under that name.
[[noreturn]] void FailToFind(const std::string& path);

// A function, or one of its processed data sets.
struct DataSet {
  std::optional<int> function = {};   // of a command line that does not say it: nothing
  int process = 0;                    // 0: as acquired
  std::optional<int> data_type = {};  // of the points, where not the function's
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

// Masses, or the numbers of points, both ends included.
struct Window {
  float low;
  float high;
  bool subtract = false;
};

// What a trace adds up in every scan.
struct WindowSum {
  bool of_points = false;
  std::vector<Window> windows;
};

// A data set that is open for reading.
class DataReader {
 public:
  // Finds out what the data set leaves open (CompleteDataSet). Throws a Failure. The directory must
  // outlive the reader.
  DataReader(const RawDirectory& directory, const DataSet& data_set);
  ~DataReader();
  DataReader(const DataReader&) = delete;
  DataReader& operator=(const DataReader&) = delete;

  // "x.RAW: function 2"
  std::string Subject() const;
  const RawDirectory& directory() const { return directory_; }
  const DataSet& data_set() const { return data_set_; }
  int16_t function() const { return function_; }
  int16_t process() const { return process_; }
  // With the data type of the data set.
  const RawFunctionRecord& record() const { return record_; }

  // Scans whose data are there whole.
  int32_t ScanCount() const;
  // The scan nearest to a time. Throws a Failure for a time that is a scan or more outside.
  int32_t ScanAtTime(float minutes) const;
  RawScanHeader ScanHeader(int32_t scan) const;
  // Of scans 1 to `scans`; and where their data begin in the data file.
  std::vector<RawScanHeader> ScanHeaders(int32_t scans) const;
  std::vector<uint32_t> ScanOffsets(int32_t scans) const;
  Spectrum ReadSpectrum(int32_t scan) const;
  // The same into a spectrum whose memory is used again.
  void ReadSpectrum(int32_t scan, Spectrum& spectrum) const;

  // All scans. Kind: RAW_CHROM_TOTAL_ION or RAW_CHROM_BASE_PEAK.
  Chromatogram ReadIndexChromatogram(int16_t kind) const;
  Chromatogram ReadSums(const std::vector<WindowSum>& sums) const;
  // Of `scans` scans only.
  Chromatogram ReadSums(const std::vector<WindowSum>& sums, int32_t first, int32_t scans) const;

 private:
  int32_t NearestScan(float minutes) const;
  [[noreturn]] void FailToOpen(int32_t code) const;
  void CheckScan(int32_t code, int32_t scan) const;

  const RawDirectory& directory_;
  const DataSet data_set_;
  const int16_t function_;
  const int16_t process_;
  RawFunctionRecord record_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_RAW_DATA_H_
