#include "tools/exchange/mzml_writer.h"

#include <algorithm>
#include <map>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "tools/data/function_description.h"
#include "tools/data/scan_table.h"
#include "tools/exchange/byte_sink.h"
#include "tools/exchange/run_description.h"
#include "tools/exchange/xml_writer.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

// The elements around all others, the inner one being whole without the outer one.
constexpr std::pair<const char*, const char*> kDocuments[] = {
    {"indexedmzML",
     "http://psi.hupo.org/ms/mzml http://psidev.info/files/ms/mzML/xsd/mzML1.1.2_idx.xsd"},
    {"mzML", "http://psi.hupo.org/ms/mzml http://psidev.info/files/ms/mzML/xsd/mzML1.1.0.xsd"}};

const CvTerm& AnalogTerm(const std::string& unit) {
  constexpr std::pair<const char*, const CvTerm*> kUnits[] = {
      {"AU", &cv::kAbsorptionChromatogram},   {"mAU", &cv::kAbsorptionChromatogram},
      {"bar", &cv::kPressureChromatogram},    {"psi", &cv::kPressureChromatogram},
      {"kPa", &cv::kPressureChromatogram},    {"MPa", &cv::kPressureChromatogram},
      {"mL/min", &cv::kFlowRateChromatogram}, {"ml/min", &cv::kFlowRateChromatogram},
      {"uL/min", &cv::kFlowRateChromatogram}};
  const auto* const found =
      std::ranges::find(kUnits, unit, [](const auto& entry) { return std::string(entry.first); });
  return found != std::end(kUnits) ? *found->second : cv::kRadiationChromatogram;
}

class MzmlWriter {
 public:
  MzmlWriter(const ExportRun& run, const ExportOptions& options, const std::string& name)
      : run_(run),
        file_(name),
        xml_(file_),
        masses_(ArrayContent::kAscending, options.masses, options.compression),
        times_(ArrayContent::kAscending, options.masses, options.compression),
        intensities_(ArrayContent::kIntensities, options.intensities, options.compression),
        flags_(ArrayContent::kOther, Packing::kInt32, options.compression) {
    int position = 0;
    for (const auto& function : run.functions()) {
      facts_[function.get()] = {.index = position++,
                                .group = ParamGroupId(*function),
                                .instrument = InstrumentId(run, *function),
                                .channels = Channels(function->record())};
    }
  }

  void Write() {
    file_.BeginChecksum();
    xml_.Begin();
    for (const auto& [element, schema] : kDocuments) {
      xml_.Open(element)
          .Attribute("xmlns", "http://psi.hupo.org/ms/mzml")
          .Attribute("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance")
          .Attribute("xsi:schemaLocation", schema);
    }
    xml_.Attribute("version", "1.1.0");
    WriteRunDescription(xml_, run_);
    BeginRun(xml_, run_);
    WriteSpectra();
    WriteChromatograms();
    xml_.Close();
    xml_.Close();
    WriteIndex();
    file_.Commit();
  }

 private:
  // What all spectra of a function share.
  struct Facts {
    int index = 0;
    std::string group;
    std::string instrument;
    std::vector<Channel> channels;
  };
  struct SpectrumOffset {
    uint64_t offset;
    int32_t scan;
    int32_t function;
  };
  struct ChromatogramOffset {
    uint64_t offset;
    std::string id;
  };

  void Term(const CvTerm& term, std::string_view value = {}, const CvTerm* unit = nullptr) {
    WriteCvParam(xml_, term, value, unit);
  }

  void WriteSpectra() {
    const int64_t count = run_.scan_count();
    if (count == 0) return;
    xml_.Open("spectrumList")
        .Attribute("count", count)
        .Attribute("defaultDataProcessingRef", kDataProcessingId);
    run_.ForEachScan([this](const ExportedFunction& function, int32_t scan,
                            const Spectrum& spectrum) { WriteSpectrum(function, scan, spectrum); });
    xml_.Close();
  }

