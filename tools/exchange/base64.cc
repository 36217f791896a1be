#include "tools/exchange/base64.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace tervalon::tools {
namespace {

constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The two digits of every 12 bits: half the look-ups.
constexpr auto kPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs = {};
  for (size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kDigits[i >> 6], kDigits[i & 63]};
  return pairs;
}();

}  // namespace

void AppendBase64(std::span<const std::byte> bytes, std::string& text) {
  const size_t begin = text.size();
  text.resize(begin + Base64Size(bytes.size()));
  char* out = text.data() + begin;
  const auto* in = reinterpret_cast<const uint8_t*>(bytes.data());
  const uint8_t* const whole = in + bytes.size() / 3 * 3;
  for (; in != whole; in += 3, out += 4) {
    const unsigned bits =
        static_cast<unsigned>(in[0]) << 16 | static_cast<unsigned>(in[1]) << 8 | in[2];
    std::memcpy(out, kPairs[bits >> 12].data(), 2);
    std::memcpy(out + 2, kPairs[bits & 0xFFF].data(), 2);
  }
  if (const size_t rest = bytes.size() % 3; rest != 0) {
    const unsigned bits =
        static_cast<unsigned>(in[0]) << 16 | (rest == 2 ? static_cast<unsigned>(in[1]) << 8 : 0U);
    std::memcpy(out, kPairs[bits >> 12].data(), 2);
    out[2] = rest == 2 ? kPairs[bits & 0xFFF][0] : '=';
    out[3] = '=';
  }
}

}  // namespace tervalon::tools
