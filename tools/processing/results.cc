#include "tools/processing/results.h"

#include <tervalon/processing.h>

#include "tools/print/failure.h"

namespace tervalon::tools {

void CheckProcessing(int32_t code, const std::string& subject) {
  if (code == PRC_OK) return;
  const char* hint = code == PRC_UNEVEN ? " ('--resample STEP' brings them onto a grid)" : "";
  throw Failure(subject, RawErrorText(code) + hint);
}

}  // namespace tervalon::tools
