#include "raw/function_record.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "platform/little_endian.h"
#include "raw/data_types.h"

namespace tervalon::raw {
namespace {

static_assert(sizeof(RawFunctionRecord) == RAW_FUNCTION_RECORD_SIZE);

constexpr const char* kIonModes[] = {"EI+", "EI-", "CI+", "CI-", "FB+", "FB-", "TS+",
                                     "TS-", "ES+", "ES-", "AP+", "AP-", "LD+", "LD-"};

uint16_t WordAt(const RawFunctionRecord& record, uint32_t offset) {
  return Load<uint16_t>(record.bytes + offset);
}

uint32_t ElementOffset(uint32_t base, int32_t index) {
  return base + 4 * static_cast<uint32_t>(index);
}

struct Extent {
  MassRange range;
  float duration = 0;
};

struct RangeOffsets {
  uint32_t low = 0;
  uint32_t high = 0;
};

// Where a record holds the low and high mass of a segment, or with segment -1 of the whole
// function. False for channel functions and segments that do not exist.
bool FindRange(const RawFunctionRecord& record, int32_t segment, RangeOffsets* offsets) {
  const int32_t segments = StoredSegments(record);
  if (IsChannelFunction(record) || segment < -1 || segment >= std::max(segments, 1)) return false;
  if (FunctionType(record) == RAW_TYPE_MALDI_TOF) {
    *offsets = {kMaldiLowMass, kMaldiHighMass};
  } else if (segments == 0) {
    *offsets = {kLowMass, kHighMass};
  } else {
    const int32_t first = std::max(segment, 0);
    const int32_t last = segment < 0 ? segments - 1 : segment;
    *offsets = {ElementOffset(kSegmentStarts, first), ElementOffset(kSegmentEnds, last)};
  }
  return true;
}

// Segments of a segmented function have durations of their own.
bool HasOwnDuration(const RawFunctionRecord& record, int32_t segment) {
  return segment >= 0 && StoredSegments(record) > 0 && FunctionType(record) != RAW_TYPE_MALDI_TOF;
}

bool FindExtent(const RawFunctionRecord& record, int32_t segment, Extent* extent) {
  RangeOffsets offsets;
  if (!FindRange(record, segment, &offsets)) return false;
  extent->range = {FloatAt(record, offsets.low), FloatAt(record, offsets.high)};
  extent->duration = HasOwnDuration(record, segment)
                         ? FloatAt(record, ElementOffset(kSegmentDurations, segment))
                         : FloatAt(record, kCycleTime) - FloatAt(record, kInterScanDelay);
  return true;
}

}  // namespace

int32_t FunctionType(const RawFunctionRecord& record) { return WordAt(record, kTypeWord) & 31; }

int32_t IonMode(const RawFunctionRecord& record) { return WordAt(record, kTypeWord) >> 5 & 31; }

int32_t DataTypeCode(const RawFunctionRecord& record) {
  return WordAt(record, kTypeWord) >> 10 & 15;
}

bool IsChannelFunction(const RawFunctionRecord& record) {
  constexpr int32_t kChannelTypes[] = {RAW_TYPE_SIR, RAW_TYPE_MRM, RAW_TYPE_VOLTAGE_SIR,
                                       RAW_TYPE_MAGNETIC_SIR};
  return std::find(std::begin(kChannelTypes), std::end(kChannelTypes), FunctionType(record)) !=
         std::end(kChannelTypes);
}

int32_t StoredSegments(const RawFunctionRecord& record) {
  return std::min(WordAt(record, kSegmentWord) >> 8, RAW_MAX_SEGMENTS);
}

float FloatAt(const RawFunctionRecord& record, uint32_t offset) {
  return Load<float>(record.bytes + offset);
}

float ChannelMass(const RawFunctionRecord& record, int32_t channel) {
  return FloatAt(record, ElementOffset(kChannelMasses, channel));
}

float DaughterMass(const RawFunctionRecord& record, int32_t channel) {
  return FloatAt(record, ElementOffset(kDaughterMasses, channel));
}

void SetDataType(RawFunctionRecord* record, int32_t code) {
  constexpr int32_t kDataTypeBits = 15 << 10;
  const int32_t word = (WordAt(*record, kTypeWord) & ~kDataTypeBits) | (code & 15) << 10;
  Store(record->bytes + kTypeWord, static_cast<uint16_t>(word));
}

void SetScanCount(RawFunctionRecord* record, uint32_t scans) {
  Store(record->bytes + kScanCount, scans);
}

MassRange ReaderRange(const RawFunctionRecord& record) {
  Extent extent;
  if (FindExtent(record, -1, &extent)) return extent.range;
  MassRange range = {ChannelMass(record, 0), ChannelMass(record, 0)};
  for (int32_t channel = 1; channel < StoredSegments(record); ++channel) {
    range.low = std::min(range.low, ChannelMass(record, channel));
    range.high = std::max(range.high, ChannelMass(record, channel));
  }
  return {std::floor(range.low), std::ceil(range.high)};
}

}  // namespace tervalon::raw

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL RawReadGetFuncMassRange(const RawFunctionRecord* record,
                                                         int32_t segment, float* low, float* high,
                                                         float* duration) {
  Extent extent;
  const bool found = record != nullptr && FindExtent(*record, segment, &extent);
  if (low != nullptr) *low = extent.range.low;
  if (high != nullptr) *high = extent.range.high;
  if (duration != nullptr) *duration = extent.duration;
  return found ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL RawReadSetFuncMassRange(RawFunctionRecord* record, int32_t segment,
                                                         float low, float high, float duration) {
  RangeOffsets offsets;
  if (record == nullptr || !FindRange(*record, segment, &offsets)) return 0;
  Store(record->bytes + offsets.low, low);
  Store(record->bytes + offsets.high, high);
  if (HasOwnDuration(*record, segment)) {
    Store(record->bytes + ElementOffset(kSegmentDurations, segment), duration);
  } else {
    Store(record->bytes + kCycleTime, duration + FloatAt(*record, kInterScanDelay));
  }
  return 1;
}

extern "C" int32_t TERVALON_CALL RawGetDataTypeDesc(const RawFunctionRecord* record, char* text) {
  if (record == nullptr || text == nullptr) return 0;
  const int32_t code = DataTypeCode(*record);
  std::strcpy(text, DataTypeName(code));
  return code >= RAW_DATA_CONTINUUM ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL RawGetIonModeDesc(int16_t mode, char* text) {
  if (text == nullptr) return 0;
  const bool named = mode >= 0 && mode < static_cast<int16_t>(std::size(kIonModes));
  std::strcpy(text, named ? kIonModes[mode] : "");
  return named ? 1 : 0;
}
