#include "tools/processing/peak_search.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/print/failure.h"
#include "tools/print/text.h"
#include "tools/processing/results.h"

namespace tervalon::tools {
namespace {

constexpr const char* kBaselines[] = {"dropped", "valleys", "tangent"};

// The mass that a trace of one mass is of.
std::optional<double> MassOf(const TraceRequest& trace) {
  if (!trace.is_mass() || trace.members.size() != 1 || trace.members[0].is_range) {
    return std::nullopt;
  }
  const Window& window = trace.members[0].window;
  return (double{window.low} + window.high) / 2;
}

// The peak that a target means: nearest to its time, or the largest.
std::optional<PrcPeak> Chosen(const std::vector<PrcPeak>& peaks, const Target& target) {
  std::optional<PrcPeak> chosen;
  for (const PrcPeak& peak : peaks) {
    if (!target.time) {
      if (!chosen || peak.area > chosen->area) chosen = peak;
      continue;
    }
    const float distance = std::abs(peak.time - *target.time);
    if (distance <= target.window &&
        (!chosen || distance < std::abs(chosen->time - *target.time))) {
      chosen = peak;
    }
  }
  return chosen;
}

}  // namespace

std::vector<PrcPeak> FindPeaks(const std::string& subject, const std::vector<float>& times,
                               const std::vector<float>& values, const PeakSearch& search,
                               float* noise) {
  PrcPeaks peaks = {};
  CheckProcessing(
      PrcFindPeaks(&search.search, times.data(), values.data(), static_cast<int32_t>(times.size()),
                   search.calibration ? &*search.calibration : nullptr, &peaks),
      subject);
  *noise = peaks.noise;
  return Taken<PrcPeak>(peaks.peaks, peaks.count);
}

std::vector<FoundPeak> FindTracePeaks(const DataReader& reader,
                                      const std::vector<TraceRequest>& traces,
                                      const PeakSearch& search) {
  std::vector<FoundPeak> found;
  for (const TraceRequest& request : traces) {
    const Trace trace = ReadTrace(reader, request);
    FoundPeak one = {.trace = trace.title, .mass = MassOf(request), .has_scans = !trace.is_analog};
    const std::string subject = reader.Subject() + ", trace " + trace.title;
    for (const PrcPeak& peak : FindPeaks(subject, trace.times, trace.values, search, &one.noise)) {
      one.peak = peak;
      found.push_back(one);
    }
  }
  return found;
}

std::vector<FoundPeak> FindTargets(const DataReader& reader, const std::vector<Target>& targets,
                                   const PeakSearch& search) {
  std::vector<WindowSum> sums;
  for (const Target& target : targets) {
    sums.push_back({.windows = {WindowAround(target.mass, target.tolerance)}});
    CheckHasMasses(reader, sums.back().windows[0], ExactText(target.mass));
  }
  const Chromatogram read = reader.ReadSums(sums);
  std::vector<FoundPeak> found;
  for (size_t i = 0; i < targets.size(); ++i) {
    FoundPeak one = {
        .trace = ExactText(targets[i].mass), .mass = targets[i].mass, .target = targets[i]};
    const std::string subject = reader.Subject() + ", target " + targets[i].name;
    one.peak =
        Chosen(FindPeaks(subject, read.times, read.traces[i], search, &one.noise), targets[i]);
    found.push_back(std::move(one));
  }
  return found;
}

Section PeakSection(const std::string& title, const std::vector<FoundPeak>& peaks,
                    bool for_people) {
  Section section = {.key = "peaks", .title = title};
  const bool targets = !peaks.empty() && peaks[0].target.has_value();
  // `fill` sets a cell where there is something to tell.
  const auto column = [&](const char* key, const char* heading, int decimals, auto fill) {
    std::vector<Value> cells(peaks.size());
    for (size_t i = 0; i < cells.size(); ++i) fill(peaks[i], cells[i]);
    section.columns.push_back({key, heading, std::move(cells), decimals});
  };
  const auto of_peak = [&](const char* key, const char* heading, int decimals, auto member) {
    column(key, heading, decimals, [member](const FoundPeak& found, Value& cell) {
      if (found.peak) cell = *found.peak.*member;
    });
  };
  // Measures for which 0 says that there is none.
  const auto measure = [&](const char* key, const char* heading, int decimals,
                           float PrcPeak::*member) {
    column(key, heading, decimals, [member](const FoundPeak& found, Value& cell) {
      if (found.peak && *found.peak.*member != 0) cell = *found.peak.*member;
    });
  };
  const auto point = [&](const char* key, int32_t PrcPeak::*member) {
    column(key, "", 0, [member](const FoundPeak& found, Value& cell) {
      if (found.peak && found.has_scans) cell = int64_t{*found.peak.*member};
    });
  };
  if (targets) {
    column("name", "Name", -1,
           [](const FoundPeak& found, Value& cell) { cell = found.target->name; });
    column("mz", "m/z", 4, [](const FoundPeak& found, Value& cell) { cell = found.target->mass; });
    column("expected", "Expected (min)", 3, [](const FoundPeak& found, Value& cell) {
      if (found.target->time) cell = *found.target->time;
    });
  } else {
    column("trace", "Trace", -1, [](const FoundPeak& found, Value& cell) { cell = found.trace; });
  }
  of_peak("time", targets ? "Found" : "Time (min)", 3, &PrcPeak::time);
  of_peak("start", "Start", 3, &PrcPeak::start_time);
  of_peak("end", "End", 3, &PrcPeak::end_time);
  of_peak("height", "Height", -1, &PrcPeak::height);
  of_peak("area", "Area", -1, &PrcPeak::area);
  measure("width", "Width", 4, &PrcPeak::width);
  measure("asymmetry", "Asymmetry", 2, &PrcPeak::asymmetry);
  measure("signal_to_noise", "S/N", 1, &PrcPeak::signal_to_noise);
  const bool has_index = std::ranges::any_of(
      peaks, [](const FoundPeak& found) { return found.peak && found.peak->retention_index != 0; });
  if (has_index || !for_people) measure("retention_index", "Index", 1, &PrcPeak::retention_index);
  if (!for_people) {
    point("scan", &PrcPeak::apex);
    point("start_scan", &PrcPeak::start);
    point("end_scan", &PrcPeak::end);
    of_peak("start_intensity", "", -1, &PrcPeak::start_intensity);
    of_peak("end_intensity", "", -1, &PrcPeak::end_intensity);
    column("group", "", 0, [](const FoundPeak& found, Value& cell) {
      if (found.peak) cell = int64_t{found.peak->group};
    });
    column("baseline", "", -1, [](const FoundPeak& found, Value& cell) {
      if (found.peak) cell = std::string(kBaselines[found.peak->baseline]);
    });
  }
  return section;
}

}  // namespace tervalon::tools
