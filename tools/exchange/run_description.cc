#include "tools/exchange/run_description.h"

#include <tervalon/version.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/exchange/sha1.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

namespace fs = std::filesystem;

template <size_t kSize>
std::string Text(const char (&text)[kSize]) {
  return Utf8FromLatin1(text, kSize);
}

// "02-Jun-2025" and "09:30:00" as "2025-06-02T09:30:00"; nothing for other texts.
std::optional<std::string> TimeStamp(const std::string& date, const std::string& time) {
  constexpr const char* kMonths = "janfebmaraprmayjunjulaugsepoctnovdec";
  int day = 0;
  int year = 0;
  int clock[3] = {};
  const auto number = [](std::string_view text, int& value) {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() && value >= 0;
  };
  if (date.size() != 11 || time.size() < 5 || !number(date.substr(0, 2), day) ||
      !number(date.substr(7), year) || !number(time.substr(0, 2), clock[0]) ||
      !number(time.substr(3, 2), clock[1]) ||
      (time.size() >= 8 && !number(time.substr(6, 2), clock[2]))) {
    return std::nullopt;
  }
  std::string name = date.substr(3, 3);
  std::ranges::transform(name, name.begin(), [](char c) { return static_cast<char>(c | 0x20); });
  const size_t month = std::string_view(kMonths).find(name);
  if (month == std::string::npos || month % 3 != 0 || day < 1 || day > 31 || year < 1 ||
      clock[0] > 23 || clock[1] > 59 || clock[2] > 59) {
    return std::nullopt;
  }
  const auto digits = [](size_t value, size_t count) {
    std::string text = std::to_string(value);
    return std::string(count - std::min(count, text.size()), '0') + text;
  };
  return digits(static_cast<size_t>(year), 4) + "-" + digits(month / 3 + 1, 2) + "-" +
         digits(static_cast<size_t>(day), 2) + "T" + digits(static_cast<size_t>(clock[0]), 2) +
         ":" + digits(static_cast<size_t>(clock[1]), 2) + ":" +
         digits(static_cast<size_t>(clock[2]), 2);
}

std::string FileUri(const std::string& path) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  constexpr std::string_view kPlain = "-_.~/:";
  std::error_code error;
  const fs::path absolute = fs::absolute(PathOf(path), error);
  const std::u8string text = (error ? PathOf(path) : absolute).generic_u8string();
  std::string uri = "file://";
  if (!text.starts_with(u8'/')) uri += '/';
  for (const char8_t c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= 'a' && byte <= 'z') ||
                       kPlain.find(static_cast<char>(byte)) != std::string_view::npos;
    if (plain) {
      uri += static_cast<char>(byte);
    } else {
      uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return uri;
}

// Nothing for a file that cannot be read.
std::optional<std::string> ChecksumOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  Sha1 checksum;
  std::vector<char> piece(size_t{1} << 16);
  while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || file.gcount() > 0) {
    checksum.Add(piece.data(), static_cast<size_t>(file.gcount()));
  }
  if (!file.eof()) return std::nullopt;
  return checksum.Digest();
}

