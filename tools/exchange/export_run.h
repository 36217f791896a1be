// What of a raw data directory is exported, and what its functions are called elsewhere.

#ifndef TOOLS_EXCHANGE_EXPORT_RUN_H_
#define TOOLS_EXCHANGE_EXPORT_RUN_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/exchange/cv_terms.h"

namespace tervalon::tools {

// Both ends included.
struct TimeRange {
  double low;
  double high;
};
struct ScanRange {
  int32_t first;
  int32_t last;
};

struct ExportSelection {
  std::vector<int> functions = {};    // empty: all
  int process = 0;                    // instead of a function's own data
  std::optional<int> data_type = {};  // of the processed data set
  std::optional<TimeRange> times = {};
  std::optional<ScanRange> scans = {};
  std::optional<double> precursor = {};  // of functions that fragment and do not say of what
};

// What a function type stands for.
struct FunctionKind {
  const CvTerm* spectrum;
  int ms_level;  // 0: no mass spectra
  const CvTerm* analyzer;
};
const FunctionKind& KindOf(const RawFunctionRecord& record);

// Whether its points are a curve and not peaks.
bool IsProfile(const RawFunctionRecord& record);
bool IsRadiation(const RawFunctionRecord& record);
// 1, -1, or 0 for an unknown ionisation mode.
int Polarity(const RawFunctionRecord& record);
const CvTerm& Ionization(const RawFunctionRecord& record);

// A function, or a processed data set in its place, that is open.
class ExportedFunction {
 public:
  ExportedFunction(const RawDirectory& directory, const DataSet& data_set,
                   const ExportSelection& selection);

  const DataReader& reader() const { return reader_; }
  const RawFunctionRecord& record() const { return reader_.record(); }
  int function() const { return *reader_.data_set().function; }
  int process() const { return reader_.data_set().process; }
  // "function=1 process=0"
  std::string Id() const;
  // Nothing when it is not known.
  const std::optional<double>& precursor() const { return precursor_; }
  // Whether scans have flag B for that reason alone.
  bool is_calibrated() const { return calibrated_; }

  // The scans that are exported, one after the other, with their times.
  int32_t scan_count() const { return static_cast<int32_t>(scans_.size()); }
  int32_t scan(int32_t index) const { return scans_[static_cast<size_t>(index)]; }
  float time(int32_t index) const { return times_[static_cast<size_t>(index)]; }
  const std::vector<float>& times() const { return times_; }
  // Of the scans that are exported. Kind: RAW_CHROM_TOTAL_ION or RAW_CHROM_BASE_PEAK.
  std::vector<float> IndexChromatogram(int16_t kind) const;
  // Of channel 1..
  std::vector<float> ChannelChromatogram(int channel) const;

 private:
  std::vector<float> Selected(const std::vector<float>& of_all) const;

  DataReader reader_;
  std::optional<double> precursor_;
  bool calibrated_ = false;
  std::vector<int32_t> scans_;
  std::vector<float> times_;
};

// A channel of a function: what it selects, and with MRM what it selects of the fragments.
struct Channel {
  float mass;
  std::optional<float> daughter;
};
std::vector<Channel> Channels(const RawFunctionRecord& record);

struct AnalogTrace {
  std::string name;
  std::string unit;
  std::vector<float> times;
  std::vector<float> values;
};

class ExportRun {
 public:
  // Throws a Failure.
  ExportRun(const std::string& path, ExportSelection selection);

  const RawDirectory& directory() const { return directory_; }
  const ExportSelection& selection() const { return selection_; }
  const std::vector<std::unique_ptr<ExportedFunction>>& functions() const { return functions_; }
  int64_t scan_count() const;

  // Reads every scan that is exported, in the order of their times, and shows the progress on a
  // terminal. Ends with console::Interrupt when the user wants no more.
  using Visitor =
      std::function<void(const ExportedFunction&, int32_t scan, const Spectrum& spectrum)>;
  void ForEachScan(const Visitor& visit) const;

  // The analog channels, one at a time; none where a process or some functions are selected.
  size_t AnalogCount() const;
  void ForEachAnalog(const std::function<void(int channel, const AnalogTrace&)>& visit) const;

 private:
  // Of each analog channel; 0 when there are none.
  int32_t AnalogRecords(int16_t channels) const;

  const RawDirectory directory_;
  const ExportSelection selection_;
  std::vector<std::unique_ptr<ExportedFunction>> functions_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_EXPORT_RUN_H_
