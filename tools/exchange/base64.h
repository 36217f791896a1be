// Base64 as XML files have it: no line ends, "=" at the end.

#ifndef TOOLS_EXCHANGE_BASE64_H_
#define TOOLS_EXCHANGE_BASE64_H_

#include <cstddef>
#include <span>
#include <string>

namespace tervalon::tools {

constexpr size_t Base64Size(size_t bytes) { return (bytes + 2) / 3 * 4; }

// Appends the text of the bytes.
void AppendBase64(std::span<const std::byte> bytes, std::string& text);

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_BASE64_H_
