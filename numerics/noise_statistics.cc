// Noise of chromatograms and spectra read through data handles, and the
// settings for it.

#include "tervalon/noise_statistics.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "appsvc/export_guard.h"
#include "numerics/setting_values.h"
#include "tervalon/data_handles.h"
#include "tervalon/raw_descriptor.h"

namespace tervalon::numerics {
namespace {

constexpr const char* kChromatogramSection = "ChromatogramStats";
constexpr const char* kSpectrumSection = "SpectrumStats";
constexpr const char* kPeakWidthKey = "ChrStatPeakWidth";
constexpr const char* kChromatogramNoiseKey = "ChrStatNoiseLevel";
constexpr const char* kSpectrumNoiseKey = "SpeStatNoiseLevel";
constexpr const char* kDefaultPeakWidth = "0.2";
constexpr const char* kDefaultNoise = "2000";

// All elements of a spectrum or a chromatogram, resident and locked.
class RawElements {
 public:
  // Items by their numbers.
  RawElements(const SystemRawFile& raw_file, DmRawDescriptor descriptor, int32_t position_item,
              int32_t intensity_item)
      : position_item_(position_item), intensity_item_(intensity_item) {
    descriptor.function = raw_file.function;
    descriptor.process = raw_file.process;
    if (DmRawFileToID(&raw_file, descriptor.directory) != 0) return;
    handle_ = DmGetHandle(DM_TYPE_RAW, sizeof(descriptor), &descriptor, 2, sizeof(float), 0);
    if (handle_ == 0 || descriptor.element_count > INT32_MAX) return;
    count_ = descriptor.element_count;
    if (count_ < 1 || DmGetData(handle_, 1, static_cast<int32_t>(count_), 0) != 0) return;
    positions_ = Lock(position_item);
    intensities_ = Lock(intensity_item);
  }
  ~RawElements() {
    if (positions_ != nullptr) DmUnlockData(handle_, position_item_);
    if (intensities_ != nullptr) DmUnlockData(handle_, intensity_item_);
    if (handle_ != 0) DmReleaseHandle(handle_, 0);
  }
  RawElements(const RawElements&) = delete;
  RawElements& operator=(const RawElements&) = delete;

  bool HasAtLeast(size_t count) const {
    return positions_ != nullptr && intensities_ != nullptr && count_ >= count;
  }
  const float* positions() const { return positions_; }
  const float* intensities() const { return intensities_; }
  size_t count() const { return count_; }

  // The intensities from the first position at or behind `from` to the last one
  // in front of the first that is at or behind `to`.
  std::vector<float> Window(float from, float to) const {
    const float* const end = positions_ + count_;
    const auto first = std::find_if(positions_, end, [from](float at) { return at >= from; });
    const auto last = std::find_if(positions_, end, [to](float at) { return at >= to; });
    if (first >= last) return {};
    return {intensities_ + (first - positions_), intensities_ + (last - positions_)};
  }

 private:
  const float* Lock(int32_t item) const {
    return static_cast<const float*>(DmLockData(handle_, item, 1, static_cast<int32_t>(count_)));
  }

  const int32_t position_item_;
  const int32_t intensity_item_;
  int32_t handle_ = 0;
  size_t count_ = 0;
  const float* positions_ = nullptr;
  const float* intensities_ = nullptr;
};

RawElements ReadTrace(const SystemRawFile& raw_file, const DmTraceRecord& trace) {
  DmRawDescriptor descriptor = {};
  descriptor.kind = DM_RAW_CHROMATOGRAM;
  descriptor.trace = trace;
  return {raw_file, descriptor, 1, 0};
}

RawElements ReadSpectrum(const SystemRawFile& raw_file) {
  DmRawDescriptor descriptor = {};
  descriptor.kind = DM_RAW_SPECTRUM;
  descriptor.selection = DM_SELECT_SCAN;
  descriptor.scan = raw_file.first_value;
  return {raw_file, descriptor, 0, 1};
}

float Range(const std::vector<float>& values) {
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  return *high - *low;
}

// Local maxima and minima: changes of sign from one difference to the next.
int32_t CountExtrema(const std::vector<float>& values) {
  int32_t count = 0;
  for (size_t i = 0; i + 2 < values.size(); ++i) {
    const float before = values[i] - values[i + 1];
    const float behind = values[i + 1] - values[i + 2];
    if ((before < 0 && behind > 0) || (before > 0 && behind < 0)) ++count;
  }
  return count;
}

float ExtremaRate(const std::vector<float>& values, float from, float to) {
  return static_cast<float>(CountExtrema(values) / (double{to} - from));
}

}  // namespace
}  // namespace tervalon::numerics

