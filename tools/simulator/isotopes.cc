#include "tools/simulator/isotopes.h"

#include <cmath>

namespace tervalon::tools {
namespace {

using Pattern = std::vector<IsotopePeak>;

// The pattern of two molecules or atoms together, cut to `count` peaks.
Pattern Joined(const Pattern& a, const Pattern& b, size_t count) {
  Pattern joined(std::min(count, a.size() + b.size() - 1), {0, 0});
  for (size_t i = 0; i < a.size(); ++i) {
    for (size_t j = 0; j < b.size() && i + j < joined.size(); ++j) {
      const double abundance = a[i].abundance * b[j].abundance;
      joined[i + j].abundance += abundance;
      joined[i + j].mass += abundance * (a[i].mass + b[j].mass);
    }
  }
  for (IsotopePeak& peak : joined) {
    peak.mass = peak.abundance > 0 ? peak.mass / peak.abundance : 0;
  }
  return joined;
}

// The pattern of `atoms` atoms of an element, by repeated doubling.
Pattern Repeated(Pattern element, int atoms, size_t count) {
  Pattern result = {{0, 1}};
  for (; atoms > 0; atoms /= 2) {
    if (atoms % 2 != 0) {
      result = Joined(result, element, count);
    }
    element = Joined(element, element, count);
  }
  return result;
}

}  // namespace

Formula AveragePeptide(double mass) {
  constexpr double kResidueMass = 111.1254;
  const double residues = mass / kResidueMass;
  const auto atoms = [residues](double per_residue) {
    return static_cast<int>(std::lround(residues * per_residue));
  };
  return {.carbon = atoms(4.9384),
          .hydrogen = atoms(7.7583),
          .nitrogen = atoms(1.3577),
          .oxygen = atoms(1.4773),
          .sulfur = atoms(0.0417)};
}

std::vector<IsotopePeak> IsotopePattern(const Formula& formula, int count) {
  const Pattern carbon = {{12, 0.9893}, {13.00335484, 0.0107}};
  const Pattern hydrogen = {{1.00782503, 0.999885}, {2.01410178, 0.000115}};
  const Pattern nitrogen = {{14.00307401, 0.99636}, {15.00010890, 0.00364}};
  const Pattern oxygen = {{15.99491462, 0.99757}, {16.99913176, 0.00038}, {17.99915961, 0.00205}};
  const Pattern sulfur = {{31.97207117, 0.9499}, {32.97145891, 0.0075}, {33.96786701, 0.0425}};
  const auto limit = static_cast<size_t>(count);
  Pattern pattern = Repeated(carbon, formula.carbon, limit);
  pattern = Joined(pattern, Repeated(hydrogen, formula.hydrogen, limit), limit);
  pattern = Joined(pattern, Repeated(nitrogen, formula.nitrogen, limit), limit);
  pattern = Joined(pattern, Repeated(oxygen, formula.oxygen, limit), limit);
  return Joined(pattern, Repeated(sulfur, formula.sulfur, limit), limit);
}

}  // namespace tervalon::tools
