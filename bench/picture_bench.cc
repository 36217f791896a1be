// Pictures of the program, planned and painted, beside the plain loop of plain_picture.h over as
// many points: of 10 million points no picture is to take twice as long. Its map of all spectra of
// a run beside a plain loop that raises the cell of each point, and beside the trace over all
// masses. TERVALON_BENCH_MEGABYTES (default 512) is the size of each of the two functions of
// spectra; data are in the page cache.

#include <benchmark/benchmark.h>
#include <tervalon/raw_directory.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/plain_picture.h"
#include "bench/ratio_reporter.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tools/data/raw_data.h"
#include "tools/pictures/mass_map.h"
#include "tools/pictures/picture_plan.h"
#include "tools/pictures/plot_drawing.h"

namespace {

namespace fs = std::filesystem;
namespace bench = tervalon::bench;
using namespace tervalon::tools;  // NOLINT(google-build-using-namespace): all here is about them
using bench::Check;

constexpr PictureSize kSize = {bench::kWidth, bench::kHeight, bench::kPixelsPerInch};
constexpr double kTextPoints = 9;

// A device context that a plan is made for and painted on.
template <typename Plan>
void PlanAndPaint(Plan plan) {
  const TvDC dc = TvCreateImageDC(kSize.width, kSize.height, kSize.pixels_per_inch);
  {
    PlotPainter painter(dc, kSize, ThemeOf("light"), kTextPoints);
    painter.Paint(plan(painter.measure()));
  }
  Check(TvDeleteDC(dc) == 1, "drawing");
}

// Pictures of points in memory.

// The long chromatogram as so many series, that have their points in turn.
std::vector<PlotSeries> Series(size_t count) {
  const bench::Chromatogram& data = bench::LongChromatogram();
  std::vector<PlotSeries> all(count);
  for (size_t i = 0; i < data.x.size(); ++i) {
    all[i % count].x.push_back(data.x[i]);
    all[i % count].y.push_back(data.y[i]);
  }
  for (size_t i = 0; i < count; ++i) {
    all[i].title = all[i].depth_title = "trace " + std::to_string(i + 1);
    all[i].x_title = "Time (min)";
  }
  return all;
}

std::vector<PlotSeries> Sticks() {
  std::vector<PlotSeries> series = Series(1);
  series[0].sticks = true;
  return series;
}

std::vector<PlotSeries> InRandomOrder() {
  std::vector<PlotSeries> series = Series(1);
  std::mt19937 random(3);
  for (size_t i = series[0].x.size() - 1; i > 0; --i) {
    const size_t other = random() % (i + 1);
    std::swap(series[0].x[i], series[0].x[other]);
    std::swap(series[0].y[i], series[0].y[other]);
  }
  return series;
}

std::vector<PlotSeries> ManyPeaks() {
  PlotSeries series = {.title = "scan 1", .x_title = "m/z", .sticks = true};
  std::mt19937 random(3);
  for (int32_t i = 0; i < bench::kLabels; ++i) {
    series.x.push_back(static_cast<float>(i) / 2);
    series.y.push_back(static_cast<float>(random() % 1000000));
  }
  return {series};
}

struct Kind {
  const char* name;
  std::vector<PlotSeries> (*series)();
  PictureStyle style;
  size_t traces = 1;
  std::vector<int32_t> plain_modes = {AXS_PLOT_JOINED};
};

template <size_t count>
std::vector<PlotSeries> Split() {
  return Series(count);
}

const std::vector<Kind>& Kinds() {
  static const std::vector<Kind> kinds = {
      {"joined", Split<1>, {}},
      {"joined, zoomed", Split<1>, {.x_range = Window{4, 4.5F}}},
      {"sticks", Sticks, {}},
      {"filled", Split<1>, {.filled = true}},
      {"magnified", Split<1>, {.magnified = {{3, 15, 4}}}},
      {"five rows", Split<1>, {.rows = 5}},
      {"log scale", Split<1>, {.y_scale = YScale::kLog}},
      {"square roots", Split<1>, {.y_scale = YScale::kSqrt}},
      {"counts", Split<1>, {.counts = true}},
      {"four stacked", Split<4>, {}},
      {"ten overlaid", Split<10>, {.layout = Layout::kOverlaid}, 10},
      {"ten normalised, filled",
       Split<10>,
       {.layout = Layout::kOverlaid, .normalised = true, .filled = true},
       10,
       {AXS_PLOT_FILLED, AXS_PLOT_JOINED}},
      {"twenty in depth", Split<20>, {.layout = Layout::kDepth}, 20, {AXS_PLOT_FILLED}},
      {"mirrored", Split<2>, {.layout = Layout::kMirrored}},
  };
  return kinds;
}

void Draw(benchmark::State& state, const Kind& kind) {
  const std::vector<PlotSeries> series = kind.series();
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    std::vector<PlotSeries> own = series;
    state.ResumeTiming();
    PlanAndPaint([&](const TextMeasure& measure) {
      return PlanPicture(std::move(own), kind.style, kSize, measure);
    });
  }
  state.SetItemsProcessed(state.iterations() * bench::kPoints);
}

