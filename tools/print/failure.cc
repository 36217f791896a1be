#include "tools/print/failure.h"

#include <tervalon/raw_directory.h>
#include <tervalon/result_codes.h>

#include <cstdio>

#include "tools/print/text.h"

namespace tervalon::tools {

void Warn(const std::string& message) {
  const std::string line = "tervalon: " + Printable(Utf8FromSystem(message)) + "\n";
  (void)std::fputs(line.c_str(), stderr);
}

void WarnAsPrinted(const std::string& lines) {
  static_cast<void>(std::fputs(lines.c_str(), stderr));  // nobody is left to tell
}

std::string RawErrorText(int32_t code) {
  const std::string text = TvErrorText(code);
  return !text.empty() ? text : "unexpected error " + std::to_string(code);
}

void CheckRaw(int32_t code, const std::string& subject) {
  if (code != RAW_OK) {
    throw Failure(subject, RawErrorText(code));
  }
}

}  // namespace tervalon::tools
