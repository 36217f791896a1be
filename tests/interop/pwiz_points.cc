// The points of an mzML file as ProteoWizard reads them: pwiz_points FILE [sorted]

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

}  // namespace

int main(int argc, char** argv) {
  const msdata::MSDataFile file(argv[1]);
  const msdata::SpectrumListPtr spectra = file.run.spectrumListPtr;
  for (size_t i = 0; spectra && i < spectra->size(); ++i) {
    const msdata::SpectrumPtr spectrum = spectra->spectrum(i, true);
    const auto time = spectrum->scanList.scans.at(0).cvParam(msdata::MS_scan_start_time);
    const auto current = spectrum->cvParam(msdata::MS_TIC);
    PrintSpectrum(spectrum->id, static_cast<float>(time.valueAs<double>()),
                  current.valueAs<float>(), Floats(Masses(*spectrum)),
                  Floats(spectrum->getIntensityArray()), argc > 2);
  }
  const msdata::ChromatogramListPtr chromatograms = file.run.chromatogramListPtr;
  for (size_t i = 0; chromatograms && i < chromatograms->size(); ++i) {
    const msdata::ChromatogramPtr one = chromatograms->chromatogram(i, true);
    PrintChromatogram(one->id, Floats(one->getTimeArray()), Floats(one->getIntensityArray()));
  }
}
