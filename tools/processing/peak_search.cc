#include "tools/processing/peak_search.h"

#include <algorithm>
#include <cmath>
#include <iterator>
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
  const auto column = [&](const char* key, const char* heading, int decimals, auto value) {
    std::vector<Value> cells;
    std::ranges::transform(peaks, std::back_inserter(cells), value);
    section.columns.push_back({key, heading, std::move(cells), decimals});
  };
  const auto of_peak = [&](const char* key, const char* heading, int decimals, auto value) {
    column(key, heading, decimals, [&](const FoundPeak& found) {
      return found.peak ? Value(value(*found.peak)) : Value();
    });
  };
  // Measures for which 0 says that there is none.
  const auto measure = [&](const char* key, const char* heading, int decimals,
                           float PrcPeak::*member) {
    of_peak(key, heading, decimals, [member](const PrcPeak& peak) {
      return peak.*member != 0 ? Value(peak.*member) : Value();
    });
  };
  const auto point = [&](const char* key, int32_t PrcPeak::*member) {
    column(key, "", 0, [member](const FoundPeak& found) {
      return found.peak && found.has_scans ? Value(int64_t{*found.peak.*member}) : Value();
    });
  };
  if (targets) {
    column("name", "Name", -1, [](const FoundPeak& found) { return found.target->name; });
    column("mz", "m/z", 4, [](const FoundPeak& found) { return found.target->mass; });
    column("expected", "Expected (min)", 3, [](const FoundPeak& found) {
      return found.target->time ? Value(*found.target->time) : Value();
    });
  } else {
    column("trace", "Trace", -1, [](const FoundPeak& found) { return found.trace; });
  }
  of_peak("time", targets ? "Found" : "Time (min)", 3,
          [](const PrcPeak& peak) { return peak.time; });
  of_peak("start", "Start", 3, [](const PrcPeak& peak) { return peak.start_time; });
  of_peak("end", "End", 3, [](const PrcPeak& peak) { return peak.end_time; });
  of_peak("height", "Height", -1, [](const PrcPeak& peak) { return peak.height; });
  of_peak("area", "Area", -1, [](const PrcPeak& peak) { return peak.area; });
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
    of_peak("start_intensity", "", -1, [](const PrcPeak& peak) { return peak.start_intensity; });
    of_peak("end_intensity", "", -1, [](const PrcPeak& peak) { return peak.end_intensity; });
    of_peak("group", "", 0, [](const PrcPeak& peak) { return int64_t{peak.group}; });
    of_peak("baseline", "", -1,
            [](const PrcPeak& peak) { return std::string(kBaselines[peak.baseline]); });
  }
  return section;
}

}  // namespace tervalon::tools
