// Classification of functions, and descriptions of their channels.

#include "tervalon/function_types.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <string>

#include "appsvc/export_guard.h"
#include "datamgr/raw_sources.h"
#include "raw/function_record.h"
#include "tervalon/number_format.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/trace_strings.h"

namespace tervalon::datamgr {
namespace {

using Codes = std::initializer_list<int32_t>;

// A channel is found by a mass that is this near.
constexpr float kChannelMassTolerance = 0.001f;
constexpr int32_t kVoltageDecimals = 4;

int32_t IsOneOf(int32_t type, Codes codes) {
  return std::find(codes.begin(), codes.end(), type) != codes.end() ? 1 : 0;
}

// Tests the codes in turn, which is an order that callers know. The directory stays open meanwhile.
int32_t FirstOf(const SystemRawFile* raw_file, int16_t function, Codes codes) {
  return Guarded<int32_t>(0, [&]() -> int32_t {
    char directory[TV_PATH_SIZE];
    if (DmRawFileToID(raw_file, directory) != 0) return 0;
    const SourceLease source(directory);
    if (source.error() != RAW_OK) return 0;
    for (const int32_t code : codes) {
      const int32_t found = DmRawIsFunctionType(raw_file, function, code);
      if (found != 0) return found;
    }
    return 0;
  });
}

// The channel nearest to a mass (0-based); -1 when none is near enough.
int32_t ChannelOfMass(const RawFunctionRecord& record, float mass) {
  int32_t nearest = -1;
  float least = kChannelMassTolerance;
  for (int32_t i = 0; i < raw::StoredSegments(record); ++i) {
    const float distance = std::fabs(raw::ChannelMass(record, i) - mass);
    if (distance < least || (nearest < 0 && distance == least)) {
      nearest = i;
      least = distance;
    }
  }
  return nearest;
}

// The channel of a number (0-based); -1 for one behind all that there can be.
int32_t ChannelOfNumber(float number) {
  if (!(number > 1)) return 0;
  return number - 1 < RAW_MAX_SEGMENTS ? static_cast<int32_t>(number - 1) : -1;
}

std::string MassText(float mass) {
  char text[64];
  DmRawFormatMass(mass, text);
  return text;
}

std::string ChannelText(const RawFunctionRecord& record, int32_t channel) {
  const float mass = raw::ChannelMass(record, channel);
  const int32_t type = raw::FunctionType(record);
  if (type == RAW_TYPE_SIR) return MassText(mass);
  if (type == RAW_TYPE_MRM) {
    return MassText(mass) + " > " + MassText(raw::DaughterMass(record, channel));
  }
  char text[64];
  return ftoa(mass, text, kVoltageDecimals);
}

int32_t DescribeChannel(const RawFunctionRecord& record, float channel, int32_t flags,
                        std::string* text) {
  if (!raw::IsChannelFunction(record)) return -1;
  const int32_t index =
      (flags & DM_CHANNEL_BY_MASS) != 0 ? ChannelOfMass(record, channel) : ChannelOfNumber(channel);
  if (index < 0 || index >= raw::StoredSegments(record)) return -1;
  if ((flags & DM_CHANNEL_NUMBERED) != 0) {
    *text = std::to_string(index + 1) + ": ";
    if (index + 1 < 10) text->insert(0, 1, ' ');
  }
  *text += ChannelText(record, index);
  return index + 1;
}

}  // namespace
}  // namespace tervalon::datamgr

using namespace tervalon;           // NOLINT(google-build-using-namespace)
using namespace tervalon::datamgr;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL DmRawIsFunctionType(const SystemRawFile* raw_file,
                                                     int16_t function, int32_t type) {
  if (raw_file == nullptr || function < 0) return 0;
  SystemRawFile copy = *raw_file;
  copy.function = function;
  RawFunctionRecord record;
  if (function != 0) {
    const bool read = DmRawGetFunctionInfo(&copy, &record) == 0;
    return read && raw::FunctionType(record) == type ? function : 0;
  }
  copy.process = 0;
  for (copy.function = 1; DmRawGetFunctionInfo(&copy, &record) == 0; ++copy.function) {
    if (raw::FunctionType(record) == type) return copy.function;
  }
  return 0;
}

extern "C" int32_t TERVALON_CALL DmRawIsSIRFuncType(int32_t type) {
  return IsOneOf(type, {1, 22, 23});
}

extern "C" int32_t TERVALON_CALL DmRawIsChannelFuncType(int32_t type) {
  return IsOneOf(type, {1, 22, 23, 9});
}

extern "C" int32_t TERVALON_CALL DmRawIsExternalFuncType(int32_t type) {
  return IsOneOf(type, {15, 16, 18, 19, 20, 21, 22, 23});
}

extern "C" int32_t TERVALON_CALL DmRawIsDadFunction(const SystemRawFile* raw_file,
                                                    int16_t function) {
  return FirstOf(raw_file, function, {12});
}

extern "C" int32_t TERVALON_CALL DmRawIsTOFFunction(const SystemRawFile* raw_file,
                                                    int16_t function) {
  return FirstOf(raw_file, function, {13, 14, 17, 18, 16, 15, 19});
}

extern "C" int32_t TERVALON_CALL DmRawIsTOFParentFunction(const SystemRawFile* raw_file,
                                                          int16_t function) {
  return FirstOf(raw_file, function, {19});
}

extern "C" int32_t TERVALON_CALL DmRawIsTOFDauFunction(const SystemRawFile* raw_file,
                                                       int16_t function) {
  return FirstOf(raw_file, function, {16});
}

extern "C" int32_t TERVALON_CALL DmRawIsAutoDauFunction(const SystemRawFile* raw_file,
                                                        int16_t function) {
  return FirstOf(raw_file, function, {16, 24});
}

extern "C" int32_t TERVALON_CALL DmRawIsSetMassFunction(const SystemRawFile* raw_file,
                                                        int16_t function) {
  return FirstOf(raw_file, function, {16, 24, 19});
}

extern "C" int32_t TERVALON_CALL DmRawIsQTOFFunction(const SystemRawFile* raw_file,
                                                     int16_t function) {
  return FirstOf(raw_file, function, {18, 16, 15, 19});
}

extern "C" int32_t TERVALON_CALL DmRawIsVaryingFunction(const SystemRawFile* raw_file,
                                                        int16_t function) {
  return FirstOf(raw_file, function, {13, 14, 17, 18, 16, 15, 19, 20, 21, 22, 23});
}

extern "C" int32_t TERVALON_CALL DmRawIsExternalFunction(const SystemRawFile* raw_file,
                                                         int16_t function) {
  return DmRawIsVaryingFunction(raw_file, function);
}

extern "C" int32_t TERVALON_CALL DmRawChannelDesc(const SystemRawFile* raw_file, float channel,
                                                  char* out, int32_t flags, int32_t length) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    RawFunctionRecord record;
    std::string text;
    if (DmRawGetFunctionInfo(raw_file, &record) != 0) return -1;
    const int32_t described = DescribeChannel(record, channel, flags, &text);
    if (described < 0 || out == nullptr || length < 1) return described;
    const size_t copied = std::min(text.size(), static_cast<size_t>(length - 1));
    std::memcpy(out, text.c_str(), copied);
    out[copied] = '\0';
    return described;
  });
}
