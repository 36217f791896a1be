// What the library's processing gives, as vectors; and its failures.

#ifndef TOOLS_PROCESSING_RESULTS_H_
#define TOOLS_PROCESSING_RESULTS_H_

#include <tervalon/memory.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tervalon::tools {

// Throws a Failure unless `code` is PRC_OK. Raw error codes are among them.
void CheckProcessing(int32_t code, const std::string& subject);

// Copies `count` elements out of a block, and frees it.
template <typename Element>
std::vector<Element> Taken(TvMemory block, int64_t count) {
  std::vector<Element> elements;
  if (const auto* const first = static_cast<const Element*>(TvMemLock(block)); first != nullptr) {
    elements.assign(first, first + count);
    TvMemUnlock(block);
  }
  TvMemFree(block);
  return elements;
}

}  // namespace tervalon::tools

#endif  // TOOLS_PROCESSING_RESULTS_H_
