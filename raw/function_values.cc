// What function records say.

#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

void StoreAt(float* out, float value) {
  if (out != nullptr) *out = value;
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawGetFuncType(const RawFunctionRecord* record) {
  return record != nullptr ? FunctionType(*record) : -1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncIonMode(const RawFunctionRecord* record) {
  return record != nullptr ? IonMode(*record) : -1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncDataType(const RawFunctionRecord* record) {
  return record != nullptr ? DataTypeCode(*record) : -1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncScanCount(const RawFunctionRecord* record) {
  return record != nullptr ? Load<int32_t>(record->bytes + kScanCount) : -1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncTimeRange(const RawFunctionRecord* record, float* first,
                                                     float* last) {
  if (record == nullptr) return 0;
  StoreAt(first, FloatAt(*record, kFirstTime));
  StoreAt(last, FloatAt(*record, kLastTime));
  return 1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncMassRange(const RawFunctionRecord* record, float* low,
                                                     float* high) {
  if (record == nullptr) return 0;
  const MassRange range = ReaderRange(*record);
  StoreAt(low, range.low);
  StoreAt(high, range.high);
  return 1;
}

extern "C" int32_t TERVALON_CALL RawGetFuncChannel(const RawFunctionRecord* record, int32_t channel,
                                                   float* mass, float* daughter_mass) {
  if (record == nullptr || !IsChannelFunction(*record) || channel < 1 ||
      channel > StoredSegments(*record)) {
    return 0;
  }
  StoreAt(mass, ChannelMass(*record, channel - 1));
  const bool has_daughters = FunctionType(*record) == RAW_TYPE_MRM;
  StoreAt(daughter_mass, has_daughters ? DaughterMass(*record, channel - 1) : 0.0f);
  return 1;
}

extern "C" int32_t TERVALON_CALL RawReadScanCount(int32_t handle, int16_t function, int16_t process,
                                                  int32_t* scans) {
  if (scans == nullptr || (process == 0 && function < 1)) return RAW_BAD_ARGUMENT;
  RawFunctionRecord record;
  const int32_t error = process == 0 ? RawReadFuncInfo(handle, function, &record, nullptr)
                                     : RawReadProcFunction(handle, process, &function, &record);
  if (error == RAW_OK) *scans = RawGetFuncScanCount(&record);
  return error;
}