using tervalon::Guarded;
namespace numerics = tervalon::numerics;

extern "C" int32_t TERVALON_CALL ChroStatSetIniFile(const ChroStatSettings* settings) {
  if (settings == nullptr) return 0;
  return Guarded(0, [=] {
    numerics::SettingWriter writer(numerics::kChromatogramSection);
    writer.Float(numerics::kPeakWidthKey, settings->peak_width);
    writer.Float(numerics::kChromatogramNoiseKey, settings->noise_level);
    return writer.Store();
  });
}

extern "C" int32_t TERVALON_CALL ChroStatGetIniFile(ChroStatSettings* settings) {
  if (settings == nullptr) return 0;
  return Guarded(0, [=] {
    numerics::SettingReader reader(numerics::kChromatogramSection);
    if (!reader.Load()) return false;
    *settings = {reader.Float(numerics::kPeakWidthKey, numerics::kDefaultPeakWidth),
                 reader.Float(numerics::kChromatogramNoiseKey, numerics::kDefaultNoise)};
    return true;
  });
}

extern "C" int32_t TERVALON_CALL SpecStatSetIniFile(const float* level) {
  if (level == nullptr) return 0;
  return Guarded(0, [=] {
    numerics::SettingWriter writer(numerics::kSpectrumSection);
    writer.Float(numerics::kSpectrumNoiseKey, *level);
    return writer.Store();
  });
}

extern "C" int32_t TERVALON_CALL SpecStatGetIniFile(float* level) {
  if (level == nullptr) return 0;
  return Guarded(0, [=] {
    numerics::SettingReader reader(numerics::kSpectrumSection);
    if (!reader.Load()) return false;
    *level = reader.Float(numerics::kSpectrumNoiseKey, numerics::kDefaultNoise);
    return true;
  });
}

extern "C" float TERVALON_CALL ChroStatGetCycleTime(const SystemRawFile* raw_file,
                                                    const DmTraceRecord* trace,
                                                    float* max_intensity) {
  if (max_intensity == nullptr) return 0;
  if (raw_file == nullptr || trace == nullptr) {
    *max_intensity = 0;
    return 0;
  }
  return Guarded(0.0f, [=] {
    const numerics::RawElements elements = numerics::ReadTrace(*raw_file, *trace);
    if (!elements.HasAtLeast(1)) return 0.0;
    const float* const times = elements.positions();
    const float* const intensities = elements.intensities();
    *max_intensity = *std::max_element(intensities, intensities + elements.count());
    return (double{times[elements.count() - 1]} - times[0]) / static_cast<double>(elements.count());
  });
}

extern "C" int32_t TERVALON_CALL ChroStatCalcNoiseStats(const SystemRawFile* raw_file,
                                                        const DmTraceRecord* trace, float from_time,
                                                        float to_time, float* range,
                                                        float* extrema_rate) {
  if (raw_file == nullptr || trace == nullptr || range == nullptr || extrema_rate == nullptr) {
    return 0;
  }
  return Guarded(0, [=] {
    const numerics::RawElements elements = numerics::ReadTrace(*raw_file, *trace);
    if (!elements.HasAtLeast(1)) return 0;
    const std::vector<float> values = elements.Window(from_time, to_time);
    if (values.empty()) return 0;
    *range = numerics::Range(values);
    *extrema_rate = numerics::ExtremaRate(values, from_time, to_time);
    return 1;
  });
}

extern "C" int32_t TERVALON_CALL SpecStatCalcNoiseStats(const SystemRawFile* raw_file,
                                                        float from_mass, float to_mass,
                                                        float* range, float* extrema_rate) {
  if (raw_file == nullptr) return 0;
  return Guarded(0, [=] {
    const numerics::RawElements elements = numerics::ReadSpectrum(*raw_file);
    if (!elements.HasAtLeast(2)) return 0;
    std::vector<float> values = elements.Window(from_mass, to_mass);
    if (values.empty()) return 0;
    if (extrema_rate != nullptr) {
      *extrema_rate = numerics::ExtremaRate(values, from_mass, to_mass);
    }
    if (range != nullptr) {
      for (float& value : values) value = std::max(value, 0.0f);
      *range = numerics::Range(values);
    }
    return 1;
  });
}
