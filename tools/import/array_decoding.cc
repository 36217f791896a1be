// The numbers of binary arrays.

#include <zlib.h>

#include <bit>
#include <cstring>
#include <span>

#include "tools/exchange/numpress.h"
#include "tools/import/mzml_reader.h"

namespace tervalon::tools {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kMostNumbers = 0x3FFFFF;

struct Compression {
  const CvTerm& term;
  bool zlib;
  bool (*numpress)(Bytes bytes, size_t limit, std::vector<double>& values);
};

constexpr Compression kCompressions[] = {
    {cv::kNoCompression, false, nullptr},
    {cv::kZlib, true, nullptr},
    {cv::kNumpressLinear, false, numpress::DecodeLinear},
    {cv::kNumpressPic, false, numpress::DecodePic},
    {cv::kNumpressSlof, false, numpress::DecodeSlof},
    {cv::kNumpressLinearZlib, true, numpress::DecodeLinear},
    {cv::kNumpressPicZlib, true, numpress::DecodePic},
    {cv::kNumpressSlofZlib, true, numpress::DecodeSlof},
};

template <typename Number>
void Convert(Bytes bytes, std::vector<double>& values) {
  static_assert(std::endian::native == std::endian::little);
  for (size_t i = 0; i < values.size(); ++i) {
    Number number = {};
    std::memcpy(&number, bytes.data() + i * sizeof(Number), sizeof(Number));
    values[i] = static_cast<double>(number);
  }
}

struct NumberType {
  const CvTerm& term;
  size_t size;
  void (*convert)(Bytes bytes, std::vector<double>& values);
};

constexpr NumberType kNumberTypes[] = {
    {cv::kFloat32, 4, Convert<float>},
    {cv::kFloat64, 8, Convert<double>},
    {cv::kInt32, 4, Convert<int32_t>},
    {cv::kInt64, 8, Convert<int64_t>},
};

template <typename Row, size_t kRows>
const Row* FindRow(const Row (&rows)[kRows], const MzmlParams& params) {
  for (const Row& row : rows) {
    if (Find(params, row.term) != nullptr) return &row;
  }
  return nullptr;
}

// Inflates at most `limit` bytes.
std::vector<uint8_t> Inflate(Bytes bytes, size_t limit) {
  std::vector<uint8_t> result(limit + 1);  // one more shows what is too long
  z_stream stream = {};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  stream.next_in = const_cast<uint8_t*>(bytes.data());
  stream.avail_in = static_cast<unsigned>(bytes.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<unsigned>(result.size());
  const int code = inflate(&stream, Z_FINISH);
  const size_t size = stream.total_out;
  inflateEnd(&stream);
  if (size > limit) throw Defect{"an array is longer than it says"};
  if (code != Z_STREAM_END) {
    throw Defect{code == Z_BUF_ERROR || code == Z_OK ? "a compressed array is cut off"
                                                     : "a compressed array is damaged"};
  }
  result.resize(size);
  return result;
}

[[noreturn]] void FailLength(size_t count, size_t wanted) {
  throw Defect{"an array has " + std::to_string(count) + " numbers instead of " +
               std::to_string(wanted)};
}

}  // namespace

void DecodeArray(const MzmlArray& array, std::vector<double>& values) {
  const Compression* const compression = FindRow(kCompressions, array.params);
  if (compression == nullptr) throw Defect{"an array is compressed in an unknown way"};
  const NumberType* const type = FindRow(kNumberTypes, array.params);
  if (type == nullptr && compression->numpress == nullptr) {
    throw Defect{"an array holds numbers of an unknown type"};
  }
  values.clear();
  if (array.length > kMostNumbers) throw Defect{"an array of more than 4194303 numbers"};
  if (array.bytes.empty()) {
    if (array.length != 0) FailLength(0, array.length);
    return;
  }
  std::vector<uint8_t> inflated;
  Bytes bytes = array.bytes;
  if (compression->zlib) {
    // A number takes at most 5 bytes in MS-Numpress, which has a head of up to 16.
    const size_t width = compression->numpress != nullptr ? 5 : type->size;
    inflated = Inflate(bytes, array.length * width + 16 * (compression->numpress != nullptr));
    bytes = inflated;
  }
  if (compression->numpress != nullptr) {
    values.reserve(array.length);
    if (!compression->numpress(bytes, array.length, values)) {
      throw Defect{"an array of MS-Numpress is damaged, or not of the length that it says"};
    }
    if (values.size() != array.length) FailLength(values.size(), array.length);
    return;
  }
  if (bytes.size() != array.length * type->size) {
    if (bytes.size() % type->size != 0) throw Defect{"an array ends within a number"};
    FailLength(bytes.size() / type->size, array.length);
  }
  values.resize(array.length);
  type->convert(bytes, values);
}

}  // namespace tervalon::tools
