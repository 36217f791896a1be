#include "tools/exchange/export_run.h"

#include <tervalon/raw_analog.h>
#include <tervalon/raw_directory.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "tools/data/function_description.h"
#include "tools/data/scan_table.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/progress_bar.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr FunctionKind kOther = {&cv::kMassSpectrum, 1, &cv::kAnalyzerType};

// By function type.
constexpr FunctionKind kKinds[] = {
    {&cv::kMs1Spectrum, 1, &cv::kAnalyzerType},           // scan
    {&cv::kSimSpectrum, 1, &cv::kAnalyzerType},           // SIR
    kOther,                                               // delay
    kOther,                                               // concatenated
    kOther,                                               // off
    {&cv::kPrecursorIonSpectrum, 2, &cv::kAnalyzerType},  // parents
    {&cv::kMsnSpectrum, 2, &cv::kAnalyzerType},           // daughters
    {&cv::kNeutralLossSpectrum, 2, &cv::kAnalyzerType},   // neutral loss
    {&cv::kNeutralGainSpectrum, 2, &cv::kAnalyzerType},   // neutral gain
    {&cv::kSrmSpectrum, 2, &cv::kAnalyzerType},           // MRM
    {&cv::kMs1Spectrum, 1, &cv::kAnalyzerType},           // Q1F
    {&cv::kMsnSpectrum, 2, &cv::kAnalyzerType},           // MS2
    {&cv::kRadiationSpectrum, 0, nullptr},                // diode array
    {&cv::kMs1Spectrum, 1, &cv::kTimeOfFlight},           // TOF
    {&cv::kMsnSpectrum, 2, &cv::kTimeOfFlight},           // TOF PSD
    {&cv::kMs1Spectrum, 1, &cv::kTimeOfFlight},           // TOF survey
    {&cv::kMsnSpectrum, 2, &cv::kTimeOfFlight},           // TOF daughter
    {&cv::kMs1Spectrum, 1, &cv::kTimeOfFlight},           // MALDI TOF
    {&cv::kMs1Spectrum, 1, &cv::kTimeOfFlight},           // TOF MS
    {&cv::kPrecursorIonSpectrum, 2, &cv::kTimeOfFlight},  // TOF parent
    {&cv::kMs1Spectrum, 1, &cv::kAnalyzerType},           // voltage scan
    {&cv::kMs1Spectrum, 1, &cv::kMagneticSector},         // magnetic scan
    {&cv::kSimSpectrum, 1, &cv::kAnalyzerType},           // voltage SIR
    {&cv::kSimSpectrum, 1, &cv::kMagneticSector},         // magnetic SIR
    {&cv::kMsnSpectrum, 2, &cv::kAnalyzerType}};          // auto daughters

// By half of the ionisation mode: its even codes are positive, the odd ones negative.
constexpr const CvTerm* kIonizations[] = {&cv::kElectronIonization,  &cv::kChemicalIonization,
                                          &cv::kFastAtomBombardment, &cv::kThermospray,
                                          &cv::kElectrospray,        &cv::kAtmosphericPressure,
                                          &cv::kLaserDesorption};

bool Contains(const ExportSelection& selection, int32_t scan, float time) {
  const std::optional<TimeRange>& times = selection.times;
  const std::optional<ScanRange>& scans = selection.scans;
  return (!times || (time >= times->low && time <= times->high)) &&
         (!scans || (scan >= scans->first && scan <= scans->last));
}

}  // namespace

const FunctionKind& KindOf(const RawFunctionRecord& record) {
  const auto type = static_cast<size_t>(FunctionType(record));
  return type < std::size(kKinds) ? kKinds[type] : kOther;
}

bool IsProfile(const RawFunctionRecord& record) {
  constexpr std::array kTypes = {RAW_DATA_CONTINUUM, RAW_DATA_MCA, RAW_DATA_MCB,
                                 RAW_DATA_ENHANCED_MASS};
  return std::ranges::count(kTypes, DataType(record)) != 0;
}

bool IsRadiation(const RawFunctionRecord& record) {
  return FunctionType(record) == RAW_TYPE_DIODE_ARRAY;
}

int Polarity(const RawFunctionRecord& record) {
  const int mode = IonMode(record);
  return IsRadiation(record) || mode / 2 >= std::ssize(kIonizations) ? 0 : mode % 2 == 0 ? 1 : -1;
}

const CvTerm& Ionization(const RawFunctionRecord& record) {
  const auto mode = static_cast<size_t>(IonMode(record) / 2);
  return mode < std::size(kIonizations) ? *kIonizations[mode] : cv::kIonizationType;
}

std::vector<Channel> Channels(const RawFunctionRecord& record) {
  std::vector<Channel> channels;
  const std::vector<float> daughters = DaughterMasses(record);
  const bool reactions = FunctionType(record) == RAW_TYPE_MRM &&
                         std::ranges::any_of(daughters, [](float mass) { return mass > 0; });
  for (const float mass : ChannelMasses(record)) {
    channels.push_back({mass, {}});
    if (reactions) {
      channels.back().daughter = daughters[channels.size() - 1];
    }
  }
  return channels;
}

