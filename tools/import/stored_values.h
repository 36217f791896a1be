// What the data types of functions make of masses and intensities, to find the one in which the
// values of a function fit.

#ifndef TOOLS_IMPORT_STORED_VALUES_H_
#define TOOLS_IMPORT_STORED_VALUES_H_

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tervalon::tools {

// False for types of which no points are stored.
bool IsStored(int data_type);
// Whether points have masses of their own; those of other types are spaced evenly over the
// function's mass range, or are those of its channels.
bool StoresMasses(int data_type);
bool IsChannelType(int data_type);

// The nearest values that the type can hold.
float StoredMass(int data_type, float mass);
float StoredIntensity(int data_type, float intensity);

// Whether these are the values themselves.
bool HoldsMass(int data_type, float mass);
bool HoldsIntensity(int data_type, float intensity);

// The mass of point `index` (from 0) of `count` that are spaced evenly.
float SpacedMass(float low, float high, size_t index, size_t count);

// Largest relative errors.
struct FitErrors {
  double mass = 0;
  double intensity = 0;

  void Add(const FitErrors& other) {
    mass = std::max(mass, other.mass);
    intensity = std::max(intensity, other.intensity);
  }
};

// Of `stored` in the place of `value`.
inline double RelativeError(double stored, double value) {
  if (stored == value) return 0;
  return value == 0 || !std::isfinite(value) ? HUGE_VAL : std::abs((stored - value) / value);
}

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_STORED_VALUES_H_
