#include "viewer/core/document.h"

#include <tervalon/memory.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/data/header_table.h"
#include "tools/data/history.h"
#include "tools/data/scan_table.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"
#include "tools/processing/results.h"

namespace tervalon::viewer {
namespace {

using tools::Layout;
using tools::Section;
using tools::Value;

constexpr const char* kNames[kKinds] = {"Chromatogram", "Spectrum", "Map",
                                        "Header",       "History",  "Scans"};
constexpr float kCombiningTolerance = 0.05F;  // of centroids, mass units
constexpr int kTimeDecimals = 2;
constexpr PictureSize kMapSize = {1600, 900, 96};  // a map has as many cells as this shows

PictureStyle StyleOf(const Appearance& appearance) {
  PictureStyle style;
  style.counts = !appearance.percent;
  style.labels = appearance.labels;
  style.grid = appearance.grid;
  style.filled = appearance.filled;
  return style;
}

std::string Minutes(float time) { return tools::RoundedText(time, kTimeDecimals); }

std::string RangeText(const Window& times) {
  return Minutes(times.low) + " to " + Minutes(times.high) + " min";
}

// Series with a row for each point.
Section SeriesSection(const std::vector<PlotSeries>& series) {
  Section section = {.key = "points", .title = "Points"};
  std::vector<Value> names;
  std::vector<float> x;
  std::vector<float> y;
  for (const PlotSeries& one : series) {
    names.insert(names.end(), one.x.size(), one.title);
    x.insert(x.end(), one.x.begin(), one.x.end());
    y.insert(y.end(), one.y.begin(), one.y.end());
  }
  const bool is_spectrum = !series.empty() && series[0].x_title == "m/z";
  if (series.size() > 1) section.columns.push_back({"trace", "Trace", std::move(names)});
  section.columns.push_back({is_spectrum ? "mass" : "time", "", std::move(x)});
  section.columns.push_back({"intensity", "Intensity", std::move(y)});
  return section;
}

}  // namespace

const char* NameOf(Kind kind) { return kNames[static_cast<size_t>(kind)]; }

std::string Document::Title() const {
  const std::string subject = Subject();
  return run_->name() + (subject.empty() ? "" : ": " + subject) + " - " + NameOf(kind_);
}

std::string Document::Subject() const {
  if (data_set_.process != 0) return "processed set " + std::to_string(data_set_.process);
  return "function " + std::to_string(data_set_.function.value_or(1));
}

// --- Chromatograms

ChromatogramDocument::ChromatogramDocument(std::shared_ptr<Run> run, const DataSet& data_set)
    : Document(Kind::kChromatogram, std::move(run), data_set) {}

void ChromatogramDocument::SetTraces(const std::string& text) {
  tools::ParseTraces(text, {});
  text_ = text;
}

void ChromatogramDocument::AddMass(float mass) {
  const std::string added = tools::RoundedText(mass, 2);
  SetTraces(text_.empty() ? added : text_ + "," + added);
}

void ChromatogramDocument::RemoveLastTrace() {
  const size_t comma = text_.rfind(',');
  if (comma != std::string::npos) text_.resize(comma);
}

void ChromatogramDocument::Read(const Appearance& appearance) {
  appearance_ = appearance;
  job_.reset();
  job_ = std::make_unique<TraceJob>(Reader(), tools::ParseTraces(text_, {}));
  ShowRead();
}

void ChromatogramDocument::ShowRead() {
  if (job_ != nullptr) series_ = job_->Series();
  PictureStyle style = StyleOf(appearance_);
  style.layout = layout_;
  style.normalised = layout_ != Layout::kStacked && series_.size() > 1;
  chart_.Show(series_, std::move(style));
}

bool ChromatogramDocument::Step() {
  if (job_ == nullptr) return false;
  const bool goes_on = job_->Step();
  if (!goes_on) {
    ShowRead();
    job_.reset();
  }
  return goes_on;
}

Section ChromatogramDocument::Table() const { return SeriesSection(series_); }

// --- Spectra

void SpectrumDocument::SetScan(int32_t scan) {
  scan_ = std::clamp(scan, 1, std::max(Reader().ScanCount(), 1));
  combined_.reset();
  background_.reset();
}

void SpectrumDocument::SetTime(float minutes) {
  const DataReader& reader = Reader();
  int32_t scan = 1;
  const int32_t code = RawReadTimeScan(reader.directory().handle(), reader.function(),
                                       reader.process(), &reader.record(), minutes, &scan);
  tools::CheckRaw(code, reader.Subject());
  SetScan(scan);
}

void SpectrumDocument::Combine(const Window& times) { combined_ = times; }

PlotSeries SpectrumDocument::ReadCombined() const {
  const DataReader& reader = Reader();
  const auto scans = [&](const Window& times) {
    PrcScans found = {};
    tools::CheckProcessing(PrcFindScans(reader.directory().handle(), reader.function(),
                                        reader.process(), times.low, times.high, &found),
                           reader.Subject() + ", " + RangeText(times));
    return found;
  };
  PrcCombining combining = {};
  combining.scans[0] = combined_ ? scans(*combined_) : PrcScans{scan_, scan_};
  if (background_) combining.background[0] = scans(*background_);
  combining.factor = 1;
  combining.tolerance = kCombiningTolerance;
  PrcSpectrum spectrum = {};
  tools::CheckProcessing(PrcCombine(reader.directory().handle(), reader.function(),
                                    reader.process(), &combining, &spectrum),
                         reader.Subject());
  PlotSeries series = {.title = Subject(),
                       .x_title = "m/z",
                       .depth_title = Subject(),
                       .empty = "nothing is left",
                       .sticks = spectrum.centroids != 0};
  series.x = tools::Taken<float>(spectrum.masses, spectrum.count);
  series.y = tools::Taken<float>(spectrum.intensities, spectrum.count);
  return series;
}

void SpectrumDocument::Read(const Appearance& appearance) {
  series_ = combined_ || background_ ? ReadCombined()
                                     : tools::ReadSpectrumSeries(Reader(), {.scan = scan_});
  chart_.Show({series_}, StyleOf(appearance));
}

std::string SpectrumDocument::Subject() const {
  std::string text = Document::Subject() + ", ";
  text += combined_ ? "mean of " + RangeText(*combined_) : "scan " + std::to_string(scan_);
  if (background_) text += " less " + RangeText(*background_);
  return text;
}

Section SpectrumDocument::Table() const { return SeriesSection({series_}); }

// --- Maps

void MapDocument::Read(const Appearance& appearance) {
  map_ = tools::ReadMassMap(Reader(), {}, {}, kMapSize);
  chart_.Show(map_, StyleOf(appearance));
}

Section MapDocument::Table() const {
  Section section = {.key = "cells", .title = "Cells"};
  std::vector<float> times;
  std::vector<float> masses;
  const auto at = [](const Window& range, int32_t cell, int32_t cells) {
    return range.low +
           (range.high - range.low) * (static_cast<float>(cell) + 0.5F) / static_cast<float>(cells);
  };
  for (int32_t column = 0; column < map_.columns; ++column) {
    for (int32_t row = 0; row < map_.rows; ++row) {
      times.push_back(at(map_.times, column, map_.columns));
      masses.push_back(at(map_.masses, row, map_.rows));
    }
  }
  section.columns = {{"time", "Time (min)", std::move(times)},
                     {"mass", "m/z", std::move(masses)},
                     {"intensity", "Intensity", map_.highest}};
  return section;
}

// --- Tables

void TableDocument::Read(const Appearance& /*appearance*/) {
  const RawDirectory& directory = run()->directory();
  switch (kind()) {
    case Kind::kHeader:
      table_ = tools::HeaderSection(directory.header());
      break;
    case Kind::kHistory:
      table_ = tools::HistorySection(tools::ReadHistory(directory).steps, true);
      break;
    default:
      tools::ScanTable scans;
      scans.Add(Reader());
      table_ = std::move(scans).ToSection("Scans");
  }
}

std::unique_ptr<Document> MakeDocument(Kind kind, std::shared_ptr<Run> run,
                                       const DataSet& data_set) {
  switch (kind) {
    case Kind::kChromatogram:
      return std::make_unique<ChromatogramDocument>(std::move(run), data_set);
    case Kind::kSpectrum:
      return std::make_unique<SpectrumDocument>(std::move(run), data_set);
    case Kind::kMap:
      return std::make_unique<MapDocument>(std::move(run), data_set);
    default:
      return std::make_unique<TableDocument>(kind, std::move(run), data_set);
  }
}

}  // namespace tervalon::viewer
