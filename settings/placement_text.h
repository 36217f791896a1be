// A window placement as a line of the settings file.

#ifndef SETTINGS_PLACEMENT_TEXT_H_
#define SETTINGS_PLACEMENT_TEXT_H_

#include <string>
#include <string_view>

#include "tervalon/window_placement.h"

namespace tervalon::settings {

struct Placement {
  IniWindPos position = {};

  std::string EncodeTo() const;

  // False and all zero for a text without a first part.
  bool DecodeFrom(std::string_view text);
};

}  // namespace tervalon::settings

#endif  // SETTINGS_PLACEMENT_TEXT_H_
