// The points of a raw data directory, as its export has to have them: raw_points DIR [sorted]
// Sorted, the ids of reactions' spectra say so: some readers make chromatograms of them.

#include <tervalon/raw_analog.h>
#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "tests/interop/points.h"

namespace {

void Check(int code) {
  if (code != RAW_OK) std::exit(1);
}

struct ScanOfFunction {
  float time;
  int16_t function;
  int32_t scan;
};

std::string Id(int function) { return "function=" + std::to_string(function) + " process=0"; }

class Directory {
 public:
  Directory(const char* path, bool sorted) : sorted_(sorted) {
    Check(RawReadOpen(path, &handle_));
    Check(RawReadHeader(handle_, nullptr, &*calibration_, &functions_, &channels_));
    records_.resize(RAW_MAX_FUNCTIONS);
    Check(RawReadFuncInfo(handle_, 0, records_.data(), nullptr));
  }

  void Print() {
    std::vector<ScanOfFunction> scans;
    for (int16_t function = 1; function <= functions_; ++function) {
      const RawFunctionRecord& record = Record(function);
      if (RawReadFuncInit(handle_, function, 0, &record, &*calibration_) != RAW_OK) continue;
      std::vector<float> times(static_cast<size_t>(RawGetFuncScanCount(&record)));
      Check(RawReadChrom(handle_, function, 0, 1, static_cast<int32_t>(times.size()), nullptr,
                         times.data(), RAW_CHROM_TOTAL_ION));
      for (size_t i = 0; i < times.size(); ++i) {
        scans.push_back({times[i], function, static_cast<int32_t>(i + 1)});
      }
    }
    std::stable_sort(scans.begin(), scans.end(),
                     [](const auto& a, const auto& b) { return a.time < b.time; });
    for (const ScanOfFunction& scan : scans) PrintScan(scan.function, scan.scan);
    for (int16_t function = 1; function <= functions_; ++function) PrintChromatograms(function);
    PrintAnalog();
  }

 private:
  const RawFunctionRecord& Record(int function) const {
    return records_[static_cast<size_t>(function - 1)];
  }

  // Without daughter masses its channels are as those of selected ions.
  static bool IsReactions(const RawFunctionRecord& record) {
    if (RawGetFuncType(&record) != RAW_TYPE_MRM) return false;
    float daughter = 0;
    for (int32_t i = 1; RawGetFuncChannel(&record, i, nullptr, &daughter) != 0; ++i) {
      if (daughter > 0) return true;
    }
    return false;
  }

  void PrintScan(int16_t function, int32_t scan) {
    RawScanHeader header = {};
    Check(RawReadSpectrum(handle_, function, 0, scan, 1, nullptr, &header, nullptr, nullptr,
                          nullptr, 0));
    auto count = static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK);
    std::vector<float> masses(static_cast<size_t>(count));
    std::vector<float> intensities(masses.size());
    Check(RawReadSpectrum(handle_, function, 0, scan, 1, &count, nullptr, masses.data(),
                          intensities.data(), nullptr, 0));
    masses.resize(static_cast<size_t>(count));
    intensities.resize(masses.size());
    std::string id = Id(function) + " scan=" + std::to_string(scan);
    if (sorted_ && RawGetFuncType(&Record(function)) == RAW_TYPE_MRM) id += " reactions";
    if (IsReactions(Record(function))) {
      for (size_t i = 0; i < masses.size(); ++i) {
        RawGetFuncChannel(&Record(function), static_cast<int32_t>(i + 1), nullptr, &masses[i]);
      }
    }
    PrintSpectrum(id, header.retention_time, header.total_ion_current, masses, intensities,
                  sorted_);
  }

  void PrintChromatograms(int16_t function) {
    const RawFunctionRecord& record = Record(function);
    const int32_t scans = RawGetFuncScanCount(&record);
    std::vector<float> times(static_cast<size_t>(scans));
    std::vector<float> values(times.size());
    const std::pair<const char*, int16_t> kinds[] = {{"TIC ", RAW_CHROM_TOTAL_ION},
                                                     {"BPI ", RAW_CHROM_BASE_PEAK}};
    for (const auto& [name, kind] : kinds) {
      if (RawReadChrom(handle_, function, 0, 1, scans, values.data(), times.data(), kind) !=
          RAW_OK) {
        return;
      }
      PrintChromatogram(name + Id(function), times, values);
    }
    const bool reactions = IsReactions(record);
    for (int channel = 1; RawGetFuncChannel(&record, channel, nullptr, nullptr) != 0; ++channel) {
      RawTraceWindow window = {static_cast<float>(channel), static_cast<float>(channel), 0, 0, 0};
      RawTrace trace = {RAW_TRACE_POINTS, 1, &window};
      float* value = values.data();
      float* time = times.data();
      Check(RawReadChromTraces(handle_, function, 0, 1, scans, 1, &trace, &value, &time));
      PrintChromatogram(
          (reactions ? "SRM " : "SIM ") + Id(function) + " channel=" + std::to_string(channel),
          times, values);
    }
  }

  void PrintAnalog() {
    int32_t count = 0;
    if (channels_ == 0 || RawReadAnalogSize(handle_, channels_, &count) != RAW_OK) return;
    std::vector<float> times(static_cast<size_t>(count));
    std::vector<float> values(times.size());
    for (int16_t channel = 0; channel < channels_; ++channel) {
      Check(RawReadAnalogChrom(handle_, channel, channels_, 1, count, values.data(), times.data()));
      PrintChromatogram("AN" + std::to_string(channel + 1), times, values);
    }
  }

  const bool sorted_;
  int32_t handle_ = -1;
  std::unique_ptr<RawCalibration> calibration_ = std::make_unique<RawCalibration>();
  int16_t functions_ = 0;
  int16_t channels_ = 0;
  std::vector<RawFunctionRecord> records_;
};

}  // namespace

int main(int argc, char** argv) { Directory(argv[1], argc > 2).Print(); }
