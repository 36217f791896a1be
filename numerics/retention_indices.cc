// Retention calibrations in the settings file, and interpolation in them.

#include "tervalon/retention_indices.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "appsvc/export_guard.h"
#include "numerics/setting_values.h"

namespace tervalon::numerics {
namespace {

static_assert(sizeof(RTCalibration) == 404 && offsetof(RTCalibration, times) == 276);

constexpr const char* kDefaultSection = "ChrRetentionCalibration";

struct IntegerKey {
  const char* key;
  const char* fallback;
  int32_t RTCalibration::*member;
};
constexpr IntegerKey kIntegerKeys[] = {
    {"NumberOfChannels", "0", &RTCalibration::point_count},
    {"StartIndex", "1", &RTCalibration::start_index},
    {"EndIndex", "14", &RTCalibration::end_index},
    {"Increment", "1", &RTCalibration::increment},
    {"Calibrated", "0", &RTCalibration::calibrated},
};

using Column = float[RT_MAX_POINTS];
struct ColumnKey {
  const char* prefix;  // of the key, in front of the point's number
  Column RTCalibration::*member;
};
constexpr ColumnKey kColumnKeys[] = {
    {"Index", &RTCalibration::indices},
    {"LogP", &RTCalibration::log_p},
    {"Time", &RTCalibration::times},
};

std::string PointKey(const ColumnKey& column, size_t point) {
  return column.prefix + std::to_string(point);
}

bool Read(const char* section, RTCalibration* calibration) {
  SettingReader reader(section);
  if (!reader.Load()) return false;
  for (const IntegerKey& key : kIntegerKeys) {
    calibration->*key.member = reader.Integer(key.key, key.fallback);
  }
  for (size_t i = 0; i < RT_MAX_POINTS; ++i) {
    for (const ColumnKey& column : kColumnKeys) {
      (calibration->*column.member)[i] = reader.Float(PointKey(column, i), "0");
    }
  }
  return true;
}

bool Write(const char* section, const RTCalibration& calibration) {
  SettingWriter writer(section);
  for (const IntegerKey& key : kIntegerKeys) writer.Integer(key.key, calibration.*key.member);
  for (size_t i = 0; i < RT_MAX_POINTS; ++i) {
    for (const ColumnKey& column : kColumnKeys) {
      writer.Float(PointKey(column, i), (calibration.*column.member)[i]);
    }
  }
  return writer.Store();
}

double Hundredths(float time) { return std::trunc(time * 100.0 + 0.5); }

bool Interpolate(float time, const RTCalibration& calibration, const Column& values,
                 float* result) {
  const double at = Hundredths(time);
  const int32_t points = std::min(calibration.point_count, RT_MAX_POINTS);
  for (int32_t i = 0; i + 1 < points; ++i) {
    const double from = Hundredths(calibration.times[i]);
    const double to = Hundredths(calibration.times[i + 1]);
    if (!(from <= at && at <= to) || from == to) continue;
    const double value = values[i];
    const auto slope = static_cast<float>((values[i + 1] - value) / (to - from));
    const auto intercept = static_cast<float>(value - from * slope);
    *result = static_cast<float>(at * slope + intercept);
    return true;
  }
  return false;
}

int32_t Calculate(float time, const RTCalibration* calibration, Column RTCalibration::*column,
                  float* result) {
  if (result == nullptr) return 0;
  *result = 0;
  return calibration != nullptr && Interpolate(time, *calibration, calibration->*column, result)
             ? 1
             : 0;
}

const char* SectionName(const char* section) {
  return section != nullptr ? section : kDefaultSection;
}

}  // namespace
}  // namespace tervalon::numerics

using tervalon::Guarded;
namespace numerics = tervalon::numerics;

extern "C" int32_t TERVALON_CALL RTIndicesGetRetentionCalibration(const char* section,
                                                                  RTCalibration* calibration) {
  if (calibration == nullptr) return 0;
  return Guarded(0, [=] {
    return numerics::Read(numerics::SectionName(section), calibration) ? RT_MAX_POINTS : 0;
  });
}

extern "C" int32_t TERVALON_CALL
RTIndicesSetRetentionCalibration(const char* section, const RTCalibration* calibration) {
  if (calibration == nullptr) return 0;
  return Guarded(0, [=] { return numerics::Write(numerics::SectionName(section), *calibration); });
}

extern "C" int32_t TERVALON_CALL RTIndicesCalculateIndex(float time,
                                                         const RTCalibration* calibration,
                                                         float* index) {
  return numerics::Calculate(time, calibration, &RTCalibration::indices, index);
}

extern "C" int32_t TERVALON_CALL RTIndicesCalculateLogP(float time,
                                                        const RTCalibration* calibration,
                                                        float* log_p) {
  return numerics::Calculate(time, calibration, &RTCalibration::log_p, log_p);
}
