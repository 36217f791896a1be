// What scans are added up in.

#ifndef PROCESSING_SCAN_SUMS_H_
#define PROCESSING_SCAN_SUMS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tervalon::processing {

// The points of one scan.
struct ScanPoints {
  const float* masses;
  const float* intensities;
  size_t count;
};

// What becomes of the sums: scans times their factor, less background times its own.
struct Factors {
  double scans;
  double background;
};

struct CombinedPoints {
  std::vector<float> masses;
  std::vector<float> intensities;
};

// Both are added to in the order of calls: the same order gives the same bits.
enum class Addend : uint8_t { kScan, kBackground };

// Samples along the axis of the first scan that is added.
class ContinuumSum {
 public:
  bool has_axis() const { return !axis_.empty(); }
  bool IsOnAxis(const ScanPoints& scan) const;

  // Point by point. A longer scan makes the axis longer.
  void Add(const ScanPoints& scan, Addend addend);

  // Of `masses` nothing is needed: as many points as the axis, or fewer.
  void AddAlike(const float* intensities, size_t count, Addend addend);

  // Onto the axis. Returns a code of the family.
  int32_t AddResampled(const ScanPoints& scan, Addend addend);

  int32_t Combine(const Factors& factors, CombinedPoints* combined) const;

 private:
  double* SumsOf(Addend addend);

  std::vector<float> axis_;
  std::vector<double> borders_;  // between the points of the axis, when first needed
  std::vector<double> scans_;
  std::vector<double> background_;  // empty without any
};

// Peaks, each point being one.
class CentroidSum {
 public:
  int32_t Add(const ScanPoints& scan, Addend addend);

  struct Tolerance {
    double value;
    bool ppm;

    double At(double mass) const { return ppm ? mass * value * 1e-6 : value; }
  };
  void Combine(const Factors& factors, const Tolerance& tolerance, CombinedPoints* combined);

 private:
  // All points of one mass.
  struct Mass {
    float mass;
    double scans;
    double background;
  };

  void AddUp();  // points of equal masses
  size_t HighestEnd(size_t at, double tolerance, const std::vector<bool>& taken) const;
  size_t LowestBegin(size_t at, double tolerance, const std::vector<bool>& taken) const;

  std::vector<Mass> masses_;
  size_t different_ = 0;  // of the masses in front, which are in order
};

}  // namespace tervalon::processing

#endif  // PROCESSING_SCAN_SUMS_H_
