// The checksum of files that mzML uses.

#ifndef TOOLS_EXCHANGE_SHA1_H_
#define TOOLS_EXCHANGE_SHA1_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tervalon::tools {

class Sha1 {
 public:
  void Add(const void* bytes, size_t count);
  // Of everything added so far, in hexadecimal digits; more can be added.
  std::string Digest() const;

 private:
  static constexpr size_t kBlock = 64;
  using State = std::array<uint32_t, 5>;

  static void AddBlocks(State& state, const uint8_t* bytes, size_t blocks);

  State state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  uint64_t size_ = 0;
  std::array<uint8_t, kBlock> rest_ = {};  // of which size_ % kBlock wait
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_SHA1_H_
