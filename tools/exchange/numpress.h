// MS-Numpress: numbers of mass spectra in few bytes, as published by J. Teleman et al., Molecular &
// Cellular Proteomics 13 (2014) 1537: "linear" for masses and times, "slof" (short logged floats)
// for intensities, "pic" for counts.

#ifndef TOOLS_EXCHANGE_NUMPRESS_H_
#define TOOLS_EXCHANGE_NUMPRESS_H_

#include <cstdint>
#include <span>
#include <vector>

namespace tervalon::tools::numpress {

// The largest scaling with which each value, or its distance from the line through the two before
// it, fits in 31 bits. Half of 1 / scaling is the largest error. 1 when there is nothing to scale.
double LinearScaling(std::span<const double> values);
// The largest scaling with which the logarithm of every value + 1 fits in 16 bits.
double SlofScaling(std::span<const double> values);

// Appends the values to `bytes`. Linear returns false, leaving `bytes` as they were, for values
// that do not fit with this scaling or are not finite; slof for values below 0 besides.
bool EncodeLinear(std::span<const double> values, double scaling, std::vector<uint8_t>& bytes);
bool EncodeSlof(std::span<const double> values, double scaling, std::vector<uint8_t>& bytes);

// Append at most `limit` values. Return false for bytes that no encoder makes: cut off, without a
// usable scaling, or of more values.
bool DecodeLinear(std::span<const uint8_t> bytes, size_t limit, std::vector<double>& values);
bool DecodeSlof(std::span<const uint8_t> bytes, size_t limit, std::vector<double>& values);
bool DecodePic(std::span<const uint8_t> bytes, size_t limit, std::vector<double>& values);

}  // namespace tervalon::tools::numpress

#endif  // TOOLS_EXCHANGE_NUMPRESS_H_
