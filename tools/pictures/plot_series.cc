#include "tools/pictures/plot_series.h"

#include <algorithm>

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

}  // namespace

PlotSeries ReadChromatogramSeries(const RawDirectory& directory, const DataSet& data_set,
                                  const TraceRequest& request, const std::string& subject) {
  Trace trace = ReadTrace(directory.path(), data_set, request, subject);
  const bool is_mass = request.trace.type == DM_TRACE_MASS || request.trace.type == DM_TRACE_MASSES;
  PlotSeries series = {.title = (is_mass ? "m/z " : "") + trace.title, .x_title = "min"};
  series.x = std::move(trace.times);
  series.y = std::move(trace.values);
  return series;
}

PlotSeries ReadSpectrumSeries(const DataReader& reader, const ScanRequest& request) {
  const int32_t scan = request.scan != 0 ? request.scan : reader.ScanAtTime(request.minutes);
  if (scan == 0) {
    throw Failure(reader.Subject(), "it has no scans");
  }
  Spectrum spectrum = reader.ReadSpectrum(scan);
  const bool continuum = IsContinuum(DataType(reader.record()));
  PlotSeries series = {.title = "scan " + std::to_string(scan) + " (" +
                                RoundedText(spectrum.header.retention_time, 2) + " min)",
                       .x_title = "m/z",
                       .sticks = !continuum,
                       .label_decimals = continuum ? kCoarseMassDecimals : kMassDecimals};
  series.x = std::move(spectrum.masses);
  series.y = std::move(spectrum.intensities);
  return series;
}

}  // namespace tervalon::tools
