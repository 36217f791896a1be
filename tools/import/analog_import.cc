#include "tools/import/analog_import.h"

#include <tervalon/raw_analog.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "tools/import/scan_kind.h"
#include "tools/import/stored_values.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

// Channels are held in memory until all are there.
constexpr size_t kMostRecords = 250000;

// What a userParam says, or else `other`.
std::string TextOf(const MzmlEntry& entry, std::string_view name, const std::string& other) {
  for (const MzmlParam& param : entry.params) {
    if (param.accession.empty() && param.name == name) return param.value;
  }
  return other;
}

// Why the chromatogram cannot be a channel; empty where it can.
std::string Obstacle(const std::vector<float>& times, const std::vector<double>& values,
                     const std::vector<float>& common_times, size_t channels) {
  constexpr double kLargest = 8191.0 * 16384;
  if (channels == RAW_MAX_ANALOG_CHANNELS) return "more than 32";
  if (channels != 0 && times != common_times) return "with times of their own";
  for (const double value : values) {
    if (!(value >= 0)) return "with values below 0";
    if (value > kLargest) return "with values above 134201344";
  }
  return "";
}

}  // namespace

void AnalogImport::Add(const MzmlEntry& chromatogram, Losses& losses) {
  const MzmlArray* const time_array = chromatogram.Find(cv::kTimeArray);
  const MzmlArray* const value_array = chromatogram.Find(cv::kIntensityArray);
  if (time_array == nullptr || value_array == nullptr) {
    losses.Add("chromatograms without times or intensities");
    return;
  }
  if (time_array->length > kMostRecords) {
    losses.Add("chromatograms of more than 250000 points");
    return;
  }
  std::vector<double> times;
  std::vector<double> values;
  DecodeArray(*time_array, times);
  DecodeArray(*value_array, values);
  if (times.size() != values.size()) throw Defect{"its arrays are of different lengths"};
  const MzmlParam* const time_param = Find(time_array->params, cv::kTimeArray);
  const bool seconds =
      time_param->unit == cv::kSecond.accession || time_param->unit == "MS:1000039";
  std::vector<float> minutes;
  minutes.reserve(times.size());
  for (const double time : times) minutes.push_back(static_cast<float>(seconds ? time / 60 : time));
  const std::string obstacle = Obstacle(minutes, values, times_, channels_.size());
  if (!obstacle.empty()) {
    losses.Add("chromatograms " + obstacle);
    return;
  }
  Channel channel = {.name = TextOf(chromatogram, "name", chromatogram.id),
                     .unit = TextOf(chromatogram, "unit",
                                    Find(value_array->params, cv::kIntensityArray)->unit_name),
                     .values = {},
                     .error = 0};
  channel.values.reserve(values.size());
  for (const double value : values) {
    channel.values.push_back(static_cast<float>(value));
    channel.error =
        std::max(channel.error,
                 RelativeError(StoredIntensity(RAW_DATA_CONTINUUM, channel.values.back()), value));
  }
  times_ = std::move(minutes);
  channels_.push_back(std::move(channel));
}

void AnalogImport::Write(int32_t handle, const std::string& directory, ImportReport& report) const {
  if (channels_.empty()) return;
  std::vector<RawAnalogDescriptor> descriptors;
  for (const Channel& channel : channels_) {
    // Name and unit, each with its zero.
    constexpr size_t kMostUnit = 20;
    const std::string name = Latin1FromUtf8(channel.name).value_or("channel");
    const std::string unit = Latin1FromUtf8(channel.unit).value_or("").substr(0, kMostUnit);
    RawAnalogDescriptor& descriptor = descriptors.emplace_back();
    const std::string text =
        name.substr(0, RAW_ANALOG_DESCRIPTOR_SIZE - 2 - unit.size()) + '\0' + unit;
    std::ranges::copy(text, descriptor.bytes);
    report.channels.push_back({channel.name, channel.unit, channel.error});
  }
  const auto count = static_cast<int16_t>(channels_.size());
  CheckRaw(RawCreateAnalogInf(handle, count, descriptors.data()), directory);
  CheckRaw(RawCreateAnalogFile(handle), directory);
  std::vector<float> values(channels_.size());
  for (size_t i = 0; i < times_.size(); ++i) {
    for (size_t channel = 0; channel < values.size(); ++channel) {
      values[channel] = channels_[channel].values[i];
    }
    CheckRaw(RawCreateAnalogScan(handle, times_[i], count, values.data()), directory);
  }
  CheckRaw(RawCreateAnalogEnd(handle), directory);
  report.analog_records = static_cast<int32_t>(times_.size());
}

}  // namespace tervalon::tools
