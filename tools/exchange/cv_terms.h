// The terms of the PSI-MS and unit ontologies that mzML files are described in, each here once.

#ifndef TOOLS_EXCHANGE_CV_TERMS_H_
#define TOOLS_EXCHANGE_CV_TERMS_H_

namespace tervalon::tools {

struct CvTerm {
  const char* accession;  // its part before ":" is the ontology
  const char* name;
};

namespace cv {

// Units
inline constexpr CvTerm kMassToCharge = {"MS:1000040", "m/z"};
inline constexpr CvTerm kDetectorCounts = {"MS:1000131", "number of detector counts"};
inline constexpr CvTerm kNanometer = {"UO:0000018", "nanometer"};
inline constexpr CvTerm kMinute = {"UO:0000031", "minute"};
inline constexpr CvTerm kSecond = {"UO:0000010", "second"};

// What a file holds and where it comes from
inline constexpr CvTerm kMassSpectrum = {"MS:1000294", "mass spectrum"};
inline constexpr CvTerm kRadiationSpectrum = {"MS:1000804", "electromagnetic radiation spectrum"};
inline constexpr CvTerm kIonCurrentChromatogram = {"MS:1000810", "ion current chromatogram"};
inline constexpr CvTerm kRadiationChromatogram = {"MS:1000811",
                                                  "electromagnetic radiation chromatogram"};
inline constexpr CvTerm kAcquisitionParameterFile = {"MS:1000740", "parameter file"};
inline constexpr CvTerm kNoNativeIdFormat = {"MS:1000824", "no nativeID format"};
inline constexpr CvTerm kSha1 = {"MS:1000569", "SHA-1"};
inline constexpr CvTerm kSampleName = {"MS:1000002", "sample name"};
inline constexpr CvTerm kSampleNumber = {"MS:1000001", "sample number"};
inline constexpr CvTerm kContactName = {"MS:1000586", "contact name"};
inline constexpr CvTerm kContactAffiliation = {"MS:1000590", "contact affiliation"};
inline constexpr CvTerm kCustomSoftware = {"MS:1000799", "custom unreleased software tool"};
inline constexpr CvTerm kConversionToMzml = {"MS:1000544", "Conversion to mzML"};

// Instruments
inline constexpr CvTerm kInstrumentModel = {"MS:1000031", "instrument model"};
inline constexpr CvTerm kIonizationType = {"MS:1000008", "ionization type"};
inline constexpr CvTerm kElectronIonization = {"MS:1000389", "electron ionization"};
inline constexpr CvTerm kChemicalIonization = {"MS:1000071", "chemical ionization"};
inline constexpr CvTerm kFastAtomBombardment = {"MS:1000074", "fast atom bombardment ionization"};
inline constexpr CvTerm kThermospray = {"MS:1000069", "thermospray ionization"};
inline constexpr CvTerm kElectrospray = {"MS:1000073", "electrospray ionization"};
inline constexpr CvTerm kAtmosphericPressure = {"MS:1000240", "atmospheric pressure ionization"};
inline constexpr CvTerm kLaserDesorption = {"MS:1000393", "laser desorption ionization"};
inline constexpr CvTerm kAnalyzerType = {"MS:1000443", "mass analyzer type"};
inline constexpr CvTerm kTimeOfFlight = {"MS:1000084", "time-of-flight"};
inline constexpr CvTerm kMagneticSector = {"MS:1000080", "magnetic sector"};
inline constexpr CvTerm kDetectorType = {"MS:1000026", "detector type"};

// Spectra
inline constexpr CvTerm kMs1Spectrum = {"MS:1000579", "MS1 spectrum"};
inline constexpr CvTerm kMsnSpectrum = {"MS:1000580", "MSn spectrum"};
inline constexpr CvTerm kSimSpectrum = {"MS:1000582", "SIM spectrum"};
inline constexpr CvTerm kSrmSpectrum = {"MS:1000583", "SRM spectrum"};
inline constexpr CvTerm kPrecursorIonSpectrum = {"MS:1000341", "precursor ion spectrum"};
inline constexpr CvTerm kNeutralLossSpectrum = {"MS:1000326", "constant neutral loss spectrum"};
inline constexpr CvTerm kNeutralGainSpectrum = {"MS:1000325", "constant neutral gain spectrum"};
inline constexpr CvTerm kMsLevel = {"MS:1000511", "ms level"};
inline constexpr CvTerm kPositiveScan = {"MS:1000130", "positive scan"};
inline constexpr CvTerm kNegativeScan = {"MS:1000129", "negative scan"};
inline constexpr CvTerm kCentroidSpectrum = {"MS:1000127", "centroid spectrum"};
inline constexpr CvTerm kProfileSpectrum = {"MS:1000128", "profile spectrum"};
inline constexpr CvTerm kTotalIonCurrent = {"MS:1000285", "total ion current"};
inline constexpr CvTerm kBasePeakMass = {"MS:1000504", "base peak m/z"};
inline constexpr CvTerm kBasePeakIntensity = {"MS:1000505", "base peak intensity"};
inline constexpr CvTerm kHighestMass = {"MS:1000527", "highest observed m/z"};
inline constexpr CvTerm kLowestMass = {"MS:1000528", "lowest observed m/z"};
inline constexpr CvTerm kHighestWavelength = {"MS:1000618", "highest observed wavelength"};
inline constexpr CvTerm kLowestWavelength = {"MS:1000619", "lowest observed wavelength"};
inline constexpr CvTerm kNoCombination = {"MS:1000795", "no combination"};
inline constexpr CvTerm kScanStartTime = {"MS:1000016", "scan start time"};
inline constexpr CvTerm kWindowLowerLimit = {"MS:1000501", "scan window lower limit"};
inline constexpr CvTerm kWindowUpperLimit = {"MS:1000500", "scan window upper limit"};
inline constexpr CvTerm kSelectedIonMass = {"MS:1000744", "selected ion m/z"};
inline constexpr CvTerm kIsolationTarget = {"MS:1000827", "isolation window target m/z"};
inline constexpr CvTerm kDissociationMethod = {"MS:1000044", "dissociation method"};

// Chromatograms
inline constexpr CvTerm kTotalIonChromatogram = {"MS:1000235", "total ion current chromatogram"};
inline constexpr CvTerm kBasePeakChromatogram = {"MS:1000628", "basepeak chromatogram"};
inline constexpr CvTerm kSimChromatogram = {"MS:1001472", "selected ion monitoring chromatogram"};
inline constexpr CvTerm kSrmChromatogram = {"MS:1001473",
                                            "selected reaction monitoring chromatogram"};
inline constexpr CvTerm kAbsorptionChromatogram = {"MS:1000812", "absorption chromatogram"};
inline constexpr CvTerm kPressureChromatogram = {"MS:1003019", "pressure chromatogram"};
inline constexpr CvTerm kFlowRateChromatogram = {"MS:1003020", "flow rate chromatogram"};

// Arrays
inline constexpr CvTerm kMassArray = {"MS:1000514", "m/z array"};
inline constexpr CvTerm kIntensityArray = {"MS:1000515", "intensity array"};
inline constexpr CvTerm kTimeArray = {"MS:1000595", "time array"};
inline constexpr CvTerm kWavelengthArray = {"MS:1000617", "wavelength array"};
inline constexpr CvTerm kOtherArray = {"MS:1000786", "non-standard data array"};
inline constexpr CvTerm kInt32 = {"MS:1000519", "32-bit integer"};
inline constexpr CvTerm kInt64 = {"MS:1000522", "64-bit integer"};
inline constexpr CvTerm kFloat32 = {"MS:1000521", "32-bit float"};
inline constexpr CvTerm kFloat64 = {"MS:1000523", "64-bit float"};
inline constexpr CvTerm kZlib = {"MS:1000574", "zlib compression"};
inline constexpr CvTerm kNoCompression = {"MS:1000576", "no compression"};
inline constexpr CvTerm kNumpressLinear = {"MS:1002312",
                                           "MS-Numpress linear prediction compression"};
inline constexpr CvTerm kNumpressPic = {"MS:1002313", "MS-Numpress positive integer compression"};
inline constexpr CvTerm kNumpressSlof = {"MS:1002314",
                                         "MS-Numpress short logged float compression"};
inline constexpr CvTerm kNumpressLinearZlib = {
    "MS:1002746", "MS-Numpress linear prediction compression followed by zlib compression"};
inline constexpr CvTerm kNumpressPicZlib = {
    "MS:1002747", "MS-Numpress positive integer compression followed by zlib compression"};
inline constexpr CvTerm kNumpressSlofZlib = {
    "MS:1002748", "MS-Numpress short logged float compression followed by zlib compression"};

}  // namespace cv
}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_CV_TERMS_H_
