// Function records taken apart, and the names of what they hold.

#ifndef TOOLS_DATA_FUNCTION_DESCRIPTION_H_
#define TOOLS_DATA_FUNCTION_DESCRIPTION_H_

#include <tervalon/raw_functions.h>

#include <string>
#include <vector>

namespace tervalon::tools {

int FunctionType(const RawFunctionRecord& record);
int IonMode(const RawFunctionRecord& record);
int DataType(const RawFunctionRecord& record);
void SetDataType(RawFunctionRecord& record, int data_type);

// At least 1, at most RAW_MAX_SEGMENTS.
int SegmentCount(const RawFunctionRecord& record);
bool IsChannelFunction(const RawFunctionRecord& record);
std::vector<float> ChannelMasses(const RawFunctionRecord& record);
std::vector<float> DaughterMasses(const RawFunctionRecord& record);

int32_t CompleteScans(const RawFunctionRecord& record);
float FirstTime(const RawFunctionRecord& record);
float LastTime(const RawFunctionRecord& record);  // 0: not known
void ClearTimes(RawFunctionRecord& record);

// Types 11 and 12 keep four flag bits with every point.
bool HasPointFlags(const RawFunctionRecord& record);

// "TOF MS", "SIR of 6 channels"; "type 30" for a code without a name.
std::string FunctionTypeName(const RawFunctionRecord& record);
std::string IonModeName(const RawFunctionRecord& record);
std::string DataTypeName(const RawFunctionRecord& record);

// For the writer of a new record: little-endian stores at the record's byte positions.
void StoreWord(RawFunctionRecord& record, int position, unsigned value);
void StoreFloat(RawFunctionRecord& record, int position, float value);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_FUNCTION_DESCRIPTION_H_