// The difference of two traces is a loop of its own, also in the plain way.
void PlainDifference(benchmark::State& state) {
  const std::vector<PlotSeries> series = Series(2);
  bench::AxesPicture picture(TvCreateImageDC(kSize.width, kSize.height, kSize.pixels_per_inch));
  const std::vector<float>& from = series[0].y;
  const std::vector<float>& taken = series[1].y;
  for ([[maybe_unused]] auto _ : state) {
    bench::Chromatogram difference;
    for (size_t i = 1; i < from.size(); ++i) {  // in turn
      difference.x.push_back(series[0].x[i]);
      difference.y.push_back(from[i] - (taken[i - 1] + taken[i]) / 2);
      difference.x.push_back(series[1].x[i]);
      difference.y.push_back((from[i - 1] + from[i]) / 2 - taken[i]);
    }
    picture.Draw(bench::ColumnsOf(difference, 0, difference.x.size(), 0, bench::kEnd));
  }
}

void PlainColumnsInRandomOrder(benchmark::State& state) {
  std::vector<PlotSeries> series = InRandomOrder();
  const bench::Chromatogram data = {std::move(series[0].x), std::move(series[0].y)};
  bench::AxesPicture picture(TvCreateImageDC(kSize.width, kSize.height, kSize.pixels_per_inch));
  for ([[maybe_unused]] auto _ : state) {
    picture.Draw(bench::ColumnsOf(data, 0, data.x.size(), 0, bench::kEnd));
  }
}

// Maps.

constexpr float kLowMass = 100;
constexpr float kHighMass = 1100;
constexpr int32_t kContinuumPoints = 20000;
constexpr int32_t kCentroidPoints = 2000;

enum Function : int16_t { kContinuum = 1, kCentroid = 2 };

void CheckRaw(int32_t error, const char* what) { Check(error == RAW_OK, what); }

