#include "tools/processing/saved_sets.h"

#include "tools/data/processed_set.h"
#include "tools/processing/results.h"

namespace tervalon::tools {

int64_t SaveStep(const DataReader& reader, const PrcStep& step) {
  int16_t saved = 0;
  CheckProcessing(
      PrcSaveStep(reader.directory().handle(), reader.function(), reader.process(), &step, &saved),
      reader.Subject());
  return saved;
}

int64_t RepeatStep(const RawDirectory& directory, int32_t process) {
  int16_t saved = 0;
  CheckProcessing(PrcRepeat(directory.handle(), static_cast<int16_t>(process), &saved),
                  SubjectOf(directory, {.process = process}));
  return saved;
}

}  // namespace tervalon::tools