ExportedFunction::ExportedFunction(const RawDirectory& directory, const DataSet& data_set,
                                   const ExportSelection& selection)
    : reader_(directory, data_set) {
  const FunctionKind& kind = KindOf(record());
  if (kind.ms_level > 1 && !IsChannelFunction(record())) precursor_ = selection.precursor;
  calibrated_ = IsCalibrated(directory, function());
  const Chromatogram index = reader_.ReadIndexChromatogram(RAW_CHROM_TOTAL_ION);
  for (int32_t scan = 1; scan <= std::ssize(index.times); ++scan) {
    const float time = index.times[static_cast<size_t>(scan - 1)];
    if (!Contains(selection, scan, time)) continue;
    scans_.push_back(scan);
    times_.push_back(time);
  }
}

std::string ExportedFunction::Id() const {
  return "function=" + std::to_string(function()) + " process=" + std::to_string(process());
}

std::vector<float> ExportedFunction::Selected(const std::vector<float>& of_all) const {
  std::vector<float> selected;
  selected.reserve(scans_.size());
  for (const int32_t scan : scans_) selected.push_back(of_all[static_cast<size_t>(scan - 1)]);
  return selected;
}

std::vector<float> ExportedFunction::IndexChromatogram(int16_t kind) const {
  return Selected(reader_.ReadIndexChromatogram(kind).traces[0]);
}

std::vector<float> ExportedFunction::ChannelChromatogram(int channel) const {
  const auto point = static_cast<float>(channel);
  return Selected(reader_.ReadSums({{.of_points = true, .windows = {{point, point}}}}).traces[0]);
}

ExportRun::ExportRun(const std::string& path, ExportSelection selection)
    : directory_(path), selection_(std::move(selection)) {
  if (selection_.process != 0) {
    DataSet data_set = {.process = selection_.process, .data_type = selection_.data_type};
    if (!selection_.functions.empty()) data_set.function = selection_.functions[0];
    functions_.push_back(std::make_unique<ExportedFunction>(directory_, data_set, selection_));
    return;
  }
  std::vector<int> numbers = selection_.functions;
  if (numbers.empty()) {
    numbers.resize(directory_.functions().size());
    std::iota(numbers.begin(), numbers.end(), 1);
  }
  for (const int number : numbers) {
    // A function of which nothing was acquired.
    if (selection_.functions.empty() && !directory_.HasDataOf(number)) continue;
    functions_.push_back(
        std::make_unique<ExportedFunction>(directory_, DataSet{.function = number}, selection_));
  }
}

int64_t ExportRun::scan_count() const {
  int64_t count = 0;
  for (const auto& function : functions_) count += function->scan_count();
  return count;
}

void ExportRun::ForEachScan(const Visitor& visit) const {
  ProgressBar progress;
  const int64_t total = scan_count();
  std::vector<int32_t> next(functions_.size());
  Spectrum spectrum;
  for (int64_t done = 0; done < total; ++done) {
    console::CheckInterrupt();
    size_t earliest = functions_.size();
    for (size_t i = 0; i < functions_.size(); ++i) {
      if (next[i] == functions_[i]->scan_count()) continue;
      if (earliest == functions_.size() ||
          functions_[i]->time(next[i]) < functions_[earliest]->time(next[earliest])) {
        earliest = i;
      }
    }
    const ExportedFunction& function = *functions_[earliest];
    const int32_t scan = function.scan(next[earliest]++);
    function.reader().ReadSpectrum(scan, spectrum);
    visit(function, scan, spectrum);
    progress.Show(static_cast<int>(done * 100 / total));
  }
}

size_t ExportRun::AnalogCount() const {
  const bool selected = selection_.process == 0 && selection_.functions.empty();
  return selected ? static_cast<size_t>(directory_.AnalogChannels().value_or(0)) : 0;
}

// Channels may be described before they have any samples.
int32_t ExportRun::AnalogRecords(int16_t channels) const {
  int32_t count = 0;
  const int32_t code = RawReadAnalogSize(directory_.handle(), channels, &count);
  if (code != RAW_MEMBER_NOT_OPENED) CheckRaw(code, directory_.MemberPath("_ANALOGS.DAT"));
  return code == RAW_OK ? count : 0;
}

void ExportRun::ForEachAnalog(
    const std::function<void(int channel, const AnalogTrace&)>& visit) const {
  const auto channels = static_cast<int16_t>(AnalogCount());
  const int32_t count = channels == 0 ? 0 : AnalogRecords(channels);
  const std::vector<AnalogText> texts = AnalogTexts(directory_);
  for (int16_t channel = 0; channel < channels; ++channel) {
    AnalogTrace all = {};
    all.times.resize(static_cast<size_t>(count));
    all.values.resize(all.times.size());
    if (count > 0) {
      CheckRaw(RawReadAnalogChrom(directory_.handle(), channel, channels, 1, count,
                                  all.values.data(), all.times.data()),
               directory_.MemberPath("_ANALOGS.DAT"));
    }
    AnalogTrace trace = {};
    if (channel < std::ssize(texts)) {
      trace.name = texts[static_cast<size_t>(channel)].name;
      trace.unit = texts[static_cast<size_t>(channel)].unit;
    }
    for (size_t i = 0; i < all.times.size(); ++i) {
      if (selection_.times && !Contains({.times = selection_.times}, 0, all.times[i])) continue;
      trace.times.push_back(all.times[i]);
      trace.values.push_back(all.values[i]);
    }
    visit(channel + 1, trace);
  }
}

}  // namespace tervalon::tools