  void WriteSpectrum(const ExportedFunction& function, int32_t scan, const Spectrum& spectrum) {
    const RawFunctionRecord& record = function.record();
    const Facts& facts = facts_[&function];
    spectra_.push_back({xml_.NextElement(), scan, facts.index});
    xml_.Open("spectrum")
        .Attribute("index", spectra_.size() - 1)
        .Attribute("id", function.Id() + " scan=" + std::to_string(scan))
        .Attribute("defaultArrayLength", spectrum.masses.size());
    xml_.Open("referenceableParamGroupRef").Attribute("ref", facts.group).End();
    const FunctionKind& kind = KindOf(record);
    Term(*kind.spectrum);
    if (kind.ms_level > 0) Term(cv::kMsLevel, std::to_string(kind.ms_level));
    if (const int polarity = Polarity(record); polarity != 0) {
      Term(polarity > 0 ? cv::kPositiveScan : cv::kNegativeScan);
    }
    Term(IsProfile(record) ? cv::kProfileSpectrum : cv::kCentroidSpectrum);
    const std::span<const float> masses = ShownMasses(facts, spectrum);
    WriteSummary(record, masses, spectrum);
    if (spectrum.header.segment != 0) {
      WriteUserParam(xml_, "segment", std::to_string(spectrum.header.segment), "xsd:int");
    }
    if (const std::string flags = FlagLetters(spectrum.header, function.is_calibrated());
        !flags.empty()) {
      WriteUserParam(xml_, "flags", flags, "xsd:string");
    }
    WriteScan(record, facts, spectrum.header);
    WritePrecursors(function, facts);
    WriteArrays(record, masses, spectrum);
    xml_.Close();
  }

  // Of a reaction the mass that reaches the detector.
  std::span<const float> ShownMasses(const Facts& facts, const Spectrum& spectrum) {
    if (facts.channels.empty() || !facts.channels[0].daughter) return spectrum.masses;
    shown_ = spectrum.masses;
    for (size_t i = 0; i < std::min(shown_.size(), facts.channels.size()); ++i) {
      shown_[i] = *facts.channels[i].daughter;
    }
    return shown_;
  }

  void WriteSummary(const RawFunctionRecord& record, std::span<const float> masses,
                    const Spectrum& spectrum) {
    const bool radiation = IsRadiation(record);
    if (!masses.empty()) {
      const auto [low, high] = std::ranges::minmax(masses);
      const auto strongest = std::ranges::max_element(spectrum.intensities);
      const auto peak = static_cast<size_t>(strongest - spectrum.intensities.begin());
      const CvTerm* const unit = radiation ? &cv::kNanometer : &cv::kMassToCharge;
      Term(radiation ? cv::kLowestWavelength : cv::kLowestMass, ExactText(low), unit);
      Term(radiation ? cv::kHighestWavelength : cv::kHighestMass, ExactText(high), unit);
      if (!radiation) {
        Term(cv::kBasePeakMass, ExactText(masses[peak]), unit);
      }
      Term(cv::kBasePeakIntensity, ExactText(*strongest), &cv::kDetectorCounts);
    }
    Term(cv::kTotalIonCurrent, ExactText(spectrum.header.total_ion_current));
  }

  void WriteScan(const RawFunctionRecord& record, const Facts& facts, const RawScanHeader& header) {
    xml_.Open("scanList").Attribute("count", 1);
    Term(cv::kNoCombination);
    xml_.Open("scan").Attribute("instrumentConfigurationRef", facts.instrument);
    Term(cv::kScanStartTime, ExactText(header.retention_time), &cv::kMinute);
    if (header.high_mass > header.low_mass && !IsRadiation(record)) {
      xml_.Open("scanWindowList").Attribute("count", 1);
      xml_.Open("scanWindow");
      Term(cv::kWindowLowerLimit, ExactText(header.low_mass), &cv::kMassToCharge);
      Term(cv::kWindowUpperLimit, ExactText(header.high_mass), &cv::kMassToCharge);
      xml_.Close();
      xml_.Close();
    }
    xml_.Close();
    xml_.Close();
  }

  void WriteSelectedIon(const std::string& mass) {
    xml_.Open("selectedIonList").Attribute("count", 1);
    xml_.Open("selectedIon");
    Term(cv::kSelectedIonMass, mass, &cv::kMassToCharge);
    xml_.Close();
    xml_.Close();
  }

