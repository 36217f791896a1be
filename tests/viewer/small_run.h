// A run of a few scans whose every value is known, made with the library's exports.

#ifndef TESTS_VIEWER_SMALL_RUN_H_
#define TESTS_VIEWER_SMALL_RUN_H_

#include <gtest/gtest.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>

#include "tools/data/files.h"
#include "tools/pictures/text_measure.h"
#include "viewer/core/chart.h"

namespace tervalon::viewer {

// A directory of a test's own.
class Folder {
 public:
  Folder() : path_(std::filesystem::temp_directory_path() / Name()) {
    std::filesystem::create_directories(path_);
  }
  ~Folder() {
    std::error_code error;  // as where the process works in it
    std::filesystem::remove_all(path_, error);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string Path(const std::string& name) const { return tools::NameOf(path_ / name); }

 private:
  static std::string Name() {
    static int number = 0;
    return "viewer_test_" + std::to_string(getpid()) + "_" + std::to_string(++number);
  }

  std::filesystem::path path_;
};

constexpr float kMinutesPerScan = 0.1F;

// Two functions of centroids: at 150 always 10 counts, at 200.25 a peak around scan 20, at 300.5
// one around scan 40, in the second function half as high.
inline float HeightAt(float mass, int32_t scan, int16_t function) {
  const float apex = mass == 200.25F ? 20 : 40;
  const float from = (static_cast<float>(scan) - apex) / 3;
  return mass == 150 ? 10
                     : std::round(1000 * std::exp(-from * from) / static_cast<float>(function));
}

inline void AppendScans(int32_t handle, int16_t function, int32_t first, int32_t last) {
  const float masses[] = {150, 200.25F, 300.5F};
  for (int32_t scan = first; scan <= last; ++scan) {
    float intensities[3];
    for (int i = 0; i < 3; ++i) intensities[i] = HeightAt(masses[i], scan, function);
    ASSERT_EQ(
        RawCreateScans(handle, function, 0, RAW_DATA_STANDARD_CENTROID, 0, 0, 0,
                       static_cast<float>(scan) * kMinutesPerScan, masses, intensities, nullptr, 3),
        RAW_OK);
  }
}

inline void MakeRun(const std::string& path, int32_t scans, const char* name = "SMALL") {
  int32_t handle = 0;
  ASSERT_EQ(RawCreateOpen(path.c_str(), &handle), RAW_OK);
  RawFunctionRecord records[2] = {};
  for (RawFunctionRecord& record : records) {
    const auto type = static_cast<uint16_t>(RAW_DATA_STANDARD_CENTROID << 10 | RAW_TYPE_TOF_MS);
    const float range[] = {100, 400};
    std::memcpy(record.bytes, &type, sizeof type);
    std::memcpy(record.bytes + 28, &range[0], sizeof range[0]);
    std::memcpy(record.bytes + 32, &range[1], sizeof range[1]);
  }
  ASSERT_EQ(RawCreateFunctions(handle, 2, records), RAW_OK);
  for (const int16_t function : {int16_t{1}, int16_t{2}}) {
    ASSERT_EQ(RawCreateScanFile(handle, function, 0, 0), RAW_OK);
    AppendScans(handle, function, 1, scans);
    ASSERT_EQ(RawCreateScansEnd(handle, function, 0), RAW_OK);
  }
  RawHeader header = {};
  std::strcpy(header.acquired_name, name);
  const RawCalibration calibration = {};
  ASSERT_EQ(RawCreateHeader(handle, &header, &calibration), RAW_OK);
  ASSERT_EQ(RawCreateClose(handle), RAW_OK);
}

// Every letter is as wide as any other.
class FixedMeasure : public tools::TextMeasure {
 public:
  using TextMeasure::Height;
  using TextMeasure::Width;
  int32_t Width(const std::string& utf8, tools::Face) const override {
    return 7 * static_cast<int32_t>(utf8.size());
  }
  int32_t Height(tools::Face) const override { return 14; }
};

constexpr PictureSize kScreen = {800, 500, 96};

inline const PicturePlan& PlanOf(Chart& chart, const PictureSize& size = kScreen) {
  return chart.Plan(size, FixedMeasure());
}

}  // namespace tervalon::viewer

#endif  // TESTS_VIEWER_SMALL_RUN_H_
