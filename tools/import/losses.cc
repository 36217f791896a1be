#include "tools/import/losses.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace tervalon::tools {
namespace {

// Files may make up names without end.
constexpr size_t kMostNames = 200;

// What the importer reads, what follows from the points, and what describes nothing.
const std::set<std::string_view>& Kept() {
  static const std::set<std::string_view> terms = [] {
    std::set<std::string_view> set;
    for (const CvTerm& term : {cv::kMsLevel,
                               cv::kPositiveScan,
                               cv::kNegativeScan,
                               cv::kCentroidSpectrum,
                               cv::kProfileSpectrum,
                               cv::kMassSpectrum,
                               cv::kMs1Spectrum,
                               cv::kMsnSpectrum,
                               cv::kSimSpectrum,
                               cv::kSrmSpectrum,
                               cv::kPrecursorIonSpectrum,
                               cv::kNeutralLossSpectrum,
                               cv::kNeutralGainSpectrum,
                               cv::kRadiationSpectrum,
                               cv::kTotalIonCurrent,
                               cv::kBasePeakMass,
                               cv::kBasePeakIntensity,
                               cv::kHighestMass,
                               cv::kLowestMass,
                               cv::kHighestWavelength,
                               cv::kLowestWavelength,
                               cv::kNoCombination,
                               cv::kScanStartTime,
                               cv::kWindowLowerLimit,
                               cv::kWindowUpperLimit,
                               cv::kConversionToMzml}) {
      set.insert(term.accession);
    }
    for (const CvTerm& general :
         {cv::kInstrumentModel, cv::kIonizationType, cv::kAnalyzerType, cv::kDetectorType,
          cv::kTimeOfFlight, cv::kElectronIonization, cv::kChemicalIonization,
          cv::kFastAtomBombardment, cv::kThermospray, cv::kElectrospray, cv::kAtmosphericPressure,
          cv::kLaserDesorption}) {
      set.insert(general.accession);
    }
    set.insert("MS:1000525");  // spectrum representation, without saying which
    return set;
  }();
  return terms;
}

// What our own export says besides.
const std::set<std::string_view>& KeptByName() {
  static const std::set<std::string_view> names = {"function_type", "function_type_name",
                                                   "ion_mode",      "ion_mode_name",
                                                   "data_type",     "data_type_name",
                                                   "segment",       "flags",
                                                   "name",          "unit",
                                                   "instrument"};
  return names;
}

}  // namespace

void Losses::Add(const std::string& what, size_t times) {
  const bool room = times_.size() < kMostNames || times_.contains(what);
  const auto [entry, is_new] = times_.try_emplace(room ? what : "others", 0, times_.size());
  entry->second.first += times;
}

void Losses::AddParams(const MzmlParams& params) {
  for (const MzmlParam& param : params) {
    const bool kept = param.accession.empty() ? KeptByName().contains(param.name)
                                              : Kept().contains(param.accession);
    if (!kept) Add(param.name + " (" + param.element + ")");
  }
}

std::vector<std::pair<std::string, size_t>> Losses::List() const {
  std::vector<std::pair<std::string, size_t>> list;
  list.reserve(times_.size());
  for (const auto& [what, entry] : times_) list.emplace_back(what, entry.first);
  std::ranges::sort(list, {}, [&](const auto& item) { return times_.at(item.first).second; });
  return list;
}

}  // namespace tervalon::tools
