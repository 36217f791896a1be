#include "viewer/core/document.h"

#include <tervalon/memory.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "tools/data/header_table.h"
#include "tools/data/history.h"
#include "tools/data/scan_table.h"
#include "tools/pictures/typed_ranges.h"
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
constexpr int32_t kShareThatIsMore = 10;
constexpr std::chrono::milliseconds kStepTime(10);
constexpr PictureSize kMapSize = {1600, 900, 96};  // a map has as many cells as this shows

std::string Minutes(float time) { return tools::RoundedText(time, kTimeDecimals); }

std::string RangeText(const Window& times) {
  return Minutes(times.low) + " to " + Minutes(times.high) + " min";
}

std::vector<std::string> Split(const std::string& text, char at) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == at) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::string Replaced(std::string text, char from, char to) {
  std::ranges::replace(text, from, to);
  return text;
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
  section.columns.push_back(
      {is_spectrum ? "mass" : "time", is_spectrum ? "m/z" : "Time (min)", std::move(x)});
  section.columns.push_back({"intensity", "Intensity", std::move(y)});
  return section;
}

}  // namespace

const char* NameOf(Kind kind) { return kNames[static_cast<size_t>(kind)]; }

std::string SpanText(const std::optional<Window>& span) {
  return span ? tools::ExactText(span->low) + '_' + tools::ExactText(span->high) : "";
}

std::optional<Window> ParseSpanText(const std::string& text) {
  const size_t middle = text.find('_');
  if (middle == std::string::npos) return std::nullopt;
  const std::optional<double> low = tools::ParseNumber(text.substr(0, middle));
  const std::optional<double> high = tools::ParseNumber(text.substr(middle + 1));
  if (!low || !high || !(*low <= *high)) return std::nullopt;
  return Window{static_cast<float>(*low), static_cast<float>(*high)};
}

std::string Document::Title() const {
  const std::string subject = Subject();
  return run_->name() + (subject.empty() ? "" : ": " + subject) + " - " + NameOf(kind_);
}

std::string Document::Subject() const {
  if (kind_ == Kind::kHeader || kind_ == Kind::kHistory) return "";
  if (data_set_.process != 0) return "processed set " + std::to_string(data_set_.process);
  return "function " + std::to_string(data_set_.function.value_or(1));
}

PictureStyle Document::Style(const Appearance& appearance) const {
  PictureStyle style;
  style.counts = !appearance.percent;
  style.labels = appearance.labels;
  style.grid = appearance.grid;
  style.filled = appearance.filled;
  style.magnified = magnified_;
  return style;
}

void Document::SetMagnified(const std::string& text) {
  std::vector<AxsMagnify> magnified;
  for (std::string part : Split(Replaced(text, ';', ','), ',')) {
    std::erase(part, ' ');
    if (!part.empty()) magnified.push_back(tools::ParseMagnified(part));
  }
  if (magnified.size() > AXS_MAX_MAGNIFY_RANGES) {
    throw tools::WrongUsage("more than " + std::to_string(AXS_MAX_MAGNIFY_RANGES) + " ranges");
  }
  magnified_ = std::move(magnified);
  magnified_text_ = text;
}

std::string Document::State() const {
  std::string text = Replaced(magnified_text_, ',', ';');
  for (const std::string& part : OwnState()) text += '|' + Replaced(part, ',', ';');
  return text;
}

