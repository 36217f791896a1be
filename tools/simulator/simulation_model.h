// A made-up LC-MS run: what an instrument would see of a few compounds at any moment. Knows nothing
// of files.

#ifndef TOOLS_SIMULATOR_SIMULATION_MODEL_H_
#define TOOLS_SIMULATOR_SIMULATION_MODEL_H_

#include <cstdint>
#include <random>
#include <vector>

namespace tervalon::tools {

struct Points {
  std::vector<float> masses;  // m/z, ascending; empty where they are evenly spaced or channels
  std::vector<float> intensities;
};

struct MassRange {
  double low;
  double high;
};

class SimulationModel {
 public:
  // The run lasts `duration` minutes; equal seeds give equal runs.
  SimulationModel(double duration, uint64_t seed);

  // What each kind of function records at a time (minutes). Every call draws new noise.
  Points Centroids(double time, MassRange range);
  Points Continuum(double time, MassRange range, int count);
  Points Channels(double time, const std::vector<float>& masses);

  // What the analog channels record: absorbance (mAU), ahead of the spectrometer by the time that
  // the flow takes to it, and the pressure of a gradient pump (bar).
  std::vector<float> Analog(double time);

  // When the strongest compound elutes.
  double StrongestApex() const;

  // The m/z of the compounds' strongest ions below `highest`, in the order of elution.
  std::vector<float> MainMasses(double highest) const;

 private:
  struct Ion {
    double mass;  // m/z
    double abundance;
  };
  struct Compound {
    double apex;   // minutes
    double width;  // standard deviation, minutes
    double tail;   // time constant, minutes
    double height;
    std::vector<Ion> ions;
  };

  double Uniform();
  double Gaussian();
  double Noisy(double intensity);  // with the noise of counting
  std::vector<Ion> IonsAt(double time) const;

  double duration_;
  std::vector<Compound> compounds_;
  std::mt19937_64 random_;
  std::mt19937_64 analog_random_;  // of its own: equal spectra with and without analog channels
};

}  // namespace tervalon::tools

#endif  // TOOLS_SIMULATOR_SIMULATION_MODEL_H_
