// Reading and making function records without overlaying a struct on their bytes.

#ifndef RAW_FUNCTION_RECORD_H_
#define RAW_FUNCTION_RECORD_H_

#include <cstdint>

#include "tervalon/raw_functions.h"

namespace tervalon::raw {

// Byte offsets of the fields that the library interprets.
enum RecordOffset : uint32_t {
  kTypeWord = 0,
  kCycleTime = 2,
  kInterScanDelay = 6,
  kFirstTime = 10,
  kLastTime = 14,
  kScanCount = 18,
  kSegmentWord = 22,
  kMaldiLinearWord = 24,
  kLowMass = 28,
  kHighMass = 32,
  kSegmentDurations = 32,
  kMaldiHighMass = 70,
  kMaldiLowMass = 74,
  kSegmentStarts = 160,
  kChannelMasses = 160,
  kSegmentEnds = 288,
  kDaughterMasses = 288,  // of an MRM function, whose channel masses are the parents'
};

int32_t FunctionType(const RawFunctionRecord& record);
int32_t IonMode(const RawFunctionRecord& record);
int32_t DataTypeCode(const RawFunctionRecord& record);

// Selected-ion functions, whose points are channels instead of a mass scan.
bool IsChannelFunction(const RawFunctionRecord& record);

// Segments or channels as stored, at most 32; 0 = a single full-range segment.
int32_t StoredSegments(const RawFunctionRecord& record);

float FloatAt(const RawFunctionRecord& record, uint32_t offset);

// Mass of channel 0..31.
float ChannelMass(const RawFunctionRecord& record, int32_t channel);

// Daughter mass of channel 0..31 of an MRM function.
float DaughterMass(const RawFunctionRecord& record, int32_t channel);

void SetDataType(RawFunctionRecord* record, int32_t code);

void SetScanCount(RawFunctionRecord* record, uint32_t scans);

struct MassRange {
  float low = 0;
  float high = 0;
};

// The range that a reader keeps: a scanning function's whole range; for channel functions the floor
// of the smallest channel mass and the ceiling of the largest.
MassRange ReaderRange(const RawFunctionRecord& record);

}  // namespace tervalon::raw

#endif  // RAW_FUNCTION_RECORD_H_
