#include "tools/pictures/mass_map.h"

#include <algorithm>
#include <cmath>

#include "tools/pictures/panel_plan.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kCellsPerInch = 96;
constexpr double kDecades = 4;  // of intensity, that are told apart

// The scans between two times, their times being in order.
std::vector<int32_t> ScansIn(const std::vector<float>& times, const Window& window) {
  std::vector<int32_t> scans;
  for (size_t i = 0; i < times.size(); ++i) {
    if (times[i] >= window.low && times[i] <= window.high) {
      scans.push_back(static_cast<int32_t>(i) + 1);
    }
  }
  return scans;
}

Window MassesOf(const DataReader& reader) {
  Window masses = {0, 0};
  RawGetFuncMassRange(&reader.record(), &masses.low, &masses.high);
  if (!(masses.low < masses.high)) {
    masses = {masses.low, masses.low + 1};
  }
  return masses;
}

int32_t Cells(int32_t pixels, int32_t pixels_per_inch) {
  return std::max(1, static_cast<int32_t>(int64_t{pixels} * kCellsPerInch / pixels_per_inch));
}

uint8_t LevelOf(float value, float highest) {
  if (!(value > 0) || !(highest > 0)) {
    return 0;
  }
  const double decades = std::log10(double{value} / highest) + kDecades;
  return static_cast<uint8_t>(
      std::clamp<double>(decades / kDecades * kMapLevels, 0, kMapLevels - 1));
}

// The scale of colours beside the map.
void AddScale(const Box& box, float highest, int32_t tick, const TextMeasure& measure,
              PanelPlan& panel) {
  PlannedMap scale = {.box = box, .columns = 1, .levels = {}};
  for (size_t i = 0; i < kMapLevels; ++i) {
    scale.levels.push_back(static_cast<uint8_t>(i));
  }
  panel.maps.push_back(scale);
  const int32_t height = measure.Height();
  const auto write = [&](const std::string& text, int32_t left, int32_t top) {
    panel.texts.push_back(
        {{left, top, left + measure.Width(text), top + height}, text, kTextInk, Face::kPlain});
  };
  const Place corners[] = {
      {box.left, box.top}, {box.right, box.top}, {box.right, box.bottom}, {box.left, box.bottom}};
  for (size_t i = 0; i < 4; ++i) {
    panel.lines.push_back({corners[i], corners[(i + 1) % 4], kAxisInk});
  }
  if (!(highest > 0)) {
    return;
  }
  const double top = std::log10(highest);
  for (int power = static_cast<int>(std::floor(top)); power >= top - kDecades; --power) {
    const int32_t y = box.top + static_cast<int32_t>(box.height() * (top - power) / kDecades);
    panel.lines.push_back({{box.right, y}, {box.right + tick, y}, kAxisInk});
    write("1e" + std::to_string(power), box.right + tick + height / 3, y - height / 2);
  }
  write("Intensity", box.left, box.top - height - height / 2);
}

}  // namespace

MassMap ReadMassMap(const DataReader& reader, const std::optional<Window>& times,
                    const std::optional<Window>& masses, const PictureSize& size) {
  MassMap map;
  const Chromatogram run = reader.ReadIndexChromatogram(RAW_CHROM_TOTAL_ION);
  if (run.times.empty()) {
    throw Failure(reader.Subject(), "it has no scans");
  }
  map.masses = masses.value_or(MassesOf(reader));
  map.times = times.value_or(Window{run.times.front(), run.times.back()});
  if (!(map.times.low < map.times.high)) {
    map.times.high = map.times.low + 1;
  }
  map.columns = Cells(size.width, size.pixels_per_inch);
  map.rows = Cells(size.height, size.pixels_per_inch);
  const auto cells = static_cast<size_t>(map.columns) * static_cast<size_t>(map.rows);
  map.highest.assign(cells, 0);
  const std::vector<int32_t> scans = ScansIn(run.times, map.times);
  const double per_column = (double{map.times.high} - map.times.low) / map.columns;
  const float low = map.masses.low;
  const float scale = static_cast<float>(map.rows) / (map.masses.high - low);
  const auto rows = static_cast<float>(map.rows);
  std::vector<float> column(static_cast<size_t>(map.rows));
  Spectrum spectrum;
  const auto border = [&](size_t i) {  // between the scan and the one before, in columns
    if (i == 0 || i == scans.size()) {
      return i == 0 ? 0.0 : static_cast<double>(map.columns);
    }
    const auto scan = static_cast<size_t>(scans[i]) - 1;
    const double middle = (double{run.times[scan]} + run.times[scan - 1]) / 2;
    return (middle - map.times.low) / per_column;
  };
  for (size_t i = 0; i < scans.size(); ++i) {
    reader.ReadSpectrum(scans[i], spectrum);
    std::ranges::fill(column, 0.0F);
    for (size_t k = 0; k < spectrum.masses.size(); ++k) {
      const float row = (spectrum.masses[k] - low) * scale;
      if (row >= 0 && row < rows) {
        float& cell = column[static_cast<size_t>(row)];
        cell = std::max(cell, spectrum.intensities[k]);
      }
    }
    const auto first = static_cast<int32_t>(std::clamp(border(i), 0.0, map.columns - 1.0));
    const auto end = std::min(static_cast<int32_t>(std::ceil(border(i + 1))), map.columns);
    for (int32_t at = first; at < std::max(end, first + 1); ++at) {
      for (size_t row = 0; row < column.size(); ++row) {
        float& cell = map.highest[row * static_cast<size_t>(map.columns) + static_cast<size_t>(at)];
        cell = std::max(cell, column[row]);
      }
    }
  }
  return map;
}

PicturePlan PlanMap(const MassMap& map, const PictureStyle& style, const PictureSize& size,
                    const TextMeasure& measure) {
  const float highest =
      map.highest.empty() ? 0 : *std::max_element(map.highest.begin(), map.highest.end());
  PlotSeries frame = {.title = "m/z", .x_title = "Time (min)", .y_title = "m/z"};
  frame.range = map.times;
  frame.x = {map.times.low, map.times.high};
  frame.y = {map.masses.low, map.masses.high};
  PictureStyle own = style;
  own.x_range = map.times;
  own.y_range = map.masses;
  own.y_scale = YScale::kLinear;
  own.counts = true;
  own.labels = own.grid = own.filled = own.normalised = false;
  own.layout = Layout::kOverlaid;
  own.rows = 1;
  own.magnified = {};
  const int32_t beside = measure.Width("Intensity") + measure.Height();
  PicturePlan plan =
      PlanPicture({frame}, own, {size.width - beside, size.height, size.pixels_per_inch}, measure);
  plan.size = size;
  PanelPlan& panel = plan.panels[0];
  panel.traces.clear();
  const Box data = panel.row_boxes[0];
  PlannedMap image = {.box = data, .columns = map.columns, .levels = {}};
  image.levels.reserve(map.highest.size());
  for (const float value : map.highest) {
    image.levels.push_back(LevelOf(value, highest));
  }
  panel.maps.push_back(std::move(image));
  const int32_t left = data.right + measure.Height();
  AddScale({left, data.top, left + measure.Height(), data.bottom}, highest,
           std::max(size.pixels_per_inch / 32, 2), measure, panel);
  return plan;
}

}  // namespace tervalon::tools
