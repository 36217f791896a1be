#include "tools/import/header_import.h"

#include <tervalon/raw_functions.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

// What is too long for its field, or has characters that Latin-1 has not, is cut or loses them.
template <size_t kSize>
void Store(char (&field)[kSize], const std::string& utf8, const char* what, Losses& losses) {
  const std::optional<std::string> latin1 = Latin1FromUtf8(utf8);
  std::string text;
  for (const char c : latin1 ? *latin1 : utf8) {
    const auto code = static_cast<unsigned char>(c);
    text += latin1 || code < 0x80 ? c : '?';
  }
  if (!latin1 || text.size() >= kSize) {
    std::string loss = "a part of the text of ";
    losses.Add(loss.append(what));
  }
  std::fill(field, field + kSize, '\0');
  text.copy(field, kSize - 1);
}

bool AreDigits(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// "2026-11-22T01:02:03Z", with fractions and zones left out: they have no place.
void StoreStart(const std::string& start, RawHeader& header, Losses& losses) {
  constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  if (start.empty()) return;
  const bool sound = start.size() >= 19 && start[4] == '-' && start[7] == '-' && start[10] == 'T' &&
                     start[13] == ':' && start[16] == ':' && AreDigits(start.substr(0, 4)) &&
                     AreDigits(start.substr(5, 2)) && AreDigits(start.substr(8, 2)) &&
                     AreDigits(start.substr(11, 2)) && AreDigits(start.substr(14, 2)) &&
                     AreDigits(start.substr(17, 2));
  const size_t month = sound ? std::stoul(start.substr(5, 2)) : 0;
  if (month < 1 || month > kMonths.size()) {
    losses.Add("the start time " + Printable(start.substr(0, 40)));
    return;
  }
  std::string date = start.substr(8, 2);
  date.append("-").append(kMonths[month - 1]).append("-").append(start, 0, 4);
  Store(header.acquired_date, date, "the date", losses);
  Store(header.acquired_time, start.substr(11, 8), "the time", losses);
  if (start.size() > 19 && start.substr(19) != "Z") {
    losses.Add("fraction or zone of the start time " + Printable(start.substr(0, 40)));
  }
}

const MzmlElement* FindElement(const MzmlDescription& description, std::string_view element,
                               const std::string& id) {
  const MzmlElement* first = nullptr;
  for (const MzmlElement& candidate : description.elements) {
    if (candidate.element != element) continue;
    if (candidate.id == id) return &candidate;
    if (first == nullptr) first = &candidate;
  }
  return first;
}

// A parameter that says what it is by its name ("LTQ FT") or in its value.
std::string Meaning(const MzmlParam& param) {
  return param.value.empty() ? param.name : param.value;
}

// The header's texts as our own export names them.
void StoreRun(const MzmlElement& element, RawHeader& header, Losses& losses) {
  for (const MzmlParam& param : element.params) {
    const auto store = [&](const char* name, auto& field) {
      if (param.name != name) return false;
      Store(field, param.value, name, losses);
      return true;
    };
    if (param.accession.empty() &&
        (store("acquired_name", header.acquired_name) ||
         store("acquired_date", header.acquired_date) ||
         store("acquired_time", header.acquired_time) || store("job_code", header.job_code) ||
         store("task_code", header.task_code) || store("user_name", header.user_name) ||
         store("laboratory_name", header.laboratory_name) ||
         store("instrument", header.instrument) || store("conditions", header.conditions) ||
         store("sample_description", header.sample_description) ||
         store("submitter", header.submitter) || store("sample_id", header.sample_id) ||
         store("bottle_number", header.bottle_number) ||
         store("plate_description", header.plate_description) ||
         store("associated_datafile", header.associated_datafile) ||
         store("processed", header.processed))) {
      continue;
    }
    const std::optional<double> number = ParseNumber(param.value);
    if (param.accession.empty() && param.name == "solvent_delay" && number) {
      header.solvent_delay = *number;
    } else {
      losses.AddParams({param});
    }
  }
}

bool IsSpecific(const MzmlParam& param, const CvTerm& general) {
  return !param.accession.empty() && (!param.Is(general) || !param.value.empty());
}

void StoreInstrument(const MzmlElement& element, RawHeader& header, Losses& losses) {
  constexpr std::string_view kSerialNumber = "MS:1000529";
  for (const MzmlParam& param : element.params) {
    if (param.accession.empty() && param.name == "instrument") {
      Store(header.instrument, param.value, "the instrument", losses);
    } else if (param.element == "instrumentConfiguration" && header.instrument[0] == '\0' &&
               param.accession != kSerialNumber && IsSpecific(param, cv::kInstrumentModel)) {
      Store(header.instrument, Meaning(param), "the instrument", losses);
    } else {
      losses.AddParams({param});
    }
  }
}

void StoreSample(const MzmlElement& element, RawHeader& header, Losses& losses) {
  std::string name = element.name;
  for (const MzmlParam& param : element.params) {
    if (param.Is(cv::kSampleName)) {
      name = param.value;
    } else if (param.Is(cv::kSampleNumber)) {
      Store(header.sample_id, param.value, "the sample's number", losses);
    } else {
      losses.AddParams({param});
    }
  }
  Store(header.sample_description, name, "the sample's name", losses);
}

void StoreContact(const MzmlElement& element, RawHeader& header, Losses& losses) {
  for (const MzmlParam& param : element.params) {
    if (param.Is(cv::kContactName) && header.user_name[0] == '\0') {
      Store(header.user_name, param.value, "the contact's name", losses);
    } else if (param.Is(cv::kContactAffiliation) && header.laboratory_name[0] == '\0') {
      Store(header.laboratory_name, param.value, "the contact's organization", losses);
    } else {
      losses.AddParams({param});
    }
  }
}

// By pairs of ionisation modes, of which the second one is negative.
struct IonizationTerm {
  std::string_view accession;
  int mode;
};
constexpr IonizationTerm kIonizations[] = {
    {"MS:1000389", 0},   // electron ionization
    {"MS:1000071", 2},   // chemical ionization
    {"MS:1000074", 4},   // fast atom bombardment
    {"MS:1000069", 6},   // thermospray
    {"MS:1000073", 8},   // electrospray
    {"MS:1000398", 8},   // nanoelectrospray
    {"MS:1000397", 8},   // microelectrospray
    {"MS:1000070", 10},  // atmospheric pressure chemical ionization
    {"MS:1000240", 10},  // atmospheric pressure ionization
    {"MS:1000382", 10},  // atmospheric pressure photoionization
    {"MS:1000393", 12},  // laser desorption
    {"MS:1000075", 12},  // matrix-assisted laser desorption
};

struct SpectrumType {
  const CvTerm& term;
  int type;
};
constexpr SpectrumType kSpectrumTypes[] = {
    {cv::kSimSpectrum, RAW_TYPE_SIR},
    {cv::kSrmSpectrum, RAW_TYPE_MRM},
    {cv::kPrecursorIonSpectrum, RAW_TYPE_PARENTS},
    {cv::kNeutralLossSpectrum, RAW_TYPE_NEUTRAL_LOSS},
    {cv::kNeutralGainSpectrum, RAW_TYPE_NEUTRAL_GAIN},
    {cv::kRadiationSpectrum, RAW_TYPE_DIODE_ARRAY},
};

bool IsChannelFunction(int function_type) {
  return function_type == RAW_TYPE_SIR || function_type == RAW_TYPE_MRM ||
         function_type == RAW_TYPE_VOLTAGE_SIR || function_type == RAW_TYPE_MAGNETIC_SIR;
}

int TypeOf(const ScanKind& kind, bool time_of_flight) {
  if (kind.function_type) return *kind.function_type;
  for (const SpectrumType& row : kSpectrumTypes) {
    if (kind.spectrum_type == row.term.accession) return row.type;
  }
  if (time_of_flight) return kind.ms_level > 1 ? RAW_TYPE_TOF_DAUGHTER : RAW_TYPE_TOF_MS;
  return kind.ms_level > 1 ? RAW_TYPE_DAUGHTERS : RAW_TYPE_SCAN;
}

}  // namespace

