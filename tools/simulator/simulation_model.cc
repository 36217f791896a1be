#include "tools/simulator/simulation_model.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tools/simulator/isotopes.h"

namespace tervalon::tools {
namespace {

constexpr int kIsotopePeaks = 6;
constexpr double kWeakestCentroid = 40;
constexpr double kContinuumPeakWidth = 0.22;  // standard deviation, m/z
constexpr double kContinuumShare = 0.4;       // of the centroid function's intensity, at the apex

struct CompoundDesign {
  Formula formula;
  int charge;
  double apex;  // as a share of the run
  double height;
};

std::vector<CompoundDesign> Designs() {
  return {
      {{.carbon = 8, .hydrogen = 10, .nitrogen = 4, .oxygen = 2}, 1, 0.16, 4.0e5},
      {{.carbon = 12, .hydrogen = 14, .nitrogen = 4, .oxygen = 4, .sulfur = 1}, 1, 0.31, 1.8e5},
      {{.carbon = 28, .hydrogen = 37, .nitrogen = 5, .oxygen = 7}, 1, 0.43, 2.6e5},
      {AveragePeptide(1060), 2, 0.52, 2.1e5},
      {{.carbon = 27, .hydrogen = 38, .nitrogen = 2, .oxygen = 4}, 1, 0.58, 5.2e5},
      {{.carbon = 33, .hydrogen = 40, .nitrogen = 2, .oxygen = 9}, 1, 0.67, 3.3e5},
      {{.carbon = 32, .hydrogen = 41, .nitrogen = 1, .oxygen = 2}, 1, 0.81, 1.2e5},
  };
}

// An exponentially modified Gaussian (the convolution of both), about 1 high for short tails.
double Elution(double time, double apex, double width, double tail) {
  const double from_apex = time - apex;
  if (from_apex < -6 * width || from_apex > 6 * width + 20 * tail) {
    return 0;
  }
  const double ratio = width / tail;
  const double area = width * std::sqrt(2 * std::numbers::pi);
  return area / (2 * tail) * std::exp(ratio * ratio / 2 - from_apex / tail) *
         std::erfc((ratio - from_apex / width) / std::numbers::sqrt2);
}

}  // namespace

SimulationModel::SimulationModel(double duration, uint64_t seed)
    : duration_(duration), random_(seed), analog_random_(seed) {
  for (const CompoundDesign& design : Designs()) {
    Compound compound = {.apex = design.apex * duration,
                         .width = 0.008 * duration,
                         .tail = 0.006 * duration,
                         .height = design.height,
                         .ions = {}};
    for (const IsotopePeak& peak : IsotopePattern(design.formula, kIsotopePeaks)) {
      compound.ions.push_back({peak.mass / design.charge + kProtonMass, peak.abundance});
    }
    compounds_.push_back(std::move(compound));
  }
}

// The library's distributions may differ from platform to platform; the engine may not.
double SimulationModel::Uniform() { return static_cast<double>(random_() >> 11) * 0x1p-53; }

double SimulationModel::Gaussian() {
  const double radius = std::sqrt(-2 * std::log(1 - Uniform()));
  return radius * std::cos(2 * std::numbers::pi * Uniform());
}

double SimulationModel::Noisy(double intensity) {
  constexpr double kCountsPerIon = 12;
  return std::max(0.0, intensity + Gaussian() * std::sqrt(kCountsPerIon * intensity));
}

std::vector<SimulationModel::Ion> SimulationModel::IonsAt(double time) const {
  std::vector<Ion> ions;
  for (const Compound& compound : compounds_) {
    const double height =
        compound.height * Elution(time, compound.apex, compound.width, compound.tail);
    for (const Ion& ion : compound.ions) {
      if (height * ion.abundance > 1) {
        ions.push_back({ion.mass, height * ion.abundance});
      }
    }
  }
  return ions;
}

Points SimulationModel::Centroids(double time, MassRange range) {
  std::vector<Ion> peaks;
  for (const Ion& ion : IonsAt(time)) {
    const double parts_per_million = Gaussian() * (0.5 + 60 / std::sqrt(ion.abundance));
    peaks.push_back({ion.mass * (1 + parts_per_million * 1e-6), Noisy(ion.abundance)});
  }
  // Chemical background: ions somewhat above whole numbers, more of them at low masses.
  const int background = 60 + static_cast<int>(30 * Uniform());
  for (int i = 0; i < background; ++i) {
    const double share = Uniform() * Uniform();
    const double mass = std::floor(range.low + share * (range.high - range.low)) * (1 + 0.00048) +
                        0.03 * Gaussian();
    peaks.push_back({mass, -120 * std::log(1 - Uniform())});
  }
  std::erase_if(peaks, [range](const Ion& ion) {
    return ion.abundance < kWeakestCentroid || ion.mass < range.low || ion.mass > range.high;
  });
  std::ranges::sort(peaks, {}, &Ion::mass);
  Points points;
  for (const Ion& peak : peaks) {
    points.masses.push_back(static_cast<float>(peak.mass));
    points.intensities.push_back(static_cast<float>(std::round(peak.abundance)));
  }
  return points;
}

Points SimulationModel::Continuum(double time, MassRange range, int count) {
  const double step = (range.high - range.low) / (count - 1);
  std::vector<double> signal(static_cast<size_t>(count), 0);
  for (const Ion& ion : IonsAt(time)) {
    const double reach = 5 * kContinuumPeakWidth;
    const int first = std::max(0, static_cast<int>((ion.mass - reach - range.low) / step));
    const int last = std::min(count - 1, static_cast<int>((ion.mass + reach - range.low) / step));
    for (int i = first; i <= last; ++i) {
      const double distance = (range.low + i * step - ion.mass) / kContinuumPeakWidth;
      signal[static_cast<size_t>(i)] +=
          kContinuumShare * ion.abundance * std::exp(-distance * distance / 2);
    }
  }
  Points points;
  for (const double intensity : signal) {
    constexpr double kBaseline = 20;
    constexpr double kElectronicNoise = 6;
    points.intensities.push_back(static_cast<float>(
        std::round(std::max(0.0, kBaseline + kElectronicNoise * Gaussian() + Noisy(intensity)))));
  }
  return points;
}

Points SimulationModel::Channels(double time, const std::vector<float>& masses) {
  constexpr double kHalfWindow = 0.5;
  constexpr double kGain = 2.5;  // a channel is watched for longer than a scan dwells on a mass
  const std::vector<Ion> ions = IonsAt(time);
  Points points;
  for (const float mass : masses) {
    double intensity = 30 - 30 * std::log(1 - Uniform());
    for (const Ion& ion : ions) {
      if (std::abs(ion.mass - mass) < kHalfWindow) {
        intensity += kGain * ion.abundance;
      }
    }
    points.intensities.push_back(static_cast<float>(std::round(Noisy(intensity))));
  }
  return points;
}

std::vector<float> SimulationModel::Analog(double time) {
  constexpr double kBaseline = 12;
  constexpr double kDrift = 8;
  constexpr double kIntensityOfOne = 450;  // what the spectrometer sees of 1 mAU
  constexpr double kFlowTime = 0.03;       // minutes
  const double share = time / duration_;
  double absorbance = kBaseline + kDrift * share;
  for (const Compound& compound : compounds_) {
    absorbance += compound.height / kIntensityOfOne *
                  Elution(time + kFlowTime, compound.apex, compound.width, compound.tail);
  }
  const double pressure = 180 + 60 * std::sin(std::numbers::pi * (0.1 + 0.8 * share));
  std::vector<float> values;
  for (const double value : {absorbance, pressure}) {
    const double noise = static_cast<double>(analog_random_() >> 11) * 0x1p-53 - 0.5;
    values.push_back(static_cast<float>(std::round(value + 2 * noise)));
  }
  return values;
}

double SimulationModel::StrongestApex() const {
  return std::ranges::max_element(compounds_, {}, &Compound::height)->apex;
}

std::vector<float> SimulationModel::MainMasses(double highest) const {
  std::vector<float> masses;
  for (const Compound& compound : compounds_) {
    const Ion& main = *std::ranges::max_element(compound.ions, {}, &Ion::abundance);
    if (main.mass < highest) {
      masses.push_back(static_cast<float>(main.mass));
    }
  }
  return masses;
}

}  // namespace tervalon::tools
