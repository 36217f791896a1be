// A long chromatogram drawn as a picture in every way, beside a plain loop that keeps the lowest
// and highest point of each pixel column and the drawing of those by the same library; and many
// labels that find their places, beside as many that are given them.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "tervalon/drawing.h"
#include "tervalon/drawing_devices.h"
#include "tervalon/magnification.h"

namespace {

constexpr int32_t kPoints = 10000000;
constexpr int32_t kLabels = 100000;
constexpr int32_t kWidth = 1600;
constexpr int32_t kHeight = 900;
constexpr int32_t kPixelsPerInch = 96;
constexpr float kEnd = 30;
constexpr float kHighest = 1e6F;
constexpr uintmax_t kMaxFileBytes = 300 * 1024;

using Floats = std::vector<float>;

void Check(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string(what) + " failed");
}

struct Chromatogram {
  Floats x;
  Floats y;
};

// Peaks over noise.
const Chromatogram& Data() {
  static const Chromatogram data = [] {
    Chromatogram made;
    std::mt19937 random(5);
    for (int32_t i = 0; i < kPoints; ++i) {
      const auto distance = static_cast<float>(i % 500000 - 250000) / 15000;
      const auto noise = static_cast<float>(random() % 20000);
      made.x.push_back(kEnd * static_cast<float>(i) / kPoints);
      made.y.push_back(noise + 9e5F / (1 + distance * distance * distance * distance));
    }
    return made;
  }();
  return data;
}

