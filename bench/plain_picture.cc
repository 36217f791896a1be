#include "bench/plain_picture.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include "tervalon/plot_resources.h"

namespace tervalon::bench {

void Check(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string(what) + " failed");
}

const Chromatogram& LongChromatogram() {
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

AxesPicture::AxesPicture(TvDC dc) : dc_(dc), axes_(AxsCreate(1, 0, 1, 1)) {
  TvRect margins = {};
  const TvRect area = {0, 0, kWidth - 1, kHeight - 1};
  Check(dc != nullptr && AxsGetBorder(dc, &margins, "min", nullptr, 0) > 0, "preparing");
  Check(AxsSize(axes_, &area, &margins) == 1, "sizing");
  AxsSetRanges(axes_, 0, kEnd, 0, kHighest);
}

AxesPicture::~AxesPicture() {
  AxsDelete(axes_);
  TvDeleteDC(dc_);
  TvDeleteObject(pen_);
}

void AxesPicture::SetDashes(int32_t style) {
  TvDeleteObject(std::exchange(pen_, TvCreatePen(style, 1, 0)));
  PltResources resources = {};
  PltGetResources(dc_, &resources);
  resources.first[0] = {pen_, style, 0, 0, 0};
  PltSetResources(dc_, &resources);
}

void AxesPicture::Draw(const Chromatogram& data, int32_t mode) {
  Check(AxsDisplayDefaultData(dc_, axes_, data.x.data(), data.y.data(),
                              static_cast<int32_t>(data.x.size()), mode, 0) == 0,
        "drawing");
}

void AxesPicture::Magnify() {
  Check(AxsMagnifyRange(axes_, 4, kEnd / 10, kEnd / 2, 0) == 1, "magnifying");
}

void AxesPicture::Label(const std::vector<AxsPlotLabel>& labels, uint32_t flags, TvRect* places) {
  AxsPlotBlock plot = {};
  plot.flags = AXS_PLOT_ANNOTATE | flags;
  plot.labels = labels.data();
  plot.label_count = static_cast<int32_t>(labels.size());
  plot.label_decimals = 2;
  plot.label_rects = places;
  Check(AxsPlotData(dc_, axes_, &plot) == 0, "labelling");
}

TvPoint AxesPicture::PlaceOf(const AxsPlotLabel& label) const {
  TvPoint place = {};
  AxsGetAxisCoord(axes_, label.x, label.y, &place);
  return place;
}

void AxesPicture::DrawAxes() {
  Check(AxsDisplayDefaultAxes(dc_, axes_, "min", 1, nullptr, 0) == 0, "axes");
}

Chromatogram ColumnsOf(const Chromatogram& data, size_t first, size_t end, float x_begin,
                       float x_end) {
  constexpr double kXScale = kWidth / double{kEnd};
  constexpr double kYScale = kHeight / double{kHighest};
  const double scale = kWidth / (double{x_end} - x_begin);
  std::vector<int32_t> lowest(kWidth, kHeight);
  std::vector<int32_t> highest(kWidth, 0);
  for (size_t i = first; i < end; ++i) {
    const auto column = static_cast<size_t>(
        std::min<int32_t>(static_cast<int32_t>((data.x[i] - x_begin) * scale + 0.5), kWidth - 1));
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
  return columns;
}

void PlainColumns(benchmark::State& state, size_t traces, const std::vector<int32_t>& modes) {
  AxesPicture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  const Chromatogram& data = LongChromatogram();
  for ([[maybe_unused]] auto _ : state) {
    for (size_t i = 0; i < traces; ++i) {
      if (traces > PLT_DATA_STYLES) picture.SetDashes(i < PLT_DATA_STYLES ? 0 : 1);
      const size_t first = kPoints / traces * i;
      const size_t last = kPoints / traces * (i + 1) - 1;
      const Chromatogram columns = ColumnsOf(data, first, last + 1, data.x[first], data.x[last]);
      for (const int32_t mode : modes) picture.Draw(columns, mode);
    }
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}

void Labels(benchmark::State& state, bool placed) {
  AxesPicture picture(TvCreateImageDC(kWidth, kHeight, kPixelsPerInch));
  const Chromatogram& data = LongChromatogram();
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

}  // namespace tervalon::bench
