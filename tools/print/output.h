// Standard output, written in large pieces and checked.

#ifndef TOOLS_PRINT_OUTPUT_H_
#define TOOLS_PRINT_OUTPUT_H_

#include <string>
#include <string_view>

namespace tervalon::tools {

// Thrown when nobody reads the output any more. The program then ends quietly.
struct OutputClosed {};

class Output {
 public:
  Output() = default;
  // Into a text instead.
  explicit Output(std::string& text) : text_(&text) {}

  Output& operator<<(std::string_view text);

  // Writes out what is waiting. Call at the end: only then is the output known to have arrived.
  void Flush();

 private:
  std::string* const text_ = nullptr;
  std::string waiting_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_OUTPUT_H_