  void WriteIsolation(float mass) {
    xml_.Open("isolationWindow");
    Term(cv::kIsolationTarget, ExactText(mass), &cv::kMassToCharge);
    xml_.Close();
  }

  void WritePrecursors(const ExportedFunction& function, const Facts& facts) {
    std::vector<std::string> masses;
    if (function.precursor()) masses.push_back(ExactText(*function.precursor()));
    const bool reactions = !facts.channels.empty() && facts.channels[0].daughter.has_value();
    if (reactions) {
      for (const Channel& channel : facts.channels) masses.push_back(ExactText(channel.mass));
    }
    if (masses.empty()) return;
    xml_.Open("precursorList").Attribute("count", masses.size());
    for (const std::string& mass : masses) {
      xml_.Open("precursor");
      WriteSelectedIon(mass);
      xml_.Open("activation");
      Term(cv::kDissociationMethod);
      xml_.Close();
      xml_.Close();
    }
    xml_.Close();
    if (!reactions) return;
    xml_.Open("productList").Attribute("count", facts.channels.size());
    for (const Channel& channel : facts.channels) {
      xml_.Open("product");
      WriteIsolation(*channel.daughter);
      xml_.Close();
    }
    xml_.Close();
  }

  void WriteArrays(const RawFunctionRecord& record, std::span<const float> masses,
                   const Spectrum& spectrum) {
    const bool radiation = IsRadiation(record);
    const bool flagged =
        std::ranges::any_of(spectrum.flags, [](int32_t flag) { return flag != 0; });
    xml_.Open("binaryDataArrayList").Attribute("count", flagged ? 3 : 2);
    WriteArray(masses_, masses, radiation ? cv::kWavelengthArray : cv::kMassArray,
               radiation ? &cv::kNanometer : &cv::kMassToCharge);
    WriteArray(intensities_, spectrum.intensities, cv::kIntensityArray, &cv::kDetectorCounts);
    if (flagged) {
      const std::vector<float> values(spectrum.flags.begin(), spectrum.flags.end());
      WriteArray(flags_, values, cv::kOtherArray, nullptr, "flags");
    }
    xml_.Close();
  }

  void WriteArray(ArrayEncoder& encoder, std::span<const float> values, const CvTerm& array,
                  const CvTerm* unit, std::string_view name = {}) {
    const size_t length = encoder.Prepare(values);
    xml_.Open("binaryDataArray").Attribute("encodedLength", length);
    Term(encoder.packing_term());
    Term(encoder.compression_term());
    Term(array, name, unit);
    xml_.Open("binary");
    if (length > 0) encoder.Write(xml_);
    xml_.Close();
    xml_.Close();
  }

  void WriteChromatograms() {
    size_t count = 0;
    for (const auto& function : run_.functions()) {
      count += 2 + facts_[function.get()].channels.size();
    }
    count += run_.AnalogCount();
    if (count == 0) return;
    xml_.Open("chromatogramList")
        .Attribute("count", count)
        .Attribute("defaultDataProcessingRef", kDataProcessingId);
    for (const auto& function : run_.functions()) WriteFunctionChromatograms(*function);
    run_.ForEachAnalog(
        [this](int channel, const AnalogTrace& trace) { WriteAnalog(channel, trace); });
    xml_.Close();
  }

  void BeginChromatogram(const std::string& id, size_t points, const CvTerm& term) {
    chromatograms_.push_back({xml_.NextElement(), id});
    xml_.Open("chromatogram")
        .Attribute("index", chromatograms_.size() - 1)
        .Attribute("id", id)
        .Attribute("defaultArrayLength", points);
    Term(term);
  }

  void EndChromatogram(std::span<const float> times, std::span<const float> values) {
    xml_.Open("binaryDataArrayList").Attribute("count", 2);
    WriteArray(times_, times, cv::kTimeArray, &cv::kMinute);
    WriteArray(intensities_, values, cv::kIntensityArray, &cv::kDetectorCounts);
    xml_.Close();
    xml_.Close();
  }

  void Polarise(const RawFunctionRecord& record) {
    if (const int polarity = Polarity(record); polarity != 0) {
      Term(polarity > 0 ? cv::kPositiveScan : cv::kNegativeScan);
    }
  }

