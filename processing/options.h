// What every use of the options asks of them.

#ifndef PROCESSING_OPTIONS_H_
#define PROCESSING_OPTIONS_H_

#include <cstdint>

#include "tervalon/processing.h"
#include "tervalon/processing_spectra.h"

namespace tervalon::processing {

bool IsValid(const PrcCombining& how);
bool IsValid(const PrcCentroiding& how);

// PRC_OK; PRC_BAD_ARGUMENT; PRC_BAD_WINDOW; PRC_TOO_FEW_POINTS for `count` points.
int32_t CheckOptions(PrcSmoothing how, int32_t count);

}  // namespace tervalon::processing

#endif  // PROCESSING_OPTIONS_H_