// The members that describe the run. Those of the spectra have no file format that the ontology
// knows under a name of its own.
std::vector<fs::path> SourceFiles(const RawDirectory& directory) {
  constexpr const char* kMembers[] = {"_header.txt", "_header.inf", "_functns.inf"};
  std::vector<fs::path> files;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(PathOf(directory.path()), error)) {
    std::string name = NameOf(entry.path().filename());
    std::ranges::transform(name, name.begin(), [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    if (std::ranges::count(kMembers, name) != 0) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

void WriteCvList(XmlWriter& xml) {
  xml.Open("cvList").Attribute("count", 2);
  xml.Open("cv")
      .Attribute("id", "MS")
      .Attribute("fullName", "Proteomics Standards Initiative Mass Spectrometry Ontology")
      .Attribute("version", "4.1.28")
      .Attribute("URI", "https://purl.obolibrary.org/obo/ms/psi-ms.obo");
  xml.Close();
  xml.Open("cv")
      .Attribute("id", "UO")
      .Attribute("fullName", "Unit Ontology")
      .Attribute("URI", "http://purl.obolibrary.org/obo/uo.obo");
  xml.Close();
  xml.Close();
}

void WriteFileDescription(XmlWriter& xml, const ExportRun& run) {
  xml.Open("fileDescription");
  xml.Open("fileContent");
  std::vector<const CvTerm*> contents;
  for (const auto& function : run.functions()) {
    const CvTerm* const term = KindOf(function->record()).spectrum;
    if (std::ranges::count(contents, term) == 0) contents.push_back(term);
  }
  for (const CvTerm* const term : contents) WriteCvParam(xml, *term);
  WriteCvParam(xml, cv::kTotalIonChromatogram);
  xml.Close();
  const std::vector<fs::path> sources = SourceFiles(run.directory());
  if (!sources.empty()) {
    xml.Open("sourceFileList").Attribute("count", sources.size());
    int number = 0;
    for (const fs::path& source : sources) {
      xml.Open("sourceFile")
          .Attribute("id", "SF" + std::to_string(++number))
          .Attribute("name", Utf8FromSystem(NameOf(source.filename())))
          .Attribute("location", FileUri(run.directory().path()));
      WriteCvParam(xml, cv::kNoNativeIdFormat);
      WriteCvParam(xml, cv::kAcquisitionParameterFile);
      if (const auto checksum = ChecksumOf(source)) WriteCvParam(xml, cv::kSha1, *checksum);
      xml.Close();
    }
    xml.Close();
  }
  const RawHeader& header = run.directory().header();
  const std::string name = Text(header.user_name);
  const std::string organization = Text(header.laboratory_name);
  if (!name.empty() && !organization.empty()) {
    xml.Open("contact");
    WriteCvParam(xml, cv::kContactName, name);
    WriteCvParam(xml, cv::kContactAffiliation, organization);
    xml.Close();
  }
  xml.Close();
}

void WriteParamGroups(XmlWriter& xml, const ExportRun& run) {
  if (run.functions().empty()) return;
  xml.Open("referenceableParamGroupList").Attribute("count", run.functions().size());
  for (const auto& function : run.functions()) {
    const RawFunctionRecord& record = function->record();
    constexpr const char* kInteger = "xsd:int";
    xml.Open("referenceableParamGroup").Attribute("id", ParamGroupId(*function));
    WriteUserParam(xml, "function_type", std::to_string(FunctionType(record)), kInteger);
    WriteUserParam(xml, "function_type_name", FunctionTypeName(record), "xsd:string");
    WriteUserParam(xml, "ion_mode", std::to_string(IonMode(record)), kInteger);
    WriteUserParam(xml, "ion_mode_name", IonModeName(record), "xsd:string");
    WriteUserParam(xml, "data_type", std::to_string(DataType(record)), kInteger);
    WriteUserParam(xml, "data_type_name", DataTypeName(record), "xsd:string");
    xml.Close();
  }
  xml.Close();
}

void WriteSample(XmlWriter& xml, const RawHeader& header) {
  const std::string number = Text(header.sample_id);
  const std::string description = Text(header.sample_description);
  if (number.empty() && description.empty()) return;
  xml.Open("sampleList").Attribute("count", 1);
  xml.Open("sample").Attribute("id", "S1");
  if (!description.empty()) xml.Attribute("name", description);
  if (!number.empty()) WriteCvParam(xml, cv::kSampleNumber, number);
  if (!description.empty()) WriteCvParam(xml, cv::kSampleName, description);
  xml.Close();
  xml.Close();
}

void WriteSoftware(XmlWriter& xml) {
  xml.Open("softwareList").Attribute("count", 1);
  xml.Open("software").Attribute("id", "tervalon").Attribute("version", TERVALON_VERSION);
  WriteCvParam(xml, cv::kCustomSoftware, "tervalon");
  xml.Close();
  xml.Close();
}

// Ionisation and analyser of a function: an instrument configuration.
using Configuration = std::pair<const CvTerm*, const CvTerm*>;

Configuration ConfigurationOf(const ExportedFunction& function) {
  const CvTerm* const analyzer = KindOf(function.record()).analyzer;
  return {&Ionization(function.record()), analyzer != nullptr ? analyzer : &cv::kAnalyzerType};
}

std::vector<Configuration> Configurations(const ExportRun& run) {
  std::vector<Configuration> all;
  for (const auto& function : run.functions()) {
    const Configuration one = ConfigurationOf(*function);
    if (std::ranges::count(all, one) == 0) all.push_back(one);
  }
  if (all.empty()) all.emplace_back(&cv::kIonizationType, &cv::kAnalyzerType);
  return all;
}

std::string ConfigurationId(size_t index) { return "IC" + std::to_string(index + 1); }

void WriteInstruments(XmlWriter& xml, const ExportRun& run) {
  const std::vector<Configuration> all = Configurations(run);
  const std::string instrument = Text(run.directory().header().instrument);
  xml.Open("instrumentConfigurationList").Attribute("count", all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    xml.Open("instrumentConfiguration").Attribute("id", ConfigurationId(i));
    WriteCvParam(xml, cv::kInstrumentModel);
    if (!instrument.empty()) WriteUserParam(xml, "instrument", instrument, "xsd:string");
    xml.Open("componentList").Attribute("count", 3);
    const std::pair<const char*, const CvTerm*> components[] = {
        {"source", all[i].first}, {"analyzer", all[i].second}, {"detector", &cv::kDetectorType}};
    int order = 0;
    for (const auto& [element, term] : components) {
      xml.Open(element).Attribute("order", ++order);
      WriteCvParam(xml, *term);
      xml.Close();
    }
    xml.Close();
    xml.Open("softwareRef").Attribute("ref", "tervalon").End();
    xml.Close();
  }
  xml.Close();
}

void WriteProcessing(XmlWriter& xml) {
  xml.Open("dataProcessingList").Attribute("count", 1);
  xml.Open("dataProcessing").Attribute("id", kDataProcessingId);
  xml.Open("processingMethod").Attribute("order", 0).Attribute("softwareRef", "tervalon");
  WriteCvParam(xml, cv::kConversionToMzml);
  xml.Close();
  xml.Close();
  xml.Close();
}

}  // namespace

std::vector<HeaderText> HeaderTexts(const RawHeader& header) {
  return {{"acquired_name", Text(header.acquired_name)},
          {"acquired_date", Text(header.acquired_date)},
          {"acquired_time", Text(header.acquired_time)},
          {"sample_description", Text(header.sample_description)},
          {"sample_id", Text(header.sample_id)},
          {"bottle_number", Text(header.bottle_number)},
          {"plate_description", Text(header.plate_description)},
          {"job_code", Text(header.job_code)},
          {"task_code", Text(header.task_code)},
          {"user_name", Text(header.user_name)},
          {"submitter", Text(header.submitter)},
          {"laboratory_name", Text(header.laboratory_name)},
          {"instrument", Text(header.instrument)},
          {"conditions", Text(header.conditions)},
          {"associated_datafile", Text(header.associated_datafile)},
          {"processed", Text(header.processed)}};
}

std::optional<std::string> AcquisitionTime(const RawHeader& header) {
  return TimeStamp(Text(header.acquired_date), Text(header.acquired_time));
}

void WriteCvParam(XmlWriter& xml, const CvTerm& term, std::string_view value, const CvTerm* unit) {
  const auto ontology = [](const CvTerm& of) { return std::string_view(of.accession, 2); };
  xml.Open("cvParam")
      .Attribute("cvRef", ontology(term))
      .Attribute("accession", term.accession)
      .Attribute("name", term.name);
  if (!value.empty()) xml.Attribute("value", value);
  if (unit != nullptr) {
    xml.Attribute("unitCvRef", ontology(*unit))
        .Attribute("unitAccession", unit->accession)
        .Attribute("unitName", unit->name);
  }
  xml.Close();
}

void WriteUserParam(XmlWriter& xml, const char* name, std::string_view value, const char* type) {
  xml.Open("userParam").Attribute("name", name).Attribute("value", value).Attribute("type", type);
  xml.Close();
}

std::string ParamGroupId(const ExportedFunction& function) {
  return (function.process() == 0 ? "function_" : "process_") +
         std::to_string(function.process() == 0 ? function.function() : function.process());
}

std::string InstrumentId(const ExportRun& run, const ExportedFunction& function) {
  const std::vector<Configuration> all = Configurations(run);
  const auto found = std::ranges::find(all, ConfigurationOf(function));
  return ConfigurationId(static_cast<size_t>(found - all.begin()));
}

void WriteRunDescription(XmlWriter& xml, const ExportRun& run) {
  WriteCvList(xml);
  WriteFileDescription(xml, run);
  WriteParamGroups(xml, run);
  WriteSample(xml, run.directory().header());
  WriteSoftware(xml);
  WriteInstruments(xml, run);
  WriteProcessing(xml);
}

void BeginRun(XmlWriter& xml, const ExportRun& run) {
  const RawHeader& header = run.directory().header();
  xml.Open("run")
      .Attribute("id", "run")
      .Attribute("defaultInstrumentConfigurationRef", ConfigurationId(0));
  if (header.sample_id[0] != '\0' || header.sample_description[0] != '\0') {
    xml.Attribute("sampleRef", "S1");
  }
  if (const auto stamp = AcquisitionTime(header)) {
    xml.Attribute("startTimeStamp", *stamp);
  }
  for (const HeaderText& text : HeaderTexts(header)) {
    if (!text.text.empty()) WriteUserParam(xml, text.key, text.text, "xsd:string");
  }
  if (header.solvent_delay != 0) {
    WriteUserParam(xml, "solvent_delay", ExactText(header.solvent_delay), "xsd:double");
  }
}

}  // namespace tervalon::tools
