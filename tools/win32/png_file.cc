#include "tools/win32/png_file.h"

#include <zlib.h>

#include <string>
#include <string_view>
#include <vector>

namespace tervalon::tools {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignature = "\x89PNG\r\n\x1A\n"sv;
constexpr std::string_view kEightBitsOfRgb = "\x08\x02\0\0\0"sv;
constexpr std::string_view kUnitIsMetre = "\x01"sv;
constexpr size_t kPieceBytes = size_t{1} << 16;

std::string BigEndian(uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(value >> shift & 0xFF);
  }
  return bytes;
}

void WriteChunk(std::ostream& stream, const char* name, std::string_view data) {
  const std::string checked = name + std::string(data);
  const uLong sum =
      crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()));
  stream << BigEndian(static_cast<uint32_t>(data.size())) << checked
         << BigEndian(static_cast<uint32_t>(sum));
}

// The rows of a picture, compressed piece by piece into chunks.
class ImageData {
 public:
  explicit ImageData(std::ostream& stream) : stream_(stream), piece_(kPieceBytes) {
    good_ = deflateInit(&deflater_, Z_DEFAULT_COMPRESSION) == Z_OK;
    Empty();
  }
  ~ImageData() { deflateEnd(&deflater_); }
  ImageData(const ImageData&) = delete;
  ImageData& operator=(const ImageData&) = delete;

  void Add(std::vector<uint8_t>& row, bool is_last) {
    deflater_.next_in = row.data();
    deflater_.avail_in = static_cast<uInt>(row.size());
    int result = Z_OK;
    while (good_ && result == Z_OK && (deflater_.avail_in > 0 || is_last)) {
      result = deflate(&deflater_, is_last ? Z_FINISH : Z_NO_FLUSH);
      good_ = result == Z_OK || result == Z_STREAM_END;
      if (deflater_.avail_out == 0 || result == Z_STREAM_END) {
        WriteChunk(stream_, "IDAT",
                   {reinterpret_cast<char*>(piece_.data()), piece_.size() - deflater_.avail_out});
        Empty();
      }
    }
  }
  bool good() const { return good_; }

 private:
  void Empty() {
    deflater_.next_out = piece_.data();
    deflater_.avail_out = static_cast<uInt>(piece_.size());
  }

  std::ostream& stream_;
  std::vector<uint8_t> piece_;
  z_stream deflater_ = {};
  bool good_ = false;
};

}  // namespace

bool WritePng(std::ostream& stream, const BitmapPixels& pixels) {
  const auto width = static_cast<size_t>(pixels.width);
  stream << kSignature;
  WriteChunk(stream, "IHDR",
             BigEndian(static_cast<uint32_t>(pixels.width)) +
                 BigEndian(static_cast<uint32_t>(pixels.height)) + std::string(kEightBitsOfRgb));
  WriteChunk(stream, "pHYs",
             BigEndian(pixels.per_metre) + BigEndian(pixels.per_metre) + std::string(kUnitIsMetre));
  ImageData data(stream);
  std::vector<uint8_t> row(1 + 3 * width);  // the first says that it is not filtered
  for (int32_t y = pixels.height - 1; y >= 0; --y) {
    const uint8_t* pixel = pixels.bytes + 4 * width * static_cast<size_t>(y);
    for (size_t x = 0; x < width; ++x, pixel += 4) {
      row[1 + 3 * x] = pixel[2];
      row[2 + 3 * x] = pixel[1];
      row[3 + 3 * x] = pixel[0];
    }
    data.Add(row, y == 0);
  }
  WriteChunk(stream, "IEND", "");
  return data.good() && stream.good();
}

}  // namespace tervalon::tools
