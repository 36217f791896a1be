#include "tools/pictures/plot_series.h"

#include <algorithm>

#include "tools/data/function_description.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr int kMassDecimals = 2;
constexpr int kCoarseMassDecimals = 1;  // of points that stand beside the peaks' own masses
constexpr float kSameStick = 0.25F;

// Data types whose points lie evenly on the mass axis.
bool IsContinuum(int data_type) {
  return data_type == RAW_DATA_CONTINUUM || data_type == RAW_DATA_MCA || data_type == RAW_DATA_MCB;
}

std::optional<Window> WindowOf(float low, float high) {
  return low < high ? std::optional<Window>({low, high}) : std::nullopt;
}

void NameAnalog(const DataReader& reader, int16_t channel, PlotSeries& series) {
  const std::vector<AnalogText> texts = AnalogTexts(reader.directory());
  if (static_cast<size_t>(channel) >= texts.size()) {
    return;
  }
  const AnalogText& text = texts[static_cast<size_t>(channel)];
  if (!text.name.empty()) {
    series.title = series.y_title = text.name;
  }
  series.y_unit = text.unit;
}

// The height of a joined trace at a place; 0 outside. `at` is where the search begins.
float HeightAt(const PlotSeries& series, float x, size_t& at) {
  while (at < series.x.size() && series.x[at] < x) {
    ++at;
  }
  if (at == series.x.size() || (at == 0 && series.x[0] > x)) {
    return 0;
  }
  if (at == 0 || series.x[at] == x) {
    return series.y[at];
  }
  const float part = (x - series.x[at - 1]) / (series.x[at] - series.x[at - 1]);
  return series.y[at - 1] + part * (series.y[at] - series.y[at - 1]);
}

}  // namespace

PlotSeries ReadChromatogramSeries(const DataReader& reader, const TraceRequest& request) {
  Trace trace = ReadTrace(reader, request);
  PlotSeries series = {.title = (request.is_mass() ? "m/z " : "") + trace.title,
                       .x_title = "Time (min)",
                       .empty = "the run is empty",
                       .range = WindowOf(FirstTime(reader.record()), LastTime(reader.record()))};
  series.depth_title = series.title;
  if (request.is_analog()) {
    NameAnalog(reader, request.trace.analog_channel, series);
  }
  series.x = std::move(trace.times);
  series.y = std::move(trace.values);
  return series;
}

PlotSeries ReadSpectrumSeries(const DataReader& reader, const ScanRequest& request) {
  const int32_t scan = request.scan != 0 ? request.scan : reader.ScanAtTime(request.minutes);
  Spectrum spectrum = reader.ReadSpectrum(scan);
  const bool continuum = IsContinuum(DataType(reader.record()));
  float low = 0;
  float high = 0;
  RawGetFuncMassRange(&reader.record(), &low, &high);
  PlotSeries series = {.title = "scan " + std::to_string(scan) + " (" +
                                RoundedText(spectrum.header.retention_time, 2) + " min)",
                       .x_title = "m/z",
                       .depth_title = "scan " + std::to_string(scan),
                       .empty = "the scan is empty",
                       .range = WindowOf(low, high),
                       .sticks = !continuum,
                       .label_decimals = continuum ? kCoarseMassDecimals : kMassDecimals};
  series.x = std::move(spectrum.masses);
  series.y = std::move(spectrum.intensities);
  return series;
}

PlotSeries Difference(const PlotSeries& from, const PlotSeries& taken) {
  PlotSeries result = from;
  result.title = from.title + " - " + taken.title;
  result.x.clear();
  result.y.clear();
  size_t a = 0;
  size_t b = 0;
  size_t in_from = 0;
  size_t in_taken = 0;
  const float same = from.sticks ? kSameStick : 0;
  while (a < from.x.size() || b < taken.x.size()) {
    const bool only_b = a == from.x.size() || (b < taken.x.size() && taken.x[b] < from.x[a] - same);
    const bool only_a = !only_b && (b == taken.x.size() || from.x[a] < taken.x[b] - same);
    const float x = only_b ? taken.x[b] : from.x[a];
    result.x.push_back(x);
    if (from.sticks) {
      result.y.push_back((only_b ? 0 : from.y[a]) - (only_a ? 0 : taken.y[b]));
    } else {
      result.y.push_back(HeightAt(from, x, in_from) - HeightAt(taken, x, in_taken));
    }
    a += only_b ? 0 : 1;
    b += only_a ? 0 : 1;
  }
  return result;
}

}  // namespace tervalon::tools
