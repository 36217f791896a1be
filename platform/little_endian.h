// Explicit little-endian loads and stores: how files hold their numbers.

#ifndef PLATFORM_LITTLE_ENDIAN_H_
#define PLATFORM_LITTLE_ENDIAN_H_

#include <bit>
#include <cstdint>
#include <cstring>

namespace tervalon {

// memcpy compiles to one load or store; both supported platforms are little-endian.
static_assert(std::endian::native == std::endian::little);

template <typename T>
inline T Load(const uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(T));
  return value;
}

template <typename T>
inline void Store(uint8_t* bytes, T value) {
  std::memcpy(bytes, &value, sizeof(T));
}

}  // namespace tervalon

#endif  // PLATFORM_LITTLE_ENDIAN_H_
