#include "tools/pictures/mass_map.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

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

// The highest intensity in each of equal ranges of mass, of one spectrum after the other. Those
// that have the same masses, as continuum data mostly do, are laid over each other first.
class HighestByMass {
 public:
  HighestByMass(const Window& masses, int32_t rows)
      : low_(masses.low),
        rows_per_mass_(static_cast<float>(rows) / (masses.high - masses.low)),
        highest_(static_cast<size_t>(rows)) {}

  // Takes the spectrum's arrays and leaves others.
  void Add(Spectrum& spectrum) {
    const size_t size = spectrum.masses.size();
    if (size == over_.masses.size() &&
        std::memcmp(spectrum.masses.data(), over_.masses.data(), size * sizeof(float)) == 0) {
      const float* values = spectrum.intensities.data();
      float* highest = over_.intensities.data();
      for (size_t i = 0; i < size; ++i) {
        highest[i] = values[i] > highest[i] ? values[i] : highest[i];
      }
      return;
    }
    AddRows();
    std::swap(over_, spectrum);
  }

  // Of the spectra since the last call.
  std::vector<float> Take() {
    AddRows();
    over_.masses.clear();
    return std::exchange(highest_, std::vector<float>(highest_.size()));
  }

 private:
  void AddRows() {
    const auto rows = static_cast<float>(highest_.size());
    size_t open = 0;  // the row of the points before
    float top = highest_[open];
    for (size_t i = 0; i < over_.masses.size(); ++i) {
      const float row = (over_.masses[i] - low_) * rows_per_mass_;
      if (!(row >= 0 && row < rows)) {
        continue;
      }
      if (const auto own = static_cast<size_t>(row); own != open) {
        highest_[open] = top;
        open = own;
        top = highest_[open];
      }
      top = std::max(top, over_.intensities[i]);
    }
    highest_[open] = top;
  }

  float low_;
  float rows_per_mass_;
  Spectrum over_;
  std::vector<float> highest_;
};

// The columns of scans: each reaches halfway to its neighbours.
class ScanColumns {
 public:
  ScanColumns(const std::vector<float>& times, const std::vector<int32_t>& scans,
              const MassMap& map)
      : times_(times), scans_(scans), map_(map) {}

  // [first, end) of the scan of that index.
  std::pair<int32_t, int32_t> Of(size_t i) const {
    const auto first = static_cast<int32_t>(std::clamp(Border(i), 0.0, map_.columns - 1.0));
    const auto end = std::min(static_cast<int32_t>(std::ceil(Border(i + 1))), map_.columns);
    return {first, std::max(end, first + 1)};
  }

 private:
  // Between the scan of that index and the one before.
  double Border(size_t i) const {
    if (i == 0 || i == scans_.size()) {
      return i == 0 ? 0 : map_.columns;
    }
    const auto scan = static_cast<size_t>(scans_[i]) - 1;
    const double middle = (double{times_[scan]} + times_[scan - 1]) / 2;
    return (middle - map_.times.low) * map_.columns / (double{map_.times.high} - map_.times.low);
  }

  const std::vector<float>& times_;
  const std::vector<int32_t>& scans_;
  const MassMap& map_;
};

void StoreColumn(const std::vector<float>& highest, int32_t column, MassMap& map) {
  auto at = static_cast<size_t>(column);
  for (const float value : highest) {
    map.highest[at] = std::max(map.highest[at], value);
    at += static_cast<size_t>(map.columns);
  }
}

void ReadColumns(const DataReader& reader, const std::vector<float>& times, MassMap& map) {
  const std::vector<int32_t> scans = ScansIn(times, map.times);
  const ScanColumns columns(times, scans, map);
  HighestByMass highest(map.masses, map.rows);
  Spectrum spectrum;
  for (size_t i = 0; i < scans.size(); ++i) {
    reader.ReadSpectrum(scans[i], spectrum);
    highest.Add(spectrum);
    const auto [first, end] = columns.Of(i);
    if (end - first == 1 && i + 1 < scans.size() && columns.Of(i + 1) == std::pair(first, end)) {
      continue;  // in the same column, and in no other
    }
    const std::vector<float> rows = highest.Take();
    for (int32_t column = first; column < end; ++column) {
      StoreColumn(rows, column, map);
    }
  }
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
  map.highest.assign(static_cast<size_t>(map.columns) * static_cast<size_t>(map.rows), 0);
  ReadColumns(reader, run.times, map);
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
