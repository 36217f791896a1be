// Scans added along an axis.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "processing/arrays.h"
#include "processing/scan_sums.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

// Where the reach of each point ends and the next one's begins: half way, and at the ends as far
// outside as inside.
std::vector<double> Borders(const float* masses, size_t count) {
  std::vector<double> borders(count + 1);
  for (size_t i = 1; i < count; ++i)
    borders[i] = (static_cast<double>(masses[i - 1]) + masses[i]) / 2;
  borders[0] = masses[0] - (count > 1 ? borders[1] - masses[0] : 0);
  borders[count] = masses[count - 1] + (count > 1 ? masses[count - 1] - borders[count - 1] : 0);
  return borders;
}

}  // namespace

bool ContinuumSum::IsOnAxis(const ScanPoints& scan) const {
  return scan.count == axis_.size() &&
         std::memcmp(scan.masses, axis_.data(), scan.count * sizeof(float)) == 0;
}

double* ContinuumSum::SumsOf(Addend addend) {
  std::vector<double>& sums = addend == Addend::kScan ? scans_ : background_;
  sums.resize(axis_.size());
  return sums.data();
}

void ContinuumSum::AddAlike(const float* intensities, size_t count, Addend addend) {
  double* const sums = SumsOf(addend);
  for (size_t i = 0; i < count; ++i) sums[i] += static_cast<double>(intensities[i]);
}

void ContinuumSum::Add(const ScanPoints& scan, Addend addend) {
  if (scan.count > axis_.size()) axis_.assign(scan.masses, scan.masses + scan.count);
  AddAlike(scan.intensities, scan.count, addend);
}

int32_t ContinuumSum::AddResampled(const ScanPoints& scan, Addend addend) {
  for (const ScanPoints& points : {ScanPoints{axis_.data(), nullptr, axis_.size()}, scan}) {
    const int32_t error = CheckPositions(points.masses, points.count);
    if (error != PRC_OK) return error;
  }
  if (borders_.empty()) borders_ = Borders(axis_.data(), axis_.size());
  const std::vector<double> reach = Borders(scan.masses, scan.count);
  double* const sums = SumsOf(addend);
  const size_t last = axis_.size() - 1;
  size_t first = 0;
  for (size_t i = 0; i < scan.count; ++i) {
    const double width = reach[i + 1] - reach[i];
    while (first < last && borders_[first + 1] <= reach[i]) ++first;
    double begin = reach[i];
    for (size_t k = first;; ++k) {
      const bool ends = k == last || borders_[k + 1] >= reach[i + 1];
      const double end = ends ? reach[i + 1] : borders_[k + 1];
      sums[k] += width > 0 ? scan.intensities[i] * ((end - begin) / width)
                           : static_cast<double>(scan.intensities[i]);
      if (ends) break;
      begin = end;
    }
  }
  return PRC_OK;
}

int32_t ContinuumSum::Combine(const Factors& factors, CombinedPoints* combined) const {
  combined->masses = axis_;
  combined->intensities.reserve(axis_.size());
  bool finite = true;
  for (size_t i = 0; i < axis_.size(); ++i) {
    double sum = i < scans_.size() ? scans_[i] * factors.scans : 0;
    if (i < background_.size()) sum -= background_[i] * factors.background;
    finite = finite && std::isfinite(sum);
    combined->intensities.push_back(ToFloat(sum));
  }
  return finite ? PRC_OK : PRC_NOT_FINITE;
}

}  // namespace tervalon::processing
