#include "tools/import/import_run.h"

#include <tervalon/raw_directory.h>
#include <tervalon/raw_header.h>

#include <algorithm>
#include <map>
#include <memory>

#include "tools/data/files.h"
#include "tools/import/analog_import.h"
#include "tools/import/function_writer.h"
#include "tools/import/header_import.h"
#include "tools/import/losses.h"
#include "tools/import/mzml_reader.h"
#include "tools/import/scan_kind.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/progress_bar.h"
#include "tools/simulator/staged_directory.h"

namespace tervalon::tools {
namespace {

// A file on its way to a directory.
class Importer : public MzmlHandler {
 public:
  Importer(const StagedDirectory& directory, const ImportOptions& options)
      : directory_(directory), options_(options) {
    const int32_t code = RawCreateOpen(console::SystemText(directory.staging()).c_str(), &handle_);
    if (code != RAW_OK) {
      RawReadClose(handle_);
      throw Failure(directory.path(), RawErrorText(code));
    }
  }

  ~Importer() override {
    if (handle_ >= 0) RawReadClose(handle_);
  }
  Importer(const Importer&) = delete;
  Importer& operator=(const Importer&) = delete;

  bool Wants(const MzmlParams& array) override {
    return IsScanArray(array) || Find(array, cv::kTimeArray) != nullptr;
  }

  void Describe(const MzmlDescription& description) override { description_ = description; }

  void Spectrum(MzmlEntry& spectrum) override {
    console::CheckInterrupt();
    ScanKind kind = KindOf(spectrum);
    if (options_.any_window) kind.windows.clear();
    FunctionWriter& function = FunctionOf(kind);
    ReadScan(spectrum, scan_);
    function.Add(scan_, losses_);
    ++spectra_;
    if (!scan_.has_time) losses_.Add("no time given: 0 stored, by scan");
    if (scan_.has_flag_e) losses_.Add("flag E of scans");
    if (spectrum.precursors > 0 && function.parents().empty()) losses_.Add("precursors");
    losses_.AddParams(spectrum.params);
    for (const MzmlArray& array : spectrum.arrays) {
      if (!IsScanArray(array.params)) NoteArray(array);
    }
  }

  void Chromatogram(MzmlEntry& chromatogram) override {
    console::CheckInterrupt();
    const bool of_scans = Find(chromatogram.params, cv::kTotalIonChromatogram) != nullptr ||
                          Find(chromatogram.params, cv::kBasePeakChromatogram) != nullptr;
    // Those of scans say the same as the scans.
    if (chromatogram.id.find("function=") != std::string::npos ||
        (of_scans && IsCountOfScans(chromatogram.length))) {
      return;
    }
    analog_.Add(chromatogram, losses_);
    if (chromatogram.precursors > 0) losses_.Add("precursors of chromatograms");
  }

  void Doubt(const std::string& what) override { losses_.Add(what); }

  ImportReport Finish() {
    ImportReport report;
    // Numbers that nothing was stored under are functions of no scans.
    std::vector<RawFunctionRecord> records(
        functions_.empty() ? 0U : static_cast<size_t>(functions_.rbegin()->first));
    for (auto& [number, function] : functions_) {
      function->End();
      const bool channels = IsChannelType(function->data_type());
      const FunctionNature nature = NatureOf(function->kind(), description_, channels, losses_);
      RawFunctionRecord& record = records[static_cast<size_t>(number - 1)];
      record = function->Record(nature.type, nature.ion_mode);
      report.functions.push_back({.number = number,
                                  .kind = function->kind().Text(),
                                  .record = record,
                                  .scans = function->scans(),
                                  .points = function->points(),
                                  .mass_error = function->errors().mass,
                                  .intensity_error = function->errors().intensity});
    }
    analog_.Write(handle_, directory_.path(), report);
    const std::string name = NameOf(PathOf(directory_.path()).stem());
    const RawHeader header = HeaderOf(description_, name, losses_);
    auto calibration = std::make_unique<RawCalibration>();
    StoreIdentity(*calibration);
    Check(RawCreateHeader(handle_, &header, calibration.get()));
    Check(RawCreateFunctions(handle_, static_cast<int16_t>(records.size()), records.data()));
    Check(RawCreateClose(std::exchange(handle_, -1)));
    report.losses = losses_.List();
    return report;
  }

 private:
  void Check(int32_t code) const { CheckRaw(code, directory_.path()); }

  bool IsCountOfScans(size_t count) const {
    return count == spectra_ || std::ranges::any_of(functions_, [&](const auto& entry) {
             return static_cast<size_t>(entry.second->scans()) == count;
           });
  }

  FunctionWriter& FunctionOf(const ScanKind& kind) {
    const auto known = kinds_.find(kind);
    if (known != kinds_.end()) return *known->second;
    int16_t number = 1;
    while (functions_.contains(number)) ++number;
    if (kind.function && !functions_.contains(static_cast<int16_t>(*kind.function))) {
      number = static_cast<int16_t>(*kind.function);
    }
    if (number > RAW_MAX_FUNCTIONS) {
      throw Defect{"the 33rd kind of scan (" + kind.Text() +
                   "); a raw data directory has at most 32 functions (--any-window puts scans of "
                   "different scan windows together)"};
    }
    auto function =
        std::make_unique<FunctionWriter>(handle_, directory_, number, kind, options_.data_type);
    FunctionWriter& result = *function;
    functions_.emplace(number, std::move(function));
    kinds_.emplace(kind, &result);
    return result;
  }

  void NoteArray(const MzmlArray& array) {
    const MzmlParam* const other = Find(array.params, cv::kOtherArray);
    std::string name = "unnamed";
    if (other != nullptr) {
      name = other->value;
    } else {
      for (const MzmlParam& param : array.params) {
        if (param.name.ends_with(" array")) name = param.name;
      }
    }
    losses_.Add("array '" + name + "'");
  }

  const StagedDirectory& directory_;
  const ImportOptions& options_;
  int32_t handle_ = -1;
  MzmlDescription description_;
  std::map<int16_t, std::unique_ptr<FunctionWriter>> functions_;
  std::map<ScanKind, FunctionWriter*> kinds_;
  AnalogImport analog_;
  Losses losses_;
  ImportedScan scan_;
  size_t spectra_ = 0;
};

}  // namespace

ImportReport ImportRun(const ImportOptions& options) {
  StagedDirectory directory(options.directory, options.replace);
  ImportReport report;
  {
    ProgressBar progress;
    Importer importer(directory, options);
    ReadMzml(options.file, importer, [&](int percent) { progress.Show(percent); });
    report = importer.Finish();
  }
  directory.Commit();
  return report;
}

}  // namespace tervalon::tools
