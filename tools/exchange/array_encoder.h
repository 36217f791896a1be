// Arrays of numbers as mzML stores them: little-endian, compressed, in base64.

#ifndef TOOLS_EXCHANGE_ARRAY_ENCODER_H_
#define TOOLS_EXCHANGE_ARRAY_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/exchange/cv_terms.h"
#include "tools/exchange/xml_writer.h"

namespace tervalon::tools {

enum class Packing { kFloat64, kFloat32, kInt32 };
enum class Compression { kNone, kZlib, kNumpress, kNumpressZlib };
// What an array's values are, on which the kind of MS-Numpress depends.
enum class ArrayContent { kAscending, kIntensities, kOther };

class Deflater;

class ArrayEncoder {
 public:
  ArrayEncoder(ArrayContent content, Packing packing, Compression compression);
  ~ArrayEncoder();
  ArrayEncoder(const ArrayEncoder&) = delete;
  ArrayEncoder& operator=(const ArrayEncoder&) = delete;

  // Takes an array, which has to stay until it is written, and returns the length of its text.
  size_t Prepare(std::span<const float> values);
  // Of the array that was taken: MS-Numpress does not hold all values, zlib then stands in.
  const CvTerm& packing_term() const;
  const CvTerm& compression_term() const;
  void Write(XmlWriter& xml) const;

 private:
  void Compress(std::span<const float> values);
  bool CompressNumpress(std::span<const float> values);

  const ArrayContent content_;
  const Packing packing_;
  const Compression compression_;
  Compression used_;
  std::span<const float> values_;
  std::vector<float> kept_;  // what compressed_ or text_ is of, where it may come again
  std::unique_ptr<Deflater> deflater_;
  std::vector<double> doubles_;
  std::vector<uint8_t> numpress_;
  std::vector<std::byte> compressed_;
  std::string text_;  // of a short array without compression
};

}  // namespace tervalon::tools

#endif  // TOOLS_EXCHANGE_ARRAY_ENCODER_H_
