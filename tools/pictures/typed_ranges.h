// Ranges as they are typed.

#ifndef TOOLS_PICTURES_TYPED_RANGES_H_
#define TOOLS_PICTURES_TYPED_RANGES_H_

#include <tervalon/axes.h>

#include <optional>
#include <string>

#include "tools/data/raw_data.h"

namespace tervalon::tools {

// "LO-HI"; nothing for anything else. Numbers may be negative.
std::optional<Window> ParseSpan(const std::string& text);

// "400-700x10". Throws WrongUsage.
AxsMagnify ParseMagnified(const std::string& text);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_TYPED_RANGES_H_
