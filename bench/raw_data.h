// Raw data for benchmarks, in the page cache, made when it is first asked for. Sizes can be lowered
// for a quick look: with TERVALON_BENCH_MEGABYTES=1024, the default, a run has 40 million points.

#ifndef BENCH_RAW_DATA_H_
#define BENCH_RAW_DATA_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tervalon/raw_calibration.h"

namespace tervalon::bench {

// Throws when an export returned an error.
void Check(int32_t error, const char* what);

// Noise with a peak here and there, over the whole mass range.
struct Points {
  static constexpr float kLowMass = 100;
  static constexpr float kHighMass = 1100;

  explicit Points(int32_t count);

  std::vector<float> masses;
  std::vector<float> intensities;
};

// A directory with one function, removed at the program's end.
struct Run {
  int16_t data_type;
  int32_t points;  // of each scan
  int32_t scans;
  std::string path;

  std::string DataFile() const { return path + "/_FUNC001.DAT"; }
};

// Of about 40 million points.
const Run& RunOf(int16_t data_type, int32_t points);

const Run& RunOfScans(int16_t data_type, int32_t points, int32_t scans);

// One coefficient set for every function.
RawCalibration OneSetCalibration(const RawCaliCoeffs& set);

inline constexpr RawCaliCoeffs kFifthOrder = {
    5, {-0.00031, 1.0000412, -1.37e-7, 2.2e-10, -1.1e-13, 1.9e-17}, 0, 0};
inline constexpr RawCaliCoeffs kRootMass = {3, {-0.00031, 1.0000412, -1.37e-6, 2.2e-8}, 1, 0};

// An open function.
class Reader {
 public:
  explicit Reader(const Run& run, const RawCaliCoeffs* set = nullptr);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  int32_t handle() const { return handle_; }

 private:
  int32_t handle_ = 0;
};

// An open file for plain reads beside the library's.
class PlainFile {
 public:
  explicit PlainFile(const std::string& path);
  ~PlainFile();
  PlainFile(const PlainFile&) = delete;
  PlainFile& operator=(const PlainFile&) = delete;

  // Returns how many bytes there were.
  size_t Read(size_t offset, char* buffer, size_t count) const;

  // Reads the whole file.
  void Pass(std::vector<char>* block) const;

 private:
  int descriptor_;
};

}  // namespace tervalon::bench

#endif  // BENCH_RAW_DATA_H_