// Axes on a device context, both given up at the end.
class Picture {
 public:
  explicit Picture(TvDC dc) : dc_(dc), axes_(AxsCreate(1, 0, 1, 1)) {
    TvRect margins = {};
    const TvRect area = {0, 0, kWidth - 1, kHeight - 1};
    Check(dc != nullptr && AxsGetBorder(dc, &margins, "min", nullptr, 0) > 0, "preparing");
    Check(AxsSize(axes_, &area, &margins) == 1, "sizing");
    AxsSetRanges(axes_, 0, kEnd, 0, kHighest);
  }
  ~Picture() {
    AxsDelete(axes_);
    TvDeleteDC(dc_);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  void Draw(const Chromatogram& data, int32_t mode = AXS_PLOT_JOINED) {
    Check(AxsDisplayDefaultData(dc_, axes_, data.x.data(), data.y.data(),
                                static_cast<int32_t>(data.x.size()), mode, 0) == 0,
          "drawing");
  }
  void Magnify() { Check(AxsMagnifyRange(axes_, 4, kEnd / 10, kEnd / 2, 0) == 1, "magnifying"); }
  // Where the labels are written, if `places` does not say so.
  void Label(const std::vector<AxsPlotLabel>& labels, uint32_t flags, TvRect* places) {
    AxsPlotBlock plot = {};
    plot.flags = AXS_PLOT_ANNOTATE | flags;
    plot.labels = labels.data();
    plot.label_count = static_cast<int32_t>(labels.size());
    plot.label_decimals = 2;
    plot.label_rects = places;
    Check(AxsPlotData(dc_, axes_, &plot) == 0, "labelling");
  }
  TvPoint PlaceOf(const AxsPlotLabel& label) const {
    TvPoint place = {};
    AxsGetAxisCoord(axes_, label.x, label.y, &place);
    return place;
  }
  void DrawAxes() { Check(AxsDisplayDefaultAxes(dc_, axes_, "min", 1, nullptr, 0) == 0, "axes"); }

 private:
  TvDC dc_;
  int32_t axes_;
};

void Plot(benchmark::State& state, int32_t mode, bool magnified) {
  Picture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  if (magnified) picture.Magnify();
  for ([[maybe_unused]] auto _ : state) picture.Draw(Data(), mode);
  state.SetItemsProcessed(state.iterations() * kPoints);
}

void Labels(benchmark::State& state, bool placed) {
  Picture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  const Chromatogram& data = Data();
  std::vector<AxsPlotLabel> labels;
  for (size_t i = 0; i < data.x.size(); i += kPoints / kLabels) {
    labels.push_back({data.x[i], data.y[i], nullptr});
  }
  for ([[maybe_unused]] auto _ : state) {
    std::vector<TvRect> places;
    for (size_t i = 0; placed && i < labels.size(); ++i) {
      const TvPoint place = picture.PlaceOf(labels[i]);
      places.push_back({place.x, place.y, place.x + 1, place.y + 1});
    }
    picture.Label(labels, placed ? AXS_PLOT_LABELS_PLACED : 0, placed ? places.data() : nullptr);
  }
  state.SetItemsProcessed(state.iterations() * kLabels);
}

void PlotColumnsOnly(benchmark::State& state) {
  Picture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  const Chromatogram& data = Data();
  for ([[maybe_unused]] auto _ : state) {
    constexpr double kXScale = kWidth / double{kEnd};
    constexpr double kYScale = kHeight / double{kHighest};
    std::vector<int32_t> lowest(kWidth, kHeight);
    std::vector<int32_t> highest(kWidth, 0);
    for (size_t i = 0; i < data.x.size(); ++i) {
      const auto column = static_cast<size_t>(
          std::min<int32_t>(static_cast<int32_t>(data.x[i] * kXScale + 0.5), kWidth - 1));
      const auto height = static_cast<int32_t>(data.y[i] * kYScale + 0.5);
      lowest[column] = std::min(lowest[column], height);
      highest[column] = std::max(highest[column], height);
    }
    Chromatogram columns;
    for (size_t column = 0; column < kWidth; ++column) {
      const auto x = static_cast<float>(static_cast<double>(column) / kXScale);
      columns.x.insert(columns.x.end(), {x, x});
      columns.y.insert(columns.y.end(), {static_cast<float>(lowest[column] / kYScale),
                                         static_cast<float>(highest[column] / kYScale)});
    }
    picture.Draw(columns);
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}

// Files of the whole plot have to stay small.
void WriteFile(benchmark::State& state, bool svg) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / (svg ? "plot_bench.svg" : "plot_bench.pdf");
  for ([[maybe_unused]] auto _ : state) {
    const auto create = svg ? &TvCreateSvgDC : &TvCreatePdfDC;
    Picture picture(create(path.c_str(), kWidth, kHeight, kPixelsPerInch));
    picture.DrawAxes();
    picture.Draw(Data());
  }
  const uintmax_t bytes = std::filesystem::file_size(path);
  std::filesystem::remove(path);
  state.counters["KB"] = static_cast<double>(bytes) / 1024;
  Check(bytes < kMaxFileBytes, "a file below 300 KB");
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  constexpr const char* kPlain = "plain columns";
  constexpr struct {
    const char* name;
    int32_t mode;
    bool magnified;
  } kPlots[] = {{"joined", AXS_PLOT_JOINED, false},
                {"sticks", AXS_PLOT_STICKS, false},
                {"filled", AXS_PLOT_FILLED, false},
                {"magnified", AXS_PLOT_JOINED, true}};
  std::vector<tervalon::bench::Ratio> ratios;
  const auto add = [](const char* name, auto run, auto... arguments) {
    benchmark::RegisterBenchmark(name, run, arguments...)
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(5);
  };
  add(kPlain, PlotColumnsOnly);
  for (const auto& plot : kPlots) {
    add(plot.name, Plot, plot.mode, plot.magnified);
    ratios.push_back({std::string(plot.name) + " / plain columns", plot.name, kPlain, 2});
  }
  add("labels", Labels, false);
  add("placed labels", Labels, true);
  ratios.push_back({"labels / placed labels", "labels", "placed labels", 2});
  for (const bool svg : {true, false}) {
    benchmark::RegisterBenchmark(svg ? "SVG file" : "PDF file", WriteFile, svg)
        ->Unit(benchmark::kMillisecond);
  }
  tervalon::bench::RatioReporter reporter(ratios);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
