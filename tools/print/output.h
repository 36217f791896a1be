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
  Output& operator<<(std::string_view text);

  // Writes out what is waiting. Call at the end: only then is the output known to have arrived.
  void Flush();

 private:
  std::string waiting_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_OUTPUT_H_
