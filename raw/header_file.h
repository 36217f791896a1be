// The header between its file and its two records.

#ifndef RAW_HEADER_FILE_H_
#define RAW_HEADER_FILE_H_

#include <cstdint>
#include <vector>

#include "raw/member_change.h"
#include "tervalon/raw_header.h"

namespace tervalon::raw {

// Headers have some ten thousand bytes; of a file of any other kind no more is read than this.
inline constexpr uint32_t kMaxHeaderSize = 1 << 20;

// Puts the values of a header's lines into the records, of which either may be nullptr.
void ParseHeader(const std::vector<uint8_t>& text, RawHeader* header, RawCalibration* calibration);

// The lines of both records, one for each tag, "" for a tag that has none.
MemberParts FormatHeader(const RawHeader& header, const RawCalibration& calibration);

// Reads the calibrations, those of functions that the header does not calibrate being the default,
// and the function table. Returns a Raw error code.
int32_t ReadCalibration(int32_t handle, RawCalibration* calibration,
                        std::vector<RawFunctionRecord>* functions);

// Those of the directory, or of the provider of analog data. Returns a Raw error code:
// RAW_PATH_NOT_BUILT without that provider.
int32_t CountAnalogChannels(int32_t handle, int16_t* channels);

}  // namespace tervalon::raw

#endif  // RAW_HEADER_FILE_H_
