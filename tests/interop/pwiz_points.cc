// The points of an mzML file as ProteoWizard reads them: pwiz_points FILE [sorted]
// Or whether two files have the same points but for what MS-Numpress rounds: pwiz_points FILE near
// OTHER

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <pwiz/data/msdata/MSDataFile.hpp>

#include "tests/interop/points.h"

namespace msdata = pwiz::msdata;

namespace {

std::vector<float> Floats(const msdata::BinaryDataArrayPtr& array) {
  std::vector<float> values;
  if (array) {
    for (const double value : array->data) values.push_back(static_cast<float>(value));
  }
  return values;
}

msdata::BinaryDataArrayPtr Masses(const msdata::Spectrum& spectrum) {
  const msdata::BinaryDataArrayPtr masses = spectrum.getMZArray();
  for (const auto& array : spectrum.binaryDataArrayPtrs) {
    if (!masses && array->hasCVParam(msdata::MS_wavelength_array)) return array;
  }
  return masses;
}

void Print(const msdata::MSData& file, bool sorted) {
  const msdata::SpectrumListPtr spectra = file.run.spectrumListPtr;
  for (size_t i = 0; spectra && i < spectra->size(); ++i) {
    const msdata::SpectrumPtr spectrum = spectra->spectrum(i, true);
    const auto time = spectrum->scanList.scans.at(0).cvParam(msdata::MS_scan_start_time);
    const auto current = spectrum->cvParam(msdata::MS_TIC);
    PrintSpectrum(spectrum->id, static_cast<float>(time.valueAs<double>()),
                  current.valueAs<float>(), Floats(Masses(*spectrum)),
                  Floats(spectrum->getIntensityArray()), sorted);
  }
  const msdata::ChromatogramListPtr chromatograms = file.run.chromatogramListPtr;
  for (size_t i = 0; chromatograms && i < chromatograms->size(); ++i) {
    const msdata::ChromatogramPtr one = chromatograms->chromatogram(i, true);
    PrintChromatogram(one->id, Floats(one->getTimeArray()), Floats(one->getIntensityArray()));
  }
}

// Masses and times are predicted from whole multiples of a part in 2^31 of the largest, twice;
// intensities are logarithms of 16 bits.
constexpr double kOfLargest = 2.0e-9;
constexpr double kOfEach = 2.0e-4;

size_t values_compared = 0;

bool AreNear(const std::string& id, const msdata::BinaryDataArrayPtr& exact,
             const msdata::BinaryDataArrayPtr& packed, bool is_axis) {
  const size_t size = exact ? exact->data.size() : 0;
  if (size != (packed ? packed->data.size() : 0)) {
    std::printf("%s: %zu values\n", id.c_str(), size);
    return false;
  }
  double largest = 0;
  for (size_t i = 0; i < size; ++i) largest = std::max(largest, std::fabs(exact->data[i]));
  for (size_t i = 0; i < size; ++i) {
    const double value = exact->data[i];
    // The logarithm is of one more than the value.
    const double limit = is_axis ? kOfLargest * largest : kOfEach * (std::fabs(value) + 1);
    if (!(std::fabs(packed->data[i] - value) <= limit)) {
      std::printf("%s: value %zu is %.12g, not %.12g\n", id.c_str(), i, packed->data[i], value);
      return false;
    }
  }
  values_compared += size;
  return true;
}

bool AreNear(const msdata::MSData& exact, const msdata::MSData& packed) {
  const auto& spectra = exact.run.spectrumListPtr;
  const auto& chromatograms = exact.run.chromatogramListPtr;
  bool near = true;
  for (size_t i = 0; spectra && i < spectra->size(); ++i) {
    const msdata::SpectrumPtr one = spectra->spectrum(i, true);
    const msdata::SpectrumPtr other = packed.run.spectrumListPtr->spectrum(i, true);
    near = near && one->id == other->id && AreNear(one->id, Masses(*one), Masses(*other), true) &&
           AreNear(one->id, one->getIntensityArray(), other->getIntensityArray(), false);
  }
  for (size_t i = 0; chromatograms && i < chromatograms->size(); ++i) {
    const msdata::ChromatogramPtr one = chromatograms->chromatogram(i, true);
    const msdata::ChromatogramPtr other = packed.run.chromatogramListPtr->chromatogram(i, true);
    near = near && one->id == other->id &&
           AreNear(one->id, one->getTimeArray(), other->getTimeArray(), true) &&
           AreNear(one->id, one->getIntensityArray(), other->getIntensityArray(), false);
  }
  return near && values_compared > 0;
}

}  // namespace

int main(int argc, char** argv) {
  const msdata::MSDataFile file(argv[1]);
  if (argc > 3 && std::strcmp(argv[2], "near") == 0) {
    return AreNear(msdata::MSDataFile(argv[3]), file) ? 0 : 1;
  }
  Print(file, argc > 2);
}
