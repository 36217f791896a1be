// What interop.sh compares: a line for each spectrum and chromatogram, with checksums of all points
// as 32-bit floats. Every reader prints the same lines in the same form.

#ifndef TESTS_INTEROP_POINTS_H_
#define TESTS_INTEROP_POINTS_H_

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

inline unsigned long Checksum(const std::vector<float>& values) {
  return crc32(0, reinterpret_cast<const Bytef*>(values.data()),
               static_cast<uInt>(values.size() * sizeof(float)));
}

// `sorted`: by masses, for readers that sort.
inline void PrintSpectrum(const std::string& id, float time, float total_ion_current,
                          std::vector<float> masses, std::vector<float> intensities, bool sorted) {
  if (sorted && masses.size() == intensities.size()) {
    std::vector<std::pair<float, float>> points;
    for (size_t i = 0; i < masses.size(); ++i) points.emplace_back(masses[i], intensities[i]);
    std::sort(points.begin(), points.end());
    for (size_t i = 0; i < masses.size(); ++i) {
      masses[i] = points[i].first;
      intensities[i] = points[i].second;
    }
  }
  std::printf("S %s time=%.9g tic=%.9g n=%zu %08lx %08lx\n", id.c_str(), time, total_ion_current,
              masses.size(), Checksum(masses), Checksum(intensities));
}

inline void PrintChromatogram(const std::string& id, const std::vector<float>& times,
                              const std::vector<float>& values) {
  std::printf("C %s n=%zu %08lx %08lx\n", id.c_str(), times.size(), Checksum(times),
              Checksum(values));
}

#endif  // TESTS_INTEROP_POINTS_H_
