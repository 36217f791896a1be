#include "tools/import/scan_kind.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

const MzmlParam* FindUser(const MzmlParams& params, std::string_view name) {
  const auto found = std::ranges::find_if(params, [&](const MzmlParam& param) {
    return param.accession.empty() && param.name == name;
  });
  return found == params.end() ? nullptr : &*found;
}

std::optional<double> NumberOf(const MzmlParam* param) {
  return param == nullptr ? std::nullopt : ParseNumber(param->value);
}

std::optional<int> IntegerOf(const MzmlParam* param, int low, int high) {
  const std::optional<double> number = NumberOf(param);
  if (!number || *number < low || *number > high || *number != std::floor(*number)) {
    return std::nullopt;
  }
  return static_cast<int>(*number);
}

// The number behind "key=" in an id such as "function=1 process=0 scan=12".
std::optional<int> IdNumber(const std::string& id, const std::string& key, int low, int high) {
  const size_t at = (" " + id).find(" " + key + "=");
  if (at == std::string::npos) return std::nullopt;
  const size_t begin = at + key.size() + 1;
  const size_t end = std::min(id.find(' ', begin), id.size());
  MzmlParam value;
  value.value = id.substr(begin, end - begin);
  return IntegerOf(&value, low, high);
}

// Times and masses are far below.
constexpr double kLargest = 1e30;

// 0 where there is none.
float FloatOf(const MzmlParam* param) {
  const double value = NumberOf(param).value_or(0);
  return std::abs(value) < kLargest ? static_cast<float>(value) : 0;
}

float Limit(const MzmlParams& window, const CvTerm& term) { return FloatOf(Find(window, term)); }

bool IsFlagArray(const MzmlParams& array) {
  const MzmlParam* const other = Find(array, cv::kOtherArray);
  return other != nullptr && other->value == "flags";
}

}  // namespace

ScanKind KindOf(const MzmlEntry& spectrum) {
  const MzmlParams& params = spectrum.params;
  ScanKind kind;
  kind.ms_level = IntegerOf(Find(params, cv::kMsLevel), 1, 100).value_or(0);
  kind.polarity = Find(params, cv::kNegativeScan) != nullptr   ? -1
                  : Find(params, cv::kPositiveScan) != nullptr ? 1
                                                               : 0;
  kind.representation = Find(params, cv::kProfileSpectrum) != nullptr    ? Representation::kProfile
                        : Find(params, cv::kCentroidSpectrum) != nullptr ? Representation::kCentroid
                                                                         : Representation::kUnknown;
  for (const MzmlParams& window : spectrum.windows) {
    const float low = Limit(window, cv::kWindowLowerLimit);
    const float high = Limit(window, cv::kWindowUpperLimit);
    if (low < high) kind.windows.emplace_back(low, high);
  }
  for (const CvTerm& type :
       {cv::kSimSpectrum, cv::kSrmSpectrum, cv::kPrecursorIonSpectrum, cv::kNeutralLossSpectrum,
        cv::kNeutralGainSpectrum, cv::kRadiationSpectrum}) {
    if (Find(params, type) != nullptr) kind.spectrum_type = type.accession;
  }
  kind.instrument = spectrum.instrument;
  kind.function = IdNumber(spectrum.id, "function", 1, RAW_MAX_FUNCTIONS);
  kind.function_type = IntegerOf(FindUser(params, "function_type"), 0, 31);
  kind.ion_mode = IntegerOf(FindUser(params, "ion_mode"), 0, 31);
  kind.data_type = IntegerOf(FindUser(params, "data_type"), 0, 15);
  return kind;
}

std::string ScanKind::Text() const {
  std::string text = ms_level > 0 ? "MS" + std::to_string(ms_level) : "no MS level";
  text += polarity > 0 ? ", positive" : polarity < 0 ? ", negative" : "";
  if (representation != Representation::kUnknown) {
    text += representation == Representation::kProfile ? ", profile" : ", centroids";
  }
  for (const auto& [low, high] : windows) {
    text += ", m/z " + ExactText(low) + " to " + ExactText(high);
  }
  return text;
}

std::optional<double> MinutesOf(const MzmlParam* time) {
  const std::optional<double> number = NumberOf(time);
  if (!number) return std::nullopt;
  const bool seconds = time->unit == cv::kSecond.accession || time->unit == "MS:1000039";
  return seconds ? *number / 60 : *number;
}

bool IsScanArray(const MzmlParams& array) {
  return Find(array, cv::kMassArray) != nullptr || Find(array, cv::kIntensityArray) != nullptr ||
         Find(array, cv::kWavelengthArray) != nullptr || IsFlagArray(array);
}

void ReadScan(const MzmlEntry& spectrum, ImportedScan& scan) {
  if (spectrum.length > RAW_MAX_POINTS) {
    throw Defect{std::to_string(spectrum.length) + " points, more than the " +
                 std::to_string(RAW_MAX_POINTS) + " that a scan can hold"};
  }
  scan.description = {};
  const std::optional<double> time = MinutesOf(Find(spectrum.params, cv::kScanStartTime));
  scan.has_time = time.has_value() && std::abs(*time) < kLargest;
  scan.description.retention_time = scan.has_time ? static_cast<float>(*time) : 0;
  scan.description.segment =
      static_cast<uint32_t>(IntegerOf(FindUser(spectrum.params, "segment"), 0, 15).value_or(0));
  const MzmlParam* const flags = FindUser(spectrum.params, "flags");
  const auto has = [&](char flag) -> uint32_t {
    return flags != nullptr && flags->value.find(flag) != std::string::npos ? 1 : 0;
  };
  scan.description.flag_a = has('A');
  scan.description.flag_b = has('B');
  scan.description.flag_c = has('C');
  scan.description.flag_d = has('D');

  scan.has_flag_e = has('E') != 0;
  scan.parents.clear();
  for (const MzmlParam& param : spectrum.params) {
    if (!param.Is(cv::kSelectedIonMass)) continue;
    scan.parents.push_back(FloatOf(&param));
  }

  const MzmlArray* masses = spectrum.Find(cv::kMassArray);
  if (masses == nullptr) masses = spectrum.Find(cv::kWavelengthArray);
  const MzmlArray* const intensities = spectrum.Find(cv::kIntensityArray);
  scan.masses.clear();
  scan.intensities.clear();
  scan.flags.clear();
  if (masses == nullptr || intensities == nullptr) {
    if (spectrum.length == 0) return;
    throw Defect{masses == nullptr ? "it has no m/z array" : "it has no intensity array"};
  }
  DecodeArray(*masses, scan.masses);
  DecodeArray(*intensities, scan.intensities);
  if (scan.masses.size() != scan.intensities.size()) {
    throw Defect{"its arrays are of different lengths"};
  }
  if (scan.masses.size() > RAW_MAX_POINTS) throw Defect{"more points than a scan can hold"};
  for (const MzmlArray& array : spectrum.arrays) {
    if (!IsFlagArray(array.params)) continue;
    std::vector<double> numbers;
    DecodeArray(array, numbers);
    if (numbers.size() != scan.masses.size()) {
      throw Defect{"its arrays are of different lengths"};
    }
    for (const double number : numbers) {
      scan.flags.push_back(number >= 0 && number <= 15 ? static_cast<uint8_t>(number) : 0);
    }
  }
}

}  // namespace tervalon::tools
