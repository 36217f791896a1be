#include "plot/label_text.h"

#include "tervalon/number_format.h"

namespace tervalon::plot {

std::string FixedLabel(double value, int32_t decimals) {
  char text[40];
  const std::string label = ftoa(value, text, decimals);
  const bool is_minus_zero = label.find_first_not_of("-0.") == std::string::npos;
  return is_minus_zero && label[0] == '-' ? label.substr(1) : label;
}

std::string GeneralLabel(double value, int32_t digits) {
  char text[40];
  return gtoa(value + 0.0, digits, text);
}

std::string FactorLabel(float factor) {
  std::string label = "x";
  label += GeneralLabel(factor, 5);
  if (label.find('.') == std::string::npos || label.find('e') != std::string::npos) return label;
  label.erase(label.find_last_not_of('0') + 1);
  if (label.back() == '.') label.pop_back();
  return label;
}

}  // namespace tervalon::plot
