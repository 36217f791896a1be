// What somebody in front of the viewer waits for: a run of 1 GB that is opened until its first
// chromatogram is painted (target: 100 ms), views that are painted anew at 1600 by 900 (16 ms), and
// the longest step of a trace over all spectra, between which the mouse is answered. The memory
// that the program took at most stands at the end. TERVALON_BENCH_MEGABYTES (default 1024) is the
// size of the run, which is in the page cache.

#include <benchmark/benchmark.h>
#include <cairo.h>
#include <malloc.h>
#include <sys/resource.h>
#include <tervalon/drawing_devices.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "tools/pictures/plot_drawing.h"
#include "viewer/core/document.h"

namespace {

namespace fs = std::filesystem;
using namespace tervalon::viewer;  // NOLINT(google-build-using-namespace): all here is about it

constexpr PictureSize kSize = {1600, 900, 96};
constexpr double kTextPoints = 9;
constexpr int64_t kBytesPerScan = 10300;
constexpr int64_t kMostScans = 100000;  // of the simulation
constexpr DataSet kContinuum = {.function = 2};

std::string RunPath() {
  static const struct Made {
    Made() : path(fs::temp_directory_path() / ("viewer-bench-" + std::to_string(getpid()))) {
      const char* const megabytes = std::getenv("TERVALON_BENCH_MEGABYTES");
      const int64_t bytes = (megabytes != nullptr ? std::atoll(megabytes) : 1024) << 20;
      const std::string command = std::string(TERVALON_PROGRAM) + " simulate " + path.string() +
                                  " --duration 60 --scans " +
                                  std::to_string(std::min(bytes / kBytesPerScan, kMostScans));
      if (std::system(command.c_str()) != 0) std::abort();
    }
    ~Made() { fs::remove_all(path); }
    fs::path path;
  } made;
  return made.path.string();
}

// As the shell for GTK does.
void Paint(Chart& chart) {
  static cairo_t* const cairo =
      cairo_create(cairo_image_surface_create(CAIRO_FORMAT_RGB24, kSize.width, kSize.height));
  cairo_set_antialias(cairo, CAIRO_ANTIALIAS_FAST);
  const TvDC dc = TvCreateCairoDC(cairo, kSize.width, kSize.height, kSize.pixels_per_inch);
  {
    tervalon::tools::PlotPainter painter(dc, kSize, tervalon::tools::ThemeOf("light"), kTextPoints);
    painter.Paint(chart.Plan(kSize, painter.measure()));
  }
  TvDeleteDC(dc);
}

std::unique_ptr<Document> Open(Kind kind) {
  std::unique_ptr<Document> document =
      MakeDocument(kind, std::make_shared<Run>(RunPath()), kContinuum);
  document->Read({});
  return document;
}

void OpenRun(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) Paint(*Open(Kind::kChromatogram)->chart());
}

// Zoomed in and out by turns, so that everything is planned anew.
void PaintAgain(benchmark::State& state, Chart& chart, const View& part) {
  bool whole = false;
  double longest = 0;
  for ([[maybe_unused]] auto _ : state) {
    chart.SetView(whole ? View() : part);
    whole = !whole;
    const auto begin = std::chrono::steady_clock::now();
    Paint(chart);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
    longest = std::max(longest, took.count());
  }
  state.counters["longest_ms"] = longest;
}

void PaintDocument(benchmark::State& state, Kind kind, const View& part) {
  const std::unique_ptr<Document> document = Open(kind);
  while (document->Step()) {
  }
  document->ShowRead();
  PaintAgain(state, *document->chart(), part);
}

void PaintPoints(benchmark::State& state, size_t points) {
  std::mt19937 random(7);
  PlotSeries series = {.title = "points", .x_title = "Time (min)"};
  for (size_t i = 0; i < points; ++i) {
    series.x.push_back(60 * static_cast<float>(i) / static_cast<float>(points));
    series.y.push_back(static_cast<float>(random() % 1000));
  }
  Chart chart;
  chart.Show({series}, {});
  PaintAgain(state, chart, {.x = Window{10, 50}});
}

void ReadTraces(benchmark::State& state) {
  double longest = 0;
  for ([[maybe_unused]] auto _ : state) {
    ChromatogramDocument document(std::make_shared<Run>(RunPath()), kContinuum);
    document.SetTraces("TIC,455.29,200_300");
    document.Read({});
    for (bool goes_on = true; goes_on;) {
      const auto begin = std::chrono::steady_clock::now();
      goes_on = document.Step();
      const std::chrono::duration<double, std::milli> took =
          std::chrono::steady_clock::now() - begin;
      longest = std::max(longest, took.count());
    }
  }
  state.counters["longest_step_ms"] = longest;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RunPath();
  mallopt(M_MMAP_THRESHOLD, 1 << 26);
  mallopt(M_TRIM_THRESHOLD, 1 << 27);
  const auto add = [](const char* name, auto run, const auto&... arguments) {
    benchmark::RegisterBenchmark(name, run, arguments...)->Unit(benchmark::kMillisecond);
  };
  add("open", OpenRun);
  add("chromatogram", PaintDocument, Kind::kChromatogram, View{.x = Window{10, 50}});
  add("spectrum", PaintDocument, Kind::kSpectrum, View{.x = Window{200, 700}});
  add("map", PaintDocument, Kind::kMap, View{.x = Window{10, 50}});
  add("four million points", PaintPoints, size_t{4000000});
  add("traces", ReadTraces);
  benchmark::RunSpecifiedBenchmarks();
  rusage used = {};
  getrusage(RUSAGE_SELF, &used);
  std::printf("memory: %ld MB\n", used.ru_maxrss / 1024);
  return 0;
}
