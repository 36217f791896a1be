// Base64 as XML files have it: no line ends, "=" at the end.

#ifndef TOOLS_EXCHANGE_BASE64_H_
#define TOOLS_EXCHANGE_BASE64_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tervalon::tools {

constexpr size_t Base64Size(size_t bytes) { return (bytes + 2) / 3 * 4; }

// Appends the text of the bytes.
void AppendBase64(std::span<const std::byte> bytes, std::string& text);

// Reads it piece by piece.
class Base64Decoder {
 public:
  void Clear();

  // Appends what the text stands for; blanks are passed over. False for a character that has no
  // place there.
  bool Add(std::string_view text);
  // False when the text ends within a group of four.
  bool IsWhole() const { return held_ == 0 && characters_ % 4 == 0; }

  const std::vector<uint8_t>& bytes() const { return bytes_; }
  // Characters but for blanks.
  size_t characters() const { return characters_; }

 private:
  bool AddOne(unsigned char c);

  std::vector<uint8_t> bytes_;
  size_t characters_ = 0;
  uint32_t group_ = 0;
  int held_ = 0;     // characters in `group_`
  int padding_ = 0;  // "=" read; behind them nothing follows
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_BASE64_H_
