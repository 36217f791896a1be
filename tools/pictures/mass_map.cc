#include "tools/pictures/mass_map.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
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

// Row after row, to a percent of each value: a float's upper half says that much.
std::vector<uint8_t> LevelsOf(const MassMap& map) {
  std::vector<uint8_t> level_of(size_t{1} << 15);
  for (uint32_t upper = 0; upper < level_of.size(); ++upper) {
    level_of[upper] = LevelOf(std::bit_cast<float>(upper << 16), map.top);
  }
  std::vector<uint8_t> levels(map.highest.size());
  const auto columns = static_cast<size_t>(map.columns);
  const auto rows = static_cast<size_t>(map.rows);
  for (size_t column = 0; column < columns; ++column) {
    const float* value = &map.highest[column * rows];
    for (size_t at = column; at < levels.size(); at += columns) {
      levels[at] = *value > 0 ? level_of[std::bit_cast<uint32_t>(*value) >> 16] : uint8_t{0};
      ++value;
    }
  }
  return levels;
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

struct CellRange {  // [begin, end)
  int32_t begin;
  int32_t end;
};

// For each of `count` equal parts of a range the cells of another range whose middles lie in it, or
// where these are wider the cell that its own middle lies in.
std::vector<CellRange> CellsOf(const Window& range, int32_t count, const Window& of,
                               int32_t cells) {
  std::vector<CellRange> found;
  const double cells_of_one = cells / (double{of.high} - of.low);
  const double first = (double{range.low} - of.low) * cells_of_one;
  const double step = (double{range.high} - range.low) / count * cells_of_one;
  const auto cell = [cells](double place) {
    return static_cast<int32_t>(std::clamp<double>(std::floor(place), -1, cells));
  };
  for (int32_t i = 0; i < count; ++i) {
    CellRange part = {cell(first + i * step + 0.5), cell(first + (i + 1) * step + 0.5)};
    if (part.begin == part.end) {
      part.begin = cell(first + (i + 0.5) * step);
      part.end = part.begin + 1;
    }
    found.push_back({std::max(part.begin, 0), std::min(part.end, cells)});
  }
  return found;
}

// Of a whole map what lies in these ranges, in no more cells than there are pixels: the highest of
// several.
void CutOut(const MassMap& map, const Window& times, const Window& masses, PlannedMap& planned) {
  const auto same = [](const Window& a, const Window& b) {
    return a.low == b.low && a.high == b.high;
  };
  if (same(times, map.times) && same(masses, map.masses) && map.columns <= planned.box.width() &&
      map.rows <= planned.box.height()) {
    planned.levels = map.levels;
    return;
  }
  const std::vector<CellRange> columns =
      CellsOf(times, std::max(planned.box.width(), 1), map.times, map.columns);
  const std::vector<CellRange> rows =
      CellsOf(masses, std::max(planned.box.height(), 1), map.masses, map.rows);
  planned.columns = static_cast<int32_t>(columns.size());
  planned.levels.reserve(columns.size() * rows.size());
  std::vector<uint8_t> highest(static_cast<size_t>(map.columns));
  for (const CellRange& row : rows) {
    std::ranges::fill(highest, uint8_t{0});
    for (int32_t of_row = row.begin; of_row < row.end; ++of_row) {
      const uint8_t* const levels = map.levels.data() + ptrdiff_t{of_row} * map.columns;
      for (size_t i = 0; i < highest.size(); ++i) highest[i] = std::max(highest[i], levels[i]);
    }
    for (const CellRange& column : columns) {
      uint8_t level = 0;
      for (int32_t i = column.begin; i < column.end; ++i) {
        level = std::max(level, highest[static_cast<size_t>(i)]);
      }
      planned.levels.push_back(level);
    }
  }
}

float Higher(float a, float b) { return b > a ? b : a; }  // of not-a-numbers `a`

// Several at a time.
float Highest(const float* values, size_t count) {
  std::array<float, 4> lanes = {};
  size_t i = 0;
  for (; i + lanes.size() <= count; i += lanes.size()) {
    for (size_t k = 0; k < lanes.size(); ++k) {
      lanes[k] = Higher(lanes[k], values[i + k]);
    }
  }
  for (; i < count; ++i) {
    lanes[0] = Higher(lanes[0], values[i]);
  }
  return std::accumulate(lanes.begin(), lanes.end(), 0.0F, Higher);
}

void RaiseTo(const float* values, size_t count, float* highest) {
  for (size_t i = 0; i < count; ++i) {
    highest[i] = Higher(highest[i], values[i]);
  }
}

// The highest intensity in each of equal ranges of mass, of one spectrum after the other. Those
// that have the same masses, as continuum data mostly do, are laid over each other first.
class HighestByMass {
 public:
  HighestByMass(const Window& masses, int32_t rows)
      : low_(masses.low),
        rows_per_mass_(static_cast<float>(rows) / (masses.high - masses.low)),
        rows_(static_cast<size_t>(rows)),
        highest_(rows_ + 1) {}

  // Takes the spectrum's arrays and leaves others.
  void Add(Spectrum& spectrum) {
    const size_t size = spectrum.masses.size();
    if (size != masses_.size() ||
        std::memcmp(spectrum.masses.data(), masses_.data(), size * sizeof(float)) != 0) {
      AddRows();
      masses_.swap(spectrum.masses);
      FindRows();
    } else if (runs_.empty()) {
      FindRuns();
    }
    if (!is_empty_) {
      RaiseTo(spectrum.intensities.data(), intensities_.size(), intensities_.data());
      return;
    }
    intensities_.swap(spectrum.intensities);
    is_empty_ = false;
  }

  // Of the spectra since the last call.
  std::vector<float> Take() {
    AddRows();
    std::vector<float> taken = std::exchange(highest_, std::vector<float>(rows_ + 1));
    taken.pop_back();
    return taken;
  }

 private:
  struct Run {  // of points in the same row
    size_t begin;
    size_t end;
  };

  // What is outside goes into a row behind the others.
  void FindRows() {
    const auto rows = static_cast<float>(rows_);
    row_of_.resize(masses_.size());
    std::ranges::transform(masses_, row_of_.begin(), [this, rows](float mass) {
      const float row = (mass - low_) * rows_per_mass_;
      const float not_below = row >= 0 ? row : rows;
      return static_cast<int32_t>(not_below < rows ? not_below : rows);
    });
    runs_.clear();
  }

  void FindRuns() {
    for (size_t i = 0; i < row_of_.size(); ++i) {
      if (i == 0 || row_of_[i] != row_of_[i - 1]) {
        runs_.push_back({i, i});
      }
      ++runs_.back().end;
    }
  }

  void AddRows() {
    if (is_empty_) {
      return;
    }
    is_empty_ = true;
    for (const Run& run : runs_) {
      float& own = highest_[static_cast<size_t>(row_of_[run.begin])];
      own = Higher(own, Highest(&intensities_[run.begin], run.end - run.begin));
    }
    if (!runs_.empty()) {
      return;
    }
    // From several places in turn: neighbours are mostly in the same row and wait for each other.
    constexpr size_t kPlaces = 4;
    const size_t part = row_of_.size() / kPlaces;
    for (size_t i = 0; i < part; ++i) {
      for (size_t place = 0; place < kPlaces; ++place) {
        AddPoint(place * part + i);
      }
    }
    for (size_t i = kPlaces * part; i < row_of_.size(); ++i) {
      AddPoint(i);
    }
  }

  void AddPoint(size_t i) {
    float& own = highest_[static_cast<size_t>(row_of_[i])];
    own = Higher(own, intensities_[i]);
  }

  float low_;
  float rows_per_mass_;
  size_t rows_;
  std::vector<float> masses_;  // of the spectrum before
  std::vector<int32_t> row_of_;
  std::vector<Run> runs_;           // once the masses came again
  std::vector<float> intensities_;  // of those laid over each other
  bool is_empty_ = true;            // these
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

}  // namespace

struct MassMapReader::State {
  State(const DataReader& source, const Window& masses, int32_t rows)
      : reader(source), highest(masses, rows) {}

  const DataReader& reader;
  MassMap map;
  std::vector<float> times;    // of all scans
  std::vector<int32_t> scans;  // that are in the map
  HighestByMass highest;
  Spectrum spectrum;
  size_t read = 0;  // of the scans
};

MassMapReader::MassMapReader(const DataReader& reader, const std::optional<Window>& times,
                             const std::optional<Window>& masses, const PictureSize& size) {
  Chromatogram run = reader.ReadIndexChromatogram(RAW_CHROM_TOTAL_ION);
  if (run.times.empty()) {
    throw Failure(reader.Subject(), "it has no scans");
  }
  const int32_t rows = Cells(size.height, size.pixels_per_inch);
  const Window mass_range = masses.value_or(MassesOf(reader));
  state_ = std::make_unique<State>(reader, mass_range, rows);
  MassMap& map = state_->map;
  map.masses = mass_range;
  map.times = times.value_or(Window{run.times.front(), run.times.back()});
  if (!(map.times.low < map.times.high)) {
    map.times.high = map.times.low + 1;
  }
  map.columns = Cells(size.width, size.pixels_per_inch);
  map.rows = rows;
  map.highest.assign(static_cast<size_t>(map.columns) * static_cast<size_t>(map.rows), 0);
  state_->scans = ScansIn(run.times, map.times);
  state_->times = std::move(run.times);
}

MassMapReader::~MassMapReader() = default;

bool MassMapReader::Step(size_t scans) {
  State& own = *state_;
  const ScanColumns columns(own.times, own.scans, own.map);
  const size_t end = own.read + std::min(scans, own.scans.size() - own.read);
  for (; own.read < end; ++own.read) {
    const size_t i = own.read;
    own.reader.ReadSpectrum(own.scans[i], own.spectrum);
    own.highest.Add(own.spectrum);
    const auto [first, last] = columns.Of(i);
    if (last - first == 1 && i + 1 < own.scans.size() &&
        columns.Of(i + 1) == std::pair(first, last)) {
      continue;  // in the same column, and in no other
    }
    const std::vector<float> rows = own.highest.Take();
    for (int32_t column = first; column < last; ++column) {
      RaiseTo(rows.data(), rows.size(),
              &own.map.highest[static_cast<size_t>(column) * rows.size()]);
    }
  }
  return own.read < own.scans.size();
}

double MassMapReader::part() const {
  const size_t scans = state_->scans.size();
  return scans == 0 ? 1 : static_cast<double>(state_->read) / static_cast<double>(scans);
}

MassMap MassMapReader::map() const {
  MassMap map = state_->map;
  map.top = Highest(map.highest.data(), map.highest.size());
  map.levels = LevelsOf(map);
  return map;
}

MassMap ReadMassMap(const DataReader& reader, const std::optional<Window>& times,
                    const std::optional<Window>& masses, const PictureSize& size) {
  MassMapReader map(reader, times, masses, size);
  map.Step(SIZE_MAX);
  return map.map();
}

PicturePlan PlanMap(const MassMap& map, const PictureStyle& style, const PictureSize& size,
                    const TextMeasure& measure) {
  PlotSeries frame = {.title = "m/z", .x_title = "Time (min)", .y_title = "m/z"};
  frame.range = map.times;
  frame.x = {map.times.low, map.times.high};
  frame.y = {map.masses.low, map.masses.high};
  PictureStyle own = style;
  const Window times = style.x_range.value_or(map.times);
  const Window masses = style.y_range.value_or(map.masses);
  own.x_range = times;
  own.y_range = masses;
  own.y_scale = YScale::kLinear;
  own.counts = true;
  own.labels = own.grid = own.filled = own.normalised = false;
  own.layout = Layout::kOverlaid;
  own.rows = 1;
  own.magnified = {};
  own.beside = measure.Width("Intensity") + measure.Height();
  PicturePlan plan = PlanPicture({frame}, own, size, measure);
  PanelPlan& panel = plan.panels[0];
  panel.traces.clear();
  const Box data = panel.row_boxes[0];
  panel.maps.push_back({.box = data, .columns = map.columns, .levels = {}});
  CutOut(map, times, masses, panel.maps.back());
  const int32_t left = data.right + measure.Height();
  AddScale({left, data.top, left + measure.Height(), data.bottom}, map.top,
           std::max(size.pixels_per_inch / 32, 2), measure, panel);
  return plan;
}

}  // namespace tervalon::tools
