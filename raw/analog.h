// One record of "_ANALOGS.DAT": the time as a float, then an intensity word of each channel, packed
// as the points of continuum data are.

#ifndef RAW_ANALOG_H_
#define RAW_ANALOG_H_

#include <cstddef>
#include <cstdint>

namespace tervalon::raw {

class AnalogRecord {
 public:
  static constexpr int32_t kMaxChannels = INT16_MAX;
  static constexpr size_t kMaxSize = 4 + 2 * size_t{kMaxChannels};

  explicit AnalogRecord(int32_t channels) : channels_(static_cast<size_t>(channels)) {}

  size_t size() const { return 4 + 2 * channels_; }

  // Packs one record into size() bytes.
  void EncodeTo(float time, const float* values, uint8_t* bytes) const;

  // Takes the times, or a channel's values, of `count` records that follow each other.
  void DecodeTimes(const uint8_t* bytes, size_t count, float* times) const;
  void DecodeChannel(const uint8_t* bytes, size_t count, int32_t channel, float* values) const;

 private:
  size_t channels_;
};

}  // namespace tervalon::raw

#endif  // RAW_ANALOG_H_
