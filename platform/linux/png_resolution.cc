#include "platform/linux/png_resolution.h"

#include <span>

namespace tervalon::platform {
namespace {

constexpr size_t kLengthSize = 4;
constexpr size_t kNameSize = 4;
constexpr size_t kDataSize = 9;
constexpr size_t kChecked = kNameSize + kDataSize;

void StoreBigEndian(uint32_t value, std::span<uint8_t, 4> bytes) {
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
  }
}

// Rounded; an inch is 0.0254 m.
uint32_t PerMetre(int32_t per_inch) {
  return static_cast<uint32_t>((int64_t{per_inch} * 10000 + 127) / 254);
}

uint32_t CheckSum(std::span<const uint8_t> bytes) {
  constexpr uint32_t kPolynomial = 0xEDB88320;
  uint32_t sum = ~uint32_t{0};
  for (const uint8_t byte : bytes) {
    sum ^= byte;
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? kPolynomial : 0);
  }
  return ~sum;
}

}  // namespace

PngResolution MakePngResolution(int32_t pixels_per_inch_x, int32_t pixels_per_inch_y) {
  PngResolution chunk = {0, 0, 0, kDataSize, 'p', 'H', 'Y', 's'};
  const std::span<uint8_t, chunk.size()> all(chunk);
  StoreBigEndian(PerMetre(pixels_per_inch_x), all.subspan<kLengthSize + kNameSize, 4>());
  StoreBigEndian(PerMetre(pixels_per_inch_y), all.subspan<kLengthSize + kNameSize + 4, 4>());
  chunk[kLengthSize + kChecked - 1] = 1;  // the unit is a metre
  StoreBigEndian(CheckSum(all.subspan<kLengthSize, kChecked>()),
                 all.subspan<kLengthSize + kChecked, 4>());
  return chunk;
}

}  // namespace tervalon::platform
