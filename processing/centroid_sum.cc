// Peaks of many scans merged.

#include <algorithm>
#include <cmath>
#include <numeric>

#include "processing/arrays.h"
#include "processing/scan_sums.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

constexpr size_t kWaiting = 65536;  // points that are added up together, at least

}  // namespace

int32_t CentroidSum::Add(const ScanPoints& scan, Addend addend) {
  if (!AllFinite(scan.masses, scan.count) || !AllFinite(scan.intensities, scan.count)) {
    return PRC_NOT_FINITE;
  }
  for (size_t i = 0; i < scan.count; ++i) {
    const double intensity = scan.intensities[i];
    if (intensity <= 0) continue;
    const bool counts = addend == Addend::kScan;
    masses_.push_back({scan.masses[i], counts ? intensity : 0, counts ? 0 : intensity});
  }
  if (masses_.size() > 2 * different_ + kWaiting) AddUp();
  return PRC_OK;
}

void CentroidSum::AddUp() {
  const auto below = [](const Mass& a, const Mass& b) { return a.mass < b.mass; };
  // Equal masses stay in the order in which they came.
  const auto added = masses_.begin() + static_cast<ptrdiff_t>(different_);
  std::stable_sort(added, masses_.end(), below);
  std::inplace_merge(masses_.begin(), added, masses_.end(), below);
  size_t last = 0;
  for (size_t i = 1; i < masses_.size(); ++i) {
    if (masses_[i].mass == masses_[last].mass) {
      masses_[last].scans += masses_[i].scans;
      masses_[last].background += masses_[i].background;
    } else {
      masses_[++last] = masses_[i];
    }
  }
  different_ = masses_.empty() ? 0 : last + 1;
  masses_.resize(different_);
}

size_t CentroidSum::LowestBegin(size_t at, double tolerance, const std::vector<bool>& taken) const {
  const double least = masses_[at].mass - tolerance;
  while (at > 0 && !taken[at - 1] && masses_[at - 1].mass >= least) --at;
  return at;
}

size_t CentroidSum::HighestEnd(size_t at, double tolerance, const std::vector<bool>& taken) const {
  const double most = masses_[at].mass + tolerance;
  while (++at < masses_.size() && !taken[at] && masses_[at].mass <= most) {
  }
  return at;
}

void CentroidSum::Combine(const Factors& factors, const Tolerance& tolerance,
                          CombinedPoints* combined) {
  AddUp();
  std::vector<size_t> order(masses_.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [this](size_t a, size_t b) { return masses_[a].scans > masses_[b].scans; });

  struct Peak {
    size_t begin;
    double mass;
    double intensity;
  };
  std::vector<Peak> peaks;
  std::vector<bool> taken(masses_.size());
  for (const size_t at : order) {
    if (masses_[at].scans == 0) break;
    if (taken[at]) continue;
    const double mass = masses_[at].mass;
    const double reach = tolerance.At(std::abs(mass));
    const size_t begin = LowestBegin(at, reach, taken);
    const size_t end = HighestEnd(at, reach, taken);
    double scans = 0;
    double background = 0;
    double moment = 0;
    for (size_t i = begin; i < end; ++i) {
      taken[i] = true;
      scans += masses_[i].scans;
      background += masses_[i].background;
      moment += masses_[i].scans * (masses_[i].mass - mass);
    }
    const double intensity = scans * factors.scans - background * factors.background;
    if (intensity > 0) peaks.push_back({begin, mass + moment / scans, intensity});
  }
  std::sort(peaks.begin(), peaks.end(),
            [](const Peak& a, const Peak& b) { return a.begin < b.begin; });
  for (const Peak& peak : peaks) {
    combined->masses.push_back(ToFloat(peak.mass));
    combined->intensities.push_back(ToFloat(peak.intensity));
  }
}

}  // namespace tervalon::processing
