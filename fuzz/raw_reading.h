// Reading a function of a raw directory in every way.

#ifndef FUZZ_RAW_READING_H_
#define FUZZ_RAW_READING_H_

#include <cstdint>

#include "fuzz/bundle.h"
#include "tervalon/raw_functions.h"

namespace tervalon::fuzz {

// What a record says of its function.
void DescribeFunction(const RawFunctionRecord& record, Options* options);

// Scans, chromatograms, traces and times, which have to agree. The record is what RawReadFuncInfo
// or RawReadProcFunction gave.
void ReadFunction(int32_t handle, int16_t function, int16_t process,
                  const RawFunctionRecord& record, const RawCalibration* calibration,
                  Options* options);

}  // namespace tervalon::fuzz

#endif  // FUZZ_RAW_READING_H_
