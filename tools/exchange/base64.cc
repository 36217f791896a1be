#include "tools/exchange/base64.h"

#include <array>
#include <cstring>

namespace tervalon::tools {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The two digits of every 12 bits: half the look-ups.
constexpr auto kPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs = {};
  for (size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kDigits[i >> 6], kDigits[i & 63]};
  return pairs;
}();

constexpr uint32_t kNone = 0x80000000;
// What a character means at each of the four places of a group.
constexpr std::array<std::array<uint32_t, 256>, 4> MakePlaces() {
  std::array<std::array<uint32_t, 256>, 4> places = {};
  for (size_t place = 0; place < 4; ++place) {
    places[place].fill(kNone);
    for (uint32_t digit = 0; digit < 64; ++digit) {
      places[place][static_cast<unsigned char>(kDigits[digit])] = digit << (18 - 6 * place);
    }
  }
  return places;
}

constexpr std::array<std::array<uint32_t, 256>, 4> kPlaces = MakePlaces();

bool IsBlank(unsigned char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

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

void Base64Decoder::Clear() {
  bytes_.clear();
  characters_ = 0;
  held_ = 0;
  padding_ = 0;
}

bool Base64Decoder::Add(std::string_view text) {
  const auto* next = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = next + text.size();
  while (next != end) {
    if (held_ == 0 && padding_ == 0 && end - next >= 4) {
      const size_t size = bytes_.size();
      const auto groups = static_cast<size_t>(end - next) / 4;
      bytes_.resize(size + 3 * groups);
      uint8_t* out = bytes_.data() + size;
      const unsigned char* const begin = next;
      for (size_t i = 0; i < groups; ++i, next += 4, out += 3) {
        const uint32_t group =
            kPlaces[0][next[0]] | kPlaces[1][next[1]] | kPlaces[2][next[2]] | kPlaces[3][next[3]];
        if ((group & kNone) != 0) break;
        out[0] = static_cast<uint8_t>(group >> 16);
        out[1] = static_cast<uint8_t>(group >> 8);
        out[2] = static_cast<uint8_t>(group);
      }
      bytes_.resize(static_cast<size_t>(out - bytes_.data()));
      characters_ += static_cast<size_t>(next - begin);
      if (next == end) break;
    }
    if (!AddOne(*next++)) return false;
  }
  return true;
}

bool Base64Decoder::AddOne(unsigned char c) {
  if (IsBlank(c)) return true;
  ++characters_;
  if (c == '=') {
    ++padding_;
    ++held_;
    if (held_ < 3 || held_ > 4 || padding_ > 2) return false;
  } else {
    const uint32_t digit = kPlaces[3][c];
    if (padding_ != 0 || digit == kNone) return false;
    group_ = (held_ == 0 ? 0 : group_) | digit << (18 - 6 * held_);
    ++held_;
  }
  if (held_ == 4) {
    for (int i = 0; i < 3 - padding_; ++i) {
      bytes_.push_back(static_cast<uint8_t>(group_ >> (16 - 8 * i)));
    }
    held_ = 0;
  }
  return true;
}

}  // namespace tervalon::tools
