// The inputs of fuzz targets: options, which choose what is done, and the files that are there.
//
// Encoded: the options with a 16-bit length in front, then for each file its number in the target's
// list of names, a 16-bit length and its bytes. Any bytes can be decoded; what is short ends early.

#ifndef FUZZ_BUNDLE_H_
#define FUZZ_BUNDLE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "tests/support/memory_files.h"

namespace tervalon::fuzz {

using testing::Bytes;
using testing::MemoryFileSystem;

struct Bundle {
  struct File {
    uint8_t number = 0;
    Bytes bytes;
  };

  Bytes options;
  std::vector<File> files;

  Bytes EncodeTo() const;
  static Bundle DecodeFrom(std::span<const uint8_t> bytes);

  // One file, or the options, is changed by `mutate(bytes, size, room)`, which returns the new
  // size; now and then a file goes, comes twice or gets another number. The result has at most
  // `most` bytes.
  using Mutator = size_t (*)(uint8_t* bytes, size_t size, size_t room);
  void Mutate(Mutator mutate, uint32_t seed, size_t most);

  // Takes over one file, or the options, of another bundle.
  void CrossOver(const Bundle& other, uint32_t seed);
};

// Reads options; behind their end everything is 0.
class Options {
 public:
  explicit Options(std::span<const uint8_t> bytes) : left_(bytes) {}

  bool empty() const { return left_.empty(); }

  template <typename T>
  T Take() {
    T value = {};
    const auto taken = TakeBytes(sizeof(value));
    if (!taken.empty()) std::memcpy(&value, taken.data(), taken.size());
    return value;
  }
  // 0 .. below - 1.
  int32_t Pick(int32_t below) { return Take<uint8_t>() % below; }
  // Up to the next zero, or the end.
  std::string TakeText();
  std::span<const uint8_t> TakeBytes(size_t count);

 private:
  std::span<const uint8_t> left_;
};

}  // namespace tervalon::fuzz

#endif  // FUZZ_BUNDLE_H_
