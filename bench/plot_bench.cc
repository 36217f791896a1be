// A long chromatogram drawn as a picture in every way, beside a plain loop that keeps the lowest
// and highest point of each pixel column and the drawing of those by the same library; and many
// labels that find their places, beside as many that are given them.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/plain_picture.h"
#include "bench/ratio_reporter.h"

namespace {

using tervalon::bench::AxesPicture;
using tervalon::bench::Check;
using tervalon::bench::Chromatogram;
using tervalon::bench::ColumnsOf;
using tervalon::bench::kHeight;
using tervalon::bench::kPixelsPerInch;
using tervalon::bench::kPoints;
using tervalon::bench::kWidth;
using tervalon::bench::LongChromatogram;
using tervalon::bench::Ratio;

constexpr uintmax_t kMaxFileBytes = 300 * 1024;

void Plot(benchmark::State& state, int32_t mode, bool magnified) {
  AxesPicture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  if (magnified) picture.Magnify();
  for ([[maybe_unused]] auto _ : state) picture.Draw(LongChromatogram(), mode);
  state.SetItemsProcessed(state.iterations() * kPoints);
}

// So many points of the long chromatogram, over all of its width.
Chromatogram Thinned(int32_t count) {
  const Chromatogram& all = LongChromatogram();
  Chromatogram data;
  for (size_t i = 0; i < all.x.size(); i += static_cast<size_t>(kPoints / count)) {
    data.x.push_back(all.x[i]);
    data.y.push_back(all.y[i]);
  }
  return data;
}

void PlotThinned(benchmark::State& state, int32_t count, int32_t mode, bool plainly) {
  const Chromatogram data = Thinned(count);
  AxesPicture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  for ([[maybe_unused]] auto _ : state) {
    if (plainly) {
      picture.Draw(ColumnsOf(data, 0, data.x.size(), data.x.front(), data.x.back()), mode);
    } else {
      picture.Draw(data, mode);
    }
  }
}

// Files of the whole plot have to stay small.
void WriteFile(benchmark::State& state, bool svg) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / (svg ? "plot_bench.svg" : "plot_bench.pdf");
  for ([[maybe_unused]] auto _ : state) {
    const auto create = svg ? &TvCreateSvgDC : &TvCreatePdfDC;
    AxesPicture picture(create(path.c_str(), kWidth, kHeight, kPixelsPerInch));
    picture.DrawAxes();
    picture.Draw(LongChromatogram());
  }
  const uintmax_t bytes = std::filesystem::file_size(path);
  std::filesystem::remove(path);
  state.counters["KB"] = static_cast<double>(bytes) / 1024;
  Check(bytes < kMaxFileBytes, "a file below 300 KB");
}

std::vector<Ratio> RegisterAll() {
  constexpr const char* kPlain = "plain columns";
  constexpr struct {
    const char* name;
    int32_t mode;
    bool magnified;
    double limit;
  } kPlots[] = {{"joined", AXS_PLOT_JOINED, false, 0.5},
                {"sticks", AXS_PLOT_STICKS, false, 2},
                {"filled", AXS_PLOT_FILLED, false, 2},
                {"magnified", AXS_PLOT_JOINED, true, 2}};
  constexpr struct {
    const char* name;
    const char* plain;
    int32_t count;
    int32_t mode;
    double limit;
  } kThinned[] = {
      {"1M points", "1M points, plain columns", 1000000, AXS_PLOT_JOINED, 0.5},
      {"100,000 sticks", "100,000 sticks, plain columns", 100000, AXS_PLOT_STICKS, 0.6}};
  std::vector<Ratio> ratios;
  const auto add = [](const char* name, auto run, auto... arguments) {
    benchmark::RegisterBenchmark(name, run, arguments...)->Unit(benchmark::kMillisecond);
  };
  add(kPlain, tervalon::bench::PlainColumns, size_t{1}, std::vector{AXS_PLOT_JOINED});
  for (const auto& plot : kPlots) {
    add(plot.name, Plot, plot.mode, plot.magnified);
    ratios.push_back({std::string(plot.name) + " / plain columns", plot.name, kPlain, plot.limit});
  }
  for (const auto& plot : kThinned) {
    add(plot.name, PlotThinned, plot.count, plot.mode, false);
    add(plot.plain, PlotThinned, plot.count, plot.mode, true);
    ratios.push_back(
        {std::string(plot.name) + " / plain columns", plot.name, plot.plain, plot.limit});
  }
  add("labels", tervalon::bench::Labels, false);
  add("placed labels", tervalon::bench::Labels, true);
  ratios.push_back({"labels / placed labels", "labels", "placed labels", 2});
  for (const bool svg : {true, false}) {
    benchmark::RegisterBenchmark(svg ? "SVG file" : "PDF file", WriteFile, svg)
        ->Unit(benchmark::kMillisecond);
  }
  return ratios;
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
