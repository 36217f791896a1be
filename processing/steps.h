// Steps of tervalon/processing_sets.h, and how a history has them.

#ifndef PROCESSING_STEPS_H_
#define PROCESSING_STEPS_H_

#include <cstdint>

#include "tervalon/processing_sets.h"
#include "tervalon/raw_history.h"

namespace tervalon::processing {

// PRC_OK, or what is returned for options that make no sense.
int32_t CheckStep(const PrcStep& step);

// The type and the parameters of a step that makes sense.
RawHistoryProcess ToHistory(const PrcStep& step);

// PRC_OK or PRC_STEP_UNKNOWN.
int32_t FromHistory(const RawHistoryProcess& process, PrcStep* step);

}  // namespace tervalon::processing

#endif  // PROCESSING_STEPS_H_
