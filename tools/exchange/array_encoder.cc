#include "tools/exchange/array_encoder.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "tools/exchange/base64.h"
#include "tools/exchange/numpress.h"

static_assert(std::endian::native == std::endian::little, "arrays are written as they are");

namespace tervalon::tools {
namespace {

// Values that are converted at a time, a multiple of 3, so that their base64 has no end.
constexpr size_t kRun = 3072;
// Arrays up to this size are remembered.
constexpr size_t kKept = size_t{1} << 17;

size_t ValueSize(Packing packing) { return packing == Packing::kFloat64 ? 8 : 4; }

// A NaN or what is too large becomes 0.
int32_t Integer(float value) {
  return std::fabs(value) < 0x1p31F ? static_cast<int32_t>(value) : 0;
}

// The bytes of up to kRun values at a time.
class Packer {
 public:
  std::span<const std::byte> Pack(std::span<const float> values, Packing packing) {
    switch (packing) {
      case Packing::kFloat64:
        std::copy(values.begin(), values.end(), doubles_);
        return std::as_bytes(std::span(doubles_, values.size()));
      case Packing::kInt32:
        std::transform(values.begin(), values.end(), integers_, Integer);
        return std::as_bytes(std::span(integers_, values.size()));
      case Packing::kFloat32:
        break;
    }
    return std::as_bytes(values);
  }

 private:
  double doubles_[kRun];
  int32_t integers_[kRun];
};

template <typename Function>
void ForEachRun(std::span<const float> values, Packing packing, Function function) {
  Packer packer;
  for (; !values.empty(); values = values.subspan(std::min(values.size(), kRun))) {
    function(packer.Pack(values.first(std::min(values.size(), kRun)), packing));
  }
}

bool SameBits(std::span<const float> left, std::span<const float> right) {
  return left.size() == right.size() &&
         (left.empty() || std::memcmp(left.data(), right.data(), left.size_bytes()) == 0);
}

}  // namespace

// zlib's compressor at its usual level, used again and again.
class Deflater {
 public:
  Deflater() {
    if (deflateInit(&stream_, Z_DEFAULT_COMPRESSION) != Z_OK) throw std::bad_alloc();
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  void Begin(size_t size, std::vector<std::byte>& out) {
    deflateReset(&stream_);
    out.resize(deflateBound(&stream_, static_cast<uLong>(size)));
    stream_.next_out = reinterpret_cast<Bytef*>(out.data());
    stream_.avail_out = static_cast<uInt>(out.size());
  }
  void Add(std::span<const std::byte> bytes) { Run(bytes, Z_NO_FLUSH); }
  void End(std::vector<std::byte>& out) {
    Run({}, Z_FINISH);
    out.resize(stream_.total_out);
  }

 private:
  // There is room for everything: what deflateBound said.
  void Run(std::span<const std::byte> bytes, int flush) {
    stream_.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
    deflate(&stream_, flush);
  }

  z_stream stream_ = {};
};

ArrayEncoder::ArrayEncoder(ArrayContent content, Packing packing, Compression compression)
    : content_(content), packing_(packing), compression_(compression), used_(compression) {
  if (compression != Compression::kNone) deflater_ = std::make_unique<Deflater>();
}

ArrayEncoder::~ArrayEncoder() = default;

const CvTerm& ArrayEncoder::packing_term() const {
  const bool numpress = used_ == Compression::kNumpress || used_ == Compression::kNumpressZlib;
  return packing_ == Packing::kFloat64 || numpress ? cv::kFloat64
         : packing_ == Packing::kFloat32           ? cv::kFloat32
                                                   : cv::kInt32;
}

const CvTerm& ArrayEncoder::compression_term() const {
  const bool linear = content_ == ArrayContent::kAscending;
  switch (used_) {
    case Compression::kNone:
      return cv::kNoCompression;
    case Compression::kNumpress:
      return linear ? cv::kNumpressLinear : cv::kNumpressSlof;
    case Compression::kNumpressZlib:
      return linear ? cv::kNumpressLinearZlib : cv::kNumpressSlofZlib;
    case Compression::kZlib:
      break;
  }
  return cv::kZlib;
}

size_t ArrayEncoder::Prepare(std::span<const float> values) {
  values_ = values;
  // There are readers that fail to expand nothing to nothing.
  used_ = values.empty() ? Compression::kNone : compression_;
  if (values.empty()) return 0;
  if (used_ == Compression::kNone && values.size() > kKept) {
    return Base64Size(values.size() * ValueSize(packing_));
  }
  // Masses that lie evenly are the same in scan after scan.
  if (content_ != ArrayContent::kAscending || !SameBits(values, kept_)) {
    Compress(values);
    kept_.clear();
    if (content_ == ArrayContent::kAscending && values.size() <= kKept) {
      kept_.assign(values.begin(), values.end());
    }
  }
  return used_ == Compression::kNone ? text_.size() : Base64Size(compressed_.size());
}

void ArrayEncoder::Compress(std::span<const float> values) {
  if (compression_ == Compression::kNone) {
    text_.clear();
    ForEachRun(values, packing_,
               [this](std::span<const std::byte> bytes) { AppendBase64(bytes, text_); });
    return;
  }
  if (compression_ != Compression::kZlib && CompressNumpress(values)) {
    used_ = compression_;
    return;
  }
  used_ = Compression::kZlib;
  deflater_->Begin(values.size() * ValueSize(packing_), compressed_);
  ForEachRun(values, packing_, [this](std::span<const std::byte> bytes) { deflater_->Add(bytes); });
  deflater_->End(compressed_);
}

// False for values that it does not hold.
bool ArrayEncoder::CompressNumpress(std::span<const float> values) {
  if (content_ == ArrayContent::kOther) return false;
  doubles_.assign(values.begin(), values.end());
  numpress_.clear();
  const bool linear = content_ == ArrayContent::kAscending;
  if (!(linear ? numpress::EncodeLinear(doubles_, numpress::LinearScaling(doubles_), numpress_)
               : numpress::EncodeSlof(doubles_, numpress::SlofScaling(doubles_), numpress_))) {
    return false;
  }
  const auto bytes = std::as_bytes(std::span(numpress_));
  if (compression_ == Compression::kNumpress) {
    compressed_.assign(bytes.begin(), bytes.end());
  } else {
    deflater_->Begin(bytes.size(), compressed_);
    deflater_->Add(bytes);
    deflater_->End(compressed_);
  }
  return true;
}

void ArrayEncoder::Write(XmlWriter& xml) const {
  std::string text;
  const auto write = [&xml, &text](std::span<const std::byte> bytes) {
    text.clear();
    AppendBase64(bytes, text);
    xml.Text(text);
  };
  if (used_ != Compression::kNone) {
    constexpr size_t kPiece = 3 * 16384;
    for (std::span<const std::byte> rest = compressed_; !rest.empty();
         rest = rest.subspan(std::min(rest.size(), kPiece))) {
      write(rest.first(std::min(rest.size(), kPiece)));
    }
  } else if (values_.size() > kKept) {
    ForEachRun(values_, packing_, write);
  } else {
    xml.Text(text_);
  }
}

}  // namespace tervalon::tools