RawHeader HeaderOf(const MzmlDescription& description, const std::string& name, Losses& losses) {
  RawHeader header = {};
  header.version_major = 1;
  Store(header.acquired_name, name, "the name", losses);
  StoreStart(description.start_time, header, losses);
  const MzmlElement* const instrument =
      FindElement(description, "instrumentConfiguration", description.instrument);
  const MzmlElement* const sample = FindElement(description, "sample", description.sample);
  for (const MzmlElement& element : description.elements) {
    if (&element == instrument) {
      StoreInstrument(element, header, losses);
    } else if (&element == sample) {
      StoreSample(element, header, losses);
    } else if (element.element == "contact") {
      StoreContact(element, header, losses);
    } else if (element.element == "run") {
      StoreRun(element, header, losses);
    } else if (element.element == "instrumentConfiguration") {
      losses.AddParams(element.params);
    } else if (element.element != "fileContent") {
      losses.Add("descriptions: " + element.element);
    }
  }
  return header;
}

void StoreIdentity(RawCalibration& calibration) {
  constexpr RawCaliCoeffs kIdentity = {
      .order = 1, .coefficients = {0, 1}, .type = 0, .standard_deviation = 0};
  calibration.ms1_static = kIdentity;
  calibration.ms1_dynamic = kIdentity;
  calibration.ms2_static = kIdentity;
  calibration.ms2_dynamic = kIdentity;
}

FunctionNature NatureOf(const ScanKind& kind, const MzmlDescription& description, bool channels,
                        Losses& losses) {
  const std::string& id = kind.instrument.empty() ? description.instrument : kind.instrument;
  const MzmlElement* const instrument = FindElement(description, "instrumentConfiguration", id);
  FunctionNature nature = {};
  int mode = -1;
  bool time_of_flight = false;
  if (instrument != nullptr) {
    for (const MzmlParam& param : instrument->params) {
      time_of_flight = time_of_flight || param.Is(cv::kTimeOfFlight);
      for (const IonizationTerm& row : kIonizations) {
        if (param.accession == row.accession) mode = row.mode;
      }
    }
  }
  nature.type = TypeOf(kind, time_of_flight);
  if (IsChannelFunction(nature.type) && !channels) {
    nature.type = kind.ms_level > 1 ? RAW_TYPE_DAUGHTERS : RAW_TYPE_SCAN;
  }
  if (kind.ms_level > 2) losses.Add("MS levels above 2: stored as daughters");
  nature.ion_mode = kind.ion_mode.value_or(0);
  if (kind.ion_mode || nature.type == RAW_TYPE_DIODE_ARRAY) return nature;
  constexpr int kElectrospray = 8;
  if (mode < 0) losses.Add("no ionisation given: electrospray assumed, by function");
  if (kind.polarity == 0) losses.Add("no polarity given: positive assumed, by function");
  nature.ion_mode = (mode < 0 ? kElectrospray : mode) + (kind.polarity < 0 ? 1 : 0);
  return nature;
}

}  // namespace tervalon::tools
