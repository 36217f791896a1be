#include "tools/exchange/numpress.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <optional>

namespace tervalon::tools::numpress {
namespace {

constexpr size_t kScalingSize = 8;
constexpr double kLargestInteger = 0x7FFFFFFF;

// The scaling stands first, as a double whose highest byte comes first.
void PutScaling(double scaling, std::vector<uint8_t>& bytes) {
  const auto bits = std::bit_cast<uint64_t>(scaling);
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<uint8_t>(bits >> shift));
  }
}

std::optional<double> TakeScaling(std::span<const uint8_t>& bytes) {
  if (bytes.size() < kScalingSize) return std::nullopt;
  uint64_t bits = 0;
  for (const uint8_t byte : bytes.first(kScalingSize)) bits = bits << 8 | byte;
  bytes = bytes.subspan(kScalingSize);
  return std::bit_cast<double>(bits);
}

bool IsUsable(double scaling) { return std::isfinite(scaling) && scaling > 0; }

// Half bytes, the upper one of each byte first.
class HalfByteWriter {
 public:
  explicit HalfByteWriter(std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  // The count of leading halves that are all 0, or + 8 of those that are all 1; then the others,
  // the lowest first. At least one of 0xF... is kept, its count being at most 7.
  void Put(uint32_t value) {
    const bool ones = value >> 28 == 0xF;
    const int leading =
        (ones ? std::min(std::countl_one(value) / 4, 7) : std::countl_zero(value) / 4);
    PutHalf(static_cast<unsigned>(leading + (ones ? 8 : 0)));
    for (int i = leading; i < 8; ++i, value >>= 4) PutHalf(value & 0xF);
  }

 private:
  void PutHalf(unsigned half) {
    if (upper_) {
      bytes_.push_back(static_cast<uint8_t>(half << 4));
    } else {
      bytes_.back() |= static_cast<uint8_t>(half);
    }
    upper_ = !upper_;
  }

  std::vector<uint8_t>& bytes_;
  bool upper_ = true;
};

class HalfByteReader {
 public:
  explicit HalfByteReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // Nothing more, or but the half that fills the last byte up.
  bool AtEnd() const {
    return at_ >= 2 * bytes_.size() || (at_ + 1 == 2 * bytes_.size() && (bytes_.back() & 0xF) == 0);
  }

  // False when the bytes end within the number.
  bool Take(uint32_t& value) {
    const unsigned head = Half();
    const unsigned leading = head > 8 ? head - 8 : head;
    if (at_ + (8 - leading) > 2 * bytes_.size()) return false;
    value = head > 8 ? ~(0xFFFFFFFFU >> 4 * leading) : 0;
    for (unsigned i = 0; i < 8 - leading; ++i) value |= Half() << 4 * i;
    return true;
  }

 private:
  uint32_t Half() {
    const unsigned byte = bytes_[at_ / 2];
    return at_++ % 2 == 0 ? byte >> 4 : byte & 0xF;
  }

  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
};

bool PutInteger(double scaled, std::vector<uint8_t>& bytes) {
  if (!(std::abs(scaled) <= kLargestInteger)) return false;
  const auto value = static_cast<uint32_t>(static_cast<int64_t>(scaled));
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(value >> shift));
  return true;
}

int64_t TakeInteger(std::span<const uint8_t>& bytes) {
  uint32_t value = 0;
  for (size_t i = 4; i-- > 0;) value = value << 8 | bytes[i];
  bytes = bytes.subspan(4);
  return value;
}

bool PutLinear(std::span<const double> values, double scaling, std::vector<uint8_t>& bytes) {
  PutScaling(scaling, bytes);
  int64_t before[2] = {};
  HalfByteWriter halves(bytes);
  for (size_t i = 0; i < values.size(); ++i) {
    const double scaled = std::floor(values[i] * scaling + 0.5);
    if (!(std::abs(scaled) < 0x1p60)) return false;
    const auto integer = static_cast<int64_t>(scaled);
    if (i < 2) {
      if (integer < 0 || !PutInteger(scaled, bytes)) return false;
    } else {
      const int64_t difference = integer - (2 * before[1] - before[0]);
      if (std::abs(difference) > INT32_MAX) return false;
      halves.Put(static_cast<uint32_t>(difference));
    }
    before[0] = before[1];
    before[1] = integer;
  }
  return true;
}

}  // namespace