  void WriteFunctionChromatograms(const ExportedFunction& function) {
    const RawFunctionRecord& record = function.record();
    const std::string id = " " + function.Id();
    const std::tuple<const char*, const CvTerm*, int16_t> kinds[] = {
        {"TIC", &cv::kTotalIonChromatogram, RAW_CHROM_TOTAL_ION},
        {"BPI", &cv::kBasePeakChromatogram, RAW_CHROM_BASE_PEAK}};
    for (const auto& [name, term, kind] : kinds) {
      BeginChromatogram(name + id, function.times().size(), *term);
      Polarise(record);
      EndChromatogram(function.times(), function.IndexChromatogram(kind));
    }
    int number = 0;
    for (const Channel& channel : facts_[&function].channels) {
      ++number;
      const std::string name =
          (channel.daughter ? "SRM" : "SIM") + id + " channel=" + std::to_string(number);
      BeginChromatogram(name, function.times().size(),
                        channel.daughter ? cv::kSrmChromatogram : cv::kSimChromatogram);
      Polarise(record);
      xml_.Open("precursor");
      WriteIsolation(channel.mass);
      xml_.Open("activation").End();
      xml_.Close();
      if (channel.daughter) {
        xml_.Open("product");
        WriteIsolation(*channel.daughter);
        xml_.Close();
      }
      EndChromatogram(function.times(), function.ChannelChromatogram(number));
    }
  }

  void WriteAnalog(int channel, const AnalogTrace& trace) {
    BeginChromatogram("AN" + std::to_string(channel), trace.times.size(), AnalogTerm(trace.unit));
    if (!trace.name.empty()) WriteUserParam(xml_, "name", trace.name, "xsd:string");
    if (!trace.unit.empty()) WriteUserParam(xml_, "unit", trace.unit, "xsd:string");
    EndChromatogram(trace.times, trace.values);
  }

  void WriteIndex() {
    const uint64_t start = xml_.NextElement();
    xml_.Open("indexList")
        .Attribute("count", (spectra_.empty() ? 0 : 1) + (chromatograms_.empty() ? 0 : 1));
    const auto offset = [this](const std::string& id, uint64_t position) {
      xml_.Open("offset").Attribute("idRef", id);
      xml_.Text(std::to_string(position));
      xml_.Close();
    };
    if (!spectra_.empty()) {
      xml_.Open("index").Attribute("name", "spectrum");
      for (const SpectrumOffset& spectrum : spectra_) {
        const auto function = static_cast<size_t>(spectrum.function);
        offset(run_.functions()[function]->Id() + " scan=" + std::to_string(spectrum.scan),
               spectrum.offset);
      }
      xml_.Close();
    }
    if (!chromatograms_.empty()) {
      xml_.Open("index").Attribute("name", "chromatogram");
      for (const ChromatogramOffset& one : chromatograms_) offset(one.id, one.offset);
      xml_.Close();
    }
    xml_.Close();
    xml_.Open("indexListOffset");
    xml_.Text(std::to_string(start));
    xml_.Close();
    // The sum of everything up to the end of this start tag.
    xml_.Open("fileChecksum");
    xml_.Text("");
    xml_.Flush();
    xml_.Text(file_.Checksum());
    xml_.Close();
    xml_.Close();
    xml_.Finish();
  }

  const ExportRun& run_;
  StagedFile file_;
  XmlWriter xml_;
  ArrayEncoder masses_;
  ArrayEncoder times_;
  ArrayEncoder intensities_;
  ArrayEncoder flags_;
  std::map<const ExportedFunction*, Facts> facts_;
  std::vector<float> shown_;
  std::vector<SpectrumOffset> spectra_;
  std::vector<ChromatogramOffset> chromatograms_;
};

}  // namespace

void WriteMzml(const ExportRun& run, const ExportOptions& options, const std::string& name) {
  if (run.functions().empty() && run.AnalogCount() == 0) {
    throw Failure(run.directory().path(), "there is nothing to export");
  }
  MzmlWriter(run, options, name).Write();
}

}  // namespace tervalon::tools
