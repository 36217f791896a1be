#include "tools/data/function_description.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

namespace tervalon::tools {
namespace {

constexpr int kFirstTime = 10;
constexpr int kLastTime = 14;
constexpr int kScans = 18;
constexpr int kSegmentCount = 23;
constexpr int kChannelMasses = 160;
constexpr int kDaughterMasses = 288;

// Names end before the mass of a parent or a loss, which the record holds in no known place.
constexpr const char* kTypeNames[] = {
    "Scan",         "SIR of",        "Delay",        "Concatenated", "Off",
    "Parents",      "Daughters",     "Neutral Loss", "Neutral Gain", "MRM of",
    "Q1F",          "MS2",           "Diode Array",  "TOF",          "TOF PSD",
    "TOF Survey",   "TOF Daughter",  "Maldi TOF",    "TOF MS",       "TOF Parent",
    "Voltage Scan", "Magnetic Scan", "Voltage SIR",  "Magnetic SIR", "Auto Daughters"};

unsigned Word(const RawFunctionRecord& record, int position) {
  return record.bytes[position] | static_cast<unsigned>(record.bytes[position + 1]) << 8;
}

uint32_t LongWord(const RawFunctionRecord& record, int position) {
  return Word(record, position) | static_cast<uint32_t>(Word(record, position + 2)) << 16;
}

float Float(const RawFunctionRecord& record, int position) {
  return std::bit_cast<float>(LongWord(record, position));
}

std::vector<float> SegmentFloats(const RawFunctionRecord& record, int position) {
  std::vector<float> values;
  for (int i = 0; IsChannelFunction(record) && i < SegmentCount(record); ++i) {
    values.push_back(Float(record, position + 4 * i));
  }
  return values;
}

std::string Numbered(std::string text, int number) {
  text += ' ';
  return text + std::to_string(number);
}

}  // namespace

int FunctionType(const RawFunctionRecord& record) { return static_cast<int>(Word(record, 0) & 31); }

int IonMode(const RawFunctionRecord& record) { return static_cast<int>(Word(record, 0) >> 5 & 31); }

int DataType(const RawFunctionRecord& record) {
  return static_cast<int>(Word(record, 0) >> 10 & 15);
}

void SetDataType(RawFunctionRecord& record, int data_type) {
  StoreWord(record, 0, (Word(record, 0) & ~(15U << 10)) | static_cast<unsigned>(data_type) << 10);
}

int SegmentCount(const RawFunctionRecord& record) {
  return std::clamp<int>(record.bytes[kSegmentCount], 1, RAW_MAX_SEGMENTS);
}

bool IsChannelFunction(const RawFunctionRecord& record) {
  constexpr std::array kTypes = {RAW_TYPE_SIR, RAW_TYPE_MRM, RAW_TYPE_VOLTAGE_SIR,
                                 RAW_TYPE_MAGNETIC_SIR};
  return std::ranges::count(kTypes, FunctionType(record)) != 0;
}

std::vector<float> ChannelMasses(const RawFunctionRecord& record) {
  return SegmentFloats(record, kChannelMasses);
}

std::vector<float> DaughterMasses(const RawFunctionRecord& record) {
  return SegmentFloats(record, kDaughterMasses);
}

int32_t CompleteScans(const RawFunctionRecord& record) {
  return static_cast<int32_t>(std::min<uint32_t>(LongWord(record, kScans), INT32_MAX));
}

float FirstTime(const RawFunctionRecord& record) { return Float(record, kFirstTime); }
float LastTime(const RawFunctionRecord& record) { return Float(record, kLastTime); }

void ClearTimes(RawFunctionRecord& record) {
  StoreFloat(record, kFirstTime, 0);
  StoreFloat(record, kLastTime, 0);
}

bool HasPointFlags(const RawFunctionRecord& record) {
  return DataType(record) == RAW_DATA_ENHANCED_SIR || DataType(record) == RAW_DATA_ENHANCED_MASS;
}

std::string FunctionTypeName(const RawFunctionRecord& record) {
  const int type = FunctionType(record);
  if (type >= std::ssize(kTypeNames)) {
    return Numbered("type", type);
  }
  std::string name = kTypeNames[type];
  if (type == RAW_TYPE_SIR || type == RAW_TYPE_MRM) {
    const int channels = SegmentCount(record);
    name = Numbered(name, channels);
    name += channels == 1 ? " channel" : " channels";
  }
  return name;
}

std::string IonModeName(const RawFunctionRecord& record) {
  char name[8] = "";
  RawGetIonModeDesc(static_cast<int16_t>(IonMode(record)), name);
  return name[0] != '\0' ? name : Numbered("mode", IonMode(record));
}

std::string DataTypeName(const RawFunctionRecord& record) {
  char name[32] = "";
  RawGetDataTypeDesc(&record, name);
  return name[0] != '\0' ? name : Numbered("type", DataType(record));
}

void StoreWord(RawFunctionRecord& record, int position, unsigned value) {
  record.bytes[position] = static_cast<uint8_t>(value);
  record.bytes[position + 1] = static_cast<uint8_t>(value >> 8);
}

void StoreFloat(RawFunctionRecord& record, int position, float value) {
  const auto bits = std::bit_cast<uint32_t>(value);
  StoreWord(record, position, bits & 0xFFFF);
  StoreWord(record, position + 2, bits >> 16);
}

}  // namespace tervalon::tools
