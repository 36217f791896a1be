#include "tools/pictures/typed_ranges.h"

#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {

std::optional<Window> ParseSpan(const std::string& text) {
  const size_t hyphen = text.find('-', 1);
  if (hyphen == std::string::npos) {
    return std::nullopt;
  }
  const std::optional<double> low = ParseNumber(text.substr(0, hyphen));
  const std::optional<double> high = ParseNumber(text.substr(hyphen + 1));
  if (!low || !high || !(static_cast<float>(*low) < static_cast<float>(*high))) {
    return std::nullopt;
  }
  return Window{static_cast<float>(*low), static_cast<float>(*high)};
}

AxsMagnify ParseMagnified(const std::string& text) {
  const size_t times = text.find_last_of("xX*");
  if (times != std::string::npos) {
    const std::optional<Window> range = ParseSpan(text.substr(0, times));
    const std::optional<double> factor = ParseNumber(text.substr(times + 1));
    if (range && factor && *factor > 0 && *factor <= 10000) {
      return {range->low, range->high, static_cast<float>(*factor)};
    }
  }
  throw WrongUsage("--magnify: '" + text + "' is no range and factor such as 400-700x10");
}

}  // namespace tervalon::tools