// A run of two functions beside the system's other temporary files.
class Run {
 public:
  Run()
      : path_(fs::temp_directory_path() / ("tervalon-picture-bench-" + std::to_string(getpid()))) {
    CheckRaw(RawCreateOpen(path_.c_str(), &handle_), "RawCreateOpen");
    const RawFunctionRecord records[] = {Record(RAW_DATA_CONTINUUM),
                                         Record(RAW_DATA_STANDARD_CENTROID)};
    CheckRaw(RawCreateFunctions(handle_, 2, records), "RawCreateFunctions");
    const char* const megabytes = std::getenv("TERVALON_BENCH_MEGABYTES");
    const int64_t bytes = (megabytes != nullptr ? std::atoll(megabytes) : 512) << 20;
    Write(kContinuum, RAW_DATA_CONTINUUM, kContinuumPoints, bytes);
    Write(kCentroid, RAW_DATA_STANDARD_CENTROID, kCentroidPoints, bytes);
    const RawHeader header = {};
    const RawCalibration calibration = {};
    CheckRaw(RawCreateHeader(handle_, &header, &calibration), "RawCreateHeader");
    CheckRaw(RawCreateClose(handle_), "RawCreateClose");
  }
  ~Run() { fs::remove_all(path_); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  const fs::path& path() const { return path_; }

 private:
  static RawFunctionRecord Record(int32_t data_type) {
    RawFunctionRecord record = {};
    tervalon::Store(record.bytes, static_cast<uint16_t>(data_type << 10 | RAW_TYPE_TOF_MS));
    tervalon::Store(record.bytes + tervalon::raw::kLowMass, kLowMass);
    tervalon::Store(record.bytes + tervalon::raw::kHighMass, kHighMass);
    return record;
  }

  // Continuum spectra have the same masses, centroids their own.
  void Write(int16_t function, int16_t data_type, int32_t points, int64_t bytes) {
    std::mt19937 random(7);
    std::vector<float> masses(static_cast<size_t>(points));
    std::vector<float> intensities(masses.size());
    const float step = (kHighMass - kLowMass) / static_cast<float>(points);
    CheckRaw(RawCreateScanFile(handle_, function, 0, 0), "RawCreateScanFile");
    const fs::path member = path_ / ("_FUNC00" + std::to_string(function) + ".DAT");
    for (int32_t scan = 1; scan == 1 || static_cast<int64_t>(fs::file_size(member)) < bytes;
         ++scan) {
      for (size_t i = 0; i < masses.size(); ++i) {
        const float inside =
            function == kContinuum ? 0 : static_cast<float>(random() % 1000) / 1000 * step;
        masses[i] = kLowMass + step * static_cast<float>(i) + inside;
        intensities[i] = static_cast<float>(random() % (random() % 50 == 0 ? 1000000 : 200));
      }
      CheckRaw(
          RawCreateScans(handle_, function, 0, data_type, 0, 0, 0, static_cast<float>(scan) * 0.01F,
                         masses.data(), intensities.data(), nullptr, points),
          "RawCreateScans");
    }
    CheckRaw(RawCreateScansEnd(handle_, function, 0), "RawCreateScansEnd");
  }

  fs::path path_;
  int32_t handle_ = 0;
};

const RawDirectory& Directory() {
  static const Run run;
  static const RawDirectory directory(run.path().string());
  return directory;
}

void DrawMap(benchmark::State& state, Function function) {
  const DataReader reader(Directory(), {.function = function});
  for ([[maybe_unused]] auto _ : state) {
    const MassMap map = ReadMassMap(reader, std::nullopt, std::nullopt, kSize);
    PlanAndPaint([&](const TextMeasure& measure) { return PlanMap(map, {}, kSize, measure); });
  }
}

// The points of one scan as the file has them, one after the other.
template <typename Take>
void ForEachPoint(Function function, const std::vector<uint8_t>& bytes, Take take) {
  const auto value_of = [](uint16_t word) {
    return static_cast<float>(uint32_t{word} >> 3 << 2 * (word & 7));
  };
  if (function == kContinuum) {
    constexpr float kStep = (kHighMass - kLowMass) / kContinuumPoints;
    for (int32_t i = 0; i < kContinuumPoints; ++i) {
      take(kLowMass + kStep * static_cast<float>(i),
           value_of(tervalon::Load<uint16_t>(&bytes[2 * static_cast<size_t>(i)])));
    }
    return;
  }
  for (const uint8_t* pair = bytes.data(); pair != bytes.data() + bytes.size(); pair += 10) {
    for (size_t i = 0; i < 2; ++i) {
      const uint8_t* const mass = pair + 4 + 3 * i;
      take(static_cast<float>(mass[0] | mass[1] << 8 | mass[2] << 16) / 1024,
           value_of(tervalon::Load<uint16_t>(pair + 2 * i)));
    }
  }
}

// Into a map of as many cells, drawn as the other.
void DrawPlainMap(benchmark::State& state, Function function) {
  const std::string path = Directory().path() + "/_FUNC00" + std::to_string(function) + ".DAT";
  std::vector<uint8_t> bytes(function == kContinuum ? 2 * kContinuumPoints : 5 * kCentroidPoints);
  const size_t scans = fs::file_size(path) / bytes.size();
  for ([[maybe_unused]] auto _ : state) {
    MassMap map = {.times = {0.01F, 0.01F * static_cast<float>(scans)},
                   .masses = {kLowMass, kHighMass},
                   .columns = kSize.width,
                   .rows = kSize.height};
    map.highest.assign(static_cast<size_t>(map.columns * map.rows), 0);
    std::ifstream file(path, std::ios::binary);
    for (size_t scan = 0; scan < scans; ++scan) {
      file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
      const size_t column = scan * static_cast<size_t>(map.columns) / scans;
      float* const cells = &map.highest[column * static_cast<size_t>(map.rows)];
      const float rows_per_mass = static_cast<float>(map.rows) / (kHighMass - kLowMass);
      ForEachPoint(function, bytes, [&](float mass, float value) {
        const auto row = static_cast<int32_t>((mass - kLowMass) * rows_per_mass);
        if (row >= 0 && row < map.rows) cells[row] = std::max(cells[row], value);
      });
    }
    PlanAndPaint([&](const TextMeasure& measure) { return PlanMap(map, {}, kSize, measure); });
  }
}

std::vector<bench::Ratio> RegisterAll() {
  std::vector<bench::Ratio> ratios;
  const auto add = [](const std::string& name, auto run, const auto&... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), run, arguments...)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.1);
  };
  const auto compare = [&](const std::string& one, const std::string& other, double limit) {
    ratios.push_back({one + " / " + other, one, other, limit});
  };
  std::set<std::string> plain;
  for (const Kind& kind : Kinds()) {
    const std::string name = std::to_string(kind.traces) +
                             (kind.plain_modes[0] == AXS_PLOT_FILLED ? " filled" : "") +
                             " of plain columns";
    if (plain.insert(name).second) {
      add(name, bench::PlainColumns, kind.traces, kind.plain_modes);
    }
    add(kind.name, Draw, kind);
    compare(kind.name, name, 2);
  }
  add("plain difference", PlainDifference);
  add("difference", Draw, Kind{"", Split<2>, {.layout = Layout::kDifference}});
  compare("difference", "plain difference", 2);
  add("plain columns in random order", PlainColumnsInRandomOrder);
  add("in random order", Draw, Kind{"", InRandomOrder, {}});
  compare("in random order", "plain columns in random order", 2);
  add("labels of a given place", bench::Labels, true);
  add("100000 peaks", Draw, Kind{"", ManyPeaks, {}});
  compare("100000 peaks", "labels of a given place", 2);
  for (const auto& [name, function] :
       {std::pair("continuum", kContinuum), std::pair("centroids", kCentroid)}) {
    const std::string map = std::string("map, ") + name;
    add(map, DrawMap, function);
    const std::string plain_map = "plain " + map;
    add(plain_map, DrawPlainMap, function);
    compare(map, plain_map, 1);
  }
  return ratios;
}

}  // namespace

int main(int argc, char** argv) { return bench::RunWithRatios(argc, argv, RegisterAll); }
