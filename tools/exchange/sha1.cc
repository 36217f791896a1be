#include "tools/exchange/sha1.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tervalon::tools {
namespace {

uint32_t BigEndian(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

struct Words {
  uint32_t a, b, c, d, e;
};

// A step of the block's 80; the caller passes the words on under their new names.
template <typename Mix>
inline void Step(Words& w, uint32_t word, uint32_t constant, Mix mix) {
  const uint32_t next = std::rotl(w.a, 5) + mix(w.b, w.c, w.d) + w.e + constant + word;
  w = {next, w.a, std::rotl(w.b, 30), w.c, w.d};
}

}  // namespace

void Sha1::AddBlocks(State& state, const uint8_t* bytes, size_t blocks) {
  const auto choose = [](uint32_t b, uint32_t c, uint32_t d) { return d ^ (b & (c ^ d)); };
  const auto parity = [](uint32_t b, uint32_t c, uint32_t d) { return b ^ c ^ d; };
  const auto majority = [](uint32_t b, uint32_t c, uint32_t d) { return (b & c) | (d & (b | c)); };
  for (; blocks > 0; --blocks, bytes += kBlock) {
    uint32_t words[16];
    for (size_t i = 0; i < 16; ++i) words[i] = BigEndian(bytes + 4 * i);
    const auto next = [&words](unsigned i) {
      uint32_t& word = words[i & 15];
      word = std::rotl(words[(i + 13) & 15] ^ words[(i + 8) & 15] ^ words[(i + 2) & 15] ^ word, 1);
      return word;
    };
    Words w = {state[0], state[1], state[2], state[3], state[4]};
#pragma GCC unroll 16
    for (unsigned i = 0; i < 16; ++i) Step(w, words[i], 0x5A827999, choose);
#pragma GCC unroll 4
    for (unsigned i = 16; i < 20; ++i) Step(w, next(i), 0x5A827999, choose);
#pragma GCC unroll 20
    for (unsigned i = 20; i < 40; ++i) Step(w, next(i), 0x6ED9EBA1, parity);
#pragma GCC unroll 20
    for (unsigned i = 40; i < 60; ++i) Step(w, next(i), 0x8F1BBCDC, majority);
#pragma GCC unroll 20
    for (unsigned i = 60; i < 80; ++i) Step(w, next(i), 0xCA62C1D6, parity);
    state = {state[0] + w.a, state[1] + w.b, state[2] + w.c, state[3] + w.d, state[4] + w.e};
  }
}

void Sha1::Add(const void* bytes, size_t count) {
  const auto* next = static_cast<const uint8_t*>(bytes);
  const auto waiting = static_cast<size_t>(size_ % kBlock);
  size_ += count;
  if (waiting > 0) {
    const size_t taken = std::min(count, kBlock - waiting);
    std::memcpy(rest_.data() + waiting, next, taken);
    if (waiting + taken < kBlock) return;
    AddBlocks(state_, rest_.data(), 1);
    next += taken;
    count -= taken;
  }
  AddBlocks(state_, next, count / kBlock);
  std::memcpy(rest_.data(), next + count / kBlock * kBlock, count % kBlock);
}

std::string Sha1::Digest() const {
  constexpr const char* kDigits = "0123456789abcdef";
  uint8_t last[2 * kBlock] = {};
  const auto waiting = static_cast<size_t>(size_ % kBlock);
  std::memcpy(last, rest_.data(), waiting);
  last[waiting] = 0x80;
  const size_t blocks = waiting + 9 <= kBlock ? 1 : 2;
  for (size_t i = 0; i < 8; ++i) {
    last[blocks * kBlock - 1 - i] = static_cast<uint8_t>(size_ * 8 >> (8 * i));
  }
  State state = state_;
  AddBlocks(state, last, blocks);
  std::string digest;
  for (const uint32_t word : state) {
    for (int shift = 28; shift >= 0; shift -= 4) digest += kDigits[word >> shift & 15];
  }
  return digest;
}

}  // namespace tervalon::tools
