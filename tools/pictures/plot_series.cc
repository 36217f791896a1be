#include "tools/pictures/plot_series.h"

#include "tools/data/function_description.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr int kMassDecimals = 2;
constexpr int kCoarseMassDecimals = 1;  // of points that stand beside the peaks' own masses

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

}  // namespace

PlotSeries EmptyChromatogramSeries(const DataReader& reader, const TraceRequest& request) {
  PlotSeries series = {.title = (request.is_mass() ? "m/z " : "") + request.title,
                       .x_title = "Time (min)",
                       .empty = "the run is empty",
                       .range = WindowOf(FirstTime(reader.record()), LastTime(reader.record()))};
  series.depth_title = series.title;
  if (request.is_analog()) {
    NameAnalog(reader, request.trace.analog_channel, series);
  }
  return series;
}

PlotSeries ReadChromatogramSeries(const DataReader& reader, const TraceRequest& request) {
  Trace trace = ReadTrace(reader, request);
  PlotSeries series = EmptyChromatogramSeries(reader, request);
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

}  // namespace tervalon::tools
