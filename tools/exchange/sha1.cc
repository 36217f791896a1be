#include "tools/exchange/sha1.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

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

#if defined(__x86_64__)
#define TERVALON_SHA_TARGET __attribute__((target("sha,sse4.1")))

// SHA, SSSE3 and SSE4.1.
bool ProcessorHasSha() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  constexpr unsigned kSse = 1U << 9 | 1U << 19;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & kSse) != kSse) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b >> 29 & 1) != 0;
}

struct Registers {
  __m128i abcd;
  __m128i before;  // abcd of four steps before, from which e comes
  __m128i words[4];
};

// 20 of a block's 80 steps, four at a time.
template <int kStage>
TERVALON_SHA_TARGET inline void RunStage(Registers& r) {
#pragma GCC unroll 5
  for (int i = 5 * kStage; i < 5 * kStage + 5; ++i) {
    __m128i& word = r.words[i & 3];
    if (i >= 4) {
      word = _mm_sha1msg1_epu32(word, r.words[(i + 1) & 3]);
      word = _mm_sha1msg2_epu32(_mm_xor_si128(word, r.words[(i + 2) & 3]), r.words[(i + 3) & 3]);
    }
    const __m128i e = i == 0 ? _mm_add_epi32(r.before, word) : _mm_sha1nexte_epu32(r.before, word);
    r.before = r.abcd;
    r.abcd = _mm_sha1rnds4_epu32(r.abcd, e, kStage);
  }
}

// What AddBlocks does, by the processor's own instructions.
TERVALON_SHA_TARGET void RunBlocks(uint32_t* state, const uint8_t* bytes, size_t blocks) {
  const __m128i big_endian = _mm_set_epi64x(0x0001020304050607, 0x08090A0B0C0D0E0F);
  __m128i abcd = _mm_loadu_si128(reinterpret_cast<const __m128i*>(state));
  abcd = _mm_shuffle_epi32(abcd, 0x1B);
  __m128i e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
  for (; blocks > 0; --blocks) {
    Registers r = {.abcd = abcd, .before = e, .words = {}};
    for (__m128i& word : r.words) {
      word = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
      word = _mm_shuffle_epi8(word, big_endian);
      bytes += sizeof word;
    }
    RunStage<0>(r);
    RunStage<1>(r);
    RunStage<2>(r);
    RunStage<3>(r);
    e = _mm_sha1nexte_epu32(r.before, e);
    abcd = _mm_add_epi32(r.abcd, abcd);
  }
  abcd = _mm_shuffle_epi32(abcd, 0x1B);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), abcd);
  state[4] = static_cast<uint32_t>(_mm_extract_epi32(e, 3));
}

#undef TERVALON_SHA_TARGET
#endif

}  // namespace

void Sha1::AddBlocks(State& state, const uint8_t* bytes, size_t blocks) {
#if defined(__x86_64__)
  static const bool has_sha = ProcessorHasSha();
  if (has_sha) return RunBlocks(state.data(), bytes, blocks);
#endif
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
  constexpr const char* kHex = "0123456789abcdef";
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
    for (int shift = 28; shift >= 0; shift -= 4) digest += kHex[word >> shift & 15];
  }
  return digest;
}

}  // namespace tervalon::tools
