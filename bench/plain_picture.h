// What benchmarks of pictures have in common: a long chromatogram, axes on an image, and what the
// drawing is compared with: a plain loop that keeps the lowest and highest point of each pixel
// column, whose columns the same library draws, and labels that are given their places.

#ifndef BENCH_PLAIN_PICTURE_H_
#define BENCH_PLAIN_PICTURE_H_

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "tervalon/drawing.h"
#include "tervalon/drawing_devices.h"
#include "tervalon/magnification.h"

namespace tervalon::bench {

constexpr int32_t kPoints = 10000000;
constexpr int32_t kLabels = 100000;
constexpr int32_t kWidth = 1600;
constexpr int32_t kHeight = 900;
constexpr int32_t kPixelsPerInch = 96;
constexpr float kEnd = 30;
constexpr float kHighest = 1e6F;

// Throws unless what is so called went well.
void Check(bool good, const char* what);

struct Chromatogram {
  std::vector<float> x;
  std::vector<float> y;
};

// Peaks over noise: kPoints of them, from 0 to kEnd.
const Chromatogram& LongChromatogram();

// Axes on a device context, both given up at the end.
class AxesPicture {
 public:
  explicit AxesPicture(TvDC dc);
  ~AxesPicture();
  AxesPicture(const AxesPicture&) = delete;
  AxesPicture& operator=(const AxesPicture&) = delete;

  void Draw(const Chromatogram& data, int32_t mode = AXS_PLOT_JOINED);
  void Magnify();
  void SetDashes(int32_t style);  // of the data's pen
  // Where the labels are written, if `places` does not say so.
  void Label(const std::vector<AxsPlotLabel>& labels, uint32_t flags, TvRect* places);
  TvPoint PlaceOf(const AxsPlotLabel& label) const;
  void DrawAxes();

 private:
  TvDC dc_;
  int32_t axes_;
  TvPen pen_ = nullptr;
};

// The plain loop over the points [first, end), which lie in a range that fills the picture's width.
Chromatogram ColumnsOf(const Chromatogram& data, size_t first, size_t end, float x_begin,
                       float x_end);

// Benchmarks of the above.
// The chromatogram as so many traces, drawn over each other in those modes, from the sixth on with
// dashes.
void PlainColumns(benchmark::State& state, size_t traces, const std::vector<int32_t>& modes);
void Labels(benchmark::State& state, bool placed);

}  // namespace tervalon::bench

#endif  // BENCH_PLAIN_PICTURE_H_