double LinearScaling(std::span<const double> values) {
  double largest = 0;
  for (size_t i = 0; i < values.size(); ++i) {
    const double value =
        i < 2 ? values[i]
              : std::ceil(std::abs(values[i] - (2 * values[i - 1] - values[i - 2])) + 1);
    largest = std::max(largest, value);
  }
  return largest > 0 ? std::floor(kLargestInteger / largest) : 1;
}

double SlofScaling(std::span<const double> values) {
  double largest = 1;
  for (const double value : values) largest = std::max(largest, std::log(value + 1));
  return std::floor(0xFFFF / largest);
}

bool EncodeLinear(std::span<const double> values, double scaling, std::vector<uint8_t>& bytes) {
  const size_t size = bytes.size();
  if (IsUsable(scaling) && PutLinear(values, scaling, bytes)) return true;
  bytes.resize(size);
  return false;
}

bool EncodeSlof(std::span<const double> values, double scaling, std::vector<uint8_t>& bytes) {
  if (!IsUsable(scaling)) return false;
  const size_t size = bytes.size();
  PutScaling(scaling, bytes);
  for (const double value : values) {
    const double scaled = value >= 0 ? std::log(value + 1) * scaling + 0.5 : -1;
    if (!(scaled >= 0 && scaled < 0x10000)) {
      bytes.resize(size);
      return false;
    }
    const auto word = static_cast<unsigned>(scaled);
    bytes.push_back(static_cast<uint8_t>(word));
    bytes.push_back(static_cast<uint8_t>(word >> 8));
  }
  return true;
}

bool DecodeLinear(std::span<const uint8_t> bytes, size_t limit, std::vector<double>& values) {
  const std::optional<double> scaling = TakeScaling(bytes);
  if (!scaling) return false;
  if (bytes.empty()) return true;
  if (!IsUsable(*scaling) || (bytes.size() < 8 && bytes.size() != 4)) return false;
  const size_t most = values.size() + limit;
  int64_t before[2] = {};
  for (size_t i = 0; i < 2 && !bytes.empty(); ++i) {
    if (values.size() == most) return false;
    before[0] = before[1];
    before[1] = TakeInteger(bytes);
    values.push_back(static_cast<double>(before[1]) / *scaling);
  }
  for (HalfByteReader halves(bytes); !bytes.empty() && !halves.AtEnd();) {
    uint32_t difference = 0;
    if (values.size() == most || !halves.Take(difference)) return false;
    const uint64_t line = 2 * static_cast<uint64_t>(before[1]) - static_cast<uint64_t>(before[0]);
    const auto value =
        static_cast<int64_t>(line + static_cast<uint64_t>(static_cast<int32_t>(difference)));
    values.push_back(static_cast<double>(value) / *scaling);
    before[0] = before[1];
    before[1] = value;
  }
  return true;
}

bool DecodeSlof(std::span<const uint8_t> bytes, size_t limit, std::vector<double>& values) {
  const std::optional<double> scaling = TakeScaling(bytes);
  if (!scaling || bytes.size() % 2 != 0 || bytes.size() / 2 > limit) return false;
  if (!bytes.empty() && !IsUsable(*scaling)) return false;
  for (size_t i = 0; i < bytes.size(); i += 2) {
    const int word = bytes[i] | bytes[i + 1] << 8;
    values.push_back(std::exp(word / *scaling) - 1);
  }
  return true;
}

bool DecodePic(std::span<const uint8_t> bytes, size_t limit, std::vector<double>& values) {
  const size_t most = values.size() + limit;
  for (HalfByteReader halves(bytes); !bytes.empty() && !halves.AtEnd();) {
    uint32_t value = 0;
    if (values.size() == most || !halves.Take(value)) return false;
    values.push_back(value);
  }
  return true;
}

}  // namespace tervalon::tools::numpress