void Document::SetState(const std::string& text) {
  Parts parts = Split(Replaced(text, ';', ','), '|');
  SetMagnified(parts[0]);
  parts.erase(parts.begin());
  parts.resize(std::max<size_t>(parts.size(), 3));
  SetOwnState(parts);
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

void ChromatogramDocument::AddRange(const Window& masses) {
  const std::string added =
      tools::RoundedText(masses.low, 2) + '_' + tools::RoundedText(masses.high, 2);
  SetTraces(text_.empty() ? added : text_ + "," + added);
}

void ChromatogramDocument::Read(const Appearance& appearance) {
  appearance_ = appearance;
  const std::unique_ptr<TraceJob> before = std::move(job_);
  job_ = std::make_unique<TraceJob>(Reader(), tools::ParseTraces(text_, {}), nullptr);
  ShowRead();
}

void ChromatogramDocument::Grow(const Appearance& appearance) {
  appearance_ = appearance;
  const std::unique_ptr<TraceJob> before = std::move(job_);
  job_ = std::make_unique<TraceJob>(Reader(), tools::ParseTraces(text_, {}), before.get());
  ShowRead();
}

void ChromatogramDocument::Restyle(const Appearance& appearance) {
  appearance_ = appearance;
  ShowRead();
}

void ChromatogramDocument::Mark(std::vector<Window> times) {
  marks_ = std::move(times);
  ShowRead();
}

void ChromatogramDocument::ShowRead() {
  if (job_ == nullptr) return;
  PictureStyle style = Style(appearance_);
  style.layout = layout_;
  style.normalised = layout_ != Layout::kStacked && job_->series().size() > 1;
  style.marks = marks_;
  chart_.Show(job_->series(), std::move(style));
}

void ChromatogramDocument::Stop() {
  if (job_ == nullptr) return;
  job_->Stop();
  ShowRead();
}

Section ChromatogramDocument::Table() const {
  return SeriesSection(job_ != nullptr ? job_->series() : std::vector<PlotSeries>());
}

Document::Parts ChromatogramDocument::OwnState() const {
  return {text_, layout_ == Layout::kOverlaid ? "overlaid" : ""};
}

void ChromatogramDocument::SetOwnState(const Parts& parts) {
  if (!parts[0].empty()) SetTraces(parts[0]);
  layout_ = parts[1] == "overlaid" ? Layout::kOverlaid : Layout::kStacked;
}

// --- Spectra

void SpectrumDocument::SetScan(int32_t scan) {
  scan_ = std::clamp(scan, 1, std::max(Reader()->ScanCount(), 1));
  combined_.reset();
  background_.reset();
}

void SpectrumDocument::SetTime(float minutes) {
  const std::shared_ptr<const DataReader> open = Reader();
  const DataReader& reader = *open;
  int32_t scan = 1;
  const int32_t code = RawReadTimeScan(reader.directory().handle(), reader.function(),
                                       reader.process(), &reader.record(), minutes, &scan);
  tools::CheckRaw(code, reader.Subject());
  SetScan(scan);
}

void SpectrumDocument::Combine(const Window& times) { combined_ = times; }

PlotSeries SpectrumDocument::ReadCombined() const {
  const std::shared_ptr<const DataReader> open = Reader();
  const DataReader& reader = *open;
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
                                     : tools::ReadSpectrumSeries(*Reader(), {.scan = scan_});
  Restyle(appearance);
}

void SpectrumDocument::Restyle(const Appearance& appearance) {
  chart_.Show({series_}, Style(appearance));
}

float SpectrumDocument::MassNear(float mass, float reach) const {
  const auto begin = std::ranges::lower_bound(series_.x, mass - reach);
  const auto end = std::upper_bound(begin, series_.x.end(), mass + reach);
  if (begin == end) return mass;
  const auto first = series_.y.begin() + (begin - series_.x.begin());
  return begin[std::max_element(first, first + (end - begin)) - first];
}

Document::Parts SpectrumDocument::OwnState() const {
  return {std::to_string(scan_), SpanText(combined_), SpanText(background_)};
}

void SpectrumDocument::SetOwnState(const Parts& parts) {
  const std::optional<double> scan = tools::ParseNumber(parts[0]);
  SetScan(scan && *scan >= 1 && *scan <= INT32_MAX ? static_cast<int32_t>(*scan) : 1);
  combined_ = ParseSpanText(parts[1]);
  background_ = ParseSpanText(parts[2]);
}

std::string SpectrumDocument::Subject() const {
  std::string text = Document::Subject() + ", ";
  text += combined_ ? "mean of " + RangeText(*combined_) : "scan " + std::to_string(scan_);
  if (background_) text += " less " + RangeText(*background_);
  return text;
}

Section SpectrumDocument::Table() const { return SeriesSection({series_}); }

// --- Maps

void MapDocument::Begin(const View& view) {
  reader_ = Reader();
  reading_ = std::make_unique<tools::MassMapReader>(*reader_, view.x, view.y, kMapSize);
  of_part_ = view.x || view.y;
}

void MapDocument::Read(const Appearance& appearance) {
  appearance_ = appearance;
  reading_.reset();
  scans_ = Reader()->ScanCount();
  Begin({});
  ShowRead();
}

void MapDocument::Grow(const Appearance& appearance) {
  const bool is_more = Reader()->ScanCount() >= scans_ + std::max(scans_ / kShareThatIsMore, 1);
  if (is_more && reading_ == nullptr) Read(appearance);
}

void MapDocument::Restyle(const Appearance& appearance) {
  appearance_ = appearance;
  chart_.Restyle(Style(appearance_));
}

void MapDocument::ViewMoved() {
  if (reading_ != nullptr && !of_part_) return;  // follows when the whole is read
  reading_.reset();
  if (shows_part_) chart_.Show(whole_, Style(appearance_));
  shows_part_ = false;
  if (chart_.view() != View()) Begin(chart_.view());
}

bool MapDocument::Step() {
  if (reading_ == nullptr) return false;
  const auto begin = std::chrono::steady_clock::now();
  const bool goes_on = reading_->Step(scans_of_step_);
  const bool was_short = 2 * (std::chrono::steady_clock::now() - begin) < kStepTime;
  scans_of_step_ = was_short ? 2 * scans_of_step_ : std::max<size_t>(scans_of_step_ / 2, 1);
  if (goes_on) return true;
  ShowRead();
  const bool was_whole = !of_part_;
  reading_.reset();
  if (was_whole) ViewMoved();
  return reading_ != nullptr;
}

void MapDocument::ShowRead() {
  if (reading_ == nullptr) return;
  if (!of_part_) whole_ = reading_->map();
  // A part only when it is read: until then the whole says more.
  if (of_part_ && reading_->part() < 1) return;
  chart_.Show(reading_->map(), Style(appearance_));
  shows_part_ = of_part_;
}

Section MapDocument::CellSection(const tools::MassMap& map) {
  Section section = {.key = "cells", .title = "Cells"};
  std::vector<float> times;
  std::vector<float> masses;
  const auto at = [](const Window& range, int32_t cell, int32_t cells) {
    return range.low +
           (range.high - range.low) * (static_cast<float>(cell) + 0.5F) / static_cast<float>(cells);
  };
  for (int32_t column = 0; column < map.columns; ++column) {
    for (int32_t row = 0; row < map.rows; ++row) {
      times.push_back(at(map.times, column, map.columns));
      masses.push_back(at(map.masses, row, map.rows));
    }
  }
  section.columns = {{"time", "Time (min)", std::move(times)},
                     {"mass", "m/z", std::move(masses)},
                     {"intensity", "Intensity", map.highest}};
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
      scans.Add(*Reader());
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
