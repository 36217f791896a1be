#include "tools/simulator/simulated_processing.h"

#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_history.h>
#include <tervalon/raw_spectra.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace tervalon::tools {
namespace {

constexpr int32_t kPeakReach = 2;  // scans to both sides of the top
constexpr int32_t kBackgroundDistance = 12;
constexpr int32_t kBackgroundScans = 4;
constexpr int32_t kSmoothReach = 1;  // points
constexpr int32_t kSmoothTimes = 2;
constexpr float kThreshold = 200;

Points Smoothed(Points points) {
  for (int32_t time = 0; time < kSmoothTimes; ++time) {
    const std::vector<float> before = points.intensities;
    const auto size = static_cast<int32_t>(before.size());
    for (int32_t i = 0; i < size; ++i) {
      const int32_t begin = std::max(i - kSmoothReach, 0);
      const int32_t end = std::min(i + kSmoothReach + 1, size);
      double sum = 0;
      for (int32_t k = begin; k < end; ++k) {
        sum += before[static_cast<size_t>(k)];
      }
      points.intensities[static_cast<size_t>(i)] = static_cast<float>(sum / (end - begin));
    }
  }
  return points;
}

int32_t WriteSet(int32_t handle, int16_t function, int16_t process, int16_t data_type, float time,
                 const Points& points) {
  int32_t code = RawCreateScanFile(handle, function, process, 0);
  if (code != RAW_OK) {
    return code;
  }
  RawScanDescription description = {};
  description.retention_time = time;
  code = RawCreateScansEx(handle, function, process, data_type, &description,
                          points.masses.empty() ? nullptr : points.masses.data(),
                          points.intensities.data(), nullptr,
                          static_cast<int32_t>(points.intensities.size()));
  const int32_t end_code = RawCreateScansEnd(handle, function, process);
  return code != RAW_OK ? code : end_code;
}

RawHistoryEntry Entry(uint16_t type, int number, const std::vector<int32_t>& parameters) {
  constexpr uint32_t kCreated = 1748858400;  // 2 June 2025, 10:00 universal time
  RawHistoryEntry entry = {};
  entry.process.type = type;
  ("_PROC00" + std::to_string(number)).copy(entry.process.name, sizeof(entry.process.name) - 1);
  entry.process.created = kCreated + 60 * static_cast<uint32_t>(number);
  if (!parameters.empty()) {
    std::memcpy(entry.process.parameters, parameters.data(), 4 * parameters.size());
  }
  return entry;
}

}  // namespace

SimulatedProcessing::SimulatedProcessing(int16_t function, MassRange range, int32_t scans,
                                         int32_t apex)
    : function_(function),
      range_(range),
      peak_{.first = std::clamp(apex - kPeakReach, 1, scans),
            .last = std::clamp(apex + kPeakReach, 1, scans)},
      background_{.first = std::max(apex - kBackgroundDistance, 0),
                  .last = apex - kBackgroundDistance + kBackgroundScans - 1} {}

void SimulatedProcessing::Scans::Add(int32_t scan, const std::vector<float>& intensities) {
  if (scan < first || scan > last) {
    return;
  }
  sum.resize(intensities.size());
  std::ranges::transform(sum, intensities, sum.begin(), std::plus());
}

void SimulatedProcessing::Add(int32_t scan, const std::vector<float>& intensities) {
  peak_.Add(scan, intensities);
  if (background_.first > 0) {
    background_.Add(scan, intensities);
  }
}

Points SimulatedProcessing::Combined() const {
  Points points;
  for (size_t i = 0; i < peak_.sum.size(); ++i) {
    const double background = background_.sum.empty() ? 0 : background_.Mean(i);
    points.intensities.push_back(static_cast<float>(std::max(0.0, peak_.Mean(i) - background)));
  }
  return points;
}

// Points that are higher than those beside them, placed at the centre of what surrounds them.
Points SimulatedProcessing::Centroids(const Points& continuum) const {
  constexpr size_t kReach = 3;
  const std::vector<float>& heights = continuum.intensities;
  const double step = (range_.high - range_.low) / (static_cast<double>(heights.size()) - 1);
  Points points;
  for (size_t i = kReach; i + kReach < heights.size(); ++i) {
    if (heights[i] < kThreshold || heights[i] <= heights[i - 1] || heights[i] < heights[i + 1]) {
      continue;
    }
    double sum = 0;
    double moment = 0;
    for (size_t k = i - kReach; k <= i + kReach; ++k) {
      sum += heights[k];
      moment += heights[k] * static_cast<double>(k);
    }
    points.masses.push_back(static_cast<float>(range_.low + moment / sum * step));
    points.intensities.push_back(heights[i]);
  }
  return points;
}

int32_t SimulatedProcessing::Write(int32_t handle, float time) const {
  const Points combined = Combined();
  const Points smoothed = Smoothed(combined);
  int32_t code = WriteSet(handle, function_, 1, RAW_DATA_CONTINUUM, time, combined);
  if (code == RAW_OK) {
    code = WriteSet(handle, function_, 2, RAW_DATA_CONTINUUM, time, smoothed);
  }
  if (code == RAW_OK) {
    code = WriteSet(handle, function_, 3, RAW_DATA_STANDARD_CENTROID, time, Centroids(smoothed));
  }
  return code == RAW_OK ? WriteHistory(handle) : code;
}

int32_t SimulatedProcessing::WriteHistory(int32_t handle) const {
  std::vector<int32_t> combine = {peak_.first, peak_.last};
  if (!background_.sum.empty()) {
    constexpr float kFactor = 1;
    int32_t factor = 0;
    std::memcpy(&factor, &kFactor, sizeof(factor));
    combine.insert(combine.end(), {background_.first, background_.last, 0, 0, factor});
  }
  RawHistoryEntry steps[] = {
      Entry(RAW_STEP_COMBINE, 1, combine),
      Entry(RAW_STEP_SMOOTH, 2, {0, kSmoothReach, kSmoothTimes}),
      Entry(RAW_STEP_CENTER, 3, {}),
  };
  RawHistoryHeader header = {};
  header.tree_count = RAW_HISTORY_TREES;
  std::vector<RawHistoryEntry> entries(std::size(steps) + 1, RawHistoryEntry{});
  uint16_t parent = 0;
  for (RawHistoryEntry& step : steps) {
    const int32_t code = RawHistAddProcess(&header, entries.data(), function_, parent, &step);
    if (code != RAW_OK) {
      return code;
    }
    parent = step.index;
  }
  return RawHistUpdateInfo(handle, &header, entries.data());
}

}  // namespace tervalon::tools
