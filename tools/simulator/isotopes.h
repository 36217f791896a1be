// Isotope patterns of molecules.

#ifndef TOOLS_SIMULATOR_ISOTOPES_H_
#define TOOLS_SIMULATOR_ISOTOPES_H_

#include <vector>

namespace tervalon::tools {

struct Formula {
  int carbon = 0;
  int hydrogen = 0;
  int nitrogen = 0;
  int oxygen = 0;
  int sulfur = 0;
};

struct IsotopePeak {
  double mass;       // mean of the molecules with the same number of extra neutrons
  double abundance;  // all peaks of a molecule together: 1
};

// The formula of an average peptide of about `mass`.
Formula AveragePeptide(double mass);

// The first `count` peaks, the one of the lightest isotopes first.
std::vector<IsotopePeak> IsotopePattern(const Formula& formula, int count);

// The mass that a positive charge brings.
inline constexpr double kProtonMass = 1.00727646688;

}  // namespace tervalon::tools

#endif  // TOOLS_SIMULATOR_ISOTOPES_H_
