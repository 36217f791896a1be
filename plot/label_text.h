// Numbers as labels.

#ifndef PLOT_LABEL_TEXT_H_
#define PLOT_LABEL_TEXT_H_

#include <cstdint>
#include <string>

namespace tervalon::plot {

// With that many decimals. A value that prints as minus zero has no sign.
std::string FixedLabel(double value, int32_t decimals);

// With that many significant digits.
std::string GeneralLabel(double value, int32_t digits);

// "x10" or "x2.5".
std::string FactorLabel(float factor);

}  // namespace tervalon::plot

#endif  // PLOT_LABEL_TEXT_H_
