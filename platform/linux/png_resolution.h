// The resolution in a PNG file, which cairo leaves out.

#ifndef PLATFORM_LINUX_PNG_RESOLUTION_H_
#define PLATFORM_LINUX_PNG_RESOLUTION_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace tervalon::platform {

// Signature and image header, which everything else in a file follows.
constexpr size_t kPngHeaderSize = 33;

// A "pHYs" chunk: pixels per metre, with length and check sum.
using PngResolution = std::array<uint8_t, 21>;
PngResolution MakePngResolution(int32_t pixels_per_inch_x, int32_t pixels_per_inch_y);

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_PNG_RESOLUTION_H_
