// Picture files to draw into, of the kind that their name ends in.

#ifndef TOOLS_PICTURES_PICTURE_H_
#define TOOLS_PICTURES_PICTURE_H_

#include <tervalon/types.h>

#include <cstdint>
#include <string>

namespace tervalon::tools {

struct PictureSize {
  int32_t width;   // in pixels
  int32_t height;  // in pixels
  int32_t pixels_per_inch;
};

class Picture {
 public:
  // What the names of pictures may end in: "png, svg or pdf".
  static const char* Endings();

  // The resolution that suits a file of that name; nothing needs to be there. 0 for an ending that
  // is none of those above.
  static int32_t UsualResolution(const std::string& path);

  // A picture for a path that UsualResolution knows. Throws a Failure.
  Picture(std::string path, const PictureSize& size);
  ~Picture();
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  TvDC dc() const { return dc_; }

  // Puts the file, complete, in its place. Throws a Failure. Without, no file is left.
  void Finish();

  // A UTF-8 text as a device context of the platform takes it.
  static std::string DeviceText(const std::string& utf8);

 private:
  const std::string path_;
  const std::string target_;   // where the path leads, if it is a link
  const std::string partial_;  // where it is written first
  TvDC dc_ = nullptr;
  void* image_ = nullptr;  // the platform's own
};

// The ending of a file name in lower case, without its point.
std::string Ending(const std::string& path);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PICTURE_H_
