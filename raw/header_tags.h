// The lines of a raw directory's header: which tag stands for which field, for reader and writer.

#ifndef RAW_HEADER_TAGS_H_
#define RAW_HEADER_TAGS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "tervalon/raw_header.h"

namespace tervalon::raw {

// What a line's value is.
enum class HeaderValue : uint8_t {
  kVersion,               // "major.minor"
  kSolventDelay,          // decimal number
  kResolved,              // no value: the line's presence counts
  kHeaderText,            // text of the header record
  kProcessed,             // text of the header record, left out when shorter than 2 characters
  kAnalogOffset,          // decimal number, of channel `number`
  kCalibrationText,       // text of the calibration record
  kLag,                   // integer of the calibration record
  kCoefficients,          // coefficient set of the calibration record
  kFunctionCoefficients,  // segment 0 of function `number`
  kFunctionDeviation,     // its standard deviation
  kFunctionModification,  // the modification of function `number`
  kSegmentCoefficients,   // segment `number` - 1 of function 1
};

struct HeaderTag {
  std::array<char, 48> pattern;  // the whole line as a printf pattern, zero-terminated
  HeaderValue value;
  bool written;     // lags and dynamic coefficients are read but never written
  uint8_t number;   // of one of several tags that differ in it only; from 1
  uint16_t offset;  // of the field in its record
  uint16_t size;    // of a text field

  // The pattern in front of the value.
  std::string_view Front() const;

  // The field in the record that the value belongs to.
  template <typename Field, typename Record>
  auto* FieldOf(Record* record) const {
    if constexpr (std::is_const_v<Record>) {
      return reinterpret_cast<const Field*>(reinterpret_cast<const char*>(record) + offset);
    } else {
      return reinterpret_cast<Field*>(reinterpret_cast<char*>(record) + offset);
    }
  }
};

// The tags by number.
extern const std::array<HeaderTag, RAW_HEADER_TAG_COUNT> kHeaderTags;

}  // namespace tervalon::raw

#endif  // RAW_HEADER_TAGS_H_
