// Picture files to draw into, of the kind that their name ends in, or on their way to standard
// output.

#ifndef TOOLS_PICTURES_PICTURE_H_
#define TOOLS_PICTURES_PICTURE_H_

#include <tervalon/types.h>

#include <cstdint>
#include <string>

#include "tools/print/output.h"

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

  // What else can be asked for by `ending`: "", or behind those above.
  static const char* OtherFormats();

  // The resolution that suits a file of that name; nothing needs to be there. 0 for an ending that
  // is none of those above. "-" stands for standard output, a PNG file unless another is asked for.
  static int32_t UsualResolution(const std::string& path);

  // A picture for a path that UsualResolution knows; `ending`, if any, in place of the path's own.
  // Throws a Failure.
  Picture(const std::string& path, const PictureSize& size, const std::string& ending = "");
  ~Picture();
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  TvDC dc() const { return dc_; }

  // Ends a page and begins the next one. False where a file of that kind has only one.
  bool NextPage();

  // Puts the file, complete, in its place, or into the output that stands for "-". Throws a
  // Failure. Without, no file is left.
  void Finish(Output* standard_output = nullptr);

  // A UTF-8 text as a device context of the platform takes it.
  static std::string DeviceText(const std::string& utf8);

 private:
  // Once it is closed.
  void PutInPlace(bool is_whole, Output* standard_output);

  const std::string path_;
  const std::string ending_;
  const std::string target_;   // where the path leads, if it is a link
  const std::string partial_;  // where it is written first
  TvDC dc_ = nullptr;
  void* image_ = nullptr;  // the platform's own
};

// A name for a picture while it is not complete: beside its file or in the system's temporary
// directory.
std::string PartialName(const std::string& path, const std::string& target);

// The ending that says of what kind the picture at a path is.
std::string PictureEnding(const std::string& path);

// The ending of a file name in lower case, without its point.
std::string Ending(const std::string& path);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PICTURE_H_
